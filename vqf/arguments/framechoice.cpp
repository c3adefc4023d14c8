#include <vqf/arguments/framechoice.h>

#include <vqf/arguments/usageerror.h>

namespace zd::tool {

void FrameChoice::addTo(const Syntax& syntax)
{
    const Option frames = syntax
                              .option("--frames", m_frames,
                                      "Frames to take, like 0:100:2,250: from 0, end excluded, negative from the end")
                              .typeName("FRAMES");
    syntax.option("--time", m_time, "Frames to take by time since the first one, like 1.5s:4s; end excluded")
        .typeName("TIMES")
        .excludes(frames);
}

movietools::FrameSelection FrameChoice::selection() const
{
    using movietools::FrameSelection;
    if (!m_frames.empty()) {
        if (const auto frames = FrameSelection::parse(QString::fromStdString(m_frames)))
            return *frames;
        throw UsageError{"--frames " + m_frames + ": write frames like 10:20 or 0:100:2,250"};
    }
    if (!m_time.empty()) {
        if (const auto frames = FrameSelection::parseTimes(QString::fromStdString(m_time)))
            return *frames;
        throw UsageError{"--time " + m_time + ": write times like 1.5s:4s or 250ms:"};
    }
    return {};
}

} // namespace zd::tool
