#pragma once

#include <movietools/exchange/framesink_p.h>
#include <movietools/exchange/sidecar_p.h>
#include <movietools/files/plainoutput.h>

#include <optional>

namespace zd::movietools {

/// The sidecar of a plan with a file for its pixels.
Sidecar sidecarFor(const ExportPlan& plan);

/// Removes a sidecar that would describe the output of a plan without one, since it is of another recording. Throws JobError.
void removeOldSidecar(const ExportOptions& options);
/// Refuses an output beside which such a sidecar lies, when nothing may be replaced.
void requireNoOldSidecar(const ExportOptions& options);

/// The sidecar file of an export, if it asks for one.
class SidecarOutput {
public:
    explicit SidecarOutput(const ExportPlan& plan);

    /// Writes it, to get its name together with the pixels.
    void write(const Sidecar& sidecar);
    // As those of OutputFile: both files come, or none.
    void place();
    [[nodiscard]] bool settle() noexcept;

private:
    std::optional<PlainOutput> m_file;
};

} // namespace zd::movietools
