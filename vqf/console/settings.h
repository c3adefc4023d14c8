#pragma once

#include <vqf/parser/syntax.h>

/// What the user wants to hear of any subcommand, beside its results.
namespace zd::tool {

struct Settings {
    enum class Progress {
        Auto, ///< on a terminal
        Always,
        Never,
    };

    Progress progress = Progress::Auto;
    bool quiet = false; ///< neither progress nor what was done
    bool json = false;  ///< what was done as an object
};

/// Adds the options that every subcommand takes; they may stand before and behind its name.
void addSettings(const Syntax& program);

/// Valid once the arguments were parsed.
const Settings& settings();

/// What the help of every subcommand ends with.
extern const char* const settingsNote;

} // namespace zd::tool
