#include <movietools/exchange/movieimport.h>

#include <common/iofileexception.h>
#include <common/zdpalette.h>
#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <movietools/exchange/importsource_p.h>
#include <movietools/files/bytesource.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/joberror.h>
#include <movietools/job/wording.h>
#include <movietools/movie/checksum.h>
#include <movietools/movie/movieedit.h>
#include <movietools/movie/movieoutput_p.h>

#include <cmath>
#include <limits>
#include <memory>

namespace zd::movietools {

namespace {

QString changedAdvice()
{
    return QStringLiteral("leave the stacks alone while they are imported");
}

// Over the whole range of an 8 or 16-bit type.
ZdPalette whiteToBlack(ZDImagePixelType type)
{
    ZdPalette palette;
    const int values = 1 << GetPixBits(type);
    palette.name = QStringLiteral("white is zero");
    palette.cropMin = GetPixGroup(type) == ZD_GROUP_SIGNED ? -values / 2 : 0;
    palette.cropMax = palette.cropMin + values - 1;
    palette.addColor(0, 1, 1, 1);
    palette.addColor(1, 0, 0, 0);
    return palette;
}

// The movie's size and pixel type in the words of a page.
void requireFormat(ImageReader& movie, const QString& path, const PageFormat& format)
{
    int width = 0;
    int height = 0;
    ZDImagePixelType type = ZD_UNKNOWN;
    movie.width(width);
    movie.height(height);
    movie.pixType(type);
    if (!haveSameSamples(type, format.type) || width != static_cast<int>(format.width) ||
        height != static_cast<int>(format.height))
        refuse(path,
               QStringLiteral("has frames of %1, and the pages are %2")
                   .arg(pictureText(width, height, type), formatText(format)),
               QStringLiteral("convert the pages first"));
}

/// One import, from the first look at the stacks to the finished movie.
class MovieImport {
public:
    MovieImport(const ImportOptions& options, const ProgressCallback& progress)
        : m_options(options), m_progress(progress)
    {
    }

    ImportResult run();
    ImportResult append();

private:
    ImportResult result(const QString& path) const;
    void survey();
    void takeNotes(const QString& stack, const MovieDescription& notes, std::uint64_t pagesBefore);
    void checkTimes() const;
    void checkFits(const QString& path) const;
    void checkFormat(const FramePages& pages);
    void checkCounts() const;
    std::uint64_t movieBytes() const;
    void checkSize(const OutputFile& output) const;
    void writeMovie(const QString& path);
    void writeHeader(ImageWriter& writer) const;
    void writeFrames(ImageWriter& writer);
    void addFrame(ImageWriter& writer, const char* pixels);
    QString checksumText();
    void checkRoom(const FramePages& pages) const;
    void checkMovie(const QString& path) const;
    std::optional<timeval> timeOf(std::uint64_t frame) const;
    float laserPowerOf(std::uint64_t frame) const;

