#include <vqf/commands/command.h>

#include <libdataio/imagefilelayout.h>
#include <movietools/files/plainoutput.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/attributerules.h>
#include <movietools/movie/movieedit.h>
#include <vqf/arguments/editarguments.h>
#include <vqf/console/console.h>
#include <vqf/console/table.h>

#include <QFile>
#include <QJsonObject>

#include <memory>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Changes are made in place and survive a crash, by a journal beside the movie: it has its old header or the new one. Where
that cannot be, they are refused without --force; "vqf attr set --help" says what holds then. A movie that another
program records or changes is left alone; --wait waits for it. Line breaks in values are kept. Text is Latin-1. What
describes the frames (width, height, pixtype, pixbits, endian) is changed only with --force, since a wrong value makes
the frames unreadable.

Examples:
  vqf attr list cells.vqf
  vqf attr get cells.vqf comment
  vqf attr set cells.vqf operator=Curie "comment=left lobe
  second line"
  vqf attr rm cells.vqf operator
  vqf attr export cells.vqf > header.txt
  vqf attr import cells.vqf header.txt)";

struct AttrArguments {
    std::string movie;
    std::vector<std::string> words; // names, or names and values
    std::string file;
    TableFormatArgument format;
    EditArguments edit;
    bool replaceFile = false;
    bool replace = false;
};

QString movieOf(const AttrArguments& arguments)
{
    return QString::fromStdString(arguments.movie);
}

void requireForce(const AttrArguments& arguments, const QString& name)
{
    if (!arguments.edit.isForced() && movietools::describesFrames(name))
        movietools::refuse(movieOf(arguments), name + QStringLiteral(" describes the frames"),
                           QStringLiteral("change it with --force if it is really wrong"));
}

ExitCode runList(const AttrArguments& arguments)
{
    const AttributeChunk header = movietools::readHeader(movieOf(arguments));
    const TableFormat format = arguments.format.value();
    if (format == TableFormat::Table) {
        for (const auto& [name, value] : header.attributes())
            print(QStringLiteral("%1=%2\n").arg(escaped(name), escaped(layout::decodeComment(value.text()))));
        return ExitCode::Done;
    }
    if (format == TableFormat::Json) {
        QJsonObject attributes;
        for (const auto& [name, value] : header.attributes())
            attributes.insert(name, layout::decodeComment(value.text()));
        printJson(QStringLiteral("vqf.attributes"), 1,
                  {{QStringLiteral("movie"), movieOf(arguments)}, {QStringLiteral("attributes"), attributes}});
        return ExitCode::Done;
    }
    TablePrinter table(format, QStringLiteral("vqf.attributes"), {{QStringLiteral("movie"), movieOf(arguments)}}, {},
                       {{"name", "name", 0}, {"value", "value", 0}});
    for (const auto& [name, value] : header.attributes())
        table.row({Cell::plain(name), Cell::plain(layout::decodeComment(value.text()))});
    table.finish();
    return ExitCode::Done;
}

ExitCode runGet(const AttrArguments& arguments)
{
    const AttributeChunk header = movietools::readHeader(movieOf(arguments));
    ExitCode code = ExitCode::Done;
    for (const std::string& word : arguments.words) {
        const QString name = QString::fromStdString(word);
        QString value;
        if (header.get(name, value)) {
            print(layout::decodeComment(value) + QLatin1Char('\n'));
        } else {
            complain(QStringLiteral("%1: has no attribute %2").arg(movieOf(arguments), name));
            code = ExitCode::Failed;
        }
    }
    return code;
}

/// Stores an attribute from its text with line breaks.
void store(AttributeChunk& header, const QString& name, const QString& text)
{
    const QString value = AttributeChunk::formatComment(text);
    const QString problem = movietools::whyNotStorable(name, value);
    if (!problem.isEmpty())
        throw UsageError{name.toStdString() + ": the attribute " + problem.toStdString()};
    header.set(name, value);
}

void changeHeader(const AttrArguments& arguments, const std::function<void(AttributeChunk&)>& change)
{
    arguments.edit.whenFree(
        [&] { movietools::changeHeader(movieOf(arguments), arguments.edit.withoutJournal(), change); });
}

ExitCode runSet(const AttrArguments& arguments)
{
    changeHeader(arguments, [&](AttributeChunk& header) {
        for (const std::string& word : arguments.words) {
            const QString text = QString::fromStdString(word);
            const qsizetype split = text.indexOf(QLatin1Char('='));
            if (split < 0)
                throw UsageError{word + ": write it as NAME=VALUE"};
            requireForce(arguments, text.left(split));
            store(header, text.left(split), text.mid(split + 1));
        }
    });
    return ExitCode::Done;
}

