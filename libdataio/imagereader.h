#pragma once

#include <libdataio/chunkinfo.h>
#include <libdataio/export.h>
#include <libdataio/frametimer.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/pixeltypes.h>

#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class QImage;

namespace zd {

class PayloadReader;
class ZdPalette;
struct LocationInfo;

namespace detail {
struct Contrast;
struct FiberFrame;
} // namespace detail

/// Opens a movie and delivers its header, frames, times, laser powers, fibre geometry and thumbnails.
///
/// Opening costs the info chunk and the two small side-data chunks, whatever the number of frames. Frames
/// are handed out by borrowed pointer: valid until the next frame, fibre query, thumbnail, `reloadHeader`,
/// `open` or `close`. A reader never writes. Never copied; used by one thread at a time; readers on the same
/// file are independent.
class DATAIO_EXPORT ImageReader {
public:
    /// Which fibres a query keeps, and in what order.
    enum FiberFilteringMode : int {
        NoFiberFiltering = 0,                      ///< all, as stored
        SizeClampFiberFiltering = 1,               ///< all, moved into the frame
        BundleBoundingBoxFiberFiltering = 2,       ///< those inside the frame and the bundle's ellipse
        NoFiberFilteringSorted = 3,                ///< as 0, in raster order
        SizeClampFiberFilteringSorted = 4,         ///< as 1, in raster order
        BundleBoundingBoxFiberFilteringSorted = 5, ///< as 2, in raster order
    };

    ImageReader();
    /// Opens `path`; failures as `open`.
    explicit ImageReader(const QString& path);
    ImageReader(const ImageReader&) = delete;
    ImageReader& operator=(const ImageReader&) = delete;
    ~ImageReader(); ///< closes the file; a failure is dropped

    /// Opens a movie; what was open is closed first. The path goes to the system as UTF-8, whatever the locale. Reports "FR_OF_STAT", "FR_OF_REGFILE", "FR_OF_OPEN",
    /// "IR_MISSINFO" when the last chunk is no info chunk, and the damage that the layers below find. While another
    /// program edits the movie "IR_MISSINFO" and "CHB_LFD_PARSE" mean that it is worth trying again.
    void open(const QString& path);
    /// Reads the header again from the open file; frame count, times and laser powers stay. Reports "IR_MISSINFO".
    void reloadHeader();
    /// From now on, parts of the file of more bytes are not read, so that a file of unknown origin costs a known amount of
    /// memory: `open` reports "IR_MISSINFO" for such a header and goes without such times and laser powers, `getFrame`
    /// gives false. A header may take 40 times its bytes of the file in memory.
    void setPayloadLimit(std::uint32_t bytes);
    /// Closes the file; what was loaded from the header keeps answering.
    void close();

    // Header values, read from the attributes at each call, also when the movie is closed. Those that return bool leave `out`
    // alone when the attribute is absent; `pixType` always writes. No value is checked: a width may be 0 or negative.
    bool width(int& out);
    bool height(int& out);
    bool frameDelay(int& out);
    bool dimension(int& out);
    bool pixBits(int& out);              ///< from the pixel type, else from "pixbits"
    bool pixType(ZDImagePixelType& out); ///< from "pixtype", else guessed from the bits; false for `ZD_UNKNOWN`
    int pixBytes();                      ///< whole bytes of a sample, 0 when the bits are not known
    int endian();                        ///< 2 little-endian, 0 when absent
    int utcOffsetSeconds(bool& found);   ///< local time minus UTC; 0 when absent
    QString dataType();                  ///< "data_type", else "raw" for a frame of 896 x 640, else "imp"
    int getMaskLevel();                  ///< "mask_level", -32768 when absent
    const QString getComment() const;
    const QString getSpecificComment() const;
    /// The movie's palette. When there is none, false; a palette without nodes becomes the default palette.
    bool palette(ZdPalette& out);

    int nbFrames();
    int currFrameIdx(); ///< the frame that `nextFrame` delivers next
    const FrameTimer& getFrameTimer() const;
    AttributeChunk& attributeChunk();
    /// The movie's chunk index: where in the file each chunk lies, in particular each frame, in the movie's order. It is what
    /// `open` and `reloadHeader` load, empty before, and stays when the file is closed. Nothing in it has been compared with
    /// the file: offsets and lengths may lie beyond its end.
    const ChunkIndex& index() const;
    /// Whether the movie has times or laser powers that `open` could not read, so that the reader goes without: the index
    /// lists them and the file does not give them. A program that passes them on asks, lest they be lost unnoticed.
    bool lacksSideData() const;
    void dumpDebug();

    // Attributes in memory; nothing is written to the file.
    bool attribute(const QString& name, int& out) const;
    bool attribute(const QString& name, float& out) const;
    bool attribute(const QString& name, QString& out) const;
    void setAttribute(const QString& name, int value); ///< stored as "plug_" + name
    void setAttribute(const QString& name, float value);
    void setAttribute(const QString& name, const QString& value);
    void removeAttribute(const QString& name); ///< by its full name

