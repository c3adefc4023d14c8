#pragma once

#include <libdataio/derived_p.h>

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace zd {

class RecordingLog;
struct timeval;

/// What a writer leaves beside the frames in case it dies: the header in the movie's extended attribute, and with a log
/// everything that it holds in memory.
class RecordingAids {
public:
    RecordingAids();
    ~RecordingAids();

    void setLogged(bool on) { m_logged = on; }
    bool logged() const { return m_logged; }

    /// Another movie begins: nothing is kept of it. What was kept of the one before stays.
    void reset();
    /// Keeps what has changed since the last call. Before a frame is recorded.
    void keep(int movieFD, const QString& movie, const AttributeChunk& header, const std::vector<float>& fiberCenters)
    {
        if (!m_keptHeader.sameCalls(header) || !m_fibersKept || (m_logged && !m_logTried))
            _keep(movieFD, movie, header, fiberCenters);
    }
    /// Keeps the header alone.
    void keepHeader(int movieFD, const AttributeChunk& header);
    /// A frame was recorded; `time` is null when it has none.
    void addFrame(std::uint32_t offset, const timeval* time, float laserPower) noexcept;
    void fiberCentersChanged() { m_fibersKept = false; }

    /// Takes no notice of a header that was kept before.
    void forgetHeader() { m_keptHeader.forget(); }
    bool keepsHeader() const { return m_keptHeader.any(); }
    /// Removes the header that this writer has kept, if any.
    void dropKeptHeader(int movieFD) noexcept;
    /// The movie is whole: removes everything.
    void end(int movieFD);

private:
    void _keep(int movieFD, const QString& movie, const AttributeChunk& header, const std::vector<float>& fiberCenters);

    bool m_logged = false;
    bool m_logTried = false; // one attempt a movie
    std::unique_ptr<RecordingLog> m_log;
    SeenAttributes m_keptHeader; // what a crash would leave behind
    bool m_fibersKept = false;   // the same of the fibre centres
};

} // namespace zd
