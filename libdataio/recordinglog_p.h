#pragma once

#include <libdataio/comingfile_p.h>
#include <libdataio/frametimer.h>

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace zd {

class AttributeChunk;
struct RecordingRemains;

/// Name of the extended attribute of a movie file that holds its header text while it is recorded.
inline constexpr char headerExtendedAttribute[] = "user.dataio.header";

/// Keeps the header text in the movie file's extended attribute. When the file system has no room for all of it,
/// what is needed to read the frames is kept; when it has none at all, nothing is.
void keepHeader(int movieFD, const AttributeChunk& header);
/// What `keepHeader` left; empty when there is nothing.
QByteArray keptHeader(int movieFD);
/// Removes what `keepHeader` left.
void dropHeader(int movieFD);

/// Keeps what a recording holds in memory until `close` in a log beside the movie (`<name>-log`): header text,
/// fibre centres, and the time and laser power of every frame. Best effort: a log that cannot be written ends.
class RecordingLog {
public:
    /// What the log beside a movie says, until it ends or breaks off.
    static RecordingRemains contentOf(const QString& movie);
    /// Removes a log that an earlier recording of the movie left.
    static void discard(const QString& movie);
    /// Starts the log of a movie, replacing one left by an earlier recording. Null when there can be none.
    static std::unique_ptr<RecordingLog> begin(const QString& movie);

    RecordingLog(const RecordingLog&) = delete;
    RecordingLog& operator=(const RecordingLog&) = delete;
    ~RecordingLog() = default; ///< lets go of the log; the file stays

    void header(const AttributeChunk& header);
    void fiberCenters(const std::vector<float>& centers);
    /// `time` is null when the frame has none. The frame is recorded already: nothing is reported.
    void frame(std::uint32_t offset, const timeval* time, float laserPower) noexcept;
    /// The movie is whole: removes the log.
    void end() noexcept;

private:
    explicit RecordingLog(const QByteArray& path) : m_path(path), m_file(path) {}

    void _append(char kind, const QByteArray& payload);

    const QByteArray m_path;
    ComingFile m_file;
    std::int64_t m_length = 0;
    bool m_broken = false; // after a record that could not be written whole, nothing more would be read
};

} // namespace zd
