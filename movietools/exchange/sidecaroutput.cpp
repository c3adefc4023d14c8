#include <movietools/exchange/sidecaroutput_p.h>

#include <QFileInfo>

namespace zd::movietools {

Sidecar sidecarFor(const ExportPlan& plan)
{
    Sidecar sidecar;
    sidecar.file = QFileInfo(plan.options.output).fileName();
    sidecar.form = plan.options.form;
    sidecar.format = plan.format;
    sidecar.frames = plan.frames;
    sidecar.description = plan.description;
    return sidecar;
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

void SidecarOutput::commit()
{
    if (m_file)
        m_file->commit();
}

} // namespace zd::movietools
