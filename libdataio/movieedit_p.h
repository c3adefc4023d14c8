#pragma once

#include <libdataio/chunkindex.h>
#include <libdataio/editprotection.h>

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace zd {

class EditJournal;
class FileWriter;

/// An edit of a closed movie: its journal, and what has to be on the storage device before it goes on.
class MovieEdit {
public:
    MovieEdit();
    ~MovieEdit();

    void setJournaled(bool on) { m_journaled = on; }
    bool journaled() const { return m_journaled; }

    /// Before the first change: keeps everything from the file's position to its end. Says what protects the edit.
    EditProtection begin(const QString& name, const FileWriter& file);
    /// Whether a journal can undo the edit.
    bool canUndo() const { return m_journal != nullptr; }
    /// The movie's end was cut off, or a new movie began. Before anything else of an edited movie changes, no crash may
    /// bring back the info chunk: it would make the movie look whole.
    void endWasCut() { m_cutSettled = !canUndo(); }
    bool mustSettleCut() const { return !m_cutSettled; }
    void cutIsSettled() { m_cutSettled = true; }

    /// Waits until everything that was written is on the storage device; false with errno.
    static bool settle(const FileWriter& file);
    /// Keeps a chunk that is about to be written over.
    void keepChunk(const FileWriter& file, const ChunkRecord& record);
    /// Says how the movie will end: with that info chunk at `infoStart`.
    void announceEnd(std::int64_t infoStart, const QByteArray& infoPayload);
    /// The edit stands, whatever happens.
    void finish();
    /// Gives the edit up as it is: the journal goes when the movie is whole, else it stays for the next edit, or for
    /// recovery. False without a journal.
    bool abandon(const FileWriter& file) noexcept;
    /// Puts the movie back as it was.
    void undo(const FileWriter& file);

private:
    bool m_journaled = true;
    std::unique_ptr<EditJournal> m_journal;
    bool m_cutSettled = true; // the cut is on the storage device
};

/// Writes an info chunk over the old one, at which the file stands and whose payload is current, and cuts what is left of
/// that. The new chunk goes first and the cut comes last: a movie whose header did not grow opens at every instant. After a
/// failure the old chunk is put back as far as the system lets it.
void writeInfoOverOld(FileWriter& file, std::vector<ChunkRecord>& records, const QByteArray& payload);

/// Whether a frame whose start the index tells rightly may be written over. A damaged end header is mended thereby, but never
/// at the cost of another chunk.
bool isReplaceable(const FileWriter& file, const ChunkIndex& index, const ChunkRecord& frame);

} // namespace zd
