#include <movietools/tiffexport.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <movietools/framelayout.h>
#include <movietools/joberror.h>
#include <movietools/movieindex.h>
#include <movietools/outputfile.h>
#include <movietools/tifffile_p.h>
#include <movietools/tiffpixels_p.h>
#include <movietools/wording.h>

#include <cerrno>
#include <limits>

namespace zd::movietools {

namespace {

// Upper bound of what a page takes besides its pixels: its directory and what the entries point to.
constexpr std::uint64_t bytesOfDirectory = 512;

std::uint64_t stackBytes(std::uint64_t pages, std::uint64_t frameBytes, std::uint64_t descriptionBytes)
{
    return pages * (frameBytes + bytesOfDirectory) + descriptionBytes + bytesOfDirectory;
}

/// One export, from the first look at the movie to the finished stack.
class TiffExport {
public:
    TiffExport(const TiffExportOptions& options, const ProgressCallback& progress)
        : m_options(options), m_progress(progress)
    {
    }

    TiffExportResult run();

private:
    void openMovie();
    void readPictureSize();
    void chooseFrames();
    void writeStack(const OutputFile& output);
    void writeFrame(TiffFile& stack, unsigned frame, const OutputFile& output);
    const void* readFrame(unsigned frame);
    void lose(unsigned frame, const QString& reason);
    void describePage(::TIFF* page) const;
    void checkStack(const OutputFile& output) const;
    [[noreturn]] void refuse(const QString& problem, const QString& advice) const;
    [[noreturn]] static void reportWriteFailure(const TiffFile& stack, const OutputFile& output);

