#include <libdataio/journalcontent_p.h>

#include <libdataio/besidefile_p.h>
#include <libdataio/chunkheader.h>
#include <libdataio/imagefilelayout.h>

#include <QCryptographicHash>
#include <QtEndian>

#include <algorithm>

namespace zd {

namespace {

constexpr qsizetype kindBytes = 1;
constexpr qsizetype numberBytes = 8;
constexpr qsizetype hashBytes = 20;
constexpr qsizetype fieldBytes = kindBytes + 2 * numberBytes;
constexpr qsizetype recordHeaderBytes = fieldBytes + hashBytes;
constexpr qsizetype signBytes = 3 * numberBytes + hashBytes;

constexpr std::int64_t longestNeck = 64 << 10;
/// A neck that is shorter does not tell movies apart: then the file must be the same.
constexpr std::int64_t tellingNeck = 80;

QByteArray hashOf(const QByteArray& first, const QByteArray& second = QByteArray())
{
    QCryptographicHash hash(QCryptographicHash::Sha1);
    hash.addData(first);
    hash.addData(second);
    return hash.result();
}

template <typename Number>
QByteArray encodedNumber(Number value)
{
    QByteArray bytes(numberBytes, '\0');
    qToLittleEndian(static_cast<qint64>(value), bytes.data());
    return bytes;
}

std::int64_t numberAt(const QByteArray& bytes, qsizetype at)
{
    return qFromLittleEndian<qint64>(bytes.constData() + at);
}

/// Whether an info payload holds the index that it announces.
bool holdsIndex(const QByteArray& payload)
{
    if (payload.size() < layout::indexCountBytes)
        return false;
    const std::int64_t records = qFromLittleEndian<quint32>(payload.constData());
    return layout::indexCountBytes + records * layout::indexRecordBytes <= payload.size();
}

/// Payload of the info chunk that ends at `end`, when its two headers agree and it holds its own index.
std::optional<QByteArray> infoEndingAt(int fd, std::int64_t end)
{
    const QByteArray endBytes = bytesAt(fd, end - layout::headerBytes, layout::headerBytes);
    ChunkEndHeader endHeader;
    if (endBytes.size() != layout::headerBytes || !endHeader.decode(endBytes.constData()) ||
        endHeader.type() != ZD_INFO_CHUNK)
        return std::nullopt;
    const std::int64_t size = endHeader.size();
    const QByteArray chunk = bytesAt(fd, end - layout::framingBytes - size, layout::headerBytes + size);
    ChunkStartHeader startHeader;
    if (chunk.size() != layout::headerBytes + size || !startHeader.decode(chunk.constData()) ||
        startHeader.type() != ZD_INFO_CHUNK || startHeader.size() != size)
        return std::nullopt;
    const QByteArray payload = chunk.mid(layout::headerBytes);
    return holdsIndex(payload) ? std::optional(payload) : std::nullopt;
}

QByteArray infoChunk(const QByteArray& payload)
{
    const auto size = static_cast<std::uint32_t>(payload.size());
    QByteArray chunk(2 * layout::headerBytes, '\0');
    ChunkStartHeader(ZD_INFO_CHUNK, size).encode(chunk.data());
    ChunkEndHeader(ZD_INFO_CHUNK, size).encode(chunk.data() + layout::headerBytes);
    return chunk.insert(layout::headerBytes, payload);
}

/// The byte of a piece of the movie that stands at `position`; 0, which is always allowed, where it has none.
char byteAt(const QByteArray& piece, qsizetype start, qsizetype position)
{
    return position >= start && position - start < piece.size() ? piece[position - start] : '\0';
}

/// Whether the movie's end, from where the new info chunk begins, holds nothing but old bytes, new bytes and zeros.
bool endsInMix(int movieFD, const JournalContent& content)
{
    const QByteArray chunk = infoChunk(content.newEnd->infoPayload);
    const std::int64_t start = content.newEnd->length - chunk.size();
    const std::int64_t length = lengthOf(movieFD);
    if (length > std::max(content.movieLength, content.newEnd->length))
        return false;
    const QByteArray end = bytesAt(movieFD, start, length - start);
    for (qsizetype i = 0; i < end.size(); ++i) {
        if (end[i] != '\0' && end[i] != byteAt(chunk, 0, i) &&
            end[i] != byteAt(content.tail, content.tailStart, start + i))
            return false;
    }
    return true;
}

/// Whether the frames before the tail are those of the journal's movie; pieces that were kept count as they were.
bool isSignedBy(int movieFD, const JournalContent& content, int journalFD)
{
    const MovieSign& sign = content.sign;
    const std::int64_t start = content.tailStart - sign.neckBytes;
    QByteArray neck = bytesAt(movieFD, start, sign.neckBytes);
    for (auto piece = content.pieces.rbegin(); piece != content.pieces.rend(); ++piece) {
        const std::int64_t from = std::max(start, piece->offset);
        const std::int64_t to = std::min<std::int64_t>(start + neck.size(), piece->offset + piece->length);
        if (from < to)
            neck.replace(from - start, to - from,
                         content.bytesOf(*piece, journalFD).mid(from - piece->offset, to - from));
    }
    return neck.size() == sign.neckBytes && hashOf(neck) == sign.neckHash &&
           (sign.neckBytes >= tellingNeck || identityOf(movieFD) == sign.file);
}

/// Whether the record is a piece of a movie of that length.
bool isPieceOf(const JournalRecord& record, std::int64_t movieLength)
{
    return record.kind == JournalRecord::Piece && record.number >= 0 &&
           record.number <= movieLength - record.bytes.size();
}

bool isEnd(const JournalRecord& record)
{
    return record.kind == JournalRecord::End && record.number >= layout::framingBytes + record.bytes.size() &&
           record.number <= static_cast<std::int64_t>(layout::largestSizeLimit);
}

/// The two records with which a journal begins.
std::optional<JournalContent> beginningOf(const JournalRecord& movie, const JournalRecord& tail)
{
    const std::optional<MovieSign> sign = MovieSign::decoded(movie.bytes);
    if (movie.kind != JournalRecord::Movie || !sign || !isPieceOf(tail, movie.number) ||
        tail.number + tail.bytes.size() != movie.number || sign->neckBytes > tail.number ||
        movie.number > static_cast<std::int64_t>(layout::largestSizeLimit))
        return std::nullopt;
    JournalContent content;
    content.movieLength = movie.number;
    content.sign = *sign;
    content.tailStart = tail.number;
    content.tail = tail.bytes;
    return content;
}

} // namespace

const QByteArray journalMark = QByteArrayLiteral("VQFJRNL2");

QByteArray JournalRecord::header(Kind kind, std::int64_t number, const QByteArray& bytes)
{
    const QByteArray fields = QByteArray(1, kind) + encodedNumber(number) + encodedNumber(bytes.size());
    return fields + hashOf(fields, bytes);
}

std::optional<JournalRecord> JournalRecord::at(int journalFD, std::int64_t at)
{
    const QByteArray header = bytesAt(journalFD, at, recordHeaderBytes);
    if (header.size() != recordHeaderBytes)
        return std::nullopt;
    const std::int64_t length = numberAt(header, kindBytes + numberBytes);
    const JournalRecord record{header[0], numberAt(header, kindBytes),
                               bytesAt(journalFD, at + recordHeaderBytes, length)};
    const bool whole =
        record.bytes.size() == length && hashOf(header.first(fieldBytes), record.bytes) == header.last(hashBytes);
    return whole ? std::optional(record) : std::nullopt;
}

std::int64_t JournalRecord::size() const
{
    return recordHeaderBytes + bytes.size();
}

MovieSign MovieSign::of(int movieFD, std::int64_t tailStart)
{
    const std::int64_t neckBytes = std::min(tailStart, longestNeck);
    const QByteArray neck = bytesAt(movieFD, tailStart - neckBytes, neckBytes);
    return {identityOf(movieFD).value_or(FileIdentity()), neckBytes, hashOf(neck)};
}

QByteArray MovieSign::encoded() const
{
    return encodedNumber(file.device) + encodedNumber(file.number) + encodedNumber(neckBytes) + neckHash;
}

std::optional<MovieSign> MovieSign::decoded(const QByteArray& bytes)
{
    if (bytes.size() != signBytes)
        return std::nullopt;
    MovieSign sign;
    sign.file.device = static_cast<std::uint64_t>(numberAt(bytes, 0));
    sign.file.number = static_cast<std::uint64_t>(numberAt(bytes, numberBytes));
    sign.neckBytes = numberAt(bytes, 2 * numberBytes);
    sign.neckHash = bytes.last(hashBytes);
    return sign.neckBytes >= 0 && sign.neckBytes <= longestNeck ? std::optional(sign) : std::nullopt;
}

std::optional<JournalContent> JournalContent::of(int journalFD)
{
    const std::optional<JournalRecord> movie = JournalRecord::at(journalFD, journalMark.size());
    std::int64_t at = movie ? journalMark.size() + movie->size() : 0;
    const std::optional<JournalRecord> tail = movie ? JournalRecord::at(journalFD, at) : std::nullopt;
    std::optional<JournalContent> content = tail ? beginningOf(*movie, *tail) : std::nullopt;
    if (!content)
        return std::nullopt;
    at += tail->size();
    while (const std::optional<JournalRecord> record = JournalRecord::at(journalFD, at)) {
        if (isEnd(*record))
            content->newEnd = {record->number, record->bytes};
        else if (isPieceOf(*record, content->movieLength))
            content->pieces.push_back({at, record->number, record->bytes.size()});
        at += record->size();
    }
    return content;
}

QByteArray JournalContent::oldInfo() const
{
    ChunkEndHeader header;
    if (tail.size() < layout::framingBytes || !header.decode(tail.constData() + tail.size() - layout::headerBytes) ||
        tail.size() < layout::framingBytes + header.size())
        return {};
    const QByteArray payload = tail.mid(tail.size() - layout::headerBytes - header.size(), header.size());
    return holdsIndex(payload) ? payload : QByteArray();
}

QByteArray JournalContent::bytesOf(const Piece& piece, int journalFD) const
{
    const std::optional<JournalRecord> record = JournalRecord::at(journalFD, piece.recordAt);
    return record && isPieceOf(*record, movieLength) ? record->bytes : QByteArray();
}

MovieState stateOf(int movieFD, const JournalContent& content, int journalFD)
{
    const std::int64_t length = lengthOf(movieFD);
    const std::optional<QByteArray> info = infoEndingAt(movieFD, length);
    const auto& newEnd = content.newEnd;
    const bool whole = info && ((length == content.movieLength && *info == content.oldInfo()) ||
                                (newEnd && length == newEnd->length && *info == newEnd->infoPayload));
    const bool torn = info ? newEnd && endsInMix(movieFD, content) : length >= content.tailStart;
    if ((!whole && !torn) || !isSignedBy(movieFD, content, journalFD))
        return MovieState::Another;
    return whole ? MovieState::Whole : MovieState::Torn;
}

} // namespace zd