    const ImportOptions& m_options;
    const ProgressCallback& m_progress;
    PageFormat m_format;
    MovieDescription m_notes; // of all sources
    Progress m_done;
    bool m_wantsChecksums = false;
    // What checksums are made of.
    MovieChecksums m_checksums;
    FrameTimer m_times;
    QByteArray m_laserPowers;
};

ImportResult MovieImport::run()
{
    MovieOutput output(m_options.movie, m_options.replace, m_options.stacks);
    survey();
    // Checksums that came along belong to a file of old.
    m_wantsChecksums = m_notes.attributes.erase(checksumAttribute) > 0 || m_options.checksums;
    checkCounts();
    checkSize(output.file());
    try {
        writeMovie(output.file().workPath());
        checkMovie(output.file().workPath());
    } catch (const IOFileException& failure) {
        throw jobError(failure, output.path(), output.file().workPath());
    }
    const ImportResult imported = result(output.file().workPath());
    output.commit();
    return imported;
}

ImportResult MovieImport::append()
{
    const QString& path = m_options.movie;
    MovieEdit edit(path, m_options.withoutJournal);
    survey();
    checkCounts();
    checkFits(path);
    requireRoom(path, path, movieBytes());
    edit.begin();
    try {
        writeFrames(edit.writer());
    } catch (const IOFileException& failure) {
        throw jobError(failure, path);
    }
    edit.commit();
    return result(path);
}

ImportResult MovieImport::result(const QString& path) const
{
    ImportResult result;
    result.frames = static_cast<unsigned>(m_done.framesDone);
    result.width = static_cast<int>(m_format.width);
    result.height = static_cast<int>(m_format.height);
    result.type = m_format.type;
    result.bytes = lengthOfFile(path);
    return result;
}

// Whether the pages can follow the frames of a movie.
void MovieImport::checkFits(const QString& path) const
{
    ImageReader movie;
    openMovie(movie, path);
    requireFormat(movie, path, m_format);
    const FrameTimer& times = movie.getFrameTimer();
    const bool timed = !times.empty();
    const bool givesTimes = timeOf(0).has_value();
    if (timed && times.size() != static_cast<std::size_t>(movie.nbFrames()))
        refuse(path, QStringLiteral("has %1 times for %2 frames").arg(times.size()).arg(movie.nbFrames()),
               QStringLiteral("a time for a new frame would belong to another one"));
    if (movie.nbFrames() > 0 && timed != givesTimes)
        refuse(path,
               timed ? QStringLiteral("has a time for every frame, and the new frames have none")
                     : QStringLiteral("has no times, and the new frames have some"),
               timed ? QStringLiteral("give --times, or --start and --rate") : QStringLiteral("leave them out"));
    const std::optional<timeval> first = timeOf(0);
    if (timed && first && *first < times.back())
        refuse(path, QStringLiteral("ends after the time of the first new frame"),
               QStringLiteral("a movie keeps its times in order: check them"));
}

// Counts the pages and compares them, so that nothing is written for stacks that make no movie.
void MovieImport::survey()
{
    for (const QString& stack : m_options.stacks) {
        const std::unique_ptr<FramePages> pages = openPages(stack, m_options);
        const std::optional<MovieDescription> notes = pages->description();
        const std::uint64_t before = m_done.framesTotal;
        do {
            if (m_done.framesTotal == 0)
                m_format = pages->format();
            checkFormat(*pages);
            ++m_done.framesTotal;
            report(m_progress, m_done);
        } while (pages->next());
        takeNotes(stack, notes.value_or(MovieDescription{}), before);
    }
}

// What comes with a source belongs to its pages; the header is that of the first source that has one.
void MovieImport::takeNotes(const QString& stack, const MovieDescription& notes, std::uint64_t pagesBefore)
{
    const std::uint64_t pages = m_done.framesTotal - pagesBefore;
    if (notes.times.size() > pages || notes.laserPowers.size() > pages)
        refuse(stack,
               QStringLiteral("tells of %1 frames, and there are %2")
                   .arg(std::max(notes.times.size(), notes.laserPowers.size()))
                   .arg(pages),
               QStringLiteral("use another copy, or import its pixels alone with --pixels-only"));
    const auto append = [this, pagesBefore](const auto& from, auto& to, const auto& none) {
        if (from.empty() && to.empty())
            return;
        to.resize(pagesBefore, none);
        to.insert(to.end(), from.begin(), from.end());
        to.resize(m_done.framesTotal, none);
    };
    append(notes.times, m_notes.times, std::optional<timeval>());
    append(notes.laserPowers, m_notes.laserPowers, -1.0F);
    if (m_notes.attributes.attributes().empty())
        m_notes.attributes = notes.attributes;
    if (m_notes.fiberCenters.empty())
        m_notes.fiberCenters = notes.fiberCenters;
}

// A movie keeps its times in order and has none in the middle without those before it.
void MovieImport::checkTimes() const
{
    std::optional<timeval> before = timeOf(0);
    for (std::uint64_t frame = 1; frame < m_done.framesTotal; ++frame) {
        const std::optional<timeval> time = timeOf(frame);
        if (time && (!before || *time < *before))
            refuse(m_options.stacks.front(),
                   QStringLiteral("has times that run back or begin late, at frame %1").arg(frame),
                   QStringLiteral("movies keep times in order: give others, or use --pixels-only"));
        before = time;
    }
}

void MovieImport::checkFormat(const FramePages& pages)
{
    if (pages.format() == m_format)
        return;
    refuse(pages.path(),
           QStringLiteral("page %1 is %2, but the pages before it are %3")
               .arg(pages.page())
               .arg(formatText(pages.format()), formatText(m_format)),
           QStringLiteral("the pages of a movie have one size and type: import it separately"));
}

void MovieImport::checkCounts() const
{
    const auto require = [this](std::size_t count, const QString& what) {
        if (count == m_done.framesTotal)
            return;
        refuse(m_options.movie,
               QStringLiteral("would have %1 frames, and there are %2 %3").arg(m_done.framesTotal).arg(count).arg(what),
               QStringLiteral("give one for each page"));
    };
    if (!m_options.times.empty())
        require(m_options.times.size(), QStringLiteral("times"));
    if (!m_options.laserPowers.empty())
        require(m_options.laserPowers.size(), QStringLiteral("laser powers"));
    checkTimes();
}

// All of the movie but its attributes.
std::uint64_t MovieImport::movieBytes() const
{
    constexpr auto bytesBesidePixels = static_cast<std::uint64_t>(layout::framingBytes + layout::indexRecordBytes +
                                                                  layout::frameTimeBytes + layout::laserPowerBytes);
    return m_done.framesTotal * (m_format.frameBytes() + bytesBesidePixels);
}

void MovieImport::checkSize(const OutputFile& output) const
{
    if (m_done.framesTotal > std::numeric_limits<std::uint32_t>::max() || movieBytes() > layout::commonSizeLimit)
        refuse(output.path(),
               QStringLiteral("would have %1 frames and %2, and a movie holds less than 2^31 bytes")
                   .arg(m_done.framesTotal)
                   .arg(sizeText(movieBytes())),
               QStringLiteral("import the stacks in parts"));
    output.requireRoom(movieBytes());
}

void MovieImport::writeMovie(const QString& path)
{
    ImageWriter writer;
    writer.create(path, false);
    writeHeader(writer);
    writeFrames(writer);
    if (m_wantsChecksums)
        writer.attribute(checksumAttribute, checksumText());
    writer.close();
}

void MovieImport::writeHeader(ImageWriter& writer) const
{
    writer.width(static_cast<int>(m_format.width));
    writer.height(static_cast<int>(m_format.height));
    writer.pixType(m_format.type);
    if (m_options.frameRate) {
        const double delay = std::round(1000 / *m_options.frameRate);
        if (delay >= 1 && delay <= std::numeric_limits<int>::max())
            writer.frameDelay(static_cast<int>(delay));
    }
    if (m_format.whiteIsZero && GetPixBits(m_format.type) <= 16)
        writer.setPalette(whiteToBlack(m_format.type));
    applyDescription(m_notes, writer);
    for (const auto& [name, value] : m_options.attributes)
        writer.attribute(name, value);
    if (!m_options.comment.isEmpty())
        writer.setComment(m_options.comment);
}

void MovieImport::writeFrames(ImageWriter& writer)
{
    // Not filled: a page that claims to be large takes memory only as far as there are pixels for it.
    const std::unique_ptr<char[]> pixels = std::make_unique_for_overwrite<char[]>(m_format.frameBytes());
    for (const QString& stack : m_options.stacks) {
        const std::unique_ptr<FramePages> pages = openPages(stack, m_options);
        do {
            checkFormat(*pages);
            checkRoom(*pages);
            pages->readPixels(pixels.get());
            addFrame(writer, pixels.get());
            ++m_done.framesDone;
            m_done.bytesDone += m_format.frameBytes();
            report(m_progress, m_done);
        } while (pages->next());
    }
    if (m_done.framesDone != m_done.framesTotal)
        refuse(m_options.stacks.back(),
               QStringLiteral("gave %1 of %2 frames").arg(m_done.framesDone).arg(m_done.framesTotal), changedAdvice());
}

void MovieImport::addFrame(ImageWriter& writer, const char* pixels)
{
    const float power = laserPowerOf(m_done.framesDone);
    const std::optional<timeval> time = timeOf(m_done.framesDone);
    const auto size = static_cast<int>(m_format.frameBytes());
    if (time)
        writer.addFrame(pixels, size, *time, power);
    else
        writer.addFrame(pixels, size, power);
    if (!m_wantsChecksums)
        return;
    m_checksums.frames.push_back(payloadChecksum(pixels, static_cast<std::int64_t>(m_format.frameBytes())));
    if (time)
        m_times.push_back(*time);
    m_laserPowers.append(static_cast<char>(layout::encodeLaserPower(power)));
}

// Of the frames that were written, and of the side data that closing the movie writes.
QString MovieImport::checksumText()
{
    std::vector<std::pair<std::uint32_t, QByteArray>> sideData;
    if (!m_notes.fiberCenters.empty())
        sideData.emplace_back(ZD_FIBER_CENTERS_CHUNK,
                              layout::encodeFiberCenters(m_notes.fiberCenters, static_cast<int>(m_format.width),
                                                         static_cast<int>(m_format.height)));
    if (!m_times.empty()) {
        QByteArray bytes(static_cast<qsizetype>(m_times.size()) * layout::frameTimeBytes, '\0');
        m_times.dumpToRawBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()));
        sideData.emplace_back(ZD_FRAME_TIMER_CHUNK, bytes);
    }
    sideData.emplace_back(ZD_LASER_POWER_CHUNK, m_laserPowers);
    m_checksums.sideData = sideDataChecksum(sideData);
    return m_checksums.text();
}