    const TiffExportOptions& m_options;
    const ProgressCallback& m_progress;
    ImageReader m_movie;
    std::vector<ChunkRecord> m_records;
    TiffSamples m_samples;
    std::uint64_t m_frameBytes = 0;
    QByteArray m_description;
    std::vector<unsigned> m_frames;
    Progress m_done;
    TiffExportResult m_result;
};

TiffExportResult TiffExport::run()
{
    openMovie();
    readPictureSize();
    chooseFrames();
    OutputFile output(m_options.stack, m_options.replace ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse,
                      {m_options.movie});
    output.requireRoom(stackBytes(m_frames.size(), m_frameBytes, static_cast<std::uint64_t>(m_description.size())));
    writeStack(output);
    if (m_result.frames == 0)
        refuse(QStringLiteral("has no frame that can be read; frame %1 %2")
                   .arg(m_result.lost.front().frame)
                   .arg(m_result.lost.front().reason),
               QStringLiteral("the movie is damaged: use another copy"));
    checkStack(output);
    m_result.bytes = fileBytes(output.workPath());
    output.commit();
    return m_result;
}

void TiffExport::openMovie()
{
    try {
        m_movie.open(m_options.movie);
    } catch (const IOFileException& failure) {
        throw jobError(failure, m_options.movie);
    }
    m_records = recordsOf(readMovieInfo(m_options.movie), ZD_FRAME_CHUNK);
    if (m_records.size() != static_cast<std::size_t>(m_movie.nbFrames()))
        refuse(QStringLiteral("changed while it was read"), QStringLiteral("wait until it is complete"));
    m_description = m_movie.getComment().toUtf8();
}

void TiffExport::readPictureSize()
{
    const QString advice = QStringLiteral("a stack needs frames of a known size and type");
    if (!m_movie.width(m_result.width) || !m_movie.height(m_result.height) || m_result.width <= 0 ||
        m_result.height <= 0)
        refuse(QStringLiteral("does not say how large its frames are"), advice);
    const std::uint64_t pixels =
        static_cast<std::uint64_t>(m_result.width) * static_cast<std::uint64_t>(m_result.height);
    if (pixels > layout::largestSizeLimit)
        refuse(
            QStringLiteral("claims frames of %1 x %2, larger than any movie").arg(m_result.width).arg(m_result.height),
            advice);
    m_result.type = sampleType(m_movie);
    m_samples = tiffSamples(m_result.type);
    if (m_samples.channels == 0)
        refuse(QStringLiteral("does not say what its pixels are"), advice);
    m_frameBytes = pixels * static_cast<std::uint64_t>(m_samples.pixelBytes());
}

void TiffExport::chooseFrames()
{
    QString problem;
    m_frames = m_options.frames.resolve(static_cast<unsigned>(m_movie.nbFrames()), m_movie.getFrameTimer(), problem);
    if (m_frames.empty())
        refuse(problem, QStringLiteral("see the frames with vqf info"));
    m_done.framesTotal = m_frames.size();
    m_result.bigTiff = needsBigTiff(m_frames.size(), m_frameBytes, static_cast<std::uint64_t>(m_description.size()));
}

void TiffExport::writeStack(const OutputFile& output)
{
    TiffFile stack = TiffFile::create(output.workPath(), output.path(), m_result.bigTiff);
    report(m_progress, m_done);
    for (const unsigned frame : m_frames) {
        writeFrame(stack, frame, output);
        ++m_done.framesDone;
        m_done.bytesDone += m_frameBytes;
        report(m_progress, m_done);
    }
    errno = 0;
    if (!stack.close())
        reportWriteFailure(stack, output);
}

void TiffExport::writeFrame(TiffFile& stack, unsigned frame, const OutputFile& output)
{
    const void* pixels = readFrame(frame);
    if (pixels == nullptr)
        return;
    describePage(stack.handle());
    errno = 0; // the TIFF library also fails for reasons of its own
    // It takes a plain pointer because it could turn bytes around; it has no reason to here.
    const tmsize_t written =
        TIFFWriteRawStrip(stack.handle(), 0, const_cast<void*>(pixels), static_cast<tmsize_t>(m_frameBytes));
    if (written < 0 || TIFFWriteDirectory(stack.handle()) == 0 || stack.hasErrors())
        reportWriteFailure(stack, output);
    ++m_result.frames;
}

// The frame's pixels, borrowed; null, with the frame listed as lost, when they are not all there.
const void* TiffExport::readFrame(unsigned frame)
{
    // The reader fills up short frames that it turns into this machine's byte order: only the index tells them.
    const std::uint64_t stored = m_records[frame].length;
    if (stored < m_frameBytes) {
        lose(frame, QStringLiteral("has %1 of its %2 bytes").arg(stored).arg(m_frameBytes));
        return nullptr;
    }
    const void* pixels = nullptr;
    try {
        if (!m_movie.getFrame(pixels, frame) || static_cast<std::uint64_t>(m_movie.frameSize()) < m_frameBytes) {
            lose(frame, QStringLiteral("is cut short or not where the movie's index says"));
            return nullptr;
        }
    } catch (const IOFileException& failure) {
        lose(frame, QStringLiteral("cannot be read: %1").arg(jobError(failure, m_options.movie).problem));
        return nullptr;
    }
    if (stored > m_frameBytes)
        lose(frame, QStringLiteral("has %1 bytes beyond its picture").arg(stored - m_frameBytes));
    return pixels;
}

void TiffExport::lose(unsigned frame, const QString& reason)
{
    m_result.lost.push_back({frame, reason});
}

void TiffExport::describePage(::TIFF* page) const
{
    TIFFSetField(page, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(m_result.width));
    TIFFSetField(page, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(m_result.height));
    TIFFSetField(page, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(m_result.height));
    TIFFSetField(page, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(page, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(page, TIFFTAG_BITSPERSAMPLE, int{m_samples.bits});
    TIFFSetField(page, TIFFTAG_SAMPLEFORMAT, int{m_samples.format});
    TIFFSetField(page, TIFFTAG_SAMPLESPERPIXEL, int{m_samples.channels});
    TIFFSetField(page, TIFFTAG_PHOTOMETRIC, int{m_samples.photometric});
    if (m_samples.channels == 4) {
        const std::uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(page, TIFFTAG_EXTRASAMPLES, 1, &alpha);
    }
    if (m_result.frames > 0)
        return;
    TIFFSetField(page, TIFFTAG_SOFTWARE, "DataIO vqf");
    if (!m_description.isEmpty())
        TIFFSetField(page, TIFFTAG_IMAGEDESCRIPTION, m_description.constData());
}

// The stack as another program will see it.
void TiffExport::checkStack(const OutputFile& output) const
{
    TiffFile stack = TiffFile::open(output.workPath());
    const tdir_t pages = TIFFNumberOfDirectories(stack.handle());
    if (pages != m_result.frames)
        throw JobError{output.path(),
                       QStringLiteral("got %1 of %2 pages").arg(pages).arg(m_result.frames),
                       QStringLiteral("write it elsewhere"),
                       {}};
}

void TiffExport::refuse(const QString& problem, const QString& advice) const
{
    throw JobError{m_options.movie, problem, advice, {}};
}

void TiffExport::reportWriteFailure(const TiffFile& stack, const OutputFile& output)
{
    if (stack.systemErrorNumber() != 0)
        throw systemError(output.path(), QStringLiteral("written"), stack.systemErrorNumber());
    throw JobError{output.path(),
                   QStringLiteral("cannot be written: %1").arg(stack.message()),
                   QStringLiteral("write it elsewhere"),
                   {}};
}

} // namespace

TiffExportResult exportTiff(const TiffExportOptions& options, const ProgressCallback& progress)
{
    return TiffExport(options, progress).run();
}

bool needsBigTiff(std::uint64_t pages, std::uint64_t frameBytes, std::uint64_t descriptionBytes)
{
    return stackBytes(pages, frameBytes, descriptionBytes) > std::numeric_limits<std::uint32_t>::max();
}

} // namespace zd::movietools
