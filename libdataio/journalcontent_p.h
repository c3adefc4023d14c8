#pragma once

#include <libdataio/filelock_p.h>

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

/// What the journal of an edit says, and whether it speaks of the movie that lies beside it. Nothing here writes.
namespace zd {

// A journal: a mark, then records. A record is its kind (1 byte), a number, the length of its bytes, a hash of all that and
// the bytes, and the bytes. The first record says which movie it is, the second holds its tail. Numbers and lengths are
// 64-bit little-endian, hashes SHA-1.
extern const QByteArray journalMark;

struct JournalRecord {
    enum Kind : char {
        Movie = 'M', ///< which movie; the number is its length
        Piece = 'P', ///< a piece of the movie as it was; the number is its offset
        End = 'E',   ///< the info payload to come; the number is the movie's length then
    };

    char kind = 0;
    std::int64_t number = 0;
    QByteArray bytes;

    /// Everything of a record that stands before its bytes.
    static QByteArray header(Kind kind, std::int64_t number, const QByteArray& bytes);
    /// The record at `at`; nothing where the complete part of the journal ends. Reports "CHB_LDF_READ".
    static std::optional<JournalRecord> at(int journalFD, std::int64_t at);
    std::int64_t size() const;
};

/// Which movie it is: its file, and the hash of what stands before its tail. File numbers change where a movie is copied, and
/// on some file systems whenever they are mounted; frames hardly ever repeat.
struct MovieSign {
    FileIdentity file;
    std::int64_t neckBytes = 0;
    QByteArray neckHash;

    /// Of the movie open on `movieFD`, whose tail begins at `tailStart`. Reports "CHB_LDF_READ".
    static MovieSign of(int movieFD, std::int64_t tailStart);
    QByteArray encoded() const;
    static std::optional<MovieSign> decoded(const QByteArray& bytes);
};

struct JournalContent {
    struct NewEnd {
        std::int64_t length = 0; ///< of the movie
        QByteArray infoPayload;
    };

    /// A piece of the movie other than its tail. Its bytes stay in the journal: an edit may have replaced many frames.
    struct Piece {
        std::int64_t recordAt = 0;
        std::int64_t offset = 0;
        std::int64_t length = 0;
    };

    std::int64_t movieLength = 0;
    MovieSign sign;
    std::int64_t tailStart = 0;
    QByteArray tail;              ///< everything from there to the movie's end, as it was
    std::optional<NewEnd> newEnd; ///< how the movie ends when the edit is done, once that was announced
    std::vector<Piece> pieces;    ///< in the order in which they were kept; where they overlap the first is the oldest

    /// The complete part of a journal; nothing when not even the movie's tail is in it. Reports "CHB_LDF_READ".
    static std::optional<JournalContent> of(int journalFD);
    /// Payload of the info chunk at the end of the tail; empty when it holds no index.
    QByteArray oldInfo() const;
    /// Bytes of a piece, as the movie had them; empty where the journal does not hold them any more.
    QByteArray bytesOf(const Piece& piece, int journalFD) const;
};

/// What the movie open on `movieFD` is to a journal.
enum class MovieState {
    Whole,   ///< as it was before the edit, or as the edit would have made it: the journal has done its work
    Torn,    ///< what an edit that died has left: the journal can put it back
    Another, ///< no movie of which the journal knows
};

/// A movie that ends in another info chunk than the journal's is torn only when its end is a mix of the old bytes, the new
/// bytes and zeros; and never when it is another movie. Reports "CHB_LDF_READ".
MovieState stateOf(int movieFD, const JournalContent& content, int journalFD);

} // namespace zd