// A stack that grew since it was surveyed.
void MovieImport::checkRoom(const FramePages& pages) const
{
    if (m_done.framesDone == m_done.framesTotal)
        refuse(pages.path(), QStringLiteral("changed while it was read"), changedAdvice());
}

// The movie as another program will see it.
void MovieImport::checkMovie(const QString& path) const
{
    ImageReader reader(path);
    if (static_cast<std::uint64_t>(reader.nbFrames()) != m_done.framesTotal)
        refuse(m_options.movie, QStringLiteral("got %1 of %2 frames").arg(reader.nbFrames()).arg(m_done.framesTotal),
               changedAdvice());
}

std::optional<timeval> MovieImport::timeOf(std::uint64_t frame) const
{
    if (frame < m_options.times.size())
        return m_options.times[frame];
    if (!m_options.start || !m_options.frameRate)
        return frame < m_notes.times.size() ? m_notes.times[frame] : std::nullopt;
    const std::optional<timeval> time = timeAfter(*m_options.start, static_cast<double>(frame) / *m_options.frameRate);
    if (!time)
        refuse(m_options.movie, QStringLiteral("would have a frame after 2038, which movies cannot date"),
               QStringLiteral("check the start and the frame rate"));
    return time;
}

float MovieImport::laserPowerOf(std::uint64_t frame) const
{
    if (frame < m_options.laserPowers.size())
        return m_options.laserPowers[frame];
    if (m_options.laserPower || frame >= m_notes.laserPowers.size())
        return m_options.laserPower.value_or(-1.0F);
    return m_notes.laserPowers[frame];
}

