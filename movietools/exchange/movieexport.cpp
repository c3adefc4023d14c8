#include <movietools/exchange/movieexport.h>

#include <common/zdpalette.h>
#include <movietools/exchange/framesink_p.h>
#include <movietools/exchange/frametable.h>
#include <movietools/exchange/pixelchecksum_p.h>
#include <movietools/exchange/sidecaroutput_p.h>
#include <movietools/frames/frameconverter_p.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/chosenframes_p.h>

#include <QFileInfo>

#include <limits>
#include <optional>

namespace zd::movietools {

namespace {

std::unique_ptr<FrameSink> makeSink(const ExportPlan& plan)
{
    switch (plan.options.form) {
    case ExchangeForm::Tiff:
    case ExchangeForm::OmeTiff:
        return makeTiffSink(plan);
    case ExchangeForm::PngPictures:
    case ExchangeForm::TiffPictures:
        return makePictureSink(plan);
    case ExchangeForm::Mkv:
    case ExchangeForm::Mp4:
        return makeVideoSink(plan);
    default:
        return makeRawSink(plan);
    }
}

/// One export, from the first look at the movie to the finished output.
class MovieExport {
public:
    MovieExport(const ExportOptions& options, const ProgressCallback& progress)
        : m_options(options), m_progress(progress), m_frames(options.movie, options.frames)
    {
    }

    ExportResult run();

private:
    FrameLook look() const;
    SampleRange rangeOfMovie();
    void chooseLook();
    ExportPlan plan();
    bool writeFrames(FrameSink& sink, ExportPlan& plan);
    ExportResult finish(FrameSink& sink, const ExportPlan& plan);

    const ExportOptions& m_options;
    const ProgressCallback& m_progress;
    ChosenFrames m_frames;
    std::optional<FrameConverter> m_converter;
    Progress m_done;
};

ExportResult MovieExport::run()
{
    requireNoOldSidecar(m_options);
    chooseLook();
    // Some forms tell the number of frames before the first: once frames turn out to be lost it starts again.
    for (;;) {
        ExportPlan plan = this->plan();
        const std::unique_ptr<FrameSink> sink = makeSink(plan);
        if (writeFrames(*sink, plan))
            return finish(*sink, plan);
        m_frames.dropLost();
    }
}

// Videos for looking at have eight bits.
FrameLook MovieExport::look() const
{
    const ZDImagePixelType type = m_frames.format().type;
    const bool isWide = type != ZD_UCHAR && type != ZD_RGB && type != ZD_RGBA;
    if (m_options.look == FrameLook::AsStored && m_options.form == ExchangeForm::Mp4 && isWide)
        return FrameLook::Grey8;
    return m_options.look;
}

void MovieExport::chooseLook()
{
    const FrameLook look = this->look();
    if (look == FrameLook::Palette) {
        ZdPalette palette;
        if (!m_frames.movie().palette(palette) || palette.size() == 0)
            refuse(m_options.movie, QStringLiteral("has no palette"), QStringLiteral("leave --palette out"));
        m_converter.emplace(m_frames.format(), SampleColors::ofPalette(palette));
    } else if (look != FrameLook::AsStored) {
        const SampleRange range =
            m_options.range ? SampleRange{m_options.range->first, m_options.range->second} : rangeOfMovie();
        m_converter.emplace(m_frames.format(), range, look == FrameLook::Grey8 ? 8 : 16);
    }
}

SampleRange MovieExport::rangeOfMovie()
{
    SampleRange range{std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest()};
    Progress looked;
    looked.framesTotal = m_frames.frames().size();
    for (const unsigned frame : m_frames.frames()) {
        if (const void* pixels = m_frames.read(frame)) {
            const SampleRange ofFrame = sampleRange(m_frames.format(), pixels);
            range = {std::min(range.low, ofFrame.low), std::max(range.high, ofFrame.high)};
        }
        report(m_progress, looked);
    }
    m_frames.dropLost();
    return range;
}

ExportPlan MovieExport::plan()
{
    return {.options = m_options,
            .format = m_converter ? m_converter->format() : m_frames.format(),
            .frames = static_cast<unsigned>(m_frames.frames().size()),
            .description = m_frames.describe(m_options.sidecar || m_options.form == ExchangeForm::OmeTiff),
            .movieName = QFileInfo(m_options.movie).completeBaseName(),
            .pixelChecksum = {}};
}

// False when a frame was lost; the rest is then looked through for others.
bool MovieExport::writeFrames(FrameSink& sink, ExportPlan& plan)
{
    m_done = {};
    m_done.framesTotal = m_frames.frames().size();
    report(m_progress, m_done);
    bool isComplete = true;
    PixelChecksum checksum;
    const bool isChecked = m_options.sidecar && hasSidecar(m_options.form) && !changesPixels(m_options.form);
    for (const unsigned frame : m_frames.frames()) {
        const void* pixels = m_frames.read(frame);
        isComplete = isComplete && pixels != nullptr;
        if (isComplete) {
            const void* converted = m_converter ? m_converter->convert(pixels) : pixels;
            if (isChecked)
                checksum.add(converted, plan.format.frameBytes());
            sink.add(converted);
        }
        ++m_done.framesDone;
        m_done.bytesDone += m_frames.format().frameBytes();
        report(m_progress, m_done);
    }
    if (isChecked)
        plan.pixelChecksum = checksum.text();
    return isComplete;
}

ExportResult MovieExport::finish(FrameSink& sink, const ExportPlan& plan)
{
    ExportResult result;
    result.bytes = sink.finish();
    removeOldSidecar(m_options);
    result.bigTiff = sink.isBigTiff();
    result.frames = plan.frames;
    result.width = static_cast<int>(plan.format.width);
    result.height = static_cast<int>(plan.format.height);
    result.type = plan.format.type;
    result.lost = m_frames.lost();
    return result;
}

} // namespace

ExportResult exportMovie(const ExportOptions& options, const ProgressCallback& progress)
{
    return options.form == ExchangeForm::Csv ? exportTable(options) : MovieExport(options, progress).run();
}

} // namespace zd::movietools
