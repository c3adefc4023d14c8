#include <vqf/console/settings.h>

#include <log/logger.h>

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

void addSettings(const Syntax& program)
{
    using Progress = Settings::Progress;
    program
        .choice(
            "--progress",
            {{"auto", int(Progress::Auto)}, {"always", int(Progress::Always)}, {"never", int(Progress::Never)}},
            [](int chosen) { given.progress = static_cast<Progress>(chosen); },
            "Show how far long jobs are: auto (on a terminal), always, never")
        .typeName("WHEN")
        .valueText("WHEN");
    program.flag("--json", given.json, "Results as JSON, each object beginning with its schema and version");
    const Option quiet = program.flag("-q,--quiet", given.quiet, "Only results and errors");
    program.flag("-v,--verbose", reportEverything, "Also what the library reports for information").excludes(quiet);
}

const Settings& settings()
{
    return given;
}

} // namespace zd::tool
