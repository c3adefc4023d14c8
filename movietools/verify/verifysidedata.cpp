#include <movietools/verify/verifychecks_p.h>

#include <libdataio/chunkinfo.h>
#include <libdataio/frametimer.h>
#include <libdataio/imagefilelayout.h>
#include <movietools/movie/checksum.h>

#include <algorithm>

namespace zd::movietools {

namespace {

namespace key = layout::key;

/// Holds times, laser powers and fibre centres against the number of frames and their own rules.
class SideDataCheck {
public:
    SideDataCheck(const MovieContent& movie, Findings& findings)
        : m_movie(movie), m_findings(findings), m_frames(static_cast<std::int64_t>(movie.listed(ZD_FRAME_CHUNK).size()))
    {
    }

    void run();

private:
    void checkTimes();
    void checkTimeCount(std::int64_t times, std::int64_t offset);
    void checkTimeValues(const FrameTimer& times, std::int64_t offset);
    void checkLaserPowers();
    void checkFibers();

    const MovieContent& m_movie;
    Findings& m_findings;
    std::int64_t m_frames;
};

void SideDataCheck::run()
{
    checkTimes();
    checkLaserPowers();
    checkFibers();
}

void SideDataCheck::checkTimes()
{
    FrameTimer times;
    const WalkedPiece* chunk = m_movie.lastOf(ZD_FRAME_TIMER_CHUNK);
    if (!chunk) {
        ChunkInfo info;
        info.merge(m_movie.header);
        int hasTimes = 0;
        if (!times.readFromChunkInfo(info) && info.get(key::frameTimer, hasTimes))
            m_findings.add("times-incomplete", Severity::Warning, Finding::nowhere,
                           QStringLiteral("microseconds for every frame_timer attribute of seconds"),
                           QStringLiteral("none after time %1").arg(times.size()), "later frames have no time");
        if (hasTimes != 0)
            checkTimeCount(static_cast<std::int64_t>(times.size()), Finding::nowhere);
        checkTimeValues(times, Finding::nowhere);
        return;
    }
    const QByteArray payload = m_movie.bytes.bytes(chunk->payload(), chunk->size);
    if (!times.readFromRawBuffer(payload.constData(), static_cast<unsigned int>(payload.size()))) {
        m_findings.add("times-length", Severity::Warning, chunk->offset, QStringLiteral("8 bytes for each time"),
                       QStringLiteral("%1 bytes").arg(chunk->size), "readers find no times");
        return;
    }
    checkTimeCount(static_cast<std::int64_t>(times.size()), chunk->offset);
    checkTimeValues(times, chunk->payload());
}

// Frames appended without a time are within the rules; times without a frame are not.
void SideDataCheck::checkTimeCount(std::int64_t times, std::int64_t offset)
{
    if (times == m_frames)
        return;
    m_findings.add("times-count", times < m_frames ? Severity::Note : Severity::Warning, offset,
                   QStringLiteral("%1 times, one for each frame").arg(m_frames), QStringLiteral("%1").arg(times),
                   times < m_frames ? "the last frames have no time" : "a time may stand beside the wrong frame");
}

void SideDataCheck::checkTimeValues(const FrameTimer& times, std::int64_t offset)
{
    const auto offsetOf = [&](auto time) {
        return offset == Finding::nowhere ? offset : offset + (time - times.begin()) * layout::frameTimeBytes;
    };
    const auto textOf = [](const timeval& time) {
        return QStringLiteral("%1 s %2 us").arg(time.tv_sec).arg(time.tv_usec);
    };
    const auto unsorted = std::is_sorted_until(times.begin(), times.end());
    if (unsorted != times.end())
        m_findings.add("times-order", Severity::Warning, offsetOf(unsorted),
                       QStringLiteral("not before %1").arg(textOf(*(unsorted - 1))), textOf(*unsorted),
                       "compare the times with another copy");
    constexpr std::int32_t microsecondsOfSecond = 1'000'000;
    const auto invalid = std::find_if(times.begin(), times.end(), [](const timeval& time) {
        return time.tv_usec < 0 || time.tv_usec >= microsecondsOfSecond;
    });
    if (invalid != times.end())
        m_findings.add("times-microseconds", Severity::Warning, offsetOf(invalid),
                       QStringLiteral("0 to 999999 microseconds"), textOf(*invalid),
                       "compare the times with another copy");
}

void SideDataCheck::checkLaserPowers()
{
    const WalkedPiece* chunk = m_movie.lastOf(ZD_LASER_POWER_CHUNK);
    if (chunk && chunk->size != m_frames * layout::laserPowerBytes)
        m_findings.add("laser-powers-count", Severity::Warning, chunk->offset,
                       QStringLiteral("%1 laser powers, one for each frame").arg(m_frames),
                       QStringLiteral("%1").arg(chunk->size), "readers ignore them all");
}

void SideDataCheck::checkFibers()
{
    const WalkedPiece* chunk = m_movie.lastOf(ZD_FIBER_CENTERS_CHUNK);
    if (!chunk)
        return;
    if (chunk->size % (2 * layout::fiberWordBytes) != 0)
        m_findings.add("fibers-odd", Severity::Warning, chunk->offset,
                       QStringLiteral("two 4-byte words for each fibre"), QStringLiteral("%1 bytes").arg(chunk->size),
                       "readers ignore what is left over");
    int extent = 0;
    if (!m_movie.header.get(key::width, extent) || !m_movie.header.get(key::height, extent))
        m_findings.add("fibers-without-frame-size", Severity::Warning, chunk->offset,
                       QStringLiteral("width and height"), QStringLiteral("not both"),
                       "fibre centres are fractions of the frame: set width and height");
}

/// Compares what the movie holds with its own checksums.
class ChecksumCheck {
public:
    ChecksumCheck(const MovieContent& movie, const MovieChecksums& checksums, Findings& findings)
        : m_movie(movie), m_checksums(checksums), m_findings(findings)
    {
    }

