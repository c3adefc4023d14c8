#include <recording/recordingqueue.h>

#include <recording/frameclock_p.h>
#include <recording/recordingmonitor.h>
#include <tests/recording/framepictures.h>
#include <tests/recording/slowdisk.h>
#include <tests/support/allocations.h>
#include <tests/support/measures.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <cstddef>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zd {

namespace {

using namespace test;
using namespace std::chrono_literals;

class Queue : public testing::Test {
protected:
    Queue() { startMovie(); }

    void startMovie()
    {
        m_movie.create(m_path, false);
        giveHeader(m_movie);
    }
    static RecordingQueueOptions options(std::size_t frames, WhenFull whenFull)
    {
        return {.capacityFrames = frames, .whenFull = whenFull};
    }
    static bool push(RecordingQueue& queue, int number)
    {
        return queue.push(picture(number).data(), pictureBytes, timeval{number, 5}, 0.5F);
    }
    /// The frames of the movie, once that is closed.
    std::vector<std::string> recorded()
    {
        m_movie.close();
        const std::string bytes = readFile(m_path);
        walkMovie(bytes);
        return framesOf(bytes);
    }
    std::string header() { return headerText(readFile(m_path)); }
    static void expectBalance(const RecordingStatistics& now)
    {
        EXPECT_EQ(now.offered, now.stored + now.dropped + now.passed + now.depth);
        EXPECT_GE(now.depth, 0);
        EXPECT_LE(now.depth, now.capacity + 1); // a leased frame has a place of its own
    }
    /// Waits until the writing thread is held up by the disk, and the queue is empty but for its frame.
    void occupy(RecordingQueue& queue)
    {
        m_disk.hold();
        ASSERT_TRUE(push(queue, 0));
        m_disk.awaitWrite();
    }

