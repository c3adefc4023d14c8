#include <vqf/console/table.h>

#include <movietools/job/timetext.h>
#include <vqf/console/console.h>
#include <vqf/console/settings.h>

namespace zd::tool {

namespace {

constexpr int schemaVersion = 1;

QString quoted(const QString& text)
{
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')))
        return text;
    return QLatin1Char('"') + QString(text).replace(QLatin1Char('"'), QStringLiteral("\"\"")) + QLatin1Char('"');
}

} // namespace

void TableFormatArgument::addTo(const Syntax& syntax)
{
    const Option format = syntax.option("--format", m_format, "table, csv, json or ndjson (one JSON object a row)")
                              .oneOf({"table", "csv", "json", "ndjson"})
                              .typeName("FORMAT")
                              .showsDefault();
    syntax.flag("--json", m_json, "The same as --format json: one JSON object").excludes(format);
}

TableFormat TableFormatArgument::value() const
{
    if (m_json || settings().json || m_format == "json")
        return TableFormat::Json;
    if (m_format == "csv")
        return TableFormat::Csv;
    return m_format == "ndjson" ? TableFormat::NdJson : TableFormat::Table;
}

Cell Cell::number(std::int64_t value)
{
    const QString text = QString::number(value);
    return {static_cast<qint64>(value), text, text};
}

Cell Cell::plain(const QString& text)
{
    return {text, escaped(text), escaped(text)};
}

Cell Cell::seconds(std::int64_t microseconds)
{
    const QString text = movietools::secondsText(microseconds);
    return {static_cast<double>(microseconds) / 1e6, text, text};
}

TablePrinter::TablePrinter(TableFormat format, const QString& schema, const QJsonObject& about, const QString& rows,
                           std::vector<Column> columns)
    : m_format(format), m_schema(schema), m_about(about), m_columns(std::move(columns))
{
    begin(rows);
}

void TablePrinter::begin(const QString& rows)
{
    if (m_format == TableFormat::Table)
        printLine([this](std::size_t i) { return QString::fromLatin1(m_columns[i].title); });
    if (m_format == TableFormat::Csv)
        printCsvLine([this](std::size_t i) { return QString::fromLatin1(m_columns[i].name); });
    if (m_format == TableFormat::Json) {
        QString about = jsonText(m_about).mid(1).chopped(1);
        if (!about.isEmpty())
            about += QLatin1Char(',');
        print(QStringLiteral("{\"schema\":\"%1\",\"version\":%2,").arg(m_schema).arg(schemaVersion) + about +
              QStringLiteral("\"%1\":[").arg(rows));
    }
}

void TablePrinter::row(const std::vector<Cell>& cells)
{
    switch (m_format) {
    case TableFormat::Table:
        printLine([&cells](std::size_t i) { return cells[i].text; });
        break;
    case TableFormat::Csv:
        printCsvLine([&cells](std::size_t i) { return quoted(cells[i].csv); });
        break;
    case TableFormat::Json:
        print((m_isFirst ? QStringLiteral("\n") : QStringLiteral(",\n")) + jsonText(object(cells)));
        break;
    case TableFormat::NdJson:
        QJsonObject members = object(cells);
        for (auto about = m_about.begin(); about != m_about.end(); ++about)
            members.insert(about.key(), about.value());
        printJson(m_schema + QStringLiteral(".row"), schemaVersion, members);
        break;
    }
    m_isFirst = false;
}

void TablePrinter::finish()
{
    if (m_format == TableFormat::Json)
        print(QStringLiteral("\n]}\n"));
}

void TablePrinter::printLine(const Choose& cell) const
{
    QString line;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const int width = m_columns[i].width;
        // A column to the left stands apart from the one before it, and the last one needs no blanks behind it.
        if (i > 0)
            line += width < 0 ? QStringLiteral("  ") : QStringLiteral(" ");
        line += i + 1 == m_columns.size() && width < 0 ? cell(i) : QStringLiteral("%1").arg(cell(i), width);
    }
    print(line + QLatin1Char('\n'));
}

void TablePrinter::printCsvLine(const Choose& cell) const
{
    QString line;
    for (std::size_t i = 0; i < m_columns.size(); ++i)
        line += (i > 0 ? QStringLiteral(",") : QString()) + cell(i);
    print(line + QLatin1Char('\n'));
}

QJsonObject TablePrinter::object(const std::vector<Cell>& cells) const
{
    QJsonObject object;
    for (std::size_t i = 0; i < m_columns.size(); ++i)
        object.insert(QLatin1StringView(m_columns[i].name), cells[i].json);
    return object;
}

} // namespace zd::tool
