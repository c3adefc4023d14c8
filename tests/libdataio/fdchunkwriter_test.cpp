#include <libdataio/fdchunkwriter.h>
#include <tests/support/allocations.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/filesizelimit.h>
#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <QCoreApplication>
#include <QTranslator>

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>
#include <vector>

#include <sys/stat.h>

namespace zd {

namespace {

using namespace test;

constexpr const char* logger = "dataio.fdchunkwriter";
constexpr const char* headerLogger = "dataio.chunkheader";
constexpr std::uint32_t largestPosition = 0xFFFFFFFF;

// Boundaries at 0, 35, 67 and 104.
const std::string threeChunks = chunk(2, "ABC") + chunk(7, "") + chunk(5, "hello");

int add(FDChunkWriter& writer, unsigned int type, const std::string& payload)
{
    return writer.addChunk(type, payload.data(), static_cast<unsigned int>(payload.size()));
}

/// What a step leaves: the payload last read and the position.
struct State {
    std::string payload;
    unsigned int position;

    friend bool operator==(const State&, const State&) = default;
};

State stateOf(const FDChunkWriter& writer)
{
    return {std::string(static_cast<const char*>(writer.data()), static_cast<std::size_t>(writer.chunkSize())),
            writer.offset()};
}

class FDChunkWriterTest : public testing::Test {
protected:
    FDChunkWriter& on(const std::string& bytes, int flags = O_RDWR)
    {
        writeFile(m_path, bytes);
        return onPath(m_path, flags);
    }

    FDChunkWriter& onPath(const QString& path, int flags)
    {
        m_writer = std::make_unique<FDChunkWriter>();
        m_fd = Descriptor(path, flags).release();
        m_writer->setFD(m_fd);
        return *m_writer;
    }