    SlowDisk m_disk;
    const TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie.vqf");
    ImageWriter m_movie;
};

TEST_F(Queue, StoresInOrderWhileOthersLookOn)
{
    constexpr int count = 3000;
    RecordingQueue queue(m_movie, options(3, WhenFull::Block));
    std::atomic<bool> ended = false;
    std::thread observer([&] {
        std::int64_t offered = 0;
        while (!ended) {
            const RecordingStatistics now = queue.statistics();
            expectBalance(now);
            EXPECT_GE(now.offered, offered);
            offered = now.offered;
            if (const auto newest = queue.latest()) {
                EXPECT_EQ(std::string(newest->samples.data(), pictureBytes), picture(newest->note.time.tv_sec));
            }
        }
    });
    for (int number = 0; number < count; ++number) {
        if (number % 3 != 0) {
            ASSERT_TRUE(push(queue, number));
            continue;
        }
        std::memcpy(queue.lease(), picture(number).data(), pictureBytes);
        ASSERT_TRUE(queue.commit(pictureBytes, timeval{number, 5}, 0.5F));
    }
    EXPECT_TRUE(queue.flush(RecordingQueue::Sync));
    EXPECT_EQ(queue.statistics().stored, count);
    queue.close();
    ended = true;
    observer.join();

    EXPECT_EQ(recorded(), pictures(0, count));
    ImageReader reader(m_path);
    ASSERT_EQ(reader.getFrameTimer().size(), std::size_t{count});
    EXPECT_EQ(reader.getFrameTimer()[count - 1], (timeval{count - 1, 5}));
    float power = 0;
    EXPECT_TRUE(reader.getLaserPower(17, power) && std::abs(power - 0.5F) < 0.01F);
}

TEST_F(Queue, ServesTwoThreadsOneAfterTheOther)
{
    RecordingQueue queue(m_movie, options(4, WhenFull::Block));
    const auto pushHundred = [&](int first) {
        for (int number = first; number < first + 100; ++number)
            EXPECT_TRUE(queue.push(picture(number).data(), pictureBytes, -1));
    };
    std::thread other(pushHundred, 1000);
    pushHundred(0);
    other.join();
    queue.close();
    const std::vector<std::string> frames = recorded();
    ASSERT_EQ(frames.size(), 200U);
    for (const int first : {0, 1000}) { // the frames of each thread are all there, in their order
        const std::vector<std::string> expected = pictures(first, first + 100);
        std::size_t found = 0;
        for (const std::string& frame : frames)
            found += found < expected.size() && frame == expected[found] ? 1 : 0;
        EXPECT_EQ(found, expected.size());
    }
}

TEST_F(Queue, DropsCountsAndNamesWhatFindsItFull)
{
    RecordingQueue queue(m_movie, options(4, WhenFull::Drop));
    occupy(queue);
    int taken = 1;
    for (int number = 1; number < 10; ++number) // 4 to 9 are lost
        taken += push(queue, number) ? 1 : 0;
    EXPECT_EQ(taken, 4);
    EXPECT_EQ(queue.lease(), nullptr);
    const RecordingStatistics full = queue.statistics();
    expectBalance(full);
    EXPECT_EQ(full.dropped, 7);
    EXPECT_EQ(full.deepest, 4);
    m_disk.release();
    queue.flush();
    EXPECT_TRUE(push(queue, 11));
    queue.close();
    EXPECT_EQ(queue.droppedFrames(), (std::vector<FrameRange>{{4, 10}}));
    std::vector<std::string> expected = pictures(0, 4);
    expected.push_back(picture(11));
    EXPECT_EQ(recorded(), expected);
    EXPECT_NE(header().find("dropped_frames=7\ndropped_ranges=4-10\n"), std::string::npos) << header();
}

TEST_F(Queue, RefusesOrWaits)
{
    {
        RecordingQueue queue(m_movie, options(1, WhenFull::Refuse));
        occupy(queue);
        EXPECT_FALSE(push(queue, 1));
        EXPECT_EQ(queue.lease(), nullptr);
        EXPECT_EQ(queue.statistics().refused, 2);
        expectBalance(queue.statistics());
        m_disk.release();
    }
    RecordingQueue queue(m_movie, options(1, WhenFull::Block));
    m_disk.hold();
    push(queue, 1);
    std::atomic<bool> returned = false;
    std::thread blocked([&] {
        push(queue, 2);
        returned = true;
    });
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(returned);
    m_disk.release();
    blocked.join();
    queue.close();
    EXPECT_EQ(recorded(), pictures(0, 3));
}

TEST_F(Queue, KeepsThePromisedFramesBeforeATrigger)
{
    RecordingQueue queue(m_movie, options(32, WhenFull::Drop));
    queue.arm(10);
    for (int number = 0; number < 35; ++number)
        EXPECT_TRUE(push(queue, number)); // more than the pool holds
    EXPECT_EQ(queue.statistics().depth, 10);
    EXPECT_EQ(queue.statistics().passed, 25);
    expectBalance(queue.statistics());
    EXPECT_EQ(queue.trigger(), 10);
    queue.disarm(3);
    for (int number = 35; number < 50; ++number)
        EXPECT_TRUE(push(queue, number)); // 35 to 37 are stored
    EXPECT_EQ(queue.statistics().state, RecordingState::Stopped);
    queue.flush();
    queue.arm(4s); // of a second each
    for (int number = 50; number < 60; ++number)
        push(queue, number);
    EXPECT_EQ(queue.trigger(), 5); // 55 to 59
    queue.disarm(2s);              // 60 and 61
    for (int number = 60; number < 70; ++number)
        push(queue, number);
    EXPECT_EQ(queue.latest()->note.time.tv_sec, 69);
    queue.close();
    std::vector<std::string> expected = pictures(25, 38);
    for (const std::string& frame : pictures(55, 62))
        expected.push_back(frame);
    EXPECT_EQ(recorded(), expected);
    EXPECT_EQ(ImageReader(m_path).getFrameTimer()[13], (timeval{55, 5})); // its own time
}

/// A trigger from another thread, at any moment: no frame is missing in the middle.
TEST_F(Queue, TriggersWithoutAGap)
{
    for (int round = 0; round < 20; ++round) {
        RecordingQueue queue(m_movie, options(64, WhenFull::Block));
        queue.arm(8);
        std::thread trigger([&] {
            std::this_thread::sleep_for(std::chrono::microseconds{50 * round});
            queue.trigger();
        });
        int number = 0;
        while (queue.statistics().state == RecordingState::Armed)
            push(queue, number++);
        trigger.join();
        for (int more = 0; more < 5; ++more)
            push(queue, number++);
        queue.close();
        const std::vector<std::string> frames = recorded();
        ASSERT_GE(frames.size(), 5U);
        EXPECT_EQ(frames, pictures(number - static_cast<int>(frames.size()), number));
        EXPECT_GE(frames.size(), std::min<std::size_t>(13, static_cast<std::size_t>(number)));
        startMovie();
    }
}

TEST_F(Queue, DeliversFailuresAndLosesNothing)
{
    RecordingQueue queue(m_movie, options(8, WhenFull::Block));
    push(queue, 0);
    queue.flush();
    m_disk.fail(ENOSPC);
    push(queue, 1);
    EXPECT_EQ(reportedBy([&] { queue.flush(); }), "CHB_WFD_WRITE");
    EXPECT_EQ(reportedBy([&] { push(queue, 2); }), "CHB_WFD_WRITE");
    EXPECT_TRUE(queue.statistics().failed);

    ASSERT_EQ(queue.waiting().size(), 1U);
    EXPECT_EQ(std::string(static_cast<const char*>(queue.waiting()[0].samples), pictureBytes), picture(1));
    EXPECT_EQ(queue.waiting()[0].note.number, 1);

    m_disk.fail(0);
    queue.retry();
    EXPECT_TRUE(push(queue, 2));
    queue.flush();
    m_disk.fail(EIO);
    push(queue, 3);
    EXPECT_EQ(reportedBy([&] { queue.close(); }), "CHB_WFD_WRITE");
    expectBalance(queue.statistics());
    queue.abandon();
    expectBalance(queue.statistics());
    m_disk.fail(0);
    queue.close();
    EXPECT_EQ(queue.statistics().stored, 3);
    EXPECT_EQ(queue.statistics().dropped, 1);
    EXPECT_EQ(queue.droppedFrames(), (std::vector<FrameRange>{{3, 3}}));
    EXPECT_EQ(recorded(), pictures(0, 3));
}

TEST_F(Queue, EndsWhateverHappens)
{
    {
        RecordingQueue queue(m_movie, options(8, WhenFull::Block));
        occupy(queue);
        std::thread blocked([&] { // more than fit: the last ones wait when the disk fails
            EXPECT_EQ(reportedBy([&] {
                          for (int number = 1; number < 100; ++number)
                              push(queue, number);
                      }),
                      "CHB_WFD_WRITE");
        });
        while (queue.statistics().depth < 8)
            std::this_thread::yield();
        m_disk.fail(ENOSPC);
        m_disk.release();
        blocked.join();
    }
    m_disk.fail(0);
    EXPECT_TRUE(recorded().empty());
    EXPECT_NE(header().find("dropped_ranges=0-7\n"), std::string::npos) << header();
}

TEST_F(Queue, RefusesBadInput)
{
    EXPECT_EQ(reportedBy([&] { RecordingQueue(m_movie, {.capacityBytes = 100}); }), "RQ_CAPACITY");
    EXPECT_EQ(reportedBy([&] { RecordingQueue(m_movie, {.frameBytes = std::size_t{1} << 40}); }), "RQ_FRAME");
    EXPECT_EQ(reportedBy([&] { RecordingQueue(m_movie, {.capacityFrames = std::size_t{1} << 60}); }), "RQ_MEMORY");
    RecordingQueue queue(m_movie, options(4, WhenFull::Refuse));
    const std::string frame = picture(0);
    EXPECT_EQ(reportedBy([&] { queue.push(frame.data(), pictureBytes - 1, 0); }), "RQ_FRAME");
    EXPECT_EQ(reportedBy([&] { queue.commit(pictureBytes, 0); }), "RQ_LEASE");
    EXPECT_NE(queue.lease(), nullptr);
    EXPECT_EQ(reportedBy([&] { queue.lease(); }), "RQ_LEASE");
    EXPECT_EQ(reportedBy([&] { queue.commit(pictureBytes + 1, 0); }), "RQ_FRAME");
    queue.giveBack();
    EXPECT_EQ(reportedBy([&] { queue.arm(std::size_t{0}); }), "RQ_ARM");
    EXPECT_EQ(reportedBy([&] { queue.arm(5); }), "RQ_ARM");
    EXPECT_EQ(queue.latest(), nullptr);
    queue.close();
    queue.close();
    EXPECT_EQ(reportedBy([&] { push(queue, 0); }), "RQ_CLOSED");
    EXPECT_EQ(reportedBy([&] { queue.flush(RecordingQueue::Sync); }), "RQ_CLOSED");
    EXPECT_TRUE(recorded().empty());

    ImageWriter unsized;
    unsized.create(m_directory.path("other.vqf"), false);
    EXPECT_EQ(reportedBy([&] { RecordingQueue(unsized, {}); }), "RQ_FRAME");
    unsized.create(m_directory.path("other.vqf"), true);
    EXPECT_EQ(reportedBy([&] { RecordingQueue(unsized, {.frameBytes = 8}); }), "RQ_AUTOTIME");
}

TEST_F(Queue, TellsThoseWhoWantToKnow)
{
    RecordingQueue queue(m_movie, options(2, WhenFull::Drop));
    std::atomic<std::int64_t> seen = -1;
    queue.observe([&](const RecordingStatistics& now) { seen = now.offered; }, 1ms);
    RecordingMonitor monitor(queue, 1ms);
    qint64 dropped = 0;
    int failures = 0;
    QObject::connect(&monitor, &RecordingMonitor::framesDropped, [&](qint64 count) { dropped += count; });
    QObject::connect(&monitor, &RecordingMonitor::failed, [&] { ++failures; });
    occupy(queue);
    for (int number = 1; number < 5; ++number)
        push(queue, number);
    for (const auto end = std::chrono::steady_clock::now() + 10s;
         dropped < 3 && std::chrono::steady_clock::now() < end;)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_EQ(dropped, 3);
    m_disk.fail(EIO);
    m_disk.release();
    EXPECT_EQ(reportedBy([&] { queue.flush(); }), "CHB_WFD_WRITE");
    monitor.look();
    monitor.look();
    EXPECT_EQ(failures, 1);
    m_disk.fail(0);
    queue.retry();
    queue.close();
    EXPECT_EQ(seen, 5);
}

#if !DATAIO_SANITIZED
/// Pushes by a thread that may make no call of the system: any would end it.
void pushWithoutSystem(RecordingQueue& queue, const std::string& frame, int count, std::atomic<int>& pushed)
{
    queue.push(frame.data(), pictureBytes, 0.5F); // whatever is set up once
    sock_filter rules[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit, 0, 1),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_THREAD)};
    const sock_fprog onlyExit{std::size(rules), rules};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &onlyExit), 0);
    for (int i = 0; i < count; ++i)
        pushed += queue.push(frame.data(), pictureBytes, 0.5F) ? 1 : 0;
    syscall(SYS_exit, 0);
}
#endif

