#include <libdataio/chunkindex.h>

#include <libdataio/imagefilelayout.h>
#include <libdataio/report_p.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <type_traits>

namespace zd {

static Logger& logger = Logger::logger(QStringLiteral("dataio.chunkindex"));

namespace {

constexpr std::size_t countBytes = layout::indexCountBytes;
/// An entry of an index payload is a chunk type and a record, at any alignment.
constexpr std::size_t entryBytes = layout::indexRecordBytes;
constexpr std::size_t typeBytes = sizeof(std::uint32_t);
static_assert(sizeof(ChunkRecord) == entryBytes - typeBytes && std::is_trivially_copyable_v<ChunkRecord>,
              "entries hold records as they lie in memory");

std::uint32_t typeOf(const char* entry)
{
    std::uint32_t type = 0;
    std::memcpy(&type, entry, typeBytes);
    return type;
}

/// The end of the entries from `entry` on that share its type.
const char* endOfRun(const char* entry, const char* end)
{
    const std::uint32_t type = typeOf(entry);
    do
        entry += entryBytes;
    while (entry != end && typeOf(entry) == type);
    return entry;
}

void appendRecords(std::vector<ChunkRecord>& records, const char* entry, const char* end)
{
    std::size_t place = records.size();
    records.resize(place + static_cast<std::size_t>(end - entry) / entryBytes, ChunkRecord(0, 0));
    for (; entry != end; entry += entryBytes)
        std::memcpy(&records[place++], entry + typeBytes, sizeof(ChunkRecord));
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

    const char* entry = static_cast<const char*>(data) + countBytes;
    const char* end = static_cast<const char*>(data) + bytes;
    while (entry != end) {
        const char* run = entry;
        entry = endOfRun(run, end);
        appendRecords(m_records[typeOf(run)], run, entry);
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
            std::memcpy(out, &type, typeBytes);
            std::memcpy(out + typeBytes, &record, sizeof record);
            out += entryBytes;
        }
    }
}

} // namespace zd
