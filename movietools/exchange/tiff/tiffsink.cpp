#include <common/zdpalette.h>
#include <libdataio/attributepaletteadaptor.h>
#include <libdataio/imagefilelayout.h>
#include <movietools/exchange/framesink_p.h>
#include <movietools/exchange/sidecaroutput_p.h>
#include <movietools/exchange/tiff/omexml_p.h>
#include <movietools/exchange/tiff/tiffwriter_p.h>
#include <movietools/files/bytesource.h>
#include <movietools/files/outputfile.h>
#include <movietools/frames/samplecolors.h>

namespace zd::movietools {

namespace {

// The palette's colours of samples without a sign, as TIFF files keep them.
void addColors(const ExportPlan& plan, TiffFirstPage& first)
{
    ZdPalette palette;
    const bool hasTable = plan.format.type == ZD_UCHAR || plan.format.type == ZD_USHORT;
    if (!hasTable || !AttributePaletteAdaptor::attributesToPalette(plan.description.attributes, palette, {}) ||
        palette.size() == 0)
        return;
    const std::size_t values = std::size_t{1} << GetPixBits(plan.format.type);
    const SampleColors colors = SampleColors::ofPalette(palette);
    for (std::size_t value = 0; value < values; ++value) {
        const QRgb color = colors.at(static_cast<double>(value));
        const int channels[] = {qRed(color), qGreen(color), qBlue(color)};
        for (std::size_t channel = 0; channel < 3; ++channel)
            first.colors[channel].push_back(static_cast<std::uint16_t>(257 * channels[channel]));
    }
}

TiffFirstPage firstPage(const ExportPlan& plan)
{
    TiffFirstPage first;
    if (plan.options.form == ExchangeForm::OmeTiff) {
        first.description =
            omeXml({plan.movieName, plan.format, plan.frames, &plan.description, plan.options.fiberRegions});
        addColors(plan, first);
        return first;
    }
    QString comment;
    plan.description.attributes.get(layout::key::comment, comment);
    first.description = layout::decodeComment(comment).toUtf8();
    return first;
}

/// A stack, with a sidecar when it is plain.
class TiffSink : public FrameSink {
public:
    TiffSink(const ExportPlan& plan, const TiffFirstPage& first)
        : m_plan(plan),
          m_file(plan.options.output,
                 plan.options.replace ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse,
                 {plan.options.movie}),
          m_isBig(needsBigTiff(plan.frames, plan.format.frameBytes(), first.bytes()))
    {
        if (plan.options.form == ExchangeForm::Tiff)
            m_sidecar.emplace(plan);
        m_file.requireRoom(plan.pixelBytes() + first.bytes());
        m_stack.emplace(m_file.workPath(), m_file.path(), m_isBig, plan.format, first);
    }

    void add(const void* pixels) override { m_stack->add(pixels); }
    bool isBigTiff() const override { return m_isBig; }

    std::uint64_t finish() override
    {
        m_stack->close();
        if (m_sidecar)
            m_sidecar->write(sidecarFor(m_plan));
        const std::uint64_t bytes = lengthOfFile(m_file.workPath());
        m_file.place();
        if (m_sidecar)
            m_sidecar->place();
        const bool areSettled[] = {m_file.settle(), !m_sidecar || m_sidecar->settle()};
        requireSettled(m_file.path(), areSettled[0] && areSettled[1]);
        return bytes;
    }

private:
    const ExportPlan& m_plan;
    OutputFile m_file;
    std::optional<SidecarOutput> m_sidecar;
    bool m_isBig;
    std::optional<TiffWriter> m_stack;
};

} // namespace

std::unique_ptr<FrameSink> makeTiffSink(const ExportPlan& plan)
{
    return std::make_unique<TiffSink>(plan, firstPage(plan));
}

} // namespace zd::movietools
