#include <vqf/parser/commandtree.h>

#include <CLI/CLI.hpp>
#include <QRegularExpression>

#include <algorithm>

namespace zd::tool {

namespace {

// "FORMAT:{table,csv}" tells type and choices, "{auto->0,never->2}" what stands for numbers.
QStringList choicesIn(const QString& typeText)
{
    static const QRegularExpression list(QStringLiteral("\\{([^}]*)\\}"));
    QStringList choices;
    const QString inside = list.match(typeText).captured(1);
    for (const QString& choice : inside.split(QLatin1Char(','), Qt::SkipEmptyParts))
        choices.append(choice.section(QStringLiteral("->"), 0, 0));
    return choices;
}

OptionWords describe(const CLI::Option& option)
{
    OptionWords words;
    words.isPositional = !option.nonpositional();
    for (const std::string& name : option.get_snames())
        words.names.append(QLatin1Char('-') + QString::fromStdString(name));
    for (const std::string& name : option.get_lnames())
        words.names.append(QStringLiteral("--") + QString::fromStdString(name));
    if (words.isPositional)
        words.names = {QString::fromStdString(option.get_name(true))};
    words.what = QString::fromStdString(option.get_description());
    if (option.get_items_expected_max() > 0) {
        const QString type = QString::fromStdString(option.get_type_name());
        words.value = option.get_option_text().empty() ? type.section(QRegularExpression(QStringLiteral("[:{]")), 0, 0)
                                                       : QString::fromStdString(option.get_option_text());
        words.choices = choicesIn(type);
        words.isRepeated = option.get_items_expected_max() > 1;
    }
    words.isRequired = option.get_required();
    return words;
}

bool isShown(const CLI::Option* option)
{
    return !option->get_group().empty();
}

std::vector<OptionWords> optionsOf(const CLI::App& app)
{
    std::vector<OptionWords> options;
    for (const CLI::Option* option : app.get_options(isShown))
        options.push_back(describe(*option));
    return options;
}

bool knows(const std::vector<OptionWords>& options, const OptionWords& wanted)
{
    return std::any_of(options.begin(), options.end(),
                       [&wanted](const OptionWords& option) { return option.names == wanted.names; });
}

CommandWords describe(const CLI::App& app, const QString& above, const std::vector<OptionWords>& everywhere)
{
    CommandWords words;
    words.name = above;
    words.what = QString::fromStdString(app.get_description());
    words.notes = QString::fromStdString(app.get_footer());
    words.options = optionsOf(app);
    for (const OptionWords& option : everywhere)
        if (!knows(words.options, option))
            words.options.push_back(option);
    for (const CLI::App* command : app.get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); })) {
        const QString name = QString::fromStdString(command->get_name());
        words.commands.push_back(
            describe(*command, above.isEmpty() ? name : above + QLatin1Char(' ') + name, everywhere));
    }
    return words;
}

void collect(const CommandWords& command, std::vector<const CommandWords*>& all)
{
    all.push_back(&command);
    for (const CommandWords& sub : command.commands)
        collect(sub, all);
}

bool standsAnywhere(const OptionWords& option)
{
    return !option.names.contains(QStringLiteral("--help")) && !option.names.contains(QStringLiteral("--version"));
}

} // namespace

CommandWords describe(const Syntax& syntax)
{
    const CLI::App& program = syntax.parser();
    std::vector<OptionWords> everywhere = optionsOf(program);
    std::erase_if(everywhere, [](const OptionWords& option) { return !standsAnywhere(option); });
    CommandWords words = describe(program, {}, everywhere);
    words.options = optionsOf(program);
    return words;
}

std::vector<const CommandWords*> allCommands(const CommandWords& program)
{
    std::vector<const CommandWords*> all;
    collect(program, all);
    return all;
}

} // namespace zd::tool
