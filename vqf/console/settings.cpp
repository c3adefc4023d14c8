#include <vqf/console/settings.h>

#include <log/logger.h>

#include <map>
#include <string>

namespace zd::tool {

namespace {

Settings given;

void reportEverything()
{
    constexpr int information = 3;
    Logger::setLevel(QStringLiteral("*"), information);
}

} // namespace

const char* const settingsNote = "\n\nAlso: --json, --progress auto|always|never, -q (only results), -v (all that the "
                                 "library reports).";

void addSettings(CLI::App& program)
{
    using Progress = Settings::Progress;
    const std::map<std::string, Progress> words{
        {"auto", Progress::Auto}, {"always", Progress::Always}, {"never", Progress::Never}};
    program.add_option("--progress", given.progress, "Show how far long jobs are: auto (on a terminal), always, never")
        ->transform(CLI::CheckedTransformer(words))
        ->type_name("WHEN")
        ->option_text("WHEN");
    program.add_flag("--json", given.json, "Results as JSON, each object beginning with its schema and version");
    CLI::Option* quiet = program.add_flag("-q,--quiet", given.quiet, "Only results and errors");
    program.add_flag_callback("-v,--verbose", reportEverything, "Also what the library reports for information")
        ->excludes(quiet);
    program.fallthrough();
}

const Settings& settings()
{
    return given;
}

} // namespace zd::tool
