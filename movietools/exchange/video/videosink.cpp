#include <movietools/exchange/framesink_p.h>
#include <movietools/exchange/pixelchecksum_p.h>
#include <movietools/exchange/sidecaroutput_p.h>
#include <movietools/exchange/video/childprogram_p.h>
#include <movietools/exchange/video/videopages_p.h>
#include <movietools/exchange/video/videotool_p.h>
#include <movietools/files/bytesource.h>
#include <movietools/files/outputfile.h>
#include <movietools/frames/signedsamples_p.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/joberror.h>
#include <movietools/job/timetext.h>

#include <libdataio/imagefilelayout.h>

#include <algorithm>
#include <vector>

namespace zd::movietools {

namespace {

constexpr double usualRate = 25;

// The pictures per second of a movie: by its times, else by its frame delay in milliseconds.
double frameRate(const ExportPlan& plan)
{
    const std::vector<std::optional<timeval>>& times = plan.description.times;
    double seconds = 0;
    if (times.size() > 1 && times.front() && times.back())
        seconds = static_cast<double>(microseconds(*times.back()) - microseconds(*times.front())) / 1e6 /
                  static_cast<double>(times.size() - 1);
    int delay = 0;
    if (!(seconds > 0) && plan.description.attributes.get(layout::key::frameDelay, delay))
        seconds = delay / 1e3;
    return seconds > 0 ? std::clamp(1 / seconds, 0.01, 1000.0) : usualRate;
}

QStringList encoding(const ExportPlan& plan)
{
    // The encoder's slices, from level 3 on, damage pictures with sides below 3.
    const bool isSmall = std::min(plan.format.width, plan.format.height) < 16;
    if (plan.options.form == ExchangeForm::Mkv)
        return {QStringLiteral("-c:v"),   QStringLiteral("ffv1"),
                QStringLiteral("-level"), isSmall ? QStringLiteral("1") : QStringLiteral("3"),
                QStringLiteral("-f"),     QStringLiteral("matroska")};
    // Players want even sides and colours of this kind.
    return {QStringLiteral("-vf"),       QStringLiteral("pad=ceil(iw/2)*2:ceil(ih/2)*2"),
            QStringLiteral("-c:v"),      QStringLiteral("libx264"),
            QStringLiteral("-pix_fmt"),  QStringLiteral("yuv420p"),
            QStringLiteral("-crf"),      QStringLiteral("18"),
            QStringLiteral("-movflags"), QStringLiteral("+faststart"),
            QStringLiteral("-f"),        QStringLiteral("mp4")};
}

QStringList arguments(const ExportPlan& plan, double rate, const QString& workPath)
{
    QStringList list{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-nostdin"), QStringLiteral("-y")};
    list += {QStringLiteral("-f"),       QStringLiteral("rawvideo"),
             QStringLiteral("-pix_fmt"), videoPixels(unsignedType(plan.format.type)),
             QStringLiteral("-s"),       QStringLiteral("%1x%2").arg(plan.format.width).arg(plan.format.height),
             QStringLiteral("-r"),       QString::number(rate, 'f', 6),
             QStringLiteral("-i"),       QStringLiteral("pipe:0")};
    return list + encoding(plan) + QStringList{videoAddress(workPath)};
}

/// A video made by another program, with a sidecar for its exact times.
class VideoSink : public FrameSink {
public:
    explicit VideoSink(const ExportPlan& plan)
        : m_plan(plan),
          m_rate(frameRate(plan)),
          m_file(plan.options.output,
                 plan.options.replace ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse,
                 {plan.options.movie}, 0666, OutputFile::Work::Named),
          m_sidecar(plan),
          m_program(QStringLiteral("ffmpeg"), arguments(plan, m_rate, m_file.workPath()),
                    ChildProgram::Direction::TakesBytes, plan.options.output)
    {
    }

    void add(const void* pixels) override
    {
        const ZDImagePixelType type = m_plan.format.type;
        const std::uint64_t bytes = m_plan.format.frameBytes();
        if (zeroOf(type) != 0) {
            m_shifted.resize(bytes);
            shiftSigned(type, pixels, m_shifted.data(), bytes);
            pixels = m_shifted.data();
        }
        m_program.write(pixels, bytes);
    }

    std::uint64_t finish() override
    {
        m_program.finish();
        const std::uint64_t pictures = picturesIn(m_file.workPath(), m_file.path());
        if (pictures != m_plan.frames)
            refuse(m_file.path(), QStringLiteral("got %1 of %2 frames").arg(pictures).arg(m_plan.frames),
                   QStringLiteral("use another form"));
        Sidecar sidecar = sidecarFor(m_plan);
        sidecar.zero = zeroOf(m_plan.format.type);
        sidecar.framesPerSecond = m_rate;
        if (changesPixels(m_plan.options.form))
            sidecar.checksum = PixelChecksum::ofFile(m_file.workPath());
        m_sidecar.write(sidecar);
        const std::uint64_t bytes = lengthOfFile(m_file.workPath());
        m_file.place();
        m_sidecar.place();
        const bool areSettled[] = {m_file.settle(), m_sidecar.settle()};
        requireSettled(m_plan.options.output, areSettled[0] && areSettled[1]);
        return bytes;
    }

private:
    const ExportPlan& m_plan;
    double m_rate;
    OutputFile m_file;
    SidecarOutput m_sidecar;
    ChildProgram m_program;
    std::vector<char> m_shifted;
};

} // namespace

std::unique_ptr<FrameSink> makeVideoSink(const ExportPlan& plan)
{
    if (videoPixels(unsignedType(plan.format.type)).isEmpty())
        refuse(plan.options.movie, QStringLiteral("has samples that videos cannot hold"),
               QStringLiteral("export it in another form, or scale it with --depth 16"));
    return std::make_unique<VideoSink>(plan);
}

} // namespace zd::movietools
