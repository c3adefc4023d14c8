#include <movietools/movie/checksum.h>

#include <movietools/job/joberror.h>

#include <QtEndian>

#include <algorithm>
#include <array>

#include <zlib.h>

namespace zd::movietools {

namespace {

const QString valuePrefix = QStringLiteral("crc32:");
constexpr qsizetype checksumBytes = 4;
constexpr std::int64_t blockBytes = std::int64_t{1} << 18;

std::uint32_t extended(std::uint32_t checksum, const char* bytes, std::int64_t size)
{
    return static_cast<std::uint32_t>(
        crc32_z(checksum, reinterpret_cast<const Bytef*>(bytes), static_cast<z_size_t>(size)));
}

std::uint32_t extendedByPayload(std::uint32_t checksum, const ByteSource& movie, const WalkedPiece& chunk)
{
    std::vector<char> block(static_cast<std::size_t>(std::min<std::int64_t>(chunk.size, blockBytes)));
    for (std::int64_t done = 0; done < chunk.size;) {
        const std::int64_t wanted = std::min<std::int64_t>(chunk.size - done, blockBytes);
        const std::int64_t got = movie.read(chunk.payload() + done, block.data(), wanted);
        if (got <= 0)
            refuse({}, QStringLiteral("became shorter while it was read"), QStringLiteral("try again"));
        checksum = extended(checksum, block.data(), got);
        done += got;
    }
    return checksum;
}

void appendWord(QByteArray& bytes, std::uint32_t value)
{
    char word[checksumBytes];
    qToLittleEndian(value, word);
    bytes.append(word, checksumBytes);
}

std::uint32_t extendedByFields(std::uint32_t checksum, std::uint32_t type, std::uint32_t size)
{
    QByteArray fields;
    appendWord(fields, type);
    appendWord(fields, size);
    return extended(checksum, fields.constData(), fields.size());
}

} // namespace

QString MovieChecksums::text() const
{
    QByteArray bytes;
    appendWord(bytes, sideData);
    for (const std::uint32_t frame : frames)
        appendWord(bytes, frame);
    return valuePrefix + QString::fromLatin1(bytes.toBase64(QByteArray::OmitTrailingEquals));
}

std::optional<MovieChecksums> MovieChecksums::fromText(const QString& text)
{
    if (!text.startsWith(valuePrefix))
        return std::nullopt;
    const auto decoded = QByteArray::fromBase64Encoding(text.mid(valuePrefix.size()).toLatin1(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.size() < checksumBytes || decoded.decoded.size() % checksumBytes != 0)
        return std::nullopt;
    MovieChecksums checksums;
    checksums.sideData = qFromLittleEndian<quint32>(decoded.decoded.constData());
    for (qsizetype at = checksumBytes; at < decoded.decoded.size(); at += checksumBytes)
        checksums.frames.push_back(qFromLittleEndian<quint32>(decoded.decoded.constData() + at));
    return checksums;
}

std::uint32_t payloadChecksum(const char* payload, std::int64_t size)
{
    return extended(0, payload, size);
}

std::uint32_t payloadChecksum(const ByteSource& movie, const WalkedPiece& chunk)
{
    return extendedByPayload(0, movie, chunk);
}

std::uint32_t sideDataChecksum(const ByteSource& movie, const std::vector<WalkedPiece>& chunks)
{
    std::uint32_t checksum = 0;
    for (const WalkedPiece& chunk : chunks)
        checksum = extendedByPayload(extendedByFields(checksum, chunk.type, chunk.size), movie, chunk);
    return checksum;
}

std::uint32_t sideDataChecksum(const std::vector<std::pair<std::uint32_t, QByteArray>>& chunks)
{
    std::uint32_t checksum = 0;
    for (const auto& [type, payload] : chunks)
        checksum = extended(extendedByFields(checksum, type, static_cast<std::uint32_t>(payload.size())),
                            payload.constData(), payload.size());
    return checksum;
}

} // namespace zd::movietools
