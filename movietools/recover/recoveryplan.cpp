#include <movietools/recover/recoveryplan_p.h>

#include <libdataio/imagefilelayout.h>
#include <movietools/job/joberror.h>
#include <movietools/job/wording.h>
#include <movietools/movie/checksum.h>
#include <movietools/movie/moviecontent_p.h>
#include <movietools/recover/recoveryheader_p.h>
#include <movietools/recover/recoverysidedata_p.h>

#include <algorithm>
#include <map>

namespace zd::movietools {

namespace {

using InfoPlace = RecoverySurvey::InfoPlace;

/// Makes the plan of one recovery.
class Planning {
public:
    Planning(const RecoverySurvey& survey, const RecordingRemains& remains, const RecoverOptions& options)
        : m_survey(survey), m_remains(remains), m_options(options)
    {
    }

    RecoveryPlan run();

private:
    void requireSomething() const;
    void keepChunks();
    void orderFrames();
    void takeHeader();
    void takeSideData();
    void addSideData(std::uint32_t type, const std::optional<QByteArray>& payload);
    void adaptChecksums();
    bool keepFrameChecksums(MovieChecksums& checksums) const;
    void keepSideDataChecksum(MovieChecksums& checksums) const;
    void countUp();
    void listLosses(std::uint64_t unplacedTimes);
    void listLostSideData();

