#include <movietools/exchange/framesink_p.h>
#include <movietools/exchange/raw/npyheader_p.h>
#include <movietools/exchange/sidecaroutput_p.h>
#include <movietools/files/plainoutput.h>

namespace zd::movietools {

namespace {

/// The samples of all frames one after the other, behind a header or none.
class RawSink : public FrameSink {
public:
    RawSink(const ExportPlan& plan, const QByteArray& header)
        : m_plan(plan),
          m_header(header),
          m_file(plan.options.output, plan.options.replace, QStringList{plan.options.movie}),
          m_sidecar(plan)
    {
        m_file.requireRoom(plan.pixelBytes());
        m_file.write(header);
    }

    void add(const void* pixels) override { m_file.write(pixels, m_plan.format.frameBytes()); }

    std::uint64_t finish() override
    {
        Sidecar sidecar = sidecarFor(m_plan);
        sidecar.offset = static_cast<std::uint64_t>(m_header.size());
        m_sidecar.write(sidecar);
        m_file.close();
        m_file.place();
        m_sidecar.place();
        const bool areSettled[] = {m_file.settle(), m_sidecar.settle()};
        requireSettled(m_plan.options.output, areSettled[0] && areSettled[1]);
        return m_file.written();
    }

private:
    const ExportPlan& m_plan;
    QByteArray m_header;
    PlainOutput m_file;
    SidecarOutput m_sidecar;
};

} // namespace

std::unique_ptr<FrameSink> makeRawSink(const ExportPlan& plan)
{
    const bool isNpy = plan.options.form == ExchangeForm::Npy;
    return std::make_unique<RawSink>(plan, isNpy ? npyHeader(plan.format, plan.frames) : QByteArray());
}

} // namespace zd::movietools
