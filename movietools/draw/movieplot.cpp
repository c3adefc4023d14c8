#include <movietools/draw/movieplot.h>

#include <movietools/draw/plotpanel_p.h>
#include <movietools/frames/samplestatistics_p.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/timetext.h>
#include <movietools/job/wording.h>
#include <movietools/movie/chosenframes_p.h>

#include <QFileInfo>
#include <QFontMetrics>

#include <array>

namespace zd::movietools {

namespace {

constexpr int margin = 14;

/// The three curves of a movie.
class MoviePlot {
public:
    explicit MoviePlot(const PlotOptions& options) : m_options(options), m_frames(options.movie, options.frames)
    {
        m_isTimed = m_frames.times().size() >= static_cast<std::size_t>(m_frames.movie().nbFrames());
        m_panels[0] = {
            QStringLiteral("mean intensity"), QStringLiteral("no frame can be read"), QColor(30, 90, 170), {}};
        m_panels[1] = {QStringLiteral("laser power (%)"), QStringLiteral("not known"), QColor(190, 60, 40), {}};
        m_panels[2] = {QStringLiteral("interval to the frame before (ms)"),
                       QStringLiteral("no frame times"),
                       QColor(40, 130, 70),
                       {}};
    }

    DrawnMovie draw(const ProgressCallback& progress);

private:
    void measure(const ProgressCallback& progress);
    void measureFrame(unsigned frame);
    double position(unsigned frame) const;
    void setAxis();
    void drawTitle(QPainter& painter, int& y) const;

    const PlotOptions& m_options;
    ChosenFrames m_frames;
    bool m_isTimed = false;
    std::array<PlotPanel, 3> m_panels;
};

DrawnMovie MoviePlot::draw(const ProgressCallback& progress)
{
    measure(progress);
    setAxis();
    QImage picture(m_options.size, QImage::Format_RGB32);
    picture.fill(Qt::white);
    QPainter painter(&picture);
    painter.setFont(QFont(QFont().family(), 9));
    int y = margin;
    drawTitle(painter, y);
    const int below = 2 * QFontMetrics(painter.font()).lineSpacing(); // for the axis
    const int height = (picture.height() - y - below) / static_cast<int>(m_panels.size());
    const QString axis = m_isTimed ? QStringLiteral("time since the first frame (s)") : QStringLiteral("frame");
    for (std::size_t panel = 0; panel < m_panels.size(); ++panel) {
        const QRect box(margin, y + static_cast<int>(panel) * height, picture.width() - 2 * margin, height);
        drawPanel(painter, box, m_panels[panel], panel + 1 == m_panels.size() ? axis : QString());
    }
    painter.end();
    return {picture, m_frames.lost()};
}

void MoviePlot::measure(const ProgressCallback& progress)
{
    Progress done;
    done.framesTotal = m_frames.frames().size();
    report(progress, done);
    for (const unsigned frame : m_frames.frames()) {
        measureFrame(frame);
        ++done.framesDone;
        done.bytesDone += m_frames.format().frameBytes();
        report(progress, done);
    }
    for (PlotPanel& panel : m_panels)
        std::stable_sort(panel.points.begin(), panel.points.end(),
                         [](const QPointF& a, const QPointF& b) { return a.x() < b.x(); });
}

void MoviePlot::measureFrame(unsigned frame)
{
    const double x = position(frame);
    if (const void* pixels = m_frames.read(frame))
        m_panels[0].points.emplace_back(x, sampleMean(m_frames.format(), pixels));
    float power = 0;
    if (m_frames.movie().getLaserPower(frame, power))
        m_panels[1].points.emplace_back(x, 100 * static_cast<double>(power));
    const FrameTimer& times = m_frames.times();
    if (frame > 0 && frame < times.size())
        m_panels[2].points.emplace_back(
            x, static_cast<double>(microseconds(times[frame]) - microseconds(times[frame - 1])) / 1e3);
}

double MoviePlot::position(unsigned frame) const
{
    const FrameTimer& times = m_frames.times();
    return m_isTimed ? static_cast<double>(microseconds(times[frame]) - microseconds(times.front())) / 1e6 : frame;
}

void MoviePlot::setAxis()
{
    double low = position(m_frames.frames().front());
    double high = low;
    for (const unsigned frame : m_frames.frames()) {
        low = std::min(low, position(frame));
        high = std::max(high, position(frame));
    }
    for (PlotPanel& panel : m_panels) {
        panel.xLow = low;
        panel.xHigh = high;
    }
}

void MoviePlot::drawTitle(QPainter& painter, int& y) const
{
    const QFont plain = painter.font();
    const QFont bold(plain.family(), 12, QFont::Bold);
    const PageFormat& format = m_frames.format();
    QString line = QStringLiteral("%1 frames of %2")
                       .arg(m_frames.frames().size())
                       .arg(pictureText(format.width, format.height, format.type));
    if (!m_frames.times().empty())
        line += QStringLiteral(", from ") + utcText(m_frames.times().front()).left(19).replace(u'T', u' ') +
                QStringLiteral(" UTC");
    painter.setPen(QColor(40, 40, 40));
    for (const auto& [font, text] : {std::pair(bold, QFileInfo(m_options.movie).fileName()), std::pair(plain, line)}) {
        const QFontMetrics metrics(font);
        painter.setFont(font);
        painter.drawText(margin, y + metrics.ascent(),
                         metrics.elidedText(text, Qt::ElideRight, m_options.size.width() - 2 * margin));
        y += metrics.lineSpacing();
    }
    y += margin;
}

} // namespace

DrawnMovie plotMovie(const PlotOptions& options, const ProgressCallback& progress)
{
    return MoviePlot(options).draw(progress);
}

} // namespace zd::movietools
