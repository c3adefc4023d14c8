#include <libdataio/fdchunkwriter.h>
#include <libdataio/filereserve_p.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <utility>
#include <vector>

#include <linux/magic.h>

namespace zd {

namespace {

using namespace test;

constexpr std::int64_t step = FileReserve::step;
constexpr std::int64_t smallest = FileReserve::smallestFile;

using Extents = std::vector<std::pair<std::int64_t, std::int64_t>>; // offsets and lengths

/// Stands in for the disk while it lives: says what file system and room there are, notes what is reserved and
/// where files are cut. Reserving takes effect as far as the real file system goes along.
class Disk {
public:
    Disk()
    {
        current = this;
        systemCalls.fstatfs = [](int, struct statfs* out) {
            ++current->questions;
            *out = {};
            out->f_type = current->type;
            out->f_bsize = 4096;
            out->f_bavail = current->freeBlocks;
            errno = EIO;
            return current->tells ? 0 : -1;
        };
        systemCalls.fallocate = [](int fd, int mode, off_t offset, off_t length) {
            EXPECT_EQ(mode, FALLOC_FL_KEEP_SIZE);
            current->reserved.push_back({offset, length});
            if (current->error == 0)
                current->m_system.fallocate(fd, mode, offset, length);
            errno = current->error;
            return current->error == 0 ? 0 : -1;
        };
        systemCalls.ftruncate = [](int fd, off_t length) {
            current->cuts.push_back(length);
            return current->m_system.ftruncate(fd, length);
        };
    }
    Disk(const Disk&) = delete;
    Disk& operator=(const Disk&) = delete;
    ~Disk() { systemCalls = m_system; }

    bool tells = true;
    decltype(statfs::f_type) type = EXT4_SUPER_MAGIC;
    decltype(statfs::f_bavail) freeBlocks = FileReserve::smallestRoom / 4096 + 1;
    int error = 0; ///< of reserving

    int questions = 0;
    Extents reserved;
    std::vector<std::int64_t> cuts;

private:
    static inline Disk* current = nullptr;
    const SystemCalls m_system = systemCalls;
};

class FileReserveTest : public testing::Test {
protected:
    /// A growing file: a write to [start, end) is announced, then made.
    void write(std::int64_t start, std::int64_t end)
    {
        m_reserve.prepare(m_file.get(), start, end);
        m_file.put(end - 1, "x");
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("file");
    const Descriptor m_file{m_path, O_RDWR | O_CREAT};
    Disk m_disk;
    FileReserve m_reserve;
};

} // namespace

TEST_F(FileReserveTest, GoesAheadOfAGrowingFileInSteps)
{
    write(0, smallest);
    EXPECT_EQ(m_disk.questions, 0) << "a small file";
    write(smallest, smallest + 1);
    write(smallest + 1, smallest + step);
    write(smallest, smallest + step);
    EXPECT_EQ(m_disk.reserved, (Extents{{smallest, step}}));

    write(smallest + step - 10, smallest + step + 10);
    const std::int64_t end = smallest + 2 * step;
    write(end - 5, end);
    write(end + 100, end + 100 + 3 * step);
    EXPECT_EQ(m_disk.reserved, (Extents{{smallest, step}, {smallest + step, step}, {end + 100, 3 * step}}))
        << "behind a gap; longer than a step";
}

TEST_F(FileReserveTest, NeedsNoneForWhatTheFileHolds)
{
    m_file.put(4 * step, "x");
    write(step, 2 * step);
    write(0, 4 * step + 1);
    m_reserve.giveBack(m_file.get());
    EXPECT_TRUE(m_disk.reserved.empty() && m_disk.cuts.empty());
    write(4 * step, 4 * step + 10);
    m_reserve.cutAt(3 * step);
    ASSERT_EQ(::ftruncate(m_file.get(), 3 * step), 0);
    write(3 * step, 3 * step + 1);
    EXPECT_EQ(m_disk.reserved, (Extents{{4 * step + 1, step}, {3 * step, step}})) << "grown, then cut and grown again";
}

TEST_F(FileReserveTest, LeavesAloneWhatGainsNothing)
{
    const auto expectLeftAlone = [this](const char* why) {
        m_disk.questions = 0;
        m_reserve = FileReserve();
        m_reserve.prepare(m_file.get(), smallest, smallest + 1);
        m_reserve.prepare(m_file.get(), smallest + 1, smallest + 2);
        EXPECT_EQ(m_disk.questions, 1) << why;
        EXPECT_EQ(m_disk.reserved, Extents()) << why;
    };
    m_disk.type = TMPFS_MAGIC;
    expectLeftAlone("in memory");
    m_disk.type = EXT4_SUPER_MAGIC;
    --m_disk.freeBlocks;
    expectLeftAlone("little room");
    ++m_disk.freeBlocks;
    m_disk.tells = false;
    expectLeftAlone("an unknown file system");

    m_disk.tells = true;
    for (const int error : {EOPNOTSUPP, ENOSPC, EDQUOT}) {
        m_disk.error = error;
        m_disk.reserved.clear();
        m_disk.cuts.clear();
        m_reserve = FileReserve();
        write(smallest, smallest + 1);
        write(smallest + 1, smallest + 2);
        EXPECT_EQ(m_disk.reserved, Extents({{smallest, step}})) << "one attempt";
        EXPECT_EQ(m_disk.cuts.size(), 1U) << "of a failed call, too, a part may stay";
        ASSERT_EQ(::ftruncate(m_file.get(), smallest), 0);
    }
}

TEST_F(FileReserveTest, IsGivenBackWhenTheWriterCloses)
{
    const auto openWriter = [this](FDChunkWriter& writer) {
        m_disk.reserved.clear();
        m_disk.cuts.clear();
        writer.setFD(Descriptor(m_path, O_RDWR | O_TRUNC).release());
        writer.seek(smallest);
        writer.addChunk(2, "ABC", 3);
        EXPECT_EQ(m_disk.reserved, Extents({{smallest, step}}));
    };
    FDChunkWriter writer;
    openWriter(writer);
    writer.truncateFile();
    EXPECT_EQ(writer.closeFD(), 0);
    EXPECT_EQ(m_disk.cuts.size(), 1U) << "the cut gave it back already";

    openWriter(writer);
    EXPECT_EQ(writer.closeFD(), 0);
    EXPECT_EQ(m_disk.cuts, std::vector<std::int64_t>({smallest + 35}));

    // A write that the disk refuses leaves the room that was asked for, and no more, until the file is closed.
    m_disk.reserved.clear();
    writer.setFD(Descriptor(m_path, O_RDWR).release());
    writer.seek(10);
    m_disk.error = ENOSPC;
    EXPECT_EQ(codeOf([&] { writer.reserve(77); }), "FDCW_AC_WRITE");
    EXPECT_EQ(m_disk.reserved, Extents({{10, 77}}));
    const Faults faults({.at = 1, .error = EIO, .lasting = true, .among = call::truncate});
    EXPECT_EQ(writer.closeFD(), 0) << "a help that fails harms nobody";
    EXPECT_TRUE(faults.struck());
}

} // namespace zd
