#pragma once

#include <recording/export.h>
#include <recording/recordedframe.h>
#include <recording/recordingstatistics.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace zd {

class FrameSink;
class ImageWriter;
class SeriesWriter;

/// What happens to a frame that finds the queue full.
enum class WhenFull : int {
    Block = 0,  ///< it waits for room
    Refuse = 1, ///< it stays with the caller, who is told at once
    Drop = 2,   ///< it is lost, counted, and its number kept and written into the header
};

struct RecordingQueueOptions {
    std::size_t frameBytes = 0;     ///< bytes of every frame; 0: as the header says
    std::size_t capacityFrames = 0; ///< frames that the queue takes; 0: as many as `capacityBytes` hold
    WhenFull whenFull = WhenFull::Block;
    std::size_t capacityBytes = std::size_t{256} << 20; ///< of memory for frames, each of which begins a page
};

/// Takes frames from an instrument in the time of a copy and writes them to a movie, or a series of movies, by a thread of
/// its own.
///
/// All memory is there before the first frame. `push` makes no call of the system, allocates nothing and waits for
/// nothing that the writing thread does, unless the queue is full and `WhenFull::Block` says to wait. Frames are pushed
/// by any thread, one at a time: a second one waits while the first copies. All other operations may be called from any
/// thread as well.
///
/// The movie belongs to the queue until `close`: nobody else calls it meanwhile. Create it with `autotime` false, since
/// the queue itself gives frames the time at which they are pushed; such times never run backwards. The movie stays open
/// behind the queue, for its owner to close.
///
/// Failures are `IOFileException`s. When the writing thread fails, the next and every later `push`, `flush` and `close`
/// throws the same exception until `retry` or `abandon`; frames that were written stay, and those in the pool wait.
/// A process that dies loses the frames in its pool (where a frame of a queue that keeps up waits for up to 10 ms), and
/// what a movie loses that was not closed.
class DATAIO_RECORDING_EXPORT RecordingQueue {
public:
    /// What `flush` waits for.
    enum FlushTarget : int {
        Written = 0, ///< the frames are in the file
        Sync = 1,    ///< they are on the storage device
    };

    /// Begins to write into a movie that is open. Reports "RQ_FRAME" when nobody says how many bytes a frame has,
    /// "RQ_CAPACITY" for a queue that holds no frame, "RQ_MEMORY" and "RQ_AUTOTIME".
    RecordingQueue(ImageWriter& movie, const RecordingQueueOptions& options);
    RecordingQueue(SeriesWriter& series, const RecordingQueueOptions& options);
    RecordingQueue(const RecordingQueue&) = delete;
    RecordingQueue& operator=(const RecordingQueue&) = delete;
    /// Closes the queue. What cannot be written is tried once more, then given up with a warning in the log.
    ~RecordingQueue();

    /// Copies a frame of `size` bytes into the pool; false when it was refused or dropped. `laserPower` is a fraction of
    /// full power, negative for "not known". Reports "RQ_FRAME" for another size than the queue's, "RQ_CLOSED" after
    /// `close`, and what the writing thread met.
    bool push(const void* data, std::size_t size, float laserPower);
    /// The same with its time.
    bool push(const void* data, std::size_t size, timeval time, float laserPower);

    /// Memory of the pool for one frame, for an instrument that fills it itself: page-aligned, the caller's until
    /// `commit` or `giveBack`. Null when the queue is full; with `WhenFull::Drop` a frame counts as dropped then, and
    /// with `WhenFull::Block` it waits instead. Reports as `push`, and "RQ_LEASE" while one is out.
    void* lease();
    /// Puts the leased frame into the queue, with the time of this moment or its own. Always true. Reports "RQ_LEASE"
    /// without a lease, and as `push`; the lease is then as it was.
    bool commit(std::size_t size, float laserPower);
    bool commit(std::size_t size, timeval time, float laserPower);
    /// Gives a lease back unused.
    void giveBack();

    /// Waits until every frame that was taken is where `target` says, kept ones excepted. False when the system does not
    /// confirm that the device has them.
    bool flush(FlushTarget target = Written);
    /// Waits until every frame is in the file, writes down which were dropped, and ends the thread. Frames kept for a
    /// trigger go. Nothing when the queue is closed. After a failure the queue stays open but takes no more frames, and
    /// `close` can be repeated.
    void close();

    /// From now on keeps the newest `frames`, or those of the last `duration` by their times, without writing them.
    /// What was taken before is still written. A duration for which the pool has no room keeps what fits. Reports
    /// "RQ_ARM" for no frame, or more than the pool holds.
    void arm(std::size_t frames);
    void arm(std::chrono::microseconds duration);
    /// Writes the kept frames, with their own times, then all that follow. Returns how many were kept. Begins to write as
    /// well when the queue had been stopped, and lets a recording go on that was about to stop.
    std::int64_t trigger();
    /// Stops writing: `frames` more are written, or those of so much more time; those that follow pass by until `trigger`
    /// or `arm`. Kept frames go.
    void disarm(std::size_t frames = 0);
    void disarm(std::chrono::microseconds duration);

    RecordingState state() const;
    /// Never delays `push` or the writing thread. Rates are those of the last two seconds or since the call before.
    RecordingStatistics statistics() const;
    /// The frames that were dropped, by number; as many ranges as are kept.
    std::vector<FrameRange> droppedFrames() const;
    /// Calls `callback` every `interval`, and a last time when the queue is closed, from a thread of its own. It must not
    /// throw and must not close the queue. An empty one ends that.
    void observe(std::function<void(const RecordingStatistics&)> callback, std::chrono::milliseconds interval);
    /// A copy of the newest frame that was pushed, written or not, shared by all who ask before the next one comes; null
    /// before the first. Never delays `push` or the writing thread.
    std::shared_ptr<const RecordedFrame> latest() const;

    /// After a failure, the frames that wait to be written, the oldest first; empty otherwise. They stay where they are
    /// until `retry`, `abandon` or the end of the queue.
    std::vector<WaitingFrame> waiting() const;
    /// Goes on after a failure where it came.
    void retry();
    /// Gives up the frames that wait after a failure: they count as dropped.
    void abandon();

private:
    class Private;

    RecordingQueue(std::unique_ptr<FrameSink> sink, const RecordingQueueOptions& options);

    const std::unique_ptr<Private> m_d;
};

} // namespace zd
