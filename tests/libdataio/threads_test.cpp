#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <QImage>

#include <atomic>
#include <thread>
#include <vector>

namespace zd {

namespace {

using namespace test;

constexpr int threadCount = 8;
constexpr int width = 16;
constexpr int height = 12;

std::string pixelsOf(int thread, int frame)
{
    return std::string(width * height, static_cast<char>(16 * thread + frame));
}

void record(ImageWriter& writer, const QString& path, int thread)
{
    writer.setRecordingLog(thread % 2 == 0);
    writer.create(path, true);
    writer.width(width);
    writer.height(height);
    writer.pixType(ZD_UCHAR);
    writer.addRasterFiberContinuousIndexes({1, 1, 2.5F, 3, 0, 4});
    for (int frame = 0; frame < 8; ++frame)
        writer.addFrame(pixelsOf(thread, frame).data(), 0.5F);
    writer.close();
}

void edit(ImageWriter& writer, const QString& path, int thread)
{
    writer.modify(path);
    writer.replaceFrame(pixelsOf(thread, 9).data(), 0, 0.25F);
    writer.setFirstFrame(1);
    writer.close();
    AttributeChunk attributes = writer.attributeChunk();
    attributes.set(QStringLiteral("comment"), thread);
    writer.modifyAttribute(path, attributes);
}

/// Whether the movie is as it was left.
bool review(ImageReader& reader, const QString& path, int thread)
{
    reader.open(path);
    bool right =
        reader.nbFrames() == 8 && reader.getFrameTimer().size() == 8 && reader.getComment() == QString::number(thread);
    for (int frame = 0; frame < 8; ++frame) {
        const void* data = nullptr;
        right = right && reader.nextFrame(data) &&
                pixelsOf(thread, frame == 7 ? 9 : frame + 1)
                        .compare(0, width * height, static_cast<const char*>(data), width * height) == 0;
    }
    QImage image;
    std::vector<float> fibers;
    reader.getRasterFiberContinuousIndexes(fibers, ImageReader::NoFiberFilteringSorted);
    return right && reader.thumbnail(image, 8, 6, 0) && fibers.size() == 6;
}

} // namespace

// Objects of different threads share nothing but the loggers.
TEST(Threads, WorkOnTheirOwnMovies)
{
    const NoSynchronisation noSynchronisation;
    const TemporaryDirectory directory;
    LogCapture log;
    std::atomic<int> running = threadCount;
    std::atomic<int> right = 0;
    const auto work = [&](int thread) {
        const QString path = directory.path("movie") + QString::number(thread);
        ImageWriter writer;
        ImageReader reader;
        for (int round = 0; round < 10; ++round) {
            record(writer, path, thread);
            edit(writer, path, thread);
            right += review(reader, path, thread) ? 1 : 0;
            try {
                reader.open(path + u'?');
            } catch (const IOFileException&) {
                ++right;
            }
        }
        --running;
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread)
        threads.emplace_back(work, thread);
    for (int level = 0; running > 0; level = (level + 1) % 4) {
        Logger::setLevel(QStringLiteral("*"), level);
        std::this_thread::yield();
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(right, 2 * 10 * threadCount);
    for (const LogRecord& record : log.records)
        EXPECT_EQ(record.code, QStringLiteral("FR_OF_STAT"));
}

} // namespace zd
