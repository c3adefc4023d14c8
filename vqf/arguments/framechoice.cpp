#include <vqf/arguments/framechoice.h>

#include <vqf/arguments/usageerror.h>

namespace zd::tool {

void FrameChoice::addTo(CLI::App& app)
{
    CLI::Option* frames =
        app.add_option("--frames", m_frames,
                       "Frames to take, like 0:100:2,250: from 0, end excluded, negative from the end")
            ->type_name("FRAMES");
    app.add_option("--time", m_time, "Frames to take by time since the first one, like 1.5s:4s; end excluded")
        ->type_name("TIMES")
        ->excludes(frames);
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
