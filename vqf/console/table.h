#pragma once

#include <vqf/parser/syntax.h>

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

/// Tables on standard output, for people and for programs, row by row, so that a long one takes no more memory than a
/// short one.
namespace zd::tool {

enum class TableFormat {
    Table,  ///< for people
    Csv,    ///< a line of names, then one line a row
    Json,   ///< one object with an array of rows
    NdJson, ///< one object a row, each in its line
};

/// The arguments --format and --json.
class TableFormatArgument {
public:
    explicit TableFormatArgument(const char* preset = "table") : m_format(preset) {}
    /// Adds the options to a subcommand. The object must live until the arguments were used.
    void addTo(const Syntax& syntax);
    TableFormat value() const;

private:
    std::string m_format;
    bool m_json = false;
};

/// One value in its forms.
struct Cell {
    QJsonValue json; ///< null for what is not known
    QString csv;     ///< empty for what is not known
    QString text;    ///< for people: "-" for what is not known

    static Cell unknown() { return {{}, {}, QStringLiteral("-")}; }
    static Cell number(std::int64_t value);
    /// Text from a file: control characters are escaped.
    static Cell plain(const QString& text);
    /// Microseconds, as seconds with six digits.
    static Cell seconds(std::int64_t microseconds);
};

struct Column {
    const char* name;  ///< for programs
    const char* title; ///< for people
    int width;         ///< for people, in characters; negative: to the left
};

class TablePrinter {
public:
    /// `schema` names the JSON object of the whole table, which holds `about` and the rows under `rows`. A row of
    /// NdJson is an object of its own under the schema's name and ".row", which holds `about` as well.
    TablePrinter(TableFormat format, const QString& schema, const QJsonObject& about, const QString& rows,
                 std::vector<Column> columns);

    /// Prints one row, as many cells as columns.
    void row(const std::vector<Cell>& cells);
    /// Ends the table.
    void finish();

    TableFormat format() const { return m_format; }

private:
    using Choose = std::function<QString(std::size_t)>;
    void begin(const QString& rows);
    void printLine(const Choose& cell) const;
    void printCsvLine(const Choose& cell) const;
    QJsonObject object(const std::vector<Cell>& cells) const;

    TableFormat m_format;
    QString m_schema;
    QJsonObject m_about;
    std::vector<Column> m_columns;
    bool m_isFirst = true;
};

} // namespace zd::tool
