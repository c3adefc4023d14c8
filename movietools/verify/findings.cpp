#include <movietools/verify/findings.h>

#include <algorithm>

namespace zd::movietools {

void Findings::add(Finding finding)
{
    if (++m_counts[finding.name] <= mostOfOneName)
        m_list.push_back(std::move(finding));
}

void Findings::add(const char* name, Severity severity, std::int64_t offset, const QString& expected,
                   const QString& found, const char* advice)
{
    add({QString::fromLatin1(name), severity, offset, expected, found, QString::fromLatin1(advice)});
}

bool Findings::has(Severity severity) const
{
    return std::any_of(m_list.begin(), m_list.end(),
                       [severity](const Finding& finding) { return finding.severity == severity; });
}

QString severityText(Severity severity)
{
    switch (severity) {
    case Severity::Error:
        return QStringLiteral("error");
    case Severity::Warning:
        return QStringLiteral("warning");
    default:
        return QStringLiteral("note");
    }
}

} // namespace zd::movietools
