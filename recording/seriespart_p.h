#pragma once

#include <libdataio/frametimer.h>
#include <libdataio/imagereader.h>
#include <recording/growingpart_p.h>
#include <recording/seriesentries.h>

#include <QString>

#include <cstdint>
#include <memory>

namespace zd {

/// One file of a series: a movie that is closed, or one that grows.
class SeriesPart {
public:
    /// Loads the header. Reports as `ImageReader::open` what is neither. `maybeGrowing` says not to expect a header.
    SeriesPart(const QString& path, int numberByName, bool maybeGrowing);

    SeriesEntry info;
    QString seriesId;             ///< empty when the header does not say, or there is none
    std::int64_t firstFrame = -1; ///< in the series, by the header; -1 when that does not say
    bool isLast = false;

    const AttributeChunk& header() const;
    /// The movie, opened again if need be; null for one that grows.
    ImageReader* movie();
    bool isFileOpen() const { return m_fileOpen; }
    /// Lets the file go; what was loaded stays.
    void closeFile();

    bool getFrame(const void*& data, std::int64_t index);
    bool readFrame(std::int64_t index, void* out, std::int64_t size);
    std::int64_t frameSize() const;

private:
    void _readHeader();

    std::unique_ptr<ImageReader> m_movie;
    std::unique_ptr<GrowingPart> m_growing;
    bool m_fileOpen = false;
};

} // namespace zd