// The writer takes as many bytes as the frame in the file has, which need not be what the header says.
void requireLength(ImageReader& movie, const QString& path, unsigned frame, std::uint64_t bytes)
{
    try {
        if (movie.readFrame(frame, nullptr, 0) && static_cast<std::uint64_t>(movie.frameSize()) == bytes)
            return;
    } catch (const IOFileException& failure) {
        throw jobError(failure, path);
    }
    refuse(path, QStringLiteral("frame %1 does not have the length that the header tells").arg(frame),
           QStringLiteral("see vqf verify"));
}

} // namespace

ImportResult appendFrames(const ImportOptions& options, const ProgressCallback& progress)
{
    return MovieImport(options, progress).append();
}

void replaceFrame(const QString& movie, unsigned index, const QString& stack, const std::optional<timeval>& time,
                  const std::optional<float>& laserPower, WithoutJournal withoutJournal)
{
    MovieEdit edit(movie, withoutJournal);
    const std::unique_ptr<FramePages> pages = openPages(stack, {});
    ImageReader reader;
    openMovie(reader, movie);
    requireFormat(reader, movie, pages->format());
    if (index >= static_cast<unsigned>(reader.nbFrames()))
        refuse(movie, QStringLiteral("has no frame %1: there are %2").arg(index).arg(reader.nbFrames()),
               QStringLiteral("frames are counted from 0"));
    requireLength(reader, movie, index, pages->format().frameBytes());
    float power = -1;
    reader.getLaserPower(index, power);
    power = laserPower.value_or(power);
    reader.close();
    const std::unique_ptr<char[]> pixels = std::make_unique_for_overwrite<char[]>(pages->format().frameBytes());
    pages->readPixels(pixels.get());

    edit.begin();
    try {
        if (time)
            edit.writer().replaceFrame(pixels.get(), index, *time, power);
        else
            edit.writer().replaceFrame(pixels.get(), index, power);
    } catch (const IOFileException& failure) {
        throw jobError(failure, movie);
    }
    edit.commit();
}

ImportResult importMovie(const ImportOptions& options, const ProgressCallback& progress)
{
    return MovieImport(options, progress).run();
}

} // namespace zd::movietools
