#pragma once

#include <libdataio/chunkinfo.h>
#include <libdataio/editprotection.h>
#include <libdataio/export.h>
#include <libdataio/frametimer.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/pixeltypes.h>

#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zd {

struct LocationInfo;
class MovieLock;
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
    /// frame operations that take no time record the clock's; when that is set back, times go on by a steady clock until
    /// it has caught up. The name goes to the system as UTF-8, whatever the locale. Reports "FW_OF_OPEN".
    void create(const QString& name, bool autotime);
    bool isOpen();
    /// The movie that was created or opened last, as it was named.
    QString fileName() const;
    /// Whether frames get the clock's time.
    bool autotime() const;
    /// Writes side data and header and closes the file; nothing when no movie is open. After a failure the movie
    /// stays open, and another `close` starts its end again. What another program has appended to the file stays. Times are
    /// stored in ascending order; the warning "IW_C_TIMES" tells when that gives them to other frames. Reports
    /// "IW_ARFCI_INFO" for fibre centres without a frame size, and the failures of writing.
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
    /// As `addFrame` of a size, but behind the real end of the file: a chunk that another program has appended meanwhile
    /// stays, where `addFrame` goes over it. Reports "IW_AF_AUTOTIME3".
    void addFrameAtEnd(const void* data, int size, float laserPower);
    void addFrameAtEnd(const void* data, int size, timeval time, float laserPower);

    /// Longest file this writer makes, in bytes: 2^31 - 1 at first, at most 2^32 - 1 (a larger value counts as that).
    void setSizeLimit(std::uint64_t bytes);
    std::uint64_t sizeLimit() const;
    /// Payload bytes of one more frame that still fit below the size limit; 0 when no movie is open.
    std::uint64_t roomLeft() const;

    /// Makes the frame at `firstFrame` the first of the circular part, the first `circularSize` frames (fewer
    /// than all). No frame data moves; laser powers follow, times stay. Reports "IW_IO_INDEX".
    void organizeIndex(unsigned int firstFrame, unsigned int circularSize);
    /// Makes the frame at `firstFrame` the first of the whole, circular movie. Reports "IW_SFF_BOUND".
    void setFirstFrame(unsigned int firstFrame);

    /// Replaces the fibre centres: x0, y0, x1, y1, ... in pixel columns and rows, stored limited to the frame. A list of odd
    /// length ends in a column without its row, which readers leave out.
    void addRasterFiberContinuousIndexes(const std::vector<float>& centers);
    const std::vector<float>& getRasterFiberContinuousIndexes() const;
    /// Sets the rectangle that the fibre bundle covers, in pixels.
    void addBundleBoundingBoxCoords(float minX, float minY, float maxX, float maxY);

    /// Reopens a closed movie for changes; an open one is closed first. The writer is then as it was before
    /// that movie's `close`, with autotime off. Any failure leaves the file as it was, byte for byte, and the
    /// writer closed. Reports "FW_OF_OPEN2", "FDCW_MODIFY" to "FDCW_MODIFY4", "IW_ARFCI_INFO2", damage, and "FDCW_PC_READ" for
    /// a payload that cannot be read whole. A movie whose info chunk has a damaged start header opens in a reader, but is
    /// refused here and by `modifyAttribute` ("CHB_LFD_PARSE"): nothing is cut by a header that lies. `vqf recover` makes a
    /// movie of it that can be edited.
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

    /// Whether this writer locks the movies that it creates and changes, so that one writer at a time works on a movie: one
    /// that another writer holds is refused with "FW_OF_OPEN" or "FW_OF_OPEN2" and the system's text for a busy
    /// resource, and stays as it is. On at first. The lock is advisory (`flock`): it keeps out those who take it, too, never
    /// readers, and it never waits. File systems that know no locks go on without, and `DATAIO_LOCKING=0` in the
    /// environment turns all locks of a process off.
    void setLocking(bool on);
    bool locking() const;
    /// Works under a lock that the caller holds, as for looking at a movie before it is changed: the movie that `held`
    /// locks is not locked once more while `held` lives. When `held` goes while the movie is open, the lock stays until it
    /// is closed.
    void useLock(const MovieLock& held);
    /// Whether edits of closed movies survive a crash by means of a journal beside the movie (`<name>-journal`), which is
    /// made complete before it appears. On at first. Where none can be made, or another file has its name, the edit goes
    /// on without, as `editProtection` tells. Without a journal the header alone is kept, as that of a recording is.
    void setJournaled(bool on);
    bool journaled() const;
    /// What protects the edit that is open, or that `modifyAttribute` has made last; `None` when no movie is open for an
    /// edit. Anything but a journal is a warning in the log as well, unless `setJournaled(false)` asked for it.
    EditProtection editProtection() const;
    /// What would protect an edit of that movie, as far as can be told beforehand. Nothing is changed.
    static EditProtection editProtectionOf(const QString& movie);
    /// Whether a recording also keeps header, times, laser powers and fibre centres in a log beside the movie
    /// (`<name>-log`) until `close`, so that they survive a crash as the frames do. Off at first; begins with the
    /// next frame. The header alone is always kept, in an extended attribute of the movie file
    /// ("user.dataio.header"), where the file system has them.
    void setRecordingLog(bool on);
    bool recordingLog() const;
    /// Gives up the changes since `modify`: the movie is again as it was, byte for byte, and closed. False, with nothing
    /// done, when there is no journal to undo them by: no edit is open, or it goes on without one. When writing fails
    /// the movie stays open.
    bool rollBack();
    /// Puts a movie back as it was before an edit that never ended, by its journal. Returns false when there
    /// was nothing to put back: no journal, one of an edit that ended, one of an edit that is going on, or one that is
    /// left alone because it is another movie's or a stranger's, which is a warning in the log. Frames that the edit had
    /// appended are saved first, as a movie of their own (`<name>-rescued`). `modify` and `modifyAttribute` begin with
    /// this, and refuse a movie whose edit is going on as one that is locked.
    static bool undoInterruptedEdit(const QString& name);
    /// The same under a lock that the caller holds.
    static bool undoInterruptedEdit(const QString& name, const MovieLock& held);