    /// Delivers frame `index`: its samples as stored, or a copy in this machine's byte order. False, with `data`
    /// untouched, for an index out of range, a frame that is cut short or not where the index says, and a
    /// closed reader. The pointer is null when the samples need turning and the header does not say how many there
    /// are, or claims a frame of more than 64 MiB that the file does not hold. Small frames in sequence may come from what was
    /// read ahead, half a MiB at most, as the file was then; an index out of sequence looks at the file. Reports
    /// "IR_RC_BOUND" and damaged headers.
    bool getFrame(const void*& data, unsigned int index);
    /// Reads frame `index` into the caller's memory, without another buffer: its first `size` bytes, turned as by
    /// `getFrame`; bytes of `out` behind the frame become 0. False, with `out` not defined, for a negative
    /// `size` and where `getFrame` gives false or a null pointer. Moves the cursor as `getFrame`; `frameSize` then tells
    /// how many bytes of the frame there are. `out` needs no alignment, and may be null for a `size` of 0, which only
    /// looks whether the frame is there. Reports as `getFrame`.
    bool readFrame(unsigned int index, void* out, std::int64_t size);
    /// Delivers the frame at the cursor, as `getFrame` does, and moves the cursor on, also when that fails.
    bool nextFrame(const void*& data);
    bool rewind(); ///< sets the cursor to 0; always true
    /// Bytes at the pointer that was delivered last; 0 before any frame and for a null pointer. Behind a frame that
    /// `getFrame` delivers and that is shorter than the header says zeros follow up to that size, when it is at most
    /// 64 MiB. After `readFrame`, the bytes that the file holds of that frame.
    std::int64_t frameSize() const;

    /// The time of the frame at the cursor, or of a given frame.
    bool frameTiming(timeval& out);
    bool getFrameTiming(unsigned int index, timeval& out);
    bool frameTiming(::timeval& out);
    bool getFrameTiming(unsigned int index, ::timeval& out);
    /// The laser power of the frame at the cursor, or of a given frame, 0 to 1; false when it is not known.
    bool laserPower(float& out);
    bool getLaserPower(unsigned int index, float& out);
    /// The rectangle that the fibre bundle covers: minimum x and y, maximum x and y, in pixels, as stored. False,
    /// with `box` empty, when one of the four is missing.
    bool getBundleBoundingBox(std::vector<float>& box);

    // Fibre geometry. Each query reads the chunk again. Reports "IR_GRFI_NOSIZE", "IR_GRFI_UMODE" and
    // "IR_GRFI_UDTYPE"; a movie without fibre centres, or one that is closed, gives an empty list (where a size is asked for
    // first, that is reported all the same). A word that is left over makes no fibre. A side of 0 or less gives positions
    // outside of every frame, and one of 1 the first column or row alone; filters drop what is no number.

    /// Raster positions: column and row of each fibre, in pixels.
    void getRasterFiberContinuousIndexes(std::vector<float>& out, FiberFilteringMode mode);
    /// The same, rounded to the nearest pixel (ties to even).
    void getRasterFiberIndexes(std::vector<unsigned int>& out, FiberFilteringMode mode);
    /// Offset of each fibre's pixel: row x width + column.
    void getFiberOffsets(std::vector<unsigned int>& out, FiberFilteringMode mode);
    /// Normalised positions: x and y of each fibre, y upwards, the longer side of the frame spanning 0 to 1.
    void getWorldFiberCenters(std::vector<float>& out, FiberFilteringMode mode);
    int nbFibers(FiberFilteringMode mode);
    /// The fibre centres as stored, without rounding: two words for each, the column's and the row's fraction of the frame.
    /// `layout::decodeFiberCenters` makes pixels of them. Empty without fibre centres; a word that is left over is none.
    void getFiberWords(std::vector<std::uint32_t>& out);

    /// Renders frame `frame` for a box of pixels, keeping its aspect ratio, through the movie's palette. Returns
    /// false, with `image` untouched, when there is no such frame or its type has no thumbnail (8 and 16-bit
    /// integers have; 16-bit samples count as signed), for a box below 1, for a picture over 256 MiB, and when a side rounds to 0. A 16-bit movie of
    /// "datadimension" 1 gets a stock picture of 160 x 120 pixels, whatever the box.
    bool thumbnail(QImage& image, int maxWidth, int maxHeight, int frame);

protected:
    bool _readChunk(ZDImageChunkType type, unsigned int index);
    float* _dataFloats();
    const QString _getStringVariable(const QString& key) const;

private:
    struct DATAIO_HIDDEN Private;

    DATAIO_HIDDEN void _clean();
    DATAIO_HIDDEN bool _seekChunk(ZDImageChunkType type, unsigned int index);
    DATAIO_HIDDEN std::unique_ptr<PayloadReader> _findInfo();
    [[noreturn]] DATAIO_HIDDEN void _reportMissingInfo(const LocationInfo& location) const;
    DATAIO_HIDDEN bool _load(PayloadReader& info);
    DATAIO_HIDDEN void _loadFrameTimerChunk();
    DATAIO_HIDDEN void _loadLaserPowerChunk();
    DATAIO_HIDDEN void _fibersInBundle(const float* fractions, std::size_t fibers, const detail::FiberFrame& frame,
                                       std::vector<float>& out);
    DATAIO_HIDDEN void _warnNoDistortion() const;
    DATAIO_HIDDEN void _stretch(ZdPalette& colors, const detail::Contrast& contrast) const;

    const std::unique_ptr<Private> m_d;
};

} // namespace zd
