#include <vqf/commands/command.h>

#include <vqf/console/console.h>
#include <vqf/parser/completion.h>
#include <vqf/parser/manualpage.h>

#include <memory>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Prints what the shell needs to complete commands, options and their values.

Examples:
  vqf completion bash > vqf.bash
  vqf completion zsh > _vqf
  vqf completion fish > vqf.fish)";

ExitCode runCompletion(const Syntax& program, const std::string& shell)
{
    const CommandWords words = describe(program);
    if (shell == "bash")
        print(bashCompletion(words));
    else if (shell == "zsh")
        print(zshCompletion(words));
    else if (shell == "fish")
        print(fishCompletion(words));
    else
        print(manualPage(words, QStringLiteral(VQF_VERSION)));
    return ExitCode::Done;
}

} // namespace

Command addCompletionCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("completion", "Print what makes a shell complete commands");
    auto shell = std::make_shared<std::string>();
    // "man" is the manual page, which is made of the same words when the program is built.
    syntax.option("SHELL", *shell, "bash, zsh or fish")
        .required()
        .oneOf({"bash", "zsh", "fish", "man"}, "{bash,zsh,fish}")
        .typeName("");
    syntax.footer(notes);
    return {syntax, [program, shell] { return runCompletion(program, *shell); }};
}

} // namespace zd::tool