private:
    struct DATAIO_HIDDEN Private;
    using Size = std::int64_t;
    /// Behind what this writer has written, or where the file ends now.
    enum class Place {
        Behind,
        RealEnd
    };

    DATAIO_HIDDEN void _goTo(Place place);
    DATAIO_HIDDEN void _settleCut();
    DATAIO_HIDDEN void _settleEdit();
    DATAIO_HIDDEN void _appendFrame(const void* data, Size size, const timeval* time, float laserPower,
                                    Place place = Place::Behind);
    DATAIO_HIDDEN void _requireRoom(Size size);
    DATAIO_HIDDEN void _addTailChunk(int type, const QByteArray& payload);
    DATAIO_HIDDEN void _saveFiberCenters();
    DATAIO_HIDDEN void _saveTimesAndPowers();
    DATAIO_HIDDEN void _warnOfSorting() const;
    DATAIO_HIDDEN void _saveInfo();
    DATAIO_HIDDEN void _loadInfo(const LocationInfo& location);
    DATAIO_HIDDEN void _takeTailBack();
    DATAIO_HIDDEN void _loadFiberCenters(const void* data, int size);
    DATAIO_HIDDEN void _finishEdit();
    [[noreturn]] DATAIO_HIDDEN static void _reportFrameBound(const char* code, const LocationInfo& location);
    DATAIO_HIDDEN void _requireFrame(unsigned int index, const char* codeNoFrames, const char* codeBound,
                                     const LocationInfo& location);
    DATAIO_HIDDEN void _replaceFrameChunk(const void* data, unsigned int index);

    const std::unique_ptr<Private> m_d;
};

} // namespace zd
