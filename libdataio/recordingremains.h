#pragma once

#include <libdataio/export.h>
#include <libdataio/frametimer.h>

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <map>
#include <vector>

namespace zd {

/// What a recording or an edit that died left for those who put its movie together again. The frames lie
/// in the movie file; this is the rest, as far as it was kept.
struct DATAIO_EXPORT RecordingRemains {
    enum class HeaderSource : int {
        None = 0,              ///< no header text was found
        RecordingLog = 1,      ///< the log beside the movie
        EditJournal = 2,       ///< the journal beside the movie: the header before the edit
        ExtendedAttribute = 3, ///< the movie file's own
    };
    /// What the log says of one frame.
    struct Frame {
        bool hasTime = false;
        timeval time;
        float laserPower = -1; ///< negative for "not known"
    };

    /// Bytes of the movie as they were before an edit.
    struct Piece {
        std::int64_t offset = 0;
        QByteArray bytes;
    };

    bool hasLog = false;               ///< a log lies beside the movie
    bool hasJournal = false;           ///< a journal lies beside the movie
    bool hasExtendedAttribute = false; ///< the movie file has the extended attribute
    bool editGoesOn = false;           ///< the edit that the journal belongs to is going on right now

    HeaderSource headerSource = HeaderSource::None;
    QString headerText;                    ///< one "name=value" line per attribute
    std::map<std::uint32_t, Frame> frames; ///< by the offset of the frame's chunk in the movie
    std::vector<float> fiberCenters;       ///< x0, y0, x1, y1, ... in pixels
    /// What an edit that died had changed, as it was: first everything from the movie's side data, or from its
    /// header, to its end, then the chunks of the frames that it replaced. Empty when the movie is whole.
    std::vector<Piece> before;

    /// Looks for what was left of the recording of `movie`. Nothing is changed; what cannot be read counts as
    /// absent, and a log that breaks off gives what it holds until there.
    static RecordingRemains of(const QString& movie);
    /// Removes what was left, once the movie is whole. What another program may have put there stays.
    static void remove(const QString& movie);
};

} // namespace zd
