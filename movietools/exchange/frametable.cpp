#include <movietools/exchange/frametable.h>

#include <movietools/files/plainoutput.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/joberror.h>
#include <movietools/job/timetext.h>
#include <movietools/movie/chosenframes_p.h>

#include <QFile>

#include <algorithm>
#include <cmath>

namespace zd::movietools {

namespace {

const QString timeColumn = QStringLiteral("time");
const QString powerColumn = QStringLiteral("laser_power");

QByteArray tableText(const std::vector<unsigned>& frames, const MovieDescription& description)
{
    QString text = QStringLiteral("frame,%1,%2\n").arg(timeColumn, powerColumn);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        text += QString::number(frames[i]) + u',';
        if (i < description.times.size() && description.times[i])
            text += secondsText(microseconds(*description.times[i]));
        text += u',';
        if (i < description.laserPowers.size() && description.laserPowers[i] >= 0)
            text += QString::number(double{description.laserPowers[i]}, 'g', 9);
        text += u'\n';
    }
    return text.toUtf8();
}

/// Takes a table apart line by line.
class TableReader {
public:
    explicit TableReader(const QString& path) : m_path(path) {}

    FrameTable read();

private:
    void readHead(const QString& line);
    void readLine(const QStringList& cells, FrameTable& table) const;
    std::optional<double> number(const QStringList& cells, qsizetype column) const;
    [[noreturn]] void refuseLine(const QString& problem) const;

    const QString& m_path;
    std::uint64_t m_line = 0;
    qsizetype m_seconds = -1; // columns; -1: none
    qsizetype m_power = -1;
    qsizetype m_columns = 0;
};

FrameTable TableReader::read()
{
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        refuse(m_path, QStringLiteral("cannot be read: %1").arg(file.errorString()), {});
    FrameTable table;
    while (!file.atEnd()) {
        ++m_line;
        const QString line = QString::fromUtf8(file.readLine(4096)).trimmed();
        if (m_line == 1)
            readHead(line);
        else if (!line.isEmpty())
            readLine(line.split(u','), table);
    }
    if (m_line == 0)
        refuseLine(QStringLiteral("is empty"));
    if (m_seconds < 0)
        table.times.clear();
    if (m_power < 0)
        table.laserPowers.clear();
    return table;
}

void TableReader::readHead(const QString& line)
{
    const QStringList names = line.split(u',');
    m_columns = names.size();
    m_seconds = names.indexOf(timeColumn);
    m_power = names.indexOf(powerColumn);
    if (m_seconds < 0 && m_power < 0)
        refuseLine(QStringLiteral("names no column \"%1\" or \"%2\"").arg(timeColumn, powerColumn));
}

std::optional<double> TableReader::number(const QStringList& cells, qsizetype column) const
{
    const QString cell = column < 0 ? QString() : cells[column].trimmed();
    bool isNumber = true;
    const double value = cell.isEmpty() ? 0 : cell.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(value))
        refuseLine(QStringLiteral("has a cell that is no number"));
    return cell.isEmpty() ? std::nullopt : std::optional(value);
}

void TableReader::readLine(const QStringList& cells, FrameTable& table) const
{
    if (cells.size() != m_columns)
        refuseLine(QStringLiteral("has %1 cells for %2 columns").arg(cells.size()).arg(m_columns));
    const std::optional<double> seconds = number(cells, m_seconds);
    const std::optional<timeval> time = seconds ? timeAfter({}, *seconds) : std::nullopt;
    if (seconds && !time)
        refuseLine(QStringLiteral("has a time outside 1970 to 2038"));
    const double power = number(cells, m_power).value_or(-1);
    if (!isLaserPower(power))
        refuseLine(QStringLiteral("has a laser power above 1"));
    table.times.push_back(time);
    table.laserPowers.push_back(static_cast<float>(std::max(power, -1.0)));
}

void TableReader::refuseLine(const QString& problem) const
{
    refuse(m_path, m_line == 0 ? problem : QStringLiteral("line %1 %2").arg(m_line).arg(problem),
           QStringLiteral("write a table like that of vqf export -o table.csv"));
}

} // namespace

ExportResult exportTable(const ExportOptions& options)
{
    ChosenFrames frames(options.movie, options.frames);
    PlainOutput output(options.output, options.replace, {options.movie});
    output.write(tableText(frames.frames(), frames.describe(false)));
    output.close();
    ExportResult result;
    result.bytes = output.commit();
    result.frames = static_cast<unsigned>(frames.frames().size());
    result.width = static_cast<int>(frames.format().width);
    result.height = static_cast<int>(frames.format().height);
    result.type = frames.format().type;
    return result;
}

FrameTable readFrameTable(const QString& path)
{
    return TableReader(path).read();
}

} // namespace zd::movietools
