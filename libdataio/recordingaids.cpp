#include <libdataio/recordingaids_p.h>

#include <libdataio/recordinglog_p.h>

namespace zd {

RecordingAids::RecordingAids() = default;
RecordingAids::~RecordingAids() = default;

void RecordingAids::reset()
{
    m_log.reset();
    m_logTried = false;
    m_keptHeader.forget();
    m_fibersKept = false;
}

void RecordingAids::_keep(int movieFD, const QString& movie, const AttributeChunk& header,
                          const std::vector<float>& fiberCenters)
{
    if (m_logged && !m_logTried) {
        m_logTried = true;
        m_log = RecordingLog::begin(movie);
        m_keptHeader.forget();
        m_fibersKept = false;
    }
    if (!m_keptHeader.sameCalls(header)) {
        zd::keepHeader(movieFD, header);
        if (m_log)
            m_log->header(header);
        m_keptHeader.note(header);
    }
    if (m_log && !m_fibersKept)
        m_log->fiberCenters(fiberCenters);
    m_fibersKept = true;
}

void RecordingAids::keepHeader(int movieFD, const AttributeChunk& header)
{
    zd::keepHeader(movieFD, header);
    m_keptHeader.note(header);
}

void RecordingAids::addFrame(std::uint32_t offset, const timeval* time, float laserPower) noexcept
{
    if (m_log)
        m_log->frame(offset, time, laserPower);
}

void RecordingAids::dropKeptHeader(int movieFD) noexcept
{
    if (keepsHeader())
        dropHeader(movieFD);
    forgetHeader();
}

void RecordingAids::end(int movieFD)
{
    dropHeader(movieFD);
    if (m_log)
        m_log->end();
    m_log.reset();
}

} // namespace zd
