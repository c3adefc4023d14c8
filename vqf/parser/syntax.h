#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

/// How subcommands declare what they take. The parser behind it costs seconds wherever it is included, so only the
/// sources that speak its language do that.
namespace zd::tool {

/// An option or argument of a subcommand, to say more of it. Belongs to the parser.
class Option {
public:
    Option() = default;
    explicit Option(CLI::Option& option) : m_option(&option) {}

    const Option& required() const;
    const Option& describedAs(const std::string& what) const;
    const Option& typeName(const std::string& name) const;  ///< what help calls its value
    const Option& valueText(const std::string& text) const; ///< help shows this in place of type and choices
    const Option& showsDefault() const;                     ///< help tells what holds without it
    const Option& values(int count) const;                  ///< takes so many values, instead of one
    const Option& oneValueEach() const;                     ///< takes one value wherever it is given, to be repeated

    const Option& oneOf(const std::vector<std::string>& words) const;
    /// The same, but help and completions name the choices of `shown`, like "{a,b}".
    const Option& oneOf(const std::vector<std::string>& words, const std::string& shown) const;
    const Option& oneOf(const std::vector<int>& numbers) const;
    const Option& within(int least, int most) const;
    const Option& within(double least, double most) const; ///< which help does not tell
    const Option& asSize() const;                          ///< a number of bytes, like 15kB

    const Option& excludes(const Option& other) const;
    const Option& needs(const Option& other) const;

    bool isGiven() const; ///< valid once the arguments were parsed

private:
    CLI::Option* m_option = nullptr;
};

/// What the program or a subcommand takes. Belongs to the parser. Values that options are bound to must live until the
/// arguments were used.
class Syntax {
public:
    explicit Syntax(CLI::App& app) : m_app(&app) {}

    Syntax subcommand(const char* name, const char* what) const;
    void requireSubcommand() const;
    void footer(const std::string& notes) const; ///< what help ends with; of the program, also that of its subcommands
    void addToFooter(const std::string& notes) const;

    // A name without dashes is an argument.
    Option option(const char* names, std::string& value, const std::string& what) const;
    Option option(const char* names, std::vector<std::string>& values, const std::string& what) const;
    Option option(const char* names, int& value, const std::string& what) const;
    Option option(const char* names, unsigned& value, const std::string& what) const;
    Option option(const char* names, std::uint64_t& value, const std::string& what) const;
    Option option(const char* names, double& value, const std::string& what) const;
    Option option(const char* names, std::vector<double>& values, const std::string& what) const;
    /// An option that takes one of some words, each of which stands for a number.
    Option choice(const char* names, const std::map<std::string, int>& words, const std::function<void(int)>& choose,
                  const std::string& what) const;
    Option flag(const char* names, bool& value, const std::string& what) const;
    /// A flag that may have a value, like --name=value; alone it gives "true".
    Option flag(const char* names, std::string& value, const std::string& what) const;
    Option flag(const char* names, const std::function<void()>& raised, const std::string& what) const;

    bool isParsed() const; ///< whether the arguments name it; valid once they were parsed
    const CLI::App& parser() const { return *m_app; }

private:
    CLI::App* m_app;
};

/// What the parser says instead of going on: help, which is a result, or what is wrong with the arguments.
struct ParserAnswer {
    std::string text;
    bool isProblem = false;
};

/// The program itself, which takes one of its subcommands.
class Program {
public:
    Program(const char* name, const char* what, const char* version);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    Syntax syntax() const { return Syntax(*m_app); }
    /// Reads the arguments of the process. An answer ends it.
    std::optional<ParserAnswer> parse(int argc, char** argv);

private:
    std::unique_ptr<CLI::App> m_app;
};

} // namespace zd::tool
