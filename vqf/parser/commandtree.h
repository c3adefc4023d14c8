#pragma once

#include <vqf/parser/syntax.h>

#include <QString>
#include <QStringList>

#include <vector>

/// The program's subcommands and options in plain words, for completions and the manual page.
namespace zd::tool {

struct OptionWords {
    QStringList names; ///< with their dashes, short ones first; of an argument its name alone
    QString what;
    QString value; ///< what it takes, like PATH; empty for switches
    QStringList choices;
    bool isPositional = false;
    bool isRequired = false;
    bool isRepeated = false;
};

struct CommandWords {
    QString name; ///< with those above it: "attr list"; empty for the program
    QString what;
    QString notes; ///< what the help ends with
    std::vector<OptionWords> options;
    std::vector<CommandWords> commands;
};

/// Describes a program with all its subcommands but hidden ones. The options of the program itself are entered for each
/// subcommand as well, since they may stand there.
CommandWords describe(const Syntax& program);

/// Every command of the tree that can be run or completed, the program first.
std::vector<const CommandWords*> allCommands(const CommandWords& program);

} // namespace zd::tool
