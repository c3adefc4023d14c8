#include <vqf/arguments/sizeargument.h>

#include <vqf/arguments/usageerror.h>

#include <QRegularExpression>

namespace zd::tool {

QSize parseSize(const std::string& text)
{
    static const QRegularExpression form(QStringLiteral("^(\\d{1,5})(x(\\d{1,5}))?$"));
    const QRegularExpressionMatch match = form.match(QString::fromStdString(text));
    const int width = match.captured(1).toInt();
    const QSize size(width, match.hasCaptured(3) ? match.captured(3).toInt() : width);
    if (size.isEmpty())
        throw UsageError{"--size " + text + ": write width and height in pixels, like 160x120, or one for both"};
    return size;
}

} // namespace zd::tool
