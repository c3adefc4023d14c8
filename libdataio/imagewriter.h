#pragma once

#include <libdataio/chunkinfo.h>
#include <libdataio/export.h>
#include <libdataio/filewriter.h>
#include <libdataio/frametimer.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/pixeltypes.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace zd {

class EditJournal;
class RecordingLog;
struct LocationInfo;
class ZdPalette;

/// Records a movie frame by frame, or changes one that was closed.
///
/// A recording is `create`, header values, frames, `close`. Each frame is complete on disk when the call returns;
/// header, times and laser powers are kept in memory and written by `close`. One object writes one movie at
/// a time and may be reused. Never copied; used by one thread at a time.
///
/// Failures are `IOFileException`s. When a frame cannot be written nothing of it is recorded, the frames before it
/// are untouched, and the next operation removes what was written of it. `close` can be repeated after a failure.
class DATAIO_EXPORT ImageWriter {
public:
    ImageWriter();
    ImageWriter(const ImageWriter&) = delete;
    ImageWriter& operator=(const ImageWriter&) = delete;
    /// Closes an open movie; what fails is tried a second time, then without the fibre centres, and then dropped.
    ~ImageWriter();

    /// Starts a new movie, replacing any file of that name; an open movie is closed first. With `autotime` the
    /// frame operations that take no time record the clock's. Reports "FW_OF_OPEN".
    void create(const QString& name, bool autotime);
    bool isOpen();
    /// Writes side data and header and closes the file; nothing when no movie is open. After a failure the movie
    /// stays open, and another `close` starts its end again. Reports "IW_ARFCI_INFO" for fibre centres without
    /// a frame size, and the failures of writing.
    void close();
    /// Waits until the movie, as far as it has been written, is on the storage device under its name; false when the
    /// system does not confirm it.
    bool sync();
    void dumpDebug();

    // Header values, kept in memory until `close`; a later call replaces the value.
    void width(int pixels);
    void height(int rows);
    void frameDelay(int delay); ///< stored, not interpreted
    void dimension(int dimension);
    /// Sets pixel type and bits. Reports "IW_PT_INFO" for a type without bits; the type is stored even then.
    void pixType(ZDImagePixelType type);
    int pixBytes();                           ///< whole bytes of a sample, 0 when the bits are not known
    void palette(const char* data, int size); ///< marks the movie as having a palette; the bytes are not stored
    void setPalette(const ZdPalette& palette);
    void indexed(bool on);
    void setComment(const QString& text); ///< line feeds are kept, BEL (U+0007) becomes a blank
    void setSpecificComment(const QString& text);
    const QString getComment();
    /// Any attribute, by its full name. Text with line breaks goes through `AttributeChunk::formatComment` first.
    void attribute(const QString& name, int value);
    void attribute(const QString& name, float value);
    void attribute(const QString& name, const QString& value);
    void setPlugAttribute(const QString& name, int value); ///< stored as "plug_" + name
    void setPlugAttribute(const QString& name, float value);
    void setPlugAttribute(const QString& name, const QString& value);
    void removeAttribute(const QString& name); ///< by its full name
    AttributeChunk& attributeChunk();

    // Frames are always appended behind the last one. `data` is read during the call and never copied.
    // `laserPower` is a fraction of full power, negative for "not known". `size` is in bytes.
    //
    // A closed writer reports "FDCW_AC_BADFD". A frame that would leave no room for the rest of the movie below
    // the size limit reports "FDCW_AC_WRITE" before anything is written.

    /// A frame whose size follows from the header. Reports "IW_AF_INFO1" when that is not defined.
    void addFrame(const void* data, float laserPower);
    /// The same with its time; not with autotime. Reports "IW_AF_INFO2", then "IW_AF_AUTOTIME1".
    void addFrame(const void* data, timeval time, float laserPower);
    /// A frame of `size` bytes. A negative size reports "FDCW_AC_WRITE".
    void addFrame(const void* data, int size, float laserPower);
    /// The same with its time. Reports "IW_AF_AUTOTIME2".
    void addFrame(const void* data, int size, timeval time, float laserPower);
    /// As `addFrame` of a size. Reports "IW_AF_AUTOTIME3".
    void addFrameAtEnd(const void* data, int size, float laserPower);
    void addFrameAtEnd(const void* data, int size, timeval time, float laserPower);

