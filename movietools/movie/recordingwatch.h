#pragma once

#include <QString>

#include <cstdint>
#include <optional>

namespace zd::movietools {

/// What can be told of a movie while it is being recorded.
struct RecordingState {
    std::uint64_t frames = 0;
    std::uint64_t bytes = 0;       ///< of the file
    std::uint64_t roomToLimit = 0; ///< bytes until the length that movies end at
    std::optional<std::uint64_t> roomOnDisk;
    bool isClosed = false; ///< the movie is complete
};

/// Looks at a movie again and again while another program records it. Never writes, and keeps nothing open.
class RecordingWatch {
public:
    explicit RecordingWatch(const QString& path) : m_path(path) {}

    /// How far the recording is. Reads the headers of the chunks that came since the last look. Throws JobError when the
    /// file is not there.
    RecordingState look();

private:
    QString m_path;
    std::int64_t m_position = 0; // behind the last whole chunk
    std::uint32_t m_lastType = 0;
    std::uint64_t m_frames = 0;
};

} // namespace zd::movietools
