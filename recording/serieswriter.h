#pragma once

#include <libdataio/frametimer.h>
#include <recording/export.h>

#include <QString>
#include <QStringList>

#include <chrono>
#include <cstdint>
#include <memory>

namespace zd {

class ImageWriter;

/// When a series goes on in its next part. The first that is reached counts; 0 is no limit.
struct SeriesLimits {
    std::uint64_t partBytes = 0;               ///< of a part's file; no more than the header's `sizeLimit` in any case
    std::chrono::microseconds partDuration{0}; ///< from a part's first frame, by the frames' times
    std::int64_t partFrames = 0;
};

/// Records a movie without end: a series of files, each a complete movie with the whole header.
///
/// The series "live.vqf" has the parts "live-0001.vqf", "live-0002.vqf" and so on. Their headers name the series, the
/// part's number and the number of its first frame, and the last part says that it is the last
/// (<recording/recordingattributes.h>). A part is closed before the first frame goes into the next one, so that a death
/// leaves every part whole but the one that was open, which can be recovered as any recording, and maybe an empty next
/// one.
///
/// Like the writer of a movie it has no thread, and is used by one at a time. The next part is created ahead of time:
/// by `prepare`, which a queue's writing thread calls while no frame waits and half of a part is full, or else when three
/// quarters are. What is left to do between two parts is to write the header of the old one.
///
/// Failures are those of `ImageWriter`. A frame that reports one is not recorded, and the next operation goes on where
/// the last one failed.
class DATAIO_RECORDING_EXPORT SeriesWriter {
public:
    SeriesWriter();
    SeriesWriter(const SeriesWriter&) = delete;
    SeriesWriter& operator=(const SeriesWriter&) = delete;
    ~SeriesWriter(); ///< closes the series; what fails is dropped

    /// The parts that exist of a series, in order. `name` ends in ".vqf" or not.
    static QStringList existingParts(const QString& name);

    /// Carries what all parts have in common: header values, fibre centres, size limit, locking, recording log. It is
    /// never open itself. What changes while a series is recorded goes into the present part and those that follow.
    ImageWriter& header();

    /// Starts a series and its first part; an open one is closed first. Header values stay. Reports "SW_PARTS" when
    /// parts of that name exist, "SW_PART" when the first one cannot be created.
    void create(const QString& name, const SeriesLimits& limits = {});
    bool isOpen() const;
    /// Ends the series: marks the present part as the last one and closes it. Can be repeated after a failure.
    void close();

    /// Appends a frame of `size` bytes, with its time or that of this moment. Begins the next part before, when the
    /// frame goes beyond a limit. Reports as `ImageWriter::addFrame`; "SW_CLOSED" without an open series; "SW_PART" when
    /// the next part cannot be created.
    void addFrame(const void* data, int size, timeval time, float laserPower);
    void addFrame(const void* data, int size, float laserPower);
    /// The next frame begins a new part.
    void rollOver();
    /// Creates the next part now, unless that is done or not worth it yet. What fails is tried again when the part is
    /// needed, and reported then.
    void prepare();
    /// Waits until all parts are on the storage device; false when the system does not confirm it.
    bool sync();

    QString seriesId() const;
    int part() const;            ///< number of the present part, from 1; 0 before the first
    QString partPath() const;    ///< file of the present part
    std::int64_t frames() const; ///< in all parts
    /// Payload bytes of one more frame that fit into the present part.
    std::uint64_t roomLeft() const;

private:
    class Private;
    const std::unique_ptr<Private> m_d;
};

} // namespace zd
