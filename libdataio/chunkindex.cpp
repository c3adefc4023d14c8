#include <libdataio/chunkindex.h>

#include <libdataio/imagefilelayout.h>
#include <libdataio/report_p.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>

namespace zd {

static Logger& logger = Logger::logger(QStringLiteral("dataio.chunkindex"));

namespace {

/// Entry of an index payload, fields in the order in which they are stored.
struct IndexEntry {
    std::uint32_t type;
    std::uint32_t offset;
    std::uint32_t length;
};
static_assert(sizeof(IndexEntry) == layout::indexRecordBytes);

constexpr std::size_t countBytes = layout::indexCountBytes;
constexpr std::size_t entryBytes = layout::indexRecordBytes;

/// The entries of an index payload, at any alignment.
class IndexEntries {
public:
    IndexEntries(const char* first, std::size_t count) : m_first(first), m_count(count) {}

    std::size_t count() const { return m_count; }

    IndexEntry operator[](std::size_t i) const
    {
        IndexEntry entry;
        std::memcpy(&entry, m_first + i * entryBytes, entryBytes);
        return entry;
    }

    /// One past the last of the entries from `first` on that share its type.
    std::size_t endOfRun(std::size_t first) const
    {
        const std::uint32_t type = (*this)[first].type;
        std::size_t end = first + 1;
        while (end < m_count && (*this)[end].type == type)
            ++end;
        return end;
    }

private:
    const char* m_first;
    std::size_t m_count;
};

/// Makes room for `more` records, growing so that many short runs of one type stay linear.
void makeRoom(std::vector<ChunkRecord>& records, std::size_t more)
{
    const std::size_t needed = records.size() + more;
    if (needed > records.capacity())
        records.reserve(std::max(needed, 2 * records.capacity()));
}

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
    std::uint32_t count = 0;
    if (size >= countBytes)
        std::memcpy(&count, data, countBytes);
    const std::uint64_t bytes = countBytes + std::uint64_t{entryBytes} * count;
    if (bytes > size)
        report::fail(logger, Library, "CI_L_CHUNK", QStringLiteral("Cannot read header index, chunk too small."),
                     DATAIO_HERE);

    const IndexEntries entries(static_cast<const char*>(data) + countBytes, count);
    for (std::size_t first = 0; first < entries.count();) {
        const std::size_t end = entries.endOfRun(first);
        std::vector<ChunkRecord>& records = m_records[entries[first].type];
        makeRoom(records, end - first);
        for (; first < end; ++first)
            records.emplace_back(entries[first].offset, entries[first].length);
    }
    return static_cast<int>(bytes);
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
            const IndexEntry entry{type, record.offset, record.length};
            std::memcpy(out, &entry, entryBytes);
            out += entryBytes;
        }
    }
}

} // namespace zd