    std::uint64_t run(const ProgressCallback& progress);

private:
    void compare(const char* name, std::int64_t offset, std::uint32_t expected, std::uint32_t found,
                 const QString& what);

    const MovieContent& m_movie;
    const MovieChecksums& m_checksums;
    Findings& m_findings;
};

std::uint64_t ChecksumCheck::run(const ProgressCallback& progress)
{
    const std::vector<WalkedPiece> frames = m_movie.listedInFileOrder(ZD_FRAME_CHUNK);
    if (frames.size() != m_checksums.frames.size())
        m_findings.add({QStringLiteral("checksum-count"),
                        frames.size() > m_checksums.frames.size() ? Severity::Note : Severity::Warning,
                        Finding::nowhere, QStringLiteral("a checksum for each of %1 frames").arg(frames.size()),
                        QStringLiteral("%1").arg(m_checksums.frames.size()),
                        QStringLiteral("frames were added or lost since the checksums were made")});
    Progress done;
    done.framesTotal = std::min(frames.size(), m_checksums.frames.size());
    while (done.framesDone < done.framesTotal) {
        report(progress, done);
        const auto frame = static_cast<std::size_t>(done.framesDone++);
        compare("checksum-frame", frames[frame].offset, m_checksums.frames[frame],
                payloadChecksum(m_movie.bytes, frames[frame]), QStringLiteral("frame"));
        done.bytesDone += frames[frame].size;
    }
    report(progress, done);
    const std::vector<WalkedPiece> sideData = m_movie.listedSideData();
    compare("checksum-side-data", sideData.empty() ? Finding::nowhere : sideData.front().offset, m_checksums.sideData,
            sideDataChecksum(m_movie.bytes, sideData), QStringLiteral("side data"));
    return done.framesDone;
}

void ChecksumCheck::compare(const char* name, std::int64_t offset, std::uint32_t expected, std::uint32_t found,
                            const QString& what)
{
    constexpr int hexadecimal = 16;
    constexpr int digits = 8;
    if (expected != found)
        m_findings.add({QString::fromLatin1(name), Severity::Error, offset,
                        QStringLiteral("CRC-32 %1").arg(expected, digits, hexadecimal, QLatin1Char('0')),
                        QStringLiteral("%1").arg(found, digits, hexadecimal, QLatin1Char('0')),
                        QStringLiteral("the %1 changed since its checksum was made: use another copy").arg(what)});
}

} // namespace

void checkSideData(const MovieContent& movie, Findings& findings)
{
    SideDataCheck(movie, findings).run();
}

std::uint64_t checkChecksums(const MovieContent& movie, Findings& findings, const ProgressCallback& progress)
{
    QString value;
    if (!movie.header.get(checksumAttribute, value))
        return 0;
    const std::optional<MovieChecksums> checksums = MovieChecksums::fromText(value);
    if (!checksums) {
        findings.add({QStringLiteral("checksum-unreadable"), Severity::Warning, Finding::nowhere,
                      QStringLiteral("checksums in %1").arg(checksumAttribute), QStringLiteral("none that can be read"),
                      QStringLiteral("frames were not compared")});
        return 0;
    }
    return ChecksumCheck(movie, *checksums, findings).run(progress);
}

} // namespace zd::movietools