    /// Longest file this writer makes, in bytes: 2^31 - 1 at first, at most 2^32 - 1 (a larger value counts as that).
    void setSizeLimit(std::uint64_t bytes);
    std::uint64_t sizeLimit() const { return m_sizeLimit; }
    /// Payload bytes of one more frame that still fit below the size limit; 0 when no movie is open.
    std::uint64_t roomLeft() const;

    /// Makes the frame at `firstFrame` the first of the circular part, the first `circularSize` frames (fewer
    /// than all). No frame data moves; laser powers follow, times stay. Reports "IW_IO_INDEX".
    void organizeIndex(unsigned int firstFrame, unsigned int circularSize);
    /// Makes the frame at `firstFrame` the first of the whole, circular movie. Reports "IW_SFF_BOUND".
    void setFirstFrame(unsigned int firstFrame);

    /// Replaces the fibre centres: x0, y0, x1, y1, ... in pixel columns and rows, stored limited to the frame.
    void addRasterFiberContinuousIndexes(const std::vector<float>& centers);
    const std::vector<float>& getRasterFiberContinuousIndexes() const { return m_fiberCenters; }
    /// Sets the rectangle that the fibre bundle covers, in pixels.
    void addBundleBoundingBoxCoords(float minX, float minY, float maxX, float maxY);

    /// Reopens a closed movie for changes; an open one is closed first. The writer is then as it was before
    /// that movie's `close`, with autotime off. Any failure leaves the file as it was, byte for byte, and the
    /// writer closed. Reports "FW_OF_OPEN2", "FDCW_MODIFY" to "FDCW_MODIFY4", "IW_ARFCI_INFO2" and damage.
    /// A missing file is created empty before "FDCW_MODIFY" is reported.
    void modify(const QString& name);
    /// Replaces all attributes of a closed movie by `attributes`, which may be this writer's own set; an open
    /// movie is closed first. Frames and side data are not touched, and the file is closed again. When writing
    /// fails, the old attributes are put back.
    void modifyAttribute(const QString& name, const AttributeChunk& attributes);
    /// Writes over frame `index`: as many bytes of `data` as that frame has. With autotime its time becomes the
    /// clock's. Reports "IW_RF_FIND", "IW_RF_BOUND", and "CHB_LFD_PARSE" with nothing written when the file
    /// holds no such chunk there as the index says. A list of laser powers that is shorter than the movie
    /// is filled up with -1.
    void replaceFrame(const void* data, unsigned int index, float laserPower);
    /// The same with its time. Reports "IW_RF_AUTOTIME", "IW_RF_FIND2", and "IW_RF_BOUND2" also for a frame
    /// that has no time yet.
    void replaceFrame(const void* data, unsigned int index, timeval time, float laserPower);

    /// Whether this writer locks the movies that it opens, so that no other writer that does so, too, opens them: it
    /// reports "FW_OF_OPEN" or "FW_OF_OPEN2", and the movie stays as it is. Off at first, since some network file systems
    /// refuse every lock.
    void setLocking(bool on) { m_locking = on; }
    bool locking() const { return m_locking; }
    /// Whether edits of closed movies survive a crash by means of a journal beside the movie (`<name>-journal`).
    /// On at first; where the directory cannot be written the edit goes on without. Without a journal the header
    /// alone is kept, as that of a recording is.
    void setJournaled(bool on) { m_journaled = on; }
    bool journaled() const { return m_journaled; }
    /// Whether a recording also keeps header, times, laser powers and fibre centres in a log beside the movie
    /// (`<name>-log`) until `close`, so that they survive a crash as the frames do. Off at first; begins with the
    /// next frame. The header alone is always kept, in an extended attribute of the movie file
    /// ("user.dataio.header"), where the file system has them.
    void setRecordingLog(bool on) { m_logged = on; }
    bool recordingLog() const { return m_logged; }
    /// Gives up the changes since `modify`: the movie is again as it was, byte for byte, and closed. False, with nothing
    /// done, when there is no journal to undo them by: no edit is open, or it goes on without one. When writing fails
    /// the movie stays open.
    bool rollBack();
    /// Puts a movie back as it was before an edit that never ended, by its journal. Returns false when there
    /// was nothing to put back: no journal, one of an edit that ended or never began, or one of an edit that is
    /// going on. Frames that the edit had appended are saved first, as a movie of their own
    /// (`<name>-rescued`). `modify` and `modifyAttribute` begin with this.
    static bool undoInterruptedEdit(const QString& name);

private:
    using Size = std::int64_t;
    static constexpr std::uint64_t neverSeen = ~std::uint64_t{0}; // no revision of the attributes

