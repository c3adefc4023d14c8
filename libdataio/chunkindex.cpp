#include <libdataio/chunkindex.h>

#include <libdataio/imagefilelayout.h>
#include <libdataio/report_p.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace zd {

static Logger& logger = Logger::logger(QStringLiteral("dataio.chunkindex"));

namespace {

constexpr std::size_t countBytes = layout::indexCountBytes;
/// An entry of an index payload is a chunk type and a record, at any alignment.
constexpr std::size_t entryBytes = layout::indexRecordBytes;
/// So many entries are taken at a time.
constexpr std::size_t pieceEntries = 4096;
constexpr std::size_t wordBytes = sizeof(std::uint32_t);
static_assert(sizeof(ChunkRecord) == entryBytes - wordBytes && std::is_trivially_copyable_v<ChunkRecord>,
              "entries hold records as they lie in memory");

std::uint32_t wordAt(const char* bytes)
{
    std::uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

std::uint32_t typeOf(const char* entry)
{
    return wordAt(entry);
}

constexpr std::size_t blockEntries = 32;

/// Whether all entries of the block from `entry` on have that type.
bool isBlockOf(std::uint32_t type, const char* entry)
{
    // Without a branch for each, the compiler compares several at a time.
    std::uint32_t difference = 0;
    for (std::size_t i = 0; i < blockEntries; ++i)
        difference |= typeOf(entry + i * entryBytes) ^ type;
    return difference == 0;
}

/// The end of the entries from `entry` on that share its type.
const char* endOfRun(const char* entry, const char* end)
{
    constexpr std::ptrdiff_t blockBytes = blockEntries * entryBytes;
    const std::uint32_t type = typeOf(entry);
    while (end - entry >= blockBytes && isBlockOf(type, entry))
        entry += blockBytes;
    while (entry != end && typeOf(entry) == type)
        entry += entryBytes;
    return entry;
}

/// Walks over the records of entries. A list that is told their number beforehand appends them several times as fast
/// as one that gets them one by one.
class RecordIterator {
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = ChunkRecord;
    using difference_type = std::ptrdiff_t;
    using pointer = const ChunkRecord*;
    using reference = ChunkRecord;

    explicit RecordIterator(const char* entry) : m_entry(entry) {}

    ChunkRecord operator*() const { return {wordAt(m_entry + wordBytes), wordAt(m_entry + 2 * wordBytes)}; }
    RecordIterator& operator++()
    {
        m_entry += entryBytes;
        return *this;
    }
    RecordIterator& operator--()
    {
        m_entry -= entryBytes;
        return *this;
    }
    RecordIterator& operator+=(difference_type records)
    {
        m_entry += records * static_cast<difference_type>(entryBytes);
        return *this;
    }
    difference_type operator-(RecordIterator other) const
    {
        return (m_entry - other.m_entry) / static_cast<difference_type>(entryBytes);
    }
    bool operator==(const RecordIterator&) const = default;

private:
    const char* m_entry;
};

} // namespace

ChunkIndex::~ChunkIndex() = default;

void* ChunkIndex::save(int& size)
{
    const std::size_t bytes = payloadSize();
    auto payload = std::make_unique_for_overwrite<char[]>(bytes);
    writePayload(payload.get());
    size = static_cast<int>(bytes);
    return payload.release();
}

int ChunkIndex::load(const void* data, unsigned int size)
{
    const char* at = static_cast<const char*>(data);
    const auto next = [&at](std::size_t bytes) { return std::exchange(at, at + bytes); };
    return static_cast<int>(load(size, next).value_or(0));
}

std::optional<unsigned int> ChunkIndex::load(unsigned int size, const NextBytes& next)
{
    std::uint32_t count = 0;
    if (size >= countBytes) {
        const char* field = next(countBytes);
        if (field == nullptr)
            return std::nullopt;
        std::memcpy(&count, field, countBytes);
    }
    const std::uint64_t bytes = countBytes + std::uint64_t{entryBytes} * count;
    if (bytes > size)
        report::fail(logger, Library, "CI_L_CHUNK", QStringLiteral("Cannot read header index, chunk too small."),
                     DATAIO_HERE);

    for (std::size_t left = count; left > 0;) {
        const std::size_t entries = std::min(left, pieceEntries);
        const char* piece = next(entries * entryBytes);
        if (piece == nullptr)
            return std::nullopt;
        _append(piece, entries, left);
        left -= entries;
    }
    return static_cast<unsigned int>(bytes);
}

/// Appends entries, the first of the `expected` ones that are still to come.
void ChunkIndex::_append(const char* entry, std::size_t entries, std::size_t expected)
{
    const char* const end = entry + entries * entryBytes;
    while (entry != end) {
        const char* run = entry;
        entry = endOfRun(run, end);
        std::vector<ChunkRecord>& records = m_records[typeOf(run)];
        // A type that fills a whole piece goes on, mostly.
        if (entry == end && records.empty())
            records.reserve(expected);
        records.insert(records.end(), RecordIterator(run), RecordIterator(entry));
    }
}

void ChunkIndex::debugDump()
{
    std::printf("Chunk index----------------------\n");
    for (const auto& [type, records] : m_records) {
        int place = 0;
        for (const ChunkRecord& record : records)
            std::printf("index[%d][%d] -> first: off %d - len %d \n", static_cast<int>(type), place++,
                        static_cast<int>(record.offset), static_cast<int>(record.length));
    }
    std::printf("---------------------------------\n");
    std::fflush(stdout);
}

std::size_t ChunkIndex::payloadSize() const
{
    std::size_t count = 0;
    for (const auto& [type, records] : m_records)
        count += records.size();
    return payloadSize(count);
}

std::size_t ChunkIndex::payloadSize(std::size_t recordCount)
{
    constexpr std::size_t largest = std::numeric_limits<int>::max();
    if (recordCount > (largest - countBytes) / entryBytes)
        throw std::length_error("the chunk index has too many records");
    return countBytes + entryBytes * recordCount;
}

void ChunkIndex::writePayload(char* out) const
{
    const auto count = static_cast<std::uint32_t>((payloadSize() - countBytes) / entryBytes);
    std::memcpy(out, &count, countBytes);
    out += countBytes;
    for (const auto& [type, records] : m_records) {
        for (const ChunkRecord& record : records) {
            std::memcpy(out, &type, wordBytes);
            std::memcpy(out + wordBytes, &record, sizeof record);
            out += entryBytes;
        }
    }
}

} // namespace zd
