#pragma once

#include <libdataio/filewriter.h>
#include <libdataio/framelists_p.h>
#include <libdataio/imagewriter.h>
#include <libdataio/movieedit_p.h>
#include <libdataio/movieheader_p.h>
#include <libdataio/movielock_p.h>
#include <libdataio/movietail_p.h>
#include <libdataio/recordingaids_p.h>
#include <libdataio/roomaccount_p.h>

#include <QString>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>

namespace zd {

/// What a writer holds. The parts own one thing each and report nothing; what is done here needs several of them.
struct ImageWriter::Private {
    /// Empties everything that belongs to one movie.
    void clear(bool autotime);
    /// Opens the movie's file, locked as it is set.
    void openFile(const QString& movie, FileWriterMode mode);
    void closeFile();
    /// Bytes of a frame by the header; nothing when that does not tell, or says what no movie can hold.
    std::optional<std::int64_t> frameSize();
    /// Bytes of the payload last stepped over.
    std::size_t payloadSize() const { return static_cast<unsigned int>(file.chunkSize()); }
    /// Steps back over a chunk of that type, if one ends here. What is going to be cut off must really be that chunk: one
    /// whose headers do not agree is reported, and so is a payload that comes short.
    bool stepBackOver(int type);
    /// Undoes an edit of the open movie that died; one that is going on makes the movie busy. True when the movie was
    /// changed. Whatever else is wrong with a journal is told by `beginEdit`: it must not hide what is wrong with the movie.
    bool undoDeadEdit(const QString& movie);
    /// Starts the edit of the open movie, at whose info chunk or side data the file stands.
    void beginEdit(const QString& movie);
    /// Closes the file of an edit that failed. What was kept of it goes when the movie is whole, else it stays.
    void abandonEdit() noexcept;
    bool endsInInfo() noexcept;

    /// Undoes an edit of a movie that this program has not open; one that somebody holds is left alone.
    static bool undoDeadEdit(const QString& movie, const std::optional<FileIdentity>& lockedAlready);

    MovieHeader header;
    FileWriter file;
    FrameLists lists;
    MovieTail tail;
    RoomAccount room;
    RecordingAids aids;
    MovieEdit edit;
    EditProtection protection = EditProtection::None;
    std::exception_ptr journalTrouble; // it could not be told whether an edit has to be undone
    QString name;
    bool locking = true;
    HeldLock heldLock;
    bool nameSettled = false; // `sync` has seen to the directory as well
};

} // namespace zd
