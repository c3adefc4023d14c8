#pragma once

#include <libdataio/frametimer.h>
#include <recording/export.h>
#include <recording/seriesentries.h>

#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <vector>

class QImage;

namespace zd {

class AttributeChunk;
class ImageReader;

/// What a series opens with.
enum class SeriesGaps : int {
    Refuse = 0, ///< all parts, each once and none of another series
    Accept = 1, ///< whatever there is of it; `gaps` and `problems` tell what is not
};

/// Opens a series of movies and delivers it as one: frames, times, laser powers and thumbnails by one running index.
///
/// Opening costs the headers of the parts. A part that is being recorded, or whose recording died, is read as far as its
/// frames are complete; their times and laser powers are not known before it is closed. `refresh` looks for what came
/// since. Not more than a few dozen files are open at a time. Never copied; used by one thread at a time.
class DATAIO_RECORDING_EXPORT SeriesReader {
public:
    SeriesReader();
    SeriesReader(const SeriesReader&) = delete;
    SeriesReader& operator=(const SeriesReader&) = delete;
    ~SeriesReader();

    /// Opens the series that `name` stands for: any one of its parts, the series' own name ("live.vqf"), a folder that
    /// holds it, or a pattern of files with "*" and "?". What was open is closed first. Reports "SR_NONE" when there is
    /// no part, "SR_PARTS" with the names of missing, foreign, doubled and unreadable parts when gaps are refused.
    void open(const QString& name, SeriesGaps gaps = SeriesGaps::Refuse);
    void close();
    /// Looks for frames and parts that came since, in a series that is still being recorded; whether there are any.
    /// Reports as `open`; what was open stays then.
    bool refresh();

    const std::vector<SeriesEntry>& parts() const;
    /// Whether the last part says that it is the last one.
    bool isComplete() const;
    const std::vector<SeriesGap>& gaps() const;
    /// What is wrong with the files, for people: one line for each missing, foreign, doubled or unreadable part.
    const QStringList& problems() const;
    QString seriesId() const;

    /// Header values of the first part.
    const AttributeChunk& header() const;
    /// The reader of a part (0 is the first one here), for what belongs to a part: fibres, palette. Null for a part that
    /// is not closed. Borrowed until the next call.
    ImageReader* movie(std::size_t part);

    std::int64_t nbFrames() const;
    /// As those of `ImageReader`, by running index; the pointer is borrowed until the next call.
    bool getFrame(const void*& data, std::int64_t index);
    bool readFrame(std::int64_t index, void* out, std::int64_t size);
    std::int64_t frameSize() const; ///< bytes of the frame that was delivered last
    bool getFrameTiming(std::int64_t index, timeval& out);
    bool getLaserPower(std::int64_t index, float& out);
    bool thumbnail(QImage& image, int maxWidth, int maxHeight, std::int64_t index);

private:
    class Private;
    std::unique_ptr<Private> m_d;
};

} // namespace zd
