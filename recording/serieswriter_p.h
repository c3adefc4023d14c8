#pragma once

#include <libdataio/imagewriter.h>
#include <recording/frameclock_p.h>
#include <recording/seriesnames_p.h>
#include <recording/serieswriter.h>

#include <QStringList>

#include <optional>

namespace zd {

/// A file of a series while it is recorded.
struct OpenPart {
    ImageWriter writer;
    QString path;
    int number = 0;
    std::int64_t firstFrame = 0; // in the series
    std::int64_t frames = 0;
    std::optional<timeval> begins;
    std::uint64_t roomAtOnce = 0;     // payload that is known to fit without asking again
    std::uint64_t headerRevision = 0; // of the common header when this one got it
    bool reserved = false;            // room on the disk was taken ahead of time
};

class SeriesWriter::Private {
public:
    ~Private();

    void create(const QString& name, const SeriesLimits& limits);
    void close();
    void addFrame(const void* data, int size, timeval time, float laserPower);
    void prepare();
    bool sync();

    ImageWriter header; // never open
    SeriesNames names{QString()};
    SeriesLimits limits;
    QString id;
    std::unique_ptr<OpenPart> part;
    std::int64_t frames = 0;
    bool rollWanted = false;
    FrameClock clock;

private:
    bool _isBeyond(OpenPart& full, int size, timeval time);
    bool _hasRoom(OpenPart& full, int size);
    bool _isNearEnd(timeval time, int share) const;
    void _prepare();
    void _roll();
    std::unique_ptr<OpenPart> _createPart(int number);
    void _giveHeader(OpenPart& to);
    void _closePart(OpenPart& full, bool last);
    void _dropNext() noexcept;

    std::unique_ptr<OpenPart> m_next;
    bool m_prepareTried = false; // for the part that comes next
    timeval m_newest;
    QStringList m_unsynchronised; // parts that were closed
};

} // namespace zd
