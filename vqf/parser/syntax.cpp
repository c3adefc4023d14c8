#include <vqf/parser/syntax.h>

#include <CLI/CLI.hpp>

#include <sstream>

namespace zd::tool {

const Option& Option::required() const
{
    m_option->required();
    return *this;
}

const Option& Option::describedAs(const std::string& what) const
{
    m_option->description(what);
    return *this;
}

const Option& Option::typeName(const std::string& name) const
{
    m_option->type_name(name);
    return *this;
}

const Option& Option::valueText(const std::string& text) const
{
    m_option->option_text(text);
    return *this;
}

const Option& Option::showsDefault() const
{
    m_option->capture_default_str();
    return *this;
}

const Option& Option::values(int count) const
{
    m_option->expected(count);
    return *this;
}

const Option& Option::oneValueEach() const
{
    m_option->allow_extra_args(false);
    return *this;
}

const Option& Option::oneOf(const std::vector<std::string>& words) const
{
    m_option->check(CLI::IsMember(words));
    return *this;
}

const Option& Option::oneOf(const std::vector<std::string>& words, const std::string& shown) const
{
    m_option->check(CLI::IsMember(words).description(shown));
    return *this;
}

const Option& Option::oneOf(const std::vector<int>& numbers) const
{
    m_option->check(CLI::IsMember(numbers));
    return *this;
}

const Option& Option::within(int least, int most) const
{
    m_option->check(CLI::Range(least, most));
    return *this;
}

const Option& Option::within(double least, double most) const
{
    m_option->check(CLI::Range(least, most).description(""));
    return *this;
}

const Option& Option::asSize() const
{
    m_option->transform(CLI::AsSizeValue(true).description(""));
    return *this;
}

const Option& Option::excludes(const Option& other) const
{
    m_option->excludes(other.m_option);
    return *this;
}

const Option& Option::needs(const Option& other) const
{
    m_option->needs(other.m_option);
    return *this;
}

bool Option::isGiven() const
{
    return m_option->count() > 0;
}

Syntax Syntax::subcommand(const char* name, const char* what) const
{
    return Syntax(*m_app->add_subcommand(name, what));
}

void Syntax::requireSubcommand() const
{
    m_app->require_subcommand(1);
}

void Syntax::footer(const std::string& notes) const
{
    m_app->footer(notes);
}

void Syntax::addToFooter(const std::string& notes) const
{
    m_app->footer(m_app->get_footer() + notes);
}

Option Syntax::option(const char* names, std::string& value, const std::string& what) const
{
    return Option(*m_app->add_option(names, value, what));
}

Option Syntax::option(const char* names, std::vector<std::string>& values, const std::string& what) const
{
    return Option(*m_app->add_option(names, values, what));
}

Option Syntax::option(const char* names, int& value, const std::string& what) const
{
    return Option(*m_app->add_option(names, value, what));
}

Option Syntax::option(const char* names, unsigned& value, const std::string& what) const
{
    return Option(*m_app->add_option(names, value, what));
}

Option Syntax::option(const char* names, std::uint64_t& value, const std::string& what) const
{
    return Option(*m_app->add_option(names, value, what));
}

Option Syntax::option(const char* names, double& value, const std::string& what) const
{
    return Option(*m_app->add_option(names, value, what));
}

Option Syntax::option(const char* names, std::vector<double>& values, const std::string& what) const
{
    return Option(*m_app->add_option(names, values, what));
}

Option Syntax::flag(const char* names, bool& value, const std::string& what) const
{
    return Option(*m_app->add_flag(names, value, what));
}

Option Syntax::flag(const char* names, std::string& value, const std::string& what) const
{
    return Option(*m_app->add_flag(names, value, what));
}

Option Syntax::flag(const char* names, const std::function<void()>& raised, const std::string& what) const
{
    return Option(*m_app->add_flag_callback(names, raised, what));
}

Option Syntax::choice(const char* names, const std::map<std::string, int>& words,
                      const std::function<void(int)>& choose, const std::string& what) const
{
    CLI::Option* option = m_app->add_option_function<int>(names, choose, what);
    return Option(*option->transform(CLI::CheckedTransformer(words)));
}

bool Syntax::isParsed() const
{
    return m_app->parsed();
}

Program::Program(const char* name, const char* what, const char* version)
    : m_app(std::make_unique<CLI::App>(what, name))
{
    m_app->set_version_flag("--version", version);
    m_app->require_subcommand(1);
    m_app->fallthrough(); // options of the program may stand behind a subcommand, too
}

Program::~Program() = default;

std::optional<ParserAnswer> Program::parse(int argc, char** argv)
{
    try {
        m_app->parse(argc, argv);
        return {};
    } catch (const CLI::ParseError& end) {
        std::ostringstream help;
        std::ostringstream problem;
        const bool isProblem = m_app->exit(end, help, problem) != 0;
        return ParserAnswer{isProblem ? problem.str() : help.str(), isProblem};
    }
}

} // namespace zd::tool
