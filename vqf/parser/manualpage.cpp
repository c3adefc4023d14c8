#include <vqf/parser/manualpage.h>

#include <QRegularExpression>

#include <algorithm>

namespace zd::tool {

namespace {

// Text as it is: characters that the language gives a meaning stand for themselves.
QString plain(QString text)
{
    return text.replace(QLatin1Char('\\'), QStringLiteral("\\e"))
        .replace(QLatin1Char('-'), QStringLiteral("\\-"))
        .replace(QLatin1Char('\''), QStringLiteral("\\(aq"))
        .replace(QLatin1Char('.'), QStringLiteral("\\&."));
}

QString bold(const QString& text)
{
    return QStringLiteral("\\fB%1\\fR").arg(plain(text));
}

QString italic(const QString& text)
{
    return QStringLiteral("\\fI%1\\fR").arg(plain(text));
}

QString optionText(const OptionWords& option)
{
    if (option.isPositional) {
        const QString name = italic(option.names.first()) + (option.isRepeated ? QStringLiteral(" ...") : QString());
        return option.isRequired ? name : QStringLiteral("[%1]").arg(name);
    }
    QStringList names;
    for (const QString& name : option.names)
        names.append(bold(name));
    const QString value = option.value.isEmpty() ? QString() : QLatin1Char(' ') + italic(option.value);
    return names.join(QStringLiteral(", ")) + value;
}

QString choicesText(const OptionWords& option)
{
    // Most descriptions name them already.
    if (option.choices.isEmpty() || option.what.contains(option.choices.first()))
        return {};
    return QStringLiteral(": ") + plain(option.choices.join(QStringLiteral(", ")));
}

QString synopsis(const CommandWords& command)
{
    QString line = QStringLiteral("vqf ") + command.name;
    line = bold(line.trimmed());
    if (!command.commands.empty())
        return line + QLatin1Char(' ') + italic(QStringLiteral("COMMAND")) + QStringLiteral(" ...");
    line += QStringLiteral(" [") + italic(QStringLiteral("OPTION")) + QStringLiteral(" ...]");
    for (const OptionWords& option : command.options)
        if (option.isPositional)
            line += QLatin1Char(' ') + optionText(option);
    return line;
}

// Paragraphs as they are filled, examples as they are typed.
QString notesText(const QString& notes)
{
    QString text;
    bool inExamples = false;
    for (const QString& line : notes.trimmed().split(QLatin1Char('\n'))) {
        const bool isExample = line.startsWith(QStringLiteral("  "));
        if (isExample != inExamples)
            text += isExample ? QStringLiteral(".EX\n") : QStringLiteral(".EE\n");
        inExamples = isExample;
        text += line.isEmpty() ? QStringLiteral(".PP\n") : plain(line) + QLatin1Char('\n');
    }
    return text + (inExamples ? QStringLiteral(".EE\n") : QString());
}

QString optionList(const std::vector<OptionWords>& options)
{
    QString text;
    for (const OptionWords& option : options)
        text += QStringLiteral(".TP\n%1\n%2%3.\n").arg(optionText(option), plain(option.what), choicesText(option));
    return text;
}

// The options of a command alone, without those that stand everywhere.
std::vector<OptionWords> ownOptions(const CommandWords& command, const CommandWords& program)
{
    std::vector<OptionWords> own;
    for (const OptionWords& option : command.options) {
        const bool isEverywhere =
            std::any_of(program.options.begin(), program.options.end(),
                        [&option](const OptionWords& other) { return other.names == option.names; });
        if (!isEverywhere)
            own.push_back(option);
    }
    return own;
}

QString commandText(const CommandWords& command, const CommandWords& program)
{
    QString notes = command.notes;
    // The page names the options that stand everywhere once.
    notes.remove(QRegularExpression(QStringLiteral("\n*Also: --json.*$")));
    return QStringLiteral(".SS %1\n%2.\n").arg(synopsis(command), plain(command.what)) +
           optionList(ownOptions(command, program)) + (notes.isEmpty() ? QString() : QStringLiteral(".PP\n")) +
           (notes.isEmpty() ? QString() : notesText(notes));
}

} // namespace

QString manualPage(const CommandWords& program, const QString& version)
{
    QString text =
        QStringLiteral(".TH VQF 1 \"\" \"DataIO %1\" \"User Commands\"\n"
                       ".SH NAME\nvqf \\- make, show, edit and exchange VQF movies\n"
                       ".SH SYNOPSIS\n%2\n"
                       ".SH DESCRIPTION\n%3\n"
                       "Results go to standard output, everything else to standard error.\n"
                       "An output that exists is replaced with \\fB\\-\\-force\\fR only, and appears when it is "
                       "complete.\n"
                       ".SH OPTIONS\n%4.SH COMMANDS\n")
            .arg(version, synopsis(program), plain(program.what), optionList(program.options));
    for (const CommandWords* command : allCommands(program))
        if (!command->name.isEmpty())
            text += commandText(*command, program);
    return text + QStringLiteral(".SH EXIT STATUS\n0 done, 1 failed, 2 wrong usage, 3 done but something was lost or "
                                 "damaged, 130 interrupted.\nOf \\fBdiff\\fR: 0 identical, 1 different, 2 trouble.\n"
                                 ".SH ENVIRONMENT\n.TP\n\\fBNO_COLOR\\fR\nNo control sequences on the terminal.\n"
                                 ".TP\n\\fBDATAIO_LOG\\fR\nWhat the library reports, like "
                                 "\\(dqdataio\\&.imagereader=3,*=1\\(dq.\n"
                                 ".SH SEE ALSO\n\\fBvqf\\fR(5)\n");
}

} // namespace zd::tool
