#include <vqf/console/console.h>

#include <vqf/console/settings.h>

#include <QJsonDocument>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace zd::tool {

namespace {

bool takesFile = false; // standard output

bool isUnsafe(char16_t c)
{
    const bool isControl = c < 0x20 || (c >= 0x7F && c <= 0x9F);
    const bool turnsText = c == 0x200E || c == 0x200F || (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
    return isControl || turnsText;
}

QString hexadecimal(char16_t c, const char* start, int digits)
{
    return QLatin1StringView(start) + QStringLiteral("%1").arg(c, digits, 16, QLatin1Char('0'));
}

QString escapedCharacter(char16_t c)
{
    switch (c) {
    case '\n':
        return QStringLiteral("\\n");
    case '\t':
        return QStringLiteral("\\t");
    case '\r':
        return QStringLiteral("\\r");
    default:
        return c <= 0xFF ? hexadecimal(c, "\\x", 2) : hexadecimal(c, "\\u", 4);
    }
}

template <typename Escape>
QString replaceUnsafe(const QString& text, Escape escape)
{
    QString safe;
    safe.reserve(text.size());
    for (const QChar c : text) {
        if (isUnsafe(c.unicode()))
            safe += escape(c.unicode());
        else
            safe += c;
    }
    return safe;
}

void write(const QByteArray& bytes, std::FILE* file)
{
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), file);
}

} // namespace

QString escaped(const QString& text)
{
    return replaceUnsafe(text, escapedCharacter);
}

void print(const QString& text)
{
    write(text.toUtf8(), takesFile ? stderr : stdout);
}

void tell(const QString& line, const QJsonObject& facts)
{
    if (settings().quiet)
        return;
    if (settings().json)
        printJson(QStringLiteral("vqf.done"), 1,
                  facts.isEmpty() ? QJsonObject{{QStringLiteral("message"), line}} : facts);
    else
        print(line + QLatin1Char('\n'));
}

void leaveStandardOutput()
{
    takesFile = true;
}

void printJson(const QString& schema, int version, const QJsonObject& object)
{
    // Objects are kept in order of name; the schema stands first all the same.
    const QString members = jsonText(object).mid(1);
    print(QStringLiteral("{\"schema\":\"%1\",\"version\":%2").arg(schema).arg(version));
    print((object.isEmpty() ? QString() : QStringLiteral(",")) + members + QLatin1Char('\n'));
}

QString jsonText(const QJsonObject& object)
{
    const QByteArray text = QJsonDocument(object).toJson(QJsonDocument::Compact);
    // Inside of texts alone: JSON has no such characters elsewhere.
    return replaceUnsafe(QString::fromUtf8(text), [](char16_t c) { return hexadecimal(c, "\\u", 4); });
}

void complain(const QString& text)
{
    std::fflush(stdout);
    write("vqf: " + escaped(text).toUtf8() + '\n', stderr);
}

void complain(const movietools::JobError& error)
{
    QString text = error.path.isEmpty() ? error.problem : error.path + QStringLiteral(": ") + error.problem;
    if (!error.advice.isEmpty())
        text += QStringLiteral("; ") + error.advice;
    if (!error.code.isEmpty())
        text += QStringLiteral(" [%1]").arg(error.code);
    complain(text);
}

bool flushResults()
{
    errno = 0;
    const bool complete = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (!complete && errno == EPIPE) {
        std::signal(SIGPIPE, SIG_DFL);
        std::raise(SIGPIPE);
    }
    return complete;
}

} // namespace zd::tool
