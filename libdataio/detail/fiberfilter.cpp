#include <libdataio/detail/fiberfilter_p.h>

#include <libdataio/detail/avx2_p.h>

#include <cmath>

namespace zd::detail {

namespace {

/// Takes the distortion out of raw columns.
class ColumnCorrection {
public:
    ColumnCorrection(const SinusDistortion& distortion, const FrameLimits& limits)
        : m_t0(distortion.t0),
          m_span(distortion.t1 - m_t0),
          m_sine(std::sin(m_t0)),
          m_sineSpan(std::sin(static_cast<double>(distortion.t1)) - m_sine),
          m_lastColumn(limits.lastColumn)
    {
    }

    float operator()(float column) const
    {
        const double sine = std::sin(m_span * (column / m_lastColumn) + m_t0);
        return static_cast<float>((sine - m_sine) / m_sineSpan * m_lastColumn);
    }

private:
    double m_t0;
    double m_span;
    double m_sine;
    double m_sineSpan;
    double m_lastColumn;
};

/// Replaces `out` with the positions of the fibres that `keep` accepts.
template <typename Keep>
void filter(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out, Keep keep)
{
    out.resize(2 * fibers);
    const double width = frame.width;
    const double height = frame.height;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < 2 * fibers; i += 2) {
        const auto column = static_cast<float>(fractions[i] * width);
        const auto row = static_cast<float>(fractions[i + 1] * height);
        out[kept] = column;
        out[kept + 1] = row;
        kept += keep(column, row) ? 2 : 0;
    }
    out.resize(kept);
}

} // namespace

namespace portable {

void fibersInFrame(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out)
{
    const FrameLimits limits(frame);
    filter(fractions, fibers, frame, out, [&](float column, float row) { return limits.contain(column, row); });
}

void fibersInBundle(const float* fractions, std::size_t fibers, FiberFrame frame, const BundleBox& box,
                    std::vector<float>& out)
{
    const FrameLimits limits(frame);
    const BundleEllipse ellipse(box);
    filter(fractions, fibers, frame, out,
           [&](float column, float row) { return limits.contain(column, row) && ellipse.contains(column, row); });
}

} // namespace portable

void fibersInFrame(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out)
{
    (avx2::available() ? avx2::fibersInFrame : portable::fibersInFrame)(fractions, fibers, frame, out);
}

void fibersInBundle(const float* fractions, std::size_t fibers, FiberFrame frame, const BundleBox& box,
                    const std::optional<SinusDistortion>& distortion, std::vector<float>& out)
{
    if (!distortion) {
        (avx2::available() ? avx2::fibersInBundle : portable::fibersInBundle)(fractions, fibers, frame, box, out);
        return;
    }
    const FrameLimits limits(frame);
    const BundleEllipse ellipse(box);
    const ColumnCorrection corrected(*distortion, limits);
    filter(fractions, fibers, frame, out, [&](float column, float row) {
        return limits.contain(column, row) && ellipse.contains(corrected(column), row);
    });
}

} // namespace zd::detail
