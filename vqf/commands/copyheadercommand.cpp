#include <vqf/commands/command.h>

#include <movietools/movie/movieedit.h>
#include <vqf/arguments/editarguments.h>
#include <vqf/console/console.h>

#include <memory>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Attributes of FROM replace those of the same name in TO; what only TO has stays, and so do its frames, times, laser
powers and fibres. What describes the frames of TO (size, pixel type, byte order) stays, too, unless --all is given.

Example:
  vqf copy-header recorded.vqf processed.vqf)";

struct CopyHeaderArguments {
    std::string from;
    std::string to;
    bool all = false;
    EditArguments edit;
};

ExitCode runCopyHeader(const CopyHeaderArguments& arguments)
{
    const QString to = QString::fromStdString(arguments.to);
    arguments.edit.whenFree([&] {
        movietools::copyHeader(QString::fromStdString(arguments.from), to, arguments.all,
                               arguments.edit.withoutJournal());
    });
    tell(QStringLiteral("%1: has the header of %2").arg(escaped(to), escaped(QString::fromStdString(arguments.from))));
    return ExitCode::Done;
}

} // namespace

Command addCopyHeaderCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("copy-header", "Copy the header of one movie into another");
    auto arguments = std::make_shared<CopyHeaderArguments>();
    syntax.option("FROM", arguments->from, "The movie to read").required();
    syntax.option("TO", arguments->to, "The movie to change").required();
    syntax.flag("--all", arguments->all, "Copy frame size, pixel type and byte order as well");
    arguments->edit.addTo(syntax);
    syntax.footer(notes);
    syntax.addToFooter(editNote);
    return {syntax, [arguments] { return runCopyHeader(*arguments); }};
}

} // namespace zd::tool
