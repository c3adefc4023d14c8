#pragma once

#include <movietools/exchange/exportoptions.h>
#include <movietools/frames/pageformat.h>
#include <movietools/movie/moviedescription.h>

#include <cstdint>
#include <memory>

namespace zd::movietools {

/// What an export writes: frames of one format, and what goes with them.
struct ExportPlan {
    const ExportOptions& options;
    PageFormat format;
    unsigned frames = 0;
    MovieDescription description; ///< of these frames
    QString movieName;            ///< without folders and extension
    QString pixelChecksum;        ///< of the frames, known before `FrameSink::finish`; empty without a sidecar

    std::uint64_t pixelBytes() const { return format.frameBytes() * frames; }
};

/// Takes the frames of an export one by one; without `finish` nothing is left behind. All operations throw JobError.
class FrameSink {
public:
    FrameSink() = default;
    FrameSink(const FrameSink&) = delete;
    FrameSink& operator=(const FrameSink&) = delete;
    virtual ~FrameSink() = default;

    /// Takes one frame of the plan's format.
    virtual void add(const void* pixels) = 0;
    /// Completes and checks the output and gives it its name. Returns its length.
    virtual std::uint64_t finish() = 0;
    virtual bool isBigTiff() const { return false; }
};

// Each starts the output of a plan, which must outlive it, for a family of forms.
std::unique_ptr<FrameSink> makeTiffSink(const ExportPlan& plan);
std::unique_ptr<FrameSink> makePictureSink(const ExportPlan& plan);
std::unique_ptr<FrameSink> makeRawSink(const ExportPlan& plan);
std::unique_ptr<FrameSink> makeVideoSink(const ExportPlan& plan);

} // namespace zd::movietools