ExitCode runRemove(const AttrArguments& arguments)
{
    changeHeader(arguments, [&](AttributeChunk& header) {
        for (const std::string& word : arguments.words) {
            const QString name = QString::fromStdString(word);
            requireForce(arguments, name);
            if (header.erase(name) == 0)
                movietools::refuse(movieOf(arguments), QStringLiteral("has no attribute ") + name,
                                   QStringLiteral("nothing was removed"));
        }
    });
    return ExitCode::Done;
}

ExitCode runExport(const AttrArguments& arguments)
{
    const QString movie = movieOf(arguments);
    QString text;
    movietools::readHeader(movie).dump(text);
    if (arguments.file.empty() || arguments.file == "-") {
        print(text);
        return ExitCode::Done;
    }
    movietools::PlainOutput output(QString::fromStdString(arguments.file), arguments.replaceFile, {movie});
    output.write(text.toUtf8());
    output.close();
    output.commit();
    return ExitCode::Done;
}

QString readText(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        movietools::refuse(path, QStringLiteral("cannot be read: ") + file.errorString(),
                           QStringLiteral("check the name and the folder"));
    const QByteArray text = file.readAll();
    if (file.error() != QFileDevice::NoError || (!file.isSequential() && text.size() < file.size()))
        movietools::refuse(path, QStringLiteral("cannot be read whole"), QStringLiteral("try again"));
    return QString::fromUtf8(text);
}

ExitCode runImport(const AttrArguments& arguments)
{
    AttributeChunk given;
    given.parse(readText(QString::fromStdString(arguments.file)));
    changeHeader(arguments, [&](AttributeChunk& header) {
        AttributeChunk wanted;
        for (const auto& [name, value] : header.attributes()) {
            if (!arguments.replace || movietools::describesFrames(name))
                wanted.set(name, value.text());
        }
        for (const auto& [name, value] : given.attributes()) {
            QString own;
            if (!arguments.edit.isForced() && movietools::describesFrames(name) &&
                !(header.get(name, own) && own == value.text()))
                requireForce(arguments, name);
            store(wanted, name, layout::decodeComment(value.text()));
        }
        header = wanted;
    });
    return ExitCode::Done;
}

/// Adds one of the actions; `run` is chosen by the one that was named.
Syntax addAction(const Syntax& syntax, const std::shared_ptr<AttrArguments>& arguments, const char* name,
                 const char* what)
{
    const Syntax action = syntax.subcommand(name, what);
    action.option("MOVIE", arguments->movie, "The movie").required();
    return action;
}

void addEdit(const Syntax& action, const std::shared_ptr<AttrArguments>& arguments)
{
    arguments->edit.addTo(action, "Also change what describes the frames, or where no journal protects the movie");
    action.footer(editNote);
}

} // namespace

Command addAttrCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("attr", "List, read and change header attributes");
    syntax.requireSubcommand();
    auto arguments = std::make_shared<AttrArguments>();
    using Run = ExitCode (*)(const AttrArguments&);
    std::vector<std::pair<Syntax, Run>> actions;

    const Syntax list = addAction(syntax, arguments, "list", "Show all attributes, one in each line");
    arguments->format.addTo(list);
    actions.emplace_back(list, runList);

    const Syntax get = addAction(syntax, arguments, "get", "Print the values of attributes");
    get.option("NAME", arguments->words, "Names").required();
    actions.emplace_back(get, runGet);

    const Syntax set = addAction(syntax, arguments, "set", "Set attributes");
    set.option("NAME=VALUE", arguments->words, "Names and values").required();
    addEdit(set, arguments);
    actions.emplace_back(set, runSet);

    const Syntax remove = addAction(syntax, arguments, "rm", "Remove attributes");
    remove.option("NAME", arguments->words, "Names").required();
    addEdit(remove, arguments);
    actions.emplace_back(remove, runRemove);

    const Syntax write = addAction(syntax, arguments, "export", "Write all attributes as lines of text");
    write.option("-o,--output", arguments->file, "The file to make; standard output without this").typeName("FILE");
    write.flag("-f,--force", arguments->replaceFile, "Replace the file if it exists");
    actions.emplace_back(write, runExport);

    const Syntax read = addAction(syntax, arguments, "import", "Set attributes from lines of text");
    read.option("FILE", arguments->file, "Lines as export writes them").required();
    read.flag("--replace", arguments->replace, "Remove all other attributes but those that describe the frames");
    addEdit(read, arguments);
    actions.emplace_back(read, runImport);

    syntax.footer(notes);
    return {syntax, [arguments, actions] {
                for (const auto& [action, run] : actions)
                    if (action.isParsed())
                        return run(*arguments);
                return ExitCode::WrongUsage;
            }};
}

} // namespace zd::tool
