#include <vqf/console/verificationtext.h>

#include <movietools/job/wording.h>
#include <vqf/console/console.h>

#include <QJsonArray>

namespace zd::tool {

namespace {

using movietools::Condition;
using movietools::Finding;
using movietools::Findings;
using movietools::Verification;

QString findingText(const Finding& finding)
{
    QString text = QStringLiteral("  %1 %2").arg(movietools::severityText(finding.severity), finding.name);
    if (finding.offset != Finding::nowhere)
        text += QStringLiteral(" at byte %1").arg(finding.offset);
    text += QStringLiteral(": expected %1, found %2").arg(finding.expected, finding.found);
    return finding.advice.isEmpty() ? text : text + QStringLiteral("; ") + finding.advice;
}

QJsonObject findingJson(const Finding& finding)
{
    return {{QStringLiteral("name"), finding.name},
            {QStringLiteral("severity"), movietools::severityText(finding.severity)},
            {QStringLiteral("offset"),
             finding.offset == Finding::nowhere ? QJsonValue() : QJsonValue(static_cast<qint64>(finding.offset))},
            {QStringLiteral("expected"), finding.expected},
            {QStringLiteral("found"), finding.found},
            {QStringLiteral("advice"), finding.advice}};
}

QString conditionWord(Condition condition)
{
    switch (condition) {
    case Condition::Sound:
        return QStringLiteral("sound");
    case Condition::DamagedButReadable:
        return QStringLiteral("damaged");
    default:
        return QStringLiteral("unreadable");
    }
}

qint64 number(std::uint64_t value)
{
    return static_cast<qint64>(value);
}

} // namespace

void printVerification(const Verification& verification)
{
    QString summary = QStringLiteral("%1: %2 (%3, %4 frames")
                          .arg(escaped(verification.path), movietools::conditionText(verification.condition),
                               movietools::sizeText(verification.bytes))
                          .arg(verification.frames);
    if (verification.framesWithChecksum > 0)
        summary += QStringLiteral(", %1 compared with their checksums").arg(verification.framesWithChecksum);
    print(summary + QStringLiteral(")\n"));
    for (const Finding& finding : verification.findings.list())
        print(escaped(findingText(finding)) + QLatin1Char('\n'));
    for (const auto& [name, count] : verification.findings.counts())
        if (count > Findings::mostOfOneName)
            print(QStringLiteral("  ... and %1 more of %2\n").arg(count - Findings::mostOfOneName).arg(name));
}

QJsonObject verificationJson(const Verification& verification)
{
    QJsonArray findings;
    for (const Finding& finding : verification.findings.list())
        findings.append(findingJson(finding));
    QJsonObject counts;
    for (const auto& [name, count] : verification.findings.counts())
        counts.insert(name, number(count));
    return {{QStringLiteral("movie"), verification.path},
            {QStringLiteral("condition"), conditionWord(verification.condition)},
            {QStringLiteral("bytes"), number(verification.bytes)},
            {QStringLiteral("chunks"), number(verification.chunks)},
            {QStringLiteral("frames"), number(verification.frames)},
            {QStringLiteral("frames_with_checksum"), number(verification.framesWithChecksum)},
            {QStringLiteral("findings"), findings},
            {QStringLiteral("counts"), counts}};
}

} // namespace zd::tool