    void _closeOpenMovie();
    void _clear(bool autotime);
    void _goToEnd();
    ChunkRecord _appendChunk(int type, const void* data, unsigned int size);
    void _addTailChunk(int type, const void* data, std::size_t size);

    std::optional<Size> _frameSize();
    void _appendFrame(const void* data, Size size, const timeval* time, float laserPower);
    void _requireRoom(Size size);
    void _keepForRecovery();
    void _endRecordingAids();
    Size _endOfMovie() const;
    Size _tailSize(Size moreFrames) const;
    Size _roomFor(Size end, Size moreFrames) const;

    void _setStringVariable(const QString& name, const QString& value);
    void _saveFiberCenters();
    void _loadFiberCenters(const void* data, int size);
    void _saveFrameTimer();
    void _saveLaserPower();
    void _loadLaserPower(const unsigned char* data, int size);
    void _saveInfo();

    void _loadInfo();
    bool _stepBackOver(int type);
    void _takeTailBack();
    void _writeInfoOverOld(const QByteArray& payload);
    void _writeBack(unsigned int start, const std::vector<char>& payload) noexcept;
    void _beginEdit(const QString& name);
    void _settleEdit();
    void _settleCut();
    void _finishEdit();
    void _abandonEdit() noexcept;
    void _dropKeptHeader() noexcept;
    bool _endsInInfo() noexcept;
    [[noreturn]] static void _reportFrameBound(const char* code, const LocationInfo& location);
    void _requireFrame(unsigned int index, const char* codeNoFrames, const char* codeBound,
                       const LocationInfo& location);
    bool _endsWhereItShould(const ChunkRecord& frame) const;
    bool _holdsStartOfAnother(const ChunkRecord& frame) const;
    void _replaceFrameChunk(const void* data, unsigned int index);

    ChunkInfo m_info;
    FileWriter m_file;
    FrameTimer m_frameTimer;
    bool m_autotime = true;
    std::vector<float> m_laserPowers;
    std::vector<float> m_fiberCenters;

    Size m_end = 0;                  // end of the last complete chunk
    std::optional<Size> m_tailStart; // where a `close` that failed began to write
    bool m_partialChunk = false;     // bytes of a failed write may lie behind m_end
    bool m_cutSettled = true;        // the cut of `modify` is on the storage device
    bool m_nameSettled = false;      // `sync` has seen to the directory as well

    std::uint64_t m_sizeLimit = layout::commonSizeLimit;
    Size m_roomCheckedTo = 0;                      // up to this end of the movie the tail is known to fit
    std::uint64_t m_roomRevision = 0;              // with the attributes of this revision
    std::optional<Size> m_headerFrameSize;         // size of a frame by the attributes ...
    std::uint64_t m_frameSizeRevision = neverSeen; // ... of this revision

    bool m_locking = false;
    bool m_journaled = true;
    std::unique_ptr<EditJournal> m_journal;

    QString m_name;
    bool m_logged = false;
    std::unique_ptr<RecordingLog> m_log;
    bool m_logTried = false;                  // one attempt a movie
    std::uint64_t m_keptRevision = neverSeen; // header that a crash would leave behind
    bool m_fibersKept = false;                // the same of the fibre centres
};

} // namespace zd
