#pragma once

#include <vqf/parser/syntax.h>

#include <movietools/frames/frameselection.h>

#include <string>

namespace zd::tool {

/// The arguments that choose frames of a movie: --frames or --time.
class FrameChoice {
public:
    /// Adds the options to a subcommand. The object must live until the arguments were used.
    void addTo(const Syntax& syntax);
    /// What was chosen; every frame without either. Throws UsageError.
    movietools::FrameSelection selection() const;

private:
    std::string m_frames;
    std::string m_time;
};

} // namespace zd::tool
