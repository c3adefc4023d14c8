#include <movietools/exchange/sidecaroutput_p.h>

#include <movietools/job/joberror.h>

#include <QFileInfo>

#include <cerrno>

#include <unistd.h>

namespace zd::movietools {

Sidecar sidecarFor(const ExportPlan& plan)
{
    Sidecar sidecar;
    sidecar.file = QFileInfo(plan.options.output).fileName();
    sidecar.form = plan.options.form;
    sidecar.format = plan.format;
    sidecar.frames = plan.frames;
    sidecar.checksum = plan.pixelChecksum;
    sidecar.description = plan.description;
    return sidecar;
}

namespace {

/// Where a sidecar lies that is not of this export; nothing when there is none.
std::optional<QString> oldSidecar(const ExportOptions& options)
{
    if (isFolder(options.form) || OutputFile::isStandardOutput(options.output) ||
        (options.sidecar && hasSidecar(options.form)))
        return std::nullopt;
    const QString path = sidecarOf(options.output, false);
    return isSidecar(path) ? std::optional(path) : std::nullopt;
}

} // namespace

void requireNoOldSidecar(const ExportOptions& options)
{
    if (const std::optional<QString> path = options.replace ? std::nullopt : oldSidecar(options))
        refuse(*path, QStringLiteral("exists already, and would describe the new pixels"),
               QStringLiteral("name another output, or add --force to remove it"));
}

void removeOldSidecar(const ExportOptions& options)
{
    const std::optional<QString> path = oldSidecar(options);
    if (path && ::unlink(path->toUtf8().constData()) != 0)
        throw systemError(*path, QStringLiteral("removed"), errno);
}

SidecarOutput::SidecarOutput(const ExportPlan& plan)
{
    if (plan.options.sidecar)
        m_file.emplace(sidecarOf(plan.options.output, false), plan.options.replace, QStringList{plan.options.movie});
}

void SidecarOutput::write(const Sidecar& sidecar)
{
    if (!m_file)
        return;
    m_file->write(sidecarText(sidecar));
    m_file->close();
}

void SidecarOutput::place()
{
    if (m_file)
        m_file->place();
}

bool SidecarOutput::settle() noexcept
{
    return !m_file || m_file->settle();
}

} // namespace zd::movietools