    FDChunkWriter& onPipe()
    {
        ::mkfifo(m_directory.path("pipe").toUtf8().constData(), 0600);
        return onPath(m_directory.path("pipe"), O_RDWR);
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("chunks");
    std::unique_ptr<FDChunkWriter> m_writer;
    int m_fd = -1;
};

static_assert(!std::is_copy_constructible_v<FDChunkWriter> && !std::is_move_constructible_v<FDChunkWriter>);
static_assert(!std::is_copy_assignable_v<FDChunkWriter> && !std::is_move_assignable_v<FDChunkWriter>);

/// Answers every lookup, as a translator of the application would.
class Capitals : public QTranslator {
public:
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* text, const char*, int) const override
    {
        return QLatin1StringView(context) == QLatin1StringView("QObject") ? QString::fromLatin1(text).toUpper()
                                                                          : QString();
    }
};

} // namespace

TEST_F(FDChunkWriterTest, AppendsChunksAndOverwritesWhereItStands)
{
    FDChunkWriter& writer = on("");
    EXPECT_EQ(add(writer, 2, "0123456789"), 0);
    EXPECT_EQ(writer.addChunk(0x80000001, nullptr, 0), 42);
    EXPECT_EQ(add(writer, 5, "hello"), 74);
    EXPECT_EQ(writer.offset(), 111U);
    EXPECT_EQ(readFile(m_path), chunk(2, "0123456789") + chunk(0x80000001, "") + chunk(5, "hello"));

    EXPECT_TRUE(writer.seek(42));
    EXPECT_EQ(add(writer, 9, "xyz"), 42);
    EXPECT_EQ(readFile(m_path), chunk(2, "0123456789") + chunk(9, "xyz") + chunk(5, "hello").substr(3));
    EXPECT_EQ(writer.data(), nullptr);
    EXPECT_EQ(writer.chunkSize(), 0);
}

TEST_F(FDChunkWriterTest, AppendingTakesOneCallAndNoMemory)
{
    FDChunkWriter& writer = on("");
    const std::string payload(100000, 'p');
    const Allocations allocations;
    add(writer, 2, payload);
    EXPECT_EQ(allocations.count(), 0);
    const Faults faults;
    add(writer, 2, payload);
    EXPECT_EQ(faults.calls(), 1);
}

TEST_F(FDChunkWriterTest, ReadsChunksInBothDirections)
{
    FDChunkWriter& writer = on(threeChunks);
    EXPECT_FALSE(writer.prevChunk(2));
    EXPECT_FALSE(writer.seekPrev());
    ASSERT_TRUE(writer.nextChunk(2));
    const State first{"ABC", 35};
    EXPECT_EQ(stateOf(writer), first);
    EXPECT_FALSE(writer.nextChunk(2));
    EXPECT_FALSE(writer.prevChunk(7));
    EXPECT_EQ(stateOf(writer), first) << "another type changes nothing";
    ASSERT_TRUE(writer.nextChunk(7));
    EXPECT_EQ(stateOf(writer), (State{"", 67}));
    ASSERT_TRUE(writer.nextChunk(5));
    EXPECT_EQ(stateOf(writer), (State{"hello", 104}));
    EXPECT_FALSE(writer.nextChunk(5)) << "the end of the file";
    ASSERT_TRUE(writer.prevChunk(5));
    EXPECT_EQ(stateOf(writer), (State{"hello", 67}));
    ASSERT_TRUE(writer.prevChunk(7) && writer.prevChunk(2));
    EXPECT_EQ(stateOf(writer), (State{"ABC", 0}));

    EXPECT_TRUE(writer.seekEnd());
    EXPECT_TRUE(writer.seekPrev());
    EXPECT_EQ(stateOf(writer), (State{"ABC", 67}));
    EXPECT_TRUE(writer.seekPrev());
    EXPECT_FALSE(writer.seekPrev()) << "the file's first chunk";
    EXPECT_EQ(writer.offset(), 35U);
}

TEST_F(FDChunkWriterTest, ReplacesTheLastChunk)
{
    FDChunkWriter& writer = on(threeChunks);
    EXPECT_TRUE(writer.seekEnd() && writer.prevChunk(5));
    writer.truncateFile();
    EXPECT_EQ(readFile(m_path), threeChunks.substr(0, 67));
    EXPECT_EQ(add(writer, 6, "new"), 67);
    EXPECT_EQ(readFile(m_path), threeChunks.substr(0, 67) + chunk(6, "new"));
    EXPECT_TRUE(writer.seek(105));
    writer.truncateFile();
    EXPECT_EQ(writer.offset(), 105U);
    EXPECT_EQ(readFile(m_path), threeChunks.substr(0, 67) + chunk(6, "new") + std::string(3, '\0'));
}

// A chunk that no longer fits, for every number of bytes that still do.
TEST_F(FDChunkWriterTest, AChunkThatDoesNotFitIsReportedByThePartThatWasCut)
{
    const std::string whole = chunk(5, "hello");
    for (std::size_t room = 0; room < whole.size(); ++room) {
        FDChunkWriter& writer = on(threeChunks);
        writer.seekEnd();
        const bool payload = room >= 16 && room < 21;
        {
            const FileSizeLimit limit(threeChunks.size() + room);
            EXPECT_EQ(repeatedReportOf(payload ? logger : headerLogger, [&] { add(writer, 5, "hello"); }),
                      payload
                          ? (Report{"FDCW_AC_WRITE", withSystemText("Could not write all data: ", EFBIG), 4})
                          : (Report{"CHB_WFD_WRITE", withSystemText("Could not write chunk start header: ", EFBIG), 4}))
                << room;
        }
        EXPECT_EQ(readFile(m_path), threeChunks + whole.substr(0, room));
        EXPECT_EQ(writer.offset(), 104U);
        EXPECT_EQ(add(writer, 5, "hello"), 104) << "a second attempt overwrites the partial chunk";
        EXPECT_EQ(readFile(m_path), threeChunks + whole);
    }
}

TEST_F(FDChunkWriterTest, ReportsWhyAChunkCannotBeWritten)
{
    FDChunkWriter none;
    const Faults faults;
    EXPECT_EQ(repeatedReportOf(logger, [&] { none.addChunk(2, "x", 1); }),
              (Report{"FDCW_AC_BADFD", "Cannot write in a non openned file.", 0}));
    EXPECT_EQ(faults.calls(), 0);

    FDChunkWriter& pipe = onPipe();
    EXPECT_EQ(repeatedReportOf(logger, [&] { add(pipe, 2, "x"); }),
              (Report{"FDCW_AC_SEEK", "Cannot seek in file before writing data.", 0}));
    EXPECT_FALSE(pipe.seek(0) || pipe.seekEnd());

    FDChunkWriter& full = onPath(QStringLiteral("/dev/full"), O_RDWR);
    EXPECT_EQ(repeatedReportOf(headerLogger, [&] { add(full, 2, "x"); }).message,
              withSystemText("Could not write chunk start header: ", ENOSPC));

    FDChunkWriter& writer = on(threeChunks);
    EXPECT_EQ(repeatedReportOf(logger, [&] { writer.addChunk(2, nullptr, 3); }),
              (Report{"FDCW_AC_WRITE", withSystemText("Could not write all data: ", EFAULT), 4}));
    EXPECT_EQ(writer.offset(), 0U);
}

TEST_F(FDChunkWriterTest, AFailedOrPartialWriteIsCarriedOnOrReportedAndCanBeRepeated)
{
    const LogCapture silence(0);
    for (const Share share : {Share::Nothing, Share::OneByte, Share::Half, Share::AllButOne}) {
        for (const int error : {0, EINTR, ENOSPC, EDQUOT, EIO}) {
            FDChunkWriter& writer = on(threeChunks);
            writer.seekEnd();
            const bool passes = error == EINTR || (error == 0 && share != Share::Nothing);
            {
                const Faults faults({.at = 1, .error = error, .share = share, .among = call::writes});
                if (passes) {
                    EXPECT_EQ(add(writer, 5, "hello"), 104);
                } else {
                    EXPECT_THROW(add(writer, 5, "hello"), IOFileException) << error;
                }
                EXPECT_TRUE(faults.struck());
            }
            EXPECT_EQ(writer.offset(), passes ? 141U : 104U);
            EXPECT_TRUE(writer.seek(104));
            EXPECT_EQ(add(writer, 5, "hello"), 104);
            EXPECT_EQ(readFile(m_path), threeChunks + chunk(5, "hello"));
        }
    }
}

TEST_F(FDChunkWriterTest, NoChunkReachesBeyondTheLargestPosition)
{
    FDChunkWriter& writer = on("");
    const unsigned int last = largestPosition - 37;
    EXPECT_TRUE(writer.seek(last + 1));
    const Report tooLarge{"FDCW_AC_WRITE", withSystemText("Could not write all data: ", EFBIG), 4};
    EXPECT_EQ(repeatedReportOf(logger, [&] { add(writer, 5, "hello"); }), tooLarge);
    EXPECT_EQ(readFile(m_path), "") << "nothing was written";
    EXPECT_EQ(repeatedReportOf(logger, [&] { writer.addChunk(5, nullptr, largestPosition); }), tooLarge);

    EXPECT_TRUE(writer.seek(last));
    EXPECT_EQ(static_cast<unsigned int>(add(writer, 5, "hello")), last);
    EXPECT_EQ(writer.offset(), largestPosition);
    EXPECT_EQ(reportOf(logger, [&] { writer.addChunk(5, nullptr, 0); }), tooLarge);
    EXPECT_TRUE(writer.seek(0) && writer.seekEnd());
    EXPECT_TRUE(writer.prevChunk(5));
    EXPECT_EQ(stateOf(writer), (State{"hello", last}));
    EXPECT_TRUE(writer.nextChunk(5));

    // An embedded tail must not be taken for the end of a file that is longer than positions reach.
    EXPECT_TRUE(writer.seek(77));
    ASSERT_EQ(::ftruncate(m_fd, (off_t{1} << 32) + 309), 0);
    EXPECT_FALSE(writer.seekEnd());
    EXPECT_EQ(writer.offset(), 77U);
}

TEST_F(FDChunkWriterTest, NoStepGoesBeforeTheFile)
{
    for (const std::string& bytes : {std::string(4, '\0') + endHeader(5, 4), endHeader(5, 4), endHeader(5, 0),
                                     endHeader(5, 0xFFFFFFFF), std::string(30, 'x') + endHeader(5, 0xFFFFFFF0)}) {
        FDChunkWriter& writer = on(bytes);
        EXPECT_TRUE(writer.seekEnd());
        EXPECT_FALSE(writer.prevChunk(5));
        EXPECT_FALSE(writer.seekPrev());
        EXPECT_EQ(stateOf(writer), (State{"", static_cast<unsigned int>(bytes.size())}));
    }
}

TEST_F(FDChunkWriterTest, AShortPayloadIsFilledUpWithZeros)
{
    FDChunkWriter& writer = on(chunk(2, "QQQQQQQQQQ") + startHeader(2, 8) + "abc");
    ASSERT_TRUE(writer.nextChunk(2) && writer.nextChunk(2));
    EXPECT_EQ(stateOf(writer), (State{std::string("abc\0\0\0\0\0", 8), 82}));
    FDChunkWriter& larger = on(startHeader(2, 4000) + "abc");
    ASSERT_TRUE(larger.nextChunk(2));
    EXPECT_EQ(stateOf(larger), (State{"abc" + std::string(3997, '\0'), 4032}));
}

TEST_F(FDChunkWriterTest, ASizeFarBeyondTheFileIsNotBelieved)
{
    constexpr std::uint32_t believed = 64U << 20;
    for (const std::uint32_t size : {believed + 1, 0x7FFFFFFFU, 0xF0000000U, 0xFFFFFFDFU}) {
        FDChunkWriter& writer = on(startHeader(2, size));
        const Allocations allocations;
        EXPECT_EQ(repeatedReportOf(logger, [&] { writer.nextChunk(2); }),
                  (Report{"FDCW_NC_READ", withSystemText("Could not read next chunk data: ", ENOMEM), 4}));
        EXPECT_EQ(stateOf(writer), (State{"", 0}));
        EXPECT_LT(allocations.largest(), 10000U);
    }
    for (const std::uint32_t size : {0xFFFFFFE0U, 0xFFFFFFFFU})
        EXPECT_EQ(repeatedReportOf(logger, [&] { on(startHeader(2, size)).nextChunk(2); }).message,
                  withSystemText("Could not read next chunk data: ", EFBIG));
    EXPECT_TRUE(on(startHeader(2, believed)).nextChunk(2));
    EXPECT_EQ(m_writer->offset(), believed + 32);
}

TEST_F(FDChunkWriterTest, ABufferThatCannotGrowIsAFailedRead)
{
    FDChunkWriter& writer = on(chunk(2, std::string(100, 'a')) + chunk(2, std::string(10, 'b')) +
                               chunk(2, std::string(50, 'c')) + chunk(2, std::string(2000, 'd')));
    ASSERT_TRUE(writer.nextChunk(2));
    EXPECT_TRUE(writer.nextChunk(2));
    EXPECT_TRUE(writer.nextChunk(2));
    const State before{std::string(50, 'c'), 256};
    EXPECT_EQ(stateOf(writer), before);
    {
        const Allocations allocations({.above = 1999});
        EXPECT_EQ(repeatedReportOf(logger, [&] { writer.nextChunk(2); }),
                  (Report{"FDCW_NC_READ", withSystemText("Could not read next chunk data: ", ENOMEM), 4}));
        EXPECT_EQ(stateOf(writer), before);
        writer.seekEnd();
        EXPECT_EQ(repeatedReportOf(logger, [&] { writer.prevChunk(2); }),
                  (Report{"FDCW_PC_READ", withSystemText("Could not read previous chunk data: ", ENOMEM), 4}));
    }
    EXPECT_EQ(stateOf(writer).payload, before.payload);
    EXPECT_TRUE(writer.prevChunk(2));
    EXPECT_EQ(stateOf(writer), (State{std::string(2000, 'd'), 256}));
}

TEST_F(FDChunkWriterTest, ReportsWhatStopsAStep)
{
    const char* seekPrefix = "Cannot perform a seek in file: ";
    const char* previousPrefix = "Could not read previous chunk data: ";
    struct Case {
        bool forwards;
        unsigned int type;
        Calls among;
        int at;
        Report report;
        int sizeAfter;
    };
    const std::vector<Case> cases{
        {true, 9, call::seek, 2, {"FDCW_NC_SEEK", withSystemText(seekPrefix, EIO), 4}, 0},
        {true, 5, call::read, 2, {"FDCW_NC_READ", withSystemText("Could not read next chunk data: ", EIO), 4}, 5},
        {true, 5, call::fstat, 1, {"FDCW_NC_READ", withSystemText("Could not read next chunk data: ", EIO), 4}, 0},
        {false, 9, call::seek, 2, {"FDCW_PC_SEEK1", withSystemText(seekPrefix, EIO), 4}, 0},
        {false, 5, call::seek, 2, {"FDCW_PC_SEEK2", withSystemText(previousPrefix, EIO), 4}, 0},
        {false, 5, call::read, 2, {"FDCW_PC_READ", withSystemText(previousPrefix, EIO), 4}, 5},
    };
    for (const Case& step : cases) {
        FDChunkWriter& writer = on(threeChunks);
        const unsigned int position = step.forwards ? 67 : 104;
        writer.seek(position);
        const auto run = [&] {
            const Faults faults({.at = step.at, .error = EIO, .among = step.among});
            step.forwards ? writer.nextChunk(step.type) : writer.prevChunk(step.type);
        };
        EXPECT_EQ(reportOf(logger, run), step.report);
        EXPECT_EQ(writer.chunkSize(), step.sizeAfter);
        EXPECT_EQ(writer.offset(), position);
        EXPECT_TRUE(step.forwards ? writer.nextChunk(5) : writer.prevChunk(5)) << "repeated";
        EXPECT_EQ(stateOf(writer).payload, "hello");
    }

    FDChunkWriter& writer = on(withBytes(threeChunks, 34, "x"));
    EXPECT_TRUE(writer.nextChunk(2)) << "the end header is not looked at";
    EXPECT_EQ(repeatedReportOf(headerLogger, [&] { writer.prevChunk(2); }).code, "CHB_LFD_PARSE");
    EXPECT_EQ(repeatedReportOf(headerLogger, [&] { writer.seekPrev(); }).code, "CHB_LFD_PARSE");
    EXPECT_EQ(repeatedReportOf(headerLogger, [&] { onPipe().nextChunk(2); }).code, "CHB_LFD_SEEK");
    on(threeChunks.substr(0, 40)).seek(35);
    EXPECT_EQ(repeatedReportOf(headerLogger, [&] { m_writer->nextChunk(7); }).code, "CHB_LDF_READ");
}

TEST_F(FDChunkWriterTest, ReportsAFileThatCannotBeCut)
{
    FDChunkWriter& writer = on(threeChunks, O_RDONLY);
    writer.seek(35);
    EXPECT_EQ(repeatedReportOf(logger, [&] { writer.truncateFile(); }),
              (Report{"FDCW_TRUNC", withSystemText("Error while removing old index chunk:", EINVAL), 4}));
    EXPECT_EQ(writer.offset(), 35U);
    EXPECT_EQ(readFile(m_path), threeChunks);

    FDChunkWriter& interrupted = on(threeChunks);
    const Faults faults({.at = 1, .error = EINTR, .among = call::truncate});
    interrupted.truncateFile();
    EXPECT_EQ(readFile(m_path), "");
}

TEST_F(FDChunkWriterTest, FourTextsCanBeTranslatedAndNoCode)
{
    int argc = 0;
    const QCoreApplication application(argc, nullptr);
    Capitals capitals;
    QCoreApplication::installTranslator(&capitals);

    EXPECT_EQ(reportOf(logger, [] { FDChunkWriter().addChunk(2, "x", 1); }),
              (Report{"FDCW_AC_BADFD", "CANNOT WRITE IN A NON OPENNED FILE.", 0}));
    EXPECT_EQ(reportOf(logger, [&] { add(onPipe(), 2, "x"); }),
              (Report{"FDCW_AC_SEEK", "CANNOT SEEK IN FILE BEFORE WRITING DATA.", 0}));
    EXPECT_EQ(reportOf(logger, [&] { on("").addChunk(2, nullptr, 1); }),
              (Report{"FDCW_AC_WRITE", withSystemText("COULD NOT WRITE ALL DATA: ", EFAULT), 4}));
    EXPECT_EQ(reportOf(logger, [] { FDChunkWriter().truncateFile(); }),
              (Report{"FDCW_TRUNC", withSystemText("ERROR WHILE REMOVING OLD INDEX CHUNK:", EBADF), 4}));
    EXPECT_EQ(reportOf(logger, [&] { on(startHeader(2, 0x7FFFFFFF)).nextChunk(2); }).message,
              withSystemText("Could not read next chunk data: ", ENOMEM));
}

TEST_F(FDChunkWriterTest, ClosingKeepsAllButTheDescriptor)
{
    FDChunkWriter& writer = on(threeChunks);
    EXPECT_TRUE(writer.openned());
    writer.nextChunk(2);
    {
        const Faults faults({.at = 1, .error = EIO, .among = call::close});
        EXPECT_EQ(writer.closeFD(), -1) << "what the system said";
    }
    EXPECT_FALSE(isOpen(m_fd));
    EXPECT_FALSE(writer.openned());
    EXPECT_EQ(stateOf(writer), (State{"ABC", 35}));
    EXPECT_EQ(writer.closeFD(), -1);
    EXPECT_EQ(on("").closeFD(), 0);
    on("");
    m_writer.reset();
    EXPECT_FALSE(isOpen(m_fd));
}

TEST_F(FDChunkWriterTest, ConfirmsAChunkAndReservesRoom)
{
    FDChunkWriter& writer = on(threeChunks);
    EXPECT_NO_THROW(writer.requireChunk(67, 5, 5));
    const Report foreign{"CHB_LFD_PARSE", "Cannot read chunk header, file may be corrupted.", 0};
    const auto reportOfRequiring = [&](unsigned int position, unsigned int type, unsigned int size) {
        return reportOf(headerLogger, [&] { writer.requireChunk(position, type, size); });
    };
    EXPECT_EQ(reportOfRequiring(67, 5, 6), foreign);
    EXPECT_EQ(reportOfRequiring(67, 6, 5), foreign);
    EXPECT_EQ(reportOfRequiring(66, 5, 5), foreign);
    EXPECT_EQ(reportOfRequiring(104, 5, 5), foreign);
    EXPECT_EQ(writer.offset(), 0U);

    for (const int error : {ENOSPC, EDQUOT, EFBIG}) {
        const Faults faults({.at = 1, .error = error, .lasting = true, .among = call::allocate});
        EXPECT_EQ(repeatedReportOf(logger, [&] { writer.reserve(1000); }),
                  (Report{"FDCW_AC_WRITE", withSystemText("Could not write all data: ", error), 4}));
    }
    const Faults faults({.at = 1, .error = EOPNOTSUPP, .among = call::allocate});
    EXPECT_NO_THROW(writer.reserve(1000));
    EXPECT_NO_THROW(writer.reserve(1000));
    EXPECT_EQ(readFile(m_path), threeChunks);
}

} // namespace zd
