#include <movietools/verify/verifychecks_p.h>

#include <QSet>

#include <algorithm>

namespace zd::movietools {

namespace {

constexpr qsizetype longestQuote = 40;

/// Looks at the header text line by line. The library's own parser says what a line means.
class HeaderTextCheck {
public:
    HeaderTextCheck(const MovieContent& movie, Findings& findings)
        : m_text(movie.info.text), m_offset(movie.infoChunk->payload() + movie.info.textOffset), m_findings(findings)
    {
    }

    void run();

private:
    void add(const char* name, Severity severity, qsizetype at, const QString& expected, const QByteArray& found,
             const char* advice);
    void checkLine(qsizetype begin, const QByteArray& line);
    void checkName(qsizetype begin, const QByteArray& line, const QString& name);

    const QByteArray& m_text;
    std::int64_t m_offset; // of the text in the file
    Findings& m_findings;
    QSet<QString> m_names;
    QString m_lastName;
};

// Bytes that are no characters of a text. Comments keep tabs, carriage returns, and the bell for a line break.
bool isControl(char character)
{
    const auto code = static_cast<unsigned char>(character);
    const bool inComments = code == '\a' || code == '\t' || code == '\r';
    return (code < 0x20 && !inComments) || (code >= 0x7F && code <= 0x9F);
}

QString quoted(const QByteArray& bytes)
{
    const QString text = QString::fromLatin1(bytes.left(longestQuote));
    return QStringLiteral("\"%1%2\"").arg(text, bytes.size() > longestQuote ? QStringLiteral("...") : QString());
}

void HeaderTextCheck::run()
{
    for (qsizetype begin = 0; begin < m_text.size();) {
        const qsizetype found = m_text.indexOf('\n', begin);
        const qsizetype end = found < 0 ? m_text.size() : found;
        checkLine(begin, m_text.mid(begin, end - begin));
        begin = end + 1;
    }
    if (!m_text.isEmpty() && !m_text.endsWith('\n'))
        add("attribute-line-unended", Severity::Warning, m_text.size(),
            QStringLiteral("a line feed at the end of the text"), m_text.right(1), "read the last attribute with care");
}

void HeaderTextCheck::add(const char* name, Severity severity, qsizetype at, const QString& expected,
                          const QByteArray& found, const char* advice)
{
    m_findings.add(name, severity, m_offset + at, expected, quoted(found), advice);
}

void HeaderTextCheck::checkLine(qsizetype begin, const QByteArray& line)
{
    AttributeChunk parsed;
    parsed.parseLatin1(line.constData(), static_cast<std::size_t>(line.size()));
    if (std::as_const(parsed).attributes().empty()) {
        add("attribute-line-skipped", Severity::Warning, begin, QStringLiteral("NAME=VALUE"), line,
            "readers skip the line; a value with a line break leaves such lines");
        return;
    }
    QString readBack;
    parsed.dump(readBack);
    if (readBack.chopped(1) != QString::fromLatin1(line))
        add("attribute-blanks", Severity::Warning, begin, QStringLiteral("no blanks at the ends of the line"), line,
            "readers remove them");
    const auto strange = std::find_if(line.begin(), line.end(), isControl);
    if (strange != line.end())
        add("attribute-control-character", Severity::Warning, begin + (strange - line.begin()),
            QStringLiteral("printable characters"), line, "compare the value with another copy");
    checkName(begin, line, std::as_const(parsed).attributes().begin()->first);
}

void HeaderTextCheck::checkName(qsizetype begin, const QByteArray& line, const QString& name)
{
    if (m_names.contains(name))
        add("attribute-repeated", Severity::Warning, begin, QStringLiteral("every name once"), line,
            "readers take the last value; a value with a line break leaves such lines");
    else if (name < m_lastName)
        add("attribute-order", Severity::Warning, begin, QStringLiteral("names in ascending order"), line,
            "compare the name with another copy");
    m_names.insert(name);
    m_lastName = name;
}

} // namespace

void checkHeaderText(const MovieContent& movie, Findings& findings)
{
    HeaderTextCheck(movie, findings).run();
}

} // namespace zd::movietools