    const RecoverySurvey& m_survey;
    const RecordingRemains& m_remains;
    const RecoverOptions& m_options;
    RecoveryPlan m_plan;
};

RecoveryPlan Planning::run()
{
    requireSomething();
    keepChunks();
    orderFrames();
    takeHeader();
    takeSideData();
    countUp();
    return m_plan;
}

void Planning::requireSomething() const
{
    if (m_survey.chunks().empty())
        refuse(m_options.movie, QStringLiteral("holds no frame and nothing else of a movie"),
               QStringLiteral("it is no VQF movie, or all of it is lost"));
}

// Frames, and chunks that the library does not know: another program may miss them.
void Planning::keepChunks()
{
    const bool indexIsKnown = m_survey.infoPlace() != InfoPlace::Nowhere;
    for (const WalkedPiece& chunk : m_survey.chunks()) {
        if (chunk.type == ZD_FRAME_CHUNK)
            m_plan.kept.push_back({chunk, true});
        else if (chunk.type != ZD_INFO_CHUNK && !isSideData(chunk.type))
            m_plan.kept.push_back({chunk, !indexIsKnown || m_survey.lists(chunk.offset)});
    }
}

void Planning::orderFrames()
{
    std::map<std::int64_t, std::size_t> places;
    for (std::size_t i = 0; i < m_plan.kept.size(); ++i)
        places[m_plan.kept[i].piece.offset] = i;
    for (const WalkedPiece& frame : m_survey.frames())
        m_plan.frameOrder.push_back(places.at(frame.offset));
}

void Planning::takeHeader()
{
    RecoveredHeader header = recoverHeader(m_survey, m_remains, m_options);
    m_plan.header = std::move(header.attributes);
    m_plan.outcome.header = header.origin;
    m_plan.outcome.guessed = std::move(header.guessed);
}

void Planning::takeSideData()
{
    const RecoveredSideData data = recoverSideData(m_survey, m_remains, m_plan.header);
    addSideData(ZD_FIBER_CENTERS_CHUNK, data.fibers);
    addSideData(ZD_FRAME_TIMER_CHUNK, data.times);
    addSideData(ZD_LASER_POWER_CHUNK, data.laserPowers);
    adaptChecksums();
    RecoverResult& outcome = m_plan.outcome;
    const auto entries = [](const std::optional<QByteArray>& payload, std::int64_t bytes) {
        return payload ? static_cast<std::uint64_t>(payload->size() / bytes) : 0;
    };
    outcome.fibers = entries(data.fibers, 2 * layout::fiberWordBytes);
    outcome.times = entries(data.times, layout::frameTimeBytes);
    outcome.laserPowers = entries(data.laserPowers, layout::laserPowerBytes);
    listLosses(data.unplacedTimes);
}

void Planning::addSideData(std::uint32_t type, const std::optional<QByteArray>& payload)
{
    if (payload)
        m_plan.sideData.push_back({type, *payload});
}

// Checksums stay those of the frames that are left, so that they still prove what has changed.
void Planning::adaptChecksums()
{
    QString value;
    if (!m_plan.header.get(checksumAttribute, value))
        return;
    std::optional<MovieChecksums> checksums = MovieChecksums::fromText(value);
    if (!checksums)
        return;
    if (!keepFrameChecksums(*checksums)) {
        m_plan.header.erase(checksumAttribute);
        m_plan.outcome.losses.append(QStringLiteral("checksums: nobody knows which frames they belong to"));
        return;
    }
    keepSideDataChecksum(*checksums);
    m_plan.header.set(checksumAttribute, checksums->text());
}

// Checksums are in the order of the file. False when frames were found that may lie between those with one.
bool Planning::keepFrameChecksums(MovieChecksums& checksums) const
{
    const std::vector<std::int64_t>& offsets = m_survey.listedOffsets();
    const std::int64_t lastListed = offsets.empty() ? 0 : *std::max_element(offsets.begin(), offsets.end());
    const std::vector<WalkedPiece>& unlisted = m_survey.unlistedFrames();
    if (!unlisted.empty() && unlisted.front().offset < lastListed)
        return false;
    if (m_survey.lostFrames() == 0)
        return true;
    if (checksums.frames.size() != offsets.size())
        return false;
    std::map<std::int64_t, bool> isThere;
    for (std::size_t slot = 0; slot < offsets.size(); ++slot)
        isThere[offsets[slot]] = m_survey.listedFrames()[slot].has_value();
    std::vector<std::uint32_t> left;
    std::size_t next = 0;
    for (const auto& [offset, there] : isThere) {
        if (there)
            left.push_back(checksums.frames[next]);
        ++next;
    }
    checksums.frames = left;
    return true;
}

// Side data that had to change gets a new checksum, if what it was made from was right.
void Planning::keepSideDataChecksum(MovieChecksums& checksums) const
{
    std::vector<WalkedPiece> before;
    for (const WalkedPiece& chunk : m_survey.chunks())
        if (isSideData(chunk.type) && m_survey.lists(chunk.offset))
            before.push_back(chunk);
    if (sideDataChecksum(m_survey.source(), before) != checksums.sideData)
        return;
    std::vector<std::pair<std::uint32_t, QByteArray>> after;
    for (const NewChunk& chunk : m_plan.sideData)
        after.emplace_back(chunk.type, chunk.payload);
    checksums.sideData = sideDataChecksum(after);
}

void Planning::countUp()
{
    RecoverResult& outcome = m_plan.outcome;
    outcome.frames = m_plan.frameOrder.size();
    outcome.lostFrames = m_survey.lostFrames();
    outcome.unlistedFrames = m_survey.infoPlace() == InfoPlace::Nowhere ? 0 : m_survey.unlistedFrames().size();
    outcome.mendedChunks = m_survey.mendedChunks();
    outcome.tornBytes = m_survey.tornBytes();
    outcome.skippedBytes = m_survey.skippedBytes();
}

void Planning::listLosses(std::uint64_t unplacedTimes)
{
    QStringList& losses = m_plan.outcome.losses;
    const auto add = [&losses](bool lost, const QString& what) {
        if (lost)
            losses.append(what);
    };
    add(m_survey.tornBytes() > 0,
        QStringLiteral("a chunk that was cut off, at the end of the file; bytes: %1").arg(m_survey.tornBytes()));
    add(m_survey.skippedBytes() > 0, QStringLiteral("bytes that belong to no chunk: %1").arg(m_survey.skippedBytes()));
    add(m_survey.lostFrames() > 0, QStringLiteral("frames that the index lists: %1").arg(m_survey.lostFrames()));
    add(unplacedTimes > 0, QStringLiteral("frame times behind a frame without one: %1").arg(unplacedTimes));
    listLostSideData();
}

// What the index lists and nobody has; without an index, what recordings keep in memory until they are closed.
void Planning::listLostSideData()
{
    const bool ended = m_survey.infoPlace() == InfoPlace::AtEnd || m_survey.infoPlace() == InfoPlace::Journal;
    for (const int type : {ZD_FIBER_CENTERS_CHUNK, ZD_FRAME_TIMER_CHUNK, ZD_LASER_POWER_CHUNK}) {
        const auto is = [type](const auto& chunk) { return chunk.type == static_cast<std::uint32_t>(type); };
        const std::vector<IndexEntry>& entries = m_survey.info().entries;
        const bool listed = std::any_of(entries.begin(), entries.end(), is);
        const bool expected = listed || (!ended && !m_remains.hasLog && type != ZD_FIBER_CENTERS_CHUNK);
        if (expected && std::none_of(m_plan.sideData.begin(), m_plan.sideData.end(), is))
            m_plan.outcome.losses.append(chunkText(static_cast<std::uint32_t>(type)));
    }
}

} // namespace

std::int64_t RecoveryPlan::bytes() const
{
    std::int64_t bytes = 0;
    for (const KeptChunk& chunk : kept)
        bytes += chunk.piece.length;
    for (const NewChunk& chunk : sideData)
        bytes += layout::framingBytes + chunk.payload.size();
    return bytes;
}

RecoveryPlan planRecovery(const RecoverySurvey& survey, const RecordingRemains& remains, const RecoverOptions& options)
{
    return Planning(survey, remains, options).run();
}

} // namespace zd::movietools