TEST_F(Queue, PushesWithoutSystemAndMemory)
{
    const std::string frame = picture(1);
    RecordingQueue queue(m_movie, options(1000, WhenFull::Drop));
    occupy(queue); // the writing thread would ask for memory
    {
        const Allocations allocations;
        for (int i = 0; i < 500; ++i)
            queue.push(frame.data(), pictureBytes, 0.5F);
        EXPECT_EQ(allocations.count(), 0);
    }
#if !DATAIO_SANITIZED
    std::atomic<int> pushed = 0;
    std::thread(pushWithoutSystem, std::ref(queue), std::cref(frame), 700, std::ref(pushed)).join();
    EXPECT_EQ(pushed, 498); // until it was full, and dropping needs no call either
    EXPECT_EQ(queue.statistics().dropped, 202);
#endif
    m_disk.release();
}

TEST(FrameClock, NeverRunsBackwards)
{
    FrameClock clock;
    const auto wall = [](int seconds) { return std::chrono::system_clock::time_point(std::chrono::seconds{seconds}); };
    const auto steady = [](int seconds) {
        return std::chrono::steady_clock::time_point(std::chrono::seconds{seconds});
    };
    EXPECT_EQ(clock.next(wall(1000), steady(10)), (timeval{1000, 0}));
    EXPECT_EQ(clock.next(wall(400), steady(12)), (timeval{1002, 0})); // was set back
    EXPECT_EQ(clock.next(wall(403), steady(15)), (timeval{1005, 0}));
    EXPECT_EQ(clock.next(wall(1100), steady(16)), (timeval{1100, 0}));
}

} // namespace

} // namespace zd
