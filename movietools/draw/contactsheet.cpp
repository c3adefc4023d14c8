#include <movietools/draw/contactsheet.h>

#include <common/iofileexception.h>
#include <movietools/draw/framerenderer.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/joberror.h>
#include <movietools/job/timetext.h>
#include <movietools/job/wording.h>
#include <movietools/movie/chosenframes_p.h>

#include <QFileInfo>
#include <QFontMetrics>
#include <QPainter>

#include <cmath>

namespace zd::movietools {

namespace {

constexpr int gap = 10;
constexpr qint64 mostBytes = qint64{256} << 20;
const QColor ink(40, 40, 40);
const QColor paleInk(110, 110, 110);

/// One sheet, from the movie to the picture.
class ContactSheet {
public:
    explicit ContactSheet(const SheetOptions& options)
        : m_options(options),
          m_frames(options.movie, options.frames),
          m_title(QFont().family(), 12, QFont::Bold),
          m_label(QFont().family(), 9)
    {
    }

    DrawnMovie draw(const ProgressCallback& progress);

private:
    void choose();
    void layOut();
    void drawTitle(QPainter& painter) const;
    void drawFrame(QPainter& painter, std::size_t place);
    QImage picture(unsigned frame);
    QString label(unsigned frame);

    const SheetOptions& m_options;
    ChosenFrames m_frames;
    FrameRenderer m_renderer{m_frames.movie()};
    QFont m_title;
    QFont m_label;
    std::vector<unsigned> m_shown;
    int m_columns = 1;
    QSize m_picture; // box of one picture
    QSize m_cell;    // picture, label and gap
    QSize m_sheet;
    int m_titleHeight = 0;
};

DrawnMovie ContactSheet::draw(const ProgressCallback& progress)
{
    choose();
    layOut();
    QImage sheet(m_sheet, QImage::Format_RGB32);
    sheet.fill(Qt::white);
    QPainter painter(&sheet);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    drawTitle(painter);
    Progress done;
    done.framesTotal = m_shown.size();
    for (std::size_t place = 0; place < m_shown.size(); ++place) {
        drawFrame(painter, place);
        ++done.framesDone;
        done.bytesDone += m_frames.format().frameBytes();
        report(progress, done);
    }
    painter.end();
    return {sheet, m_frames.lost()};
}

// The first frame, the last one and even steps between them.
void ContactSheet::choose()
{
    const std::vector<unsigned>& all = m_frames.frames();
    const std::size_t count = std::min<std::size_t>(all.size(), static_cast<std::size_t>(m_options.pictures));
    for (std::size_t i = 0; i < count; ++i)
        m_shown.push_back(all[count == 1 ? 0 : i * (all.size() - 1) / (count - 1)]);
}

void ContactSheet::layOut()
{
    const QSize frame(static_cast<int>(m_frames.format().width), static_cast<int>(m_frames.format().height));
    m_picture = frame.scaled(m_options.side, m_options.side, Qt::KeepAspectRatio).expandedTo({1, 1});
    const int labelHeight = 2 * QFontMetrics(m_label).lineSpacing();
    // Room for a label, however narrow the frames are.
    const int width =
        std::max(m_picture.width(), QFontMetrics(m_label).horizontalAdvance(QStringLiteral("frame 000000")));
    m_cell = QSize(width + gap, m_picture.height() + labelHeight + gap);
    const int count = static_cast<int>(m_shown.size());
    const double even = std::sqrt(1.5 * count * m_cell.height() / m_cell.width());
    m_columns = std::clamp(m_options.columns > 0 ? m_options.columns : static_cast<int>(std::lround(even)), 1, count);
    const int rows = (count + m_columns - 1) / m_columns;
    m_titleHeight = QFontMetrics(m_title).lineSpacing() + QFontMetrics(m_label).lineSpacing() + gap;
    const qint64 sheetWidth = qint64{m_columns} * m_cell.width() + gap;
    const qint64 sheetHeight = qint64{rows} * m_cell.height() + m_titleHeight + gap;
    if (sheetWidth * sheetHeight * 4 > mostBytes || sheetWidth > 32767 || sheetHeight > 32767)
        refuse(m_options.movie, QStringLiteral("would need a sheet of %1 x %2 pixels").arg(sheetWidth).arg(sheetHeight),
               QStringLiteral("choose fewer or smaller pictures"));
    m_sheet = QSize(static_cast<int>(sheetWidth), static_cast<int>(sheetHeight));
}

void ContactSheet::drawTitle(QPainter& painter) const
{
    const PageFormat& format = m_frames.format();
    QString line = QStringLiteral("%1 frames of %2")
                       .arg(m_frames.frames().size())
                       .arg(pictureText(format.width, format.height, format.type));
    const FrameTimer& times = m_frames.times();
    if (!times.empty())
        line +=
            QStringLiteral(", from ") + utcText(times.front()).left(19).replace(u'T', u' ') + QStringLiteral(" UTC");
    const int width = m_sheet.width() - 2 * gap;
    int y = gap;
    for (const auto& [font, color, text] :
         {std::tuple(m_title, ink, QFileInfo(m_options.movie).fileName()), std::tuple(m_label, paleInk, line)}) {
        const QFontMetrics metrics(font);
        painter.setFont(font);
        painter.setPen(color);
        painter.drawText(gap, y + metrics.ascent(), metrics.elidedText(text, Qt::ElideRight, width));
        y += metrics.lineSpacing();
    }
}

void ContactSheet::drawFrame(QPainter& painter, std::size_t place)
{
    const auto column = static_cast<int>(place) % m_columns;
    const auto row = static_cast<int>(place) / m_columns;
    const QRect box(QPoint(gap + column * m_cell.width(), gap + m_titleHeight + row * m_cell.height()), m_picture);
    const QImage image = picture(m_shown[place]);
    if (image.isNull()) {
        painter.setPen(paleInk);
        painter.drawRect(box.adjusted(0, 0, -1, -1));
        painter.drawLine(box.topLeft(), box.bottomRight());
        painter.drawLine(box.topRight(), box.bottomLeft());
    } else {
        painter.drawImage(box, image);
    }
    painter.setFont(m_label);
    painter.setPen(ink);
    const QRect text(box.left(), box.bottom() + 2, m_cell.width() - gap, m_cell.height() - m_picture.height() - gap);
    painter.drawText(text, Qt::AlignLeft | Qt::AlignTop, label(m_shown[place]));
}

QString ContactSheet::label(unsigned frame)
{
    QString text = QStringLiteral("frame %1").arg(frame);
    const FrameTimer& times = m_frames.times();
    if (frame < times.size())
        text += QStringLiteral("\n%1 s").arg(
            static_cast<double>(microseconds(times[frame]) - microseconds(times.front())) / 1e6, 0, 'f', 3);
    return text;
}

// Null for a frame that cannot be read.
QImage ContactSheet::picture(unsigned frame)
{
    QImage image(m_renderer.size(), m_renderer.format());
    try {
        if (m_frames.read(frame) == nullptr || image.isNull() || !m_renderer.draw(frame, image))
            return {};
    } catch (const IOFileException&) {
        return {};
    }
    return image.scaled(m_picture, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

} // namespace

DrawnMovie contactSheet(const SheetOptions& options, const ProgressCallback& progress)
{
    return ContactSheet(options).draw(progress);
}

} // namespace zd::movietools
