#include <movietools/recover/recoverysidedata_p.h>

#include <libdataio/chunkinfo.h>
#include <libdataio/frametimer.h>
#include <libdataio/imagefilelayout.h>

#include <algorithm>

namespace zd::movietools {

namespace {

using InfoPlace = RecoverySurvey::InfoPlace;

constexpr float unknownPower = -1;
// A movie with a header of its own has no use for what a log says.
const RecordingRemains noLog;

/// Brings the side data of one movie in step with its frames.
class SideDataRecovery {
public:
    SideDataRecovery(const RecoverySurvey& survey, const RecordingRemains& remains, AttributeChunk& header)
        : m_survey(survey),
          m_header(header),
          m_frames(survey.frames()),
          m_slots(static_cast<qsizetype>(survey.listedFrames().size())),
          m_count(static_cast<qsizetype>(m_frames.size())),
          m_lost(survey.lostFrames() > 0),
          m_log(survey.infoPlace() == InfoPlace::AtEnd ? noLog : remains)
    {
    }

    RecoveredSideData run();

private:
    std::optional<QByteArray> bestPayload(std::uint32_t type, qsizetype unit) const;
    QByteArray inStep(const QByteArray& payload, qsizetype unit) const;
    void recoverTimes();
    std::optional<QByteArray> storedTimes();
    void mergeLoggedTimes();
    void recoverPowers();
    void recoverFibers();

    const RecoverySurvey& m_survey;
    AttributeChunk& m_header;
    std::vector<WalkedPiece> m_frames;
    qsizetype m_slots;
    qsizetype m_count;
    bool m_lost;
    const RecordingRemains& m_log;
    RecoveredSideData m_result;
};

const RecordingRemains::Frame* loggedFrame(const RecordingRemains& log, const WalkedPiece& frame)
{
    const auto found = frame.offset <= std::int64_t{UINT32_MAX}
                           ? log.frames.find(static_cast<std::uint32_t>(frame.offset))
                           : log.frames.end();
    return found == log.frames.end() ? nullptr : &found->second;
}

bool comesBefore(const timeval& a, const timeval& b)
{
    return a < b;
}

QByteArray rawTimes(FrameTimer times)
{
    QByteArray payload(static_cast<qsizetype>(times.size()) * layout::frameTimeBytes, '\0');
    times.dumpToRawBuffer(payload.data(), static_cast<unsigned int>(payload.size()));
    return payload;
}

RecoveredSideData SideDataRecovery::run()
{
    recoverTimes();
    recoverPowers();
    recoverFibers();
    return m_result;
}

// Of the payloads that are left, the one whose length fits the frames best: all that are there when none is lost,
// else all that the index lists.
std::optional<QByteArray> SideDataRecovery::bestPayload(std::uint32_t type, qsizetype unit) const
{
    const std::vector<QByteArray> payloads = m_survey.payloads(type);
    const qsizetype wanted[] = {m_lost ? m_slots : m_count, m_lost ? m_count : m_slots};
    for (const qsizetype entries : wanted)
        for (const QByteArray& payload : payloads)
            if (payload.size() == entries * unit)
                return payload;
    return payloads.empty() ? std::nullopt : std::optional(payloads.front());
}

// The entries of the frames that are left, from a payload with one entry for each that the index lists. Any other
// payload stays as it is.
QByteArray SideDataRecovery::inStep(const QByteArray& payload, qsizetype unit) const
{
    if (!m_lost || payload.size() != m_slots * unit)
        return payload;
    QByteArray left;
    for (qsizetype slot = 0; slot < m_slots; ++slot)
        if (m_survey.listedFrames()[static_cast<std::size_t>(slot)])
            left += payload.mid(slot * unit, unit);
    return left;
}

void SideDataRecovery::recoverTimes()
{
    m_result.times = storedTimes();
    mergeLoggedTimes();
}

// The times of the chunk, or those of the header when that has to change.
std::optional<QByteArray> SideDataRecovery::storedTimes()
{
    std::optional<QByteArray> payload = bestPayload(ZD_FRAME_TIMER_CHUNK, layout::frameTimeBytes);
    if (!payload && m_lost) {
        ChunkInfo info;
        info.merge(m_header);
        FrameTimer times;
        if (times.readFromChunkInfo(info) && static_cast<qsizetype>(times.size()) == m_slots) {
            payload = rawTimes(times);
            FrameTimer::removeFromAttChunk(m_header);
        }
    }
    if (payload)
        payload = inStep(*payload, layout::frameTimeBytes);
    return payload;
}

// Adds the times that a log has of the frames behind those with a time. The log of a recording has all of them, that
// of an edit those of the frames it appended.
void SideDataRecovery::mergeLoggedTimes()
{
    FrameTimer times;
    if (m_result.times &&
        !times.readFromRawBuffer(m_result.times->constData(), static_cast<unsigned int>(m_result.times->size())))
        return;
    const std::size_t stored = times.size();
    for (std::size_t frame = stored; frame < m_frames.size(); ++frame) {
        const RecordingRemains::Frame* logged = loggedFrame(m_log, m_frames[frame]);
        if (!logged || !logged->hasTime)
            continue;
        if (times.size() == frame)
            times.push_back(logged->time);
        else
            ++m_result.unplacedTimes;
    }
    if (times.size() == stored)
        return;
    std::stable_sort(times.begin(), times.end(), comesBefore);
    m_result.times = rawTimes(times);
}

// Readers ignore laser powers unless there is one for each frame: frames without one get "not known".
void SideDataRecovery::recoverPowers()
{
    std::optional<QByteArray> powers = bestPayload(ZD_LASER_POWER_CHUNK, layout::laserPowerBytes);
    if (!powers && m_log.frames.empty())
        return;
    const bool fits = !powers || powers->size() == m_slots || powers->size() == m_count;
    QByteArray bytes = powers ? inStep(*powers, layout::laserPowerBytes) : QByteArray();
    for (qsizetype frame = bytes.size(); fits && frame < m_count; ++frame) {
        const RecordingRemains::Frame* logged = loggedFrame(m_log, m_frames[static_cast<std::size_t>(frame)]);
        bytes += static_cast<char>(layout::encodeLaserPower(logged ? logged->laserPower : unknownPower));
    }
    m_result.laserPowers = bytes;
}

void SideDataRecovery::recoverFibers()
{
    const std::vector<QByteArray> payloads = m_survey.payloads(ZD_FIBER_CENTERS_CHUNK);
    if (!payloads.empty()) {
        m_result.fibers = payloads.front();
        return;
    }
    int width = 0;
    int height = 0;
    if (m_log.fiberCenters.empty() || !m_header.get(layout::key::width, width) ||
        !m_header.get(layout::key::height, height))
        return;
    m_result.fibers = layout::encodeFiberCenters(m_log.fiberCenters, width, height);
}

} // namespace

RecoveredSideData recoverSideData(const RecoverySurvey& survey, const RecordingRemains& remains, AttributeChunk& header)
{
    return SideDataRecovery(survey, remains, header).run();
}

} // namespace zd::movietools
