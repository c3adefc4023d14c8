#pragma once

#include <QCoreApplication>
#include <QString>
#include <QTranslator>

namespace zd::test {

/// While it lives, marks every text that is looked up for an object: "text" becomes "<text>". Needs an application.
class MarkingTranslator : public QTranslator {
public:
    MarkingTranslator() { QCoreApplication::installTranslator(this); }

    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* text, const char*, int) const override
    {
        return QLatin1StringView(context) == QLatin1StringView("QObject") ? u'<' + QString::fromLatin1(text) + u'>'
                                                                          : QString();
    }
};

} // namespace zd::test
