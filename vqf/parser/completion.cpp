#include <vqf/parser/completion.h>

namespace zd::tool {

namespace {

QString nameOf(const CommandWords& command)
{
    return command.name.section(QLatin1Char(' '), -1);
}

QString aboveOf(const CommandWords& command)
{
    return command.name.section(QLatin1Char(' '), 0, -2);
}

QStringList wordsAfter(const CommandWords& command)
{
    QStringList words;
    for (const CommandWords& sub : command.commands)
        words.append(nameOf(sub));
    for (const OptionWords& option : command.options)
        if (!option.isPositional)
            words += option.names;
    return words;
}

// -------- bash

// Which command the words so far have named.
QString bashCommandCases(const std::vector<const CommandWords*>& commands)
{
    QString cases;
    for (const CommandWords* command : commands)
        if (!command->name.isEmpty())
            cases += QStringLiteral("            \"%1+%2\") command=\"%3\" ;;\n")
                         .arg(aboveOf(*command), nameOf(*command), command->name);
    return cases;
}

QString bashValueCases(const std::vector<const CommandWords*>& commands)
{
    QString cases;
    for (const CommandWords* command : commands) {
        for (const OptionWords& option : command->options) {
            if (option.isPositional || option.value.isEmpty())
                continue;
            QStringList patterns;
            for (const QString& name : option.names)
                patterns.append(QStringLiteral("\"%1+%2\"").arg(command->name, name));
            cases += QStringLiteral("        %1) words=\"%2\"; isValue=1 ;;\n")
                         .arg(patterns.join(QLatin1Char('|')), option.choices.join(QLatin1Char(' ')));
        }
    }
    return cases;
}

QString bashWordCases(const std::vector<const CommandWords*>& commands)
{
    QString cases;
    for (const CommandWords* command : commands) {
        QStringList choices;
        for (const OptionWords& option : command->options)
            if (option.isPositional)
                choices += option.choices;
        cases += QStringLiteral("        \"%1\") words=\"%2\" ;;\n")
                     .arg(command->name, (choices + wordsAfter(*command)).join(QLatin1Char(' ')));
    }
    return cases;
}

// -------- zsh

QString zshText(QString text)
{
    for (const char* special : {"\\", "[", "]", ":"})
        text.replace(QLatin1StringView(special), QLatin1Char('\\') + QLatin1StringView(special));
    return text.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
}

QString zshOption(const OptionWords& option)
{
    const QString action = option.choices.isEmpty() ? QStringLiteral("_files")
                                                    : QStringLiteral("(%1)").arg(option.choices.join(QLatin1Char(' ')));
    const QString what = zshText(option.what);
    if (option.isPositional)
        return QStringLiteral(" '%1:%2:%3'")
            .arg(option.isRepeated ? QStringLiteral("*") : QString(), zshText(option.names.first()), action);
    const QString value =
        option.value.isEmpty() ? QString() : QStringLiteral(":%1:%2").arg(zshText(option.value), action);
    QString text;
    for (const QString& name : option.names)
        text +=
            QStringLiteral(" '%1%2[%3]%4'").arg(option.isRepeated ? QStringLiteral("*") : QString(), name, what, value);
    return text;
}

QString zshFunctionName(const CommandWords& command)
{
    QString name = QStringLiteral("_vqf ") + command.name;
    return name.trimmed().replace(QLatin1Char(' '), QLatin1Char('_')).replace(QLatin1Char('-'), QLatin1Char('_'));
}

QString zshFunction(const CommandWords& command)
{
    QString options;
    for (const OptionWords& option : command.options)
        options += QStringLiteral(" \\\n       ") + zshOption(option);
    QString text = zshFunctionName(command) + QStringLiteral("() {\n");
    if (command.commands.empty())
        return text + QStringLiteral("    _arguments%1\n}\n").arg(options);
    text += QStringLiteral("    local state line\n    local -a commands\n    commands=(\n");
    for (const CommandWords& sub : command.commands)
        text += QStringLiteral("        '%1:%2'\n").arg(nameOf(sub), zshText(sub.what));
    text += QStringLiteral("    )\n    _arguments -C%1 \\\n        '1:command:->command' '*::word:->words'\n"
                           "    case $state in\n        command) _describe command commands ;;\n"
                           "        words)\n            case $line[1] in\n")
                .arg(options);
    for (const CommandWords& sub : command.commands)
        text += QStringLiteral("                %1) %2 ;;\n").arg(nameOf(sub), zshFunctionName(sub));
    return text + QStringLiteral("            esac ;;\n    esac\n}\n");
}

// -------- fish

QString fishText(QString text)
{
    return text.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('\''), QStringLiteral("\\'"));
}

QStringList namesOf(const std::vector<CommandWords>& commands)
{
    QStringList names;
    for (const CommandWords& command : commands)
        names.append(nameOf(command));
    return names;
}

// The condition under which a command is the one that is being typed.
QString fishCondition(const CommandWords& command)
{
    if (command.name.isEmpty())
        return QStringLiteral("__fish_use_subcommand");
    QStringList conditions;
    for (const QString& word : command.name.split(QLatin1Char(' ')))
        conditions.append(QStringLiteral("__fish_seen_subcommand_from ") + word);
    return conditions.join(QStringLiteral("; and "));
}

QString fishOption(const OptionWords& option, const QString& condition)
{
    QString line = QStringLiteral("complete -c vqf -n '%1'").arg(condition);
    for (const QString& name : option.names)
        line += name.startsWith(QStringLiteral("--")) ? QStringLiteral(" -l ") + name.mid(2)
                                                      : QStringLiteral(" -s ") + name.mid(1);
    if (!option.choices.isEmpty())
        line += QStringLiteral(" -x -a '%1'").arg(option.choices.join(QLatin1Char(' ')));
    else if (!option.value.isEmpty())
        line += QStringLiteral(" -r");
    return line + QStringLiteral(" -d '%1'\n").arg(fishText(option.what));
}

} // namespace

