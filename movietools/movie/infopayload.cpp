#include <movietools/movie/infopayload.h>

#include <libdataio/imagefilelayout.h>

#include <QtEndian>

#include <algorithm>

namespace zd::movietools {

namespace {

constexpr std::int64_t countBytes = layout::indexCountBytes;
constexpr std::int64_t recordBytes = layout::indexRecordBytes;
constexpr std::int64_t wordBytes = recordBytes / 3; // type, offset, length

std::uint32_t wordAt(const QByteArray& bytes, std::int64_t offset)
{
    return qFromLittleEndian<quint32>(bytes.constData() + offset);
}

InfoPayload withRecords(const QByteArray& payload, std::int64_t records)
{
    InfoPayload info;
    info.declaredRecords = wordAt(payload, 0);
    info.holdsDeclaredRecords = countBytes + info.declaredRecords * recordBytes <= payload.size();
    info.entries.reserve(static_cast<std::size_t>(records));
    for (std::int64_t at = countBytes; at < countBytes + records * recordBytes; at += recordBytes)
        info.entries.push_back(
            {wordAt(payload, at), wordAt(payload, at + wordBytes), wordAt(payload, at + 2 * wordBytes)});
    info.textOffset = countBytes + records * recordBytes;
    info.text = payload.mid(info.textOffset);
    return info;
}

bool belongsToText(char character)
{
    const auto code = static_cast<unsigned char>(character);
    return (code >= 0x20 && code != 0x7F) || code == '\n' || code == '\t' || code == '\r' || code == '\a';
}

// Whether an attribute's line begins there: a name, "=" and no bytes that text does not have.
bool beginsWithAttribute(const QByteArray& payload, std::int64_t offset)
{
    bool hasName = false;
    for (qsizetype at = offset; at < payload.size() && payload[at] != '\n'; ++at) {
        if (!belongsToText(payload[at]))
            return false;
        hasName = hasName || (payload[at] == '=' && at > offset);
    }
    return hasName;
}

// Whether no record can begin there: the types of chunks are small numbers, and four characters a large one.
bool isNoRecord(const QByteArray& payload, std::int64_t offset)
{
    constexpr std::uint32_t smallestText = 1U << 24;
    return offset + recordBytes > payload.size() || wordAt(payload, offset) >= smallestText;
}

// Records before the header text: as few as have text behind them, or as many as declared when only the text that
// they lead to is damaged.
std::int64_t recordsBeforeText(const QByteArray& payload, const InfoPayload& declared)
{
    const std::int64_t most = (payload.size() - countBytes) / recordBytes;
    std::int64_t records = 0;
    while (records <= most && !beginsWithAttribute(payload, countBytes + records * recordBytes))
        ++records;
    const bool leadsToText =
        declared.holdsDeclaredRecords && declared.declaredRecords < records && isNoRecord(payload, declared.textOffset);
    if (leadsToText)
        return declared.declaredRecords;
    return std::min(records, most);
}

} // namespace

InfoPayload InfoPayload::asDeclared(const QByteArray& payload)
{
    if (payload.size() < countBytes)
        return {};
    const std::int64_t records = wordAt(payload, 0);
    const bool fits = countBytes + records * recordBytes <= payload.size();
    InfoPayload info = withRecords(payload, fits ? records : 0);
    if (!fits)
        info.text.clear();
    return info;
}

InfoPayload InfoPayload::salvaged(const QByteArray& payload, bool isCutShort)
{
    if (payload.size() < countBytes)
        return {};
    const InfoPayload declared = asDeclared(payload);
    InfoPayload info = withRecords(payload, recordsBeforeText(payload, declared));
    if (isCutShort)
        info.text.truncate(info.text.lastIndexOf('\n') + 1);
    return info;
}

} // namespace zd::movietools