QString bashCompletion(const CommandWords& program)
{
    const std::vector<const CommandWords*> commands = allCommands(program);
    return QStringLiteral(R"(# bash completion for vqf, made by "vqf completion bash"
_vqf() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
    local command="" word words="" isValue=""
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case "$command+$word" in
%1        esac
    done
    case "$command+$previous" in
%2    esac
    [[ $isValue ]] || case "$command" in
%3    esac
    [[ $isValue || $current == -* ]] || { words=" $words"; words=${words%% -*}; }
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -o default -F _vqf vqf
)")
        .arg(bashCommandCases(commands), bashValueCases(commands), bashWordCases(commands));
}

QString zshCompletion(const CommandWords& program)
{
    QString text = QStringLiteral("#compdef vqf\n# zsh completion for vqf, made by \"vqf completion zsh\"\n");
    for (const CommandWords* command : allCommands(program))
        text += zshFunction(*command);
    return text + QStringLiteral("if [ \"$funcstack[1]\" = _vqf ]; then _vqf \"$@\"; else compdef _vqf vqf; fi\n");
}

QString fishCompletion(const CommandWords& program)
{
    QString text = QStringLiteral("# fish completion for vqf, made by \"vqf completion fish\"\n");
    for (const CommandWords* command : allCommands(program)) {
        const QString condition = fishCondition(*command);
        const QString none = command->commands.empty() || command->name.isEmpty()
                                 ? condition
                                 : condition + QStringLiteral("; and not __fish_seen_subcommand_from ") +
                                       namesOf(command->commands).join(QLatin1Char(' '));
        for (const CommandWords& sub : command->commands)
            text +=
                QStringLiteral("complete -c vqf -n '%1' -f -a %2 -d '%3'\n").arg(none, nameOf(sub), fishText(sub.what));
        for (const OptionWords& option : command->options) {
            if (!option.isPositional)
                text += fishOption(option, condition);
            else if (!option.choices.isEmpty())
                text += QStringLiteral("complete -c vqf -n '%1' -f -a '%2'\n")
                            .arg(condition, option.choices.join(QLatin1Char(' ')));
        }
    }
    return text;
}

} // namespace zd::tool
