#include <libdataio/detail/fiberfilter_p.h>

#if defined(__x86_64__)

#include <libdataio/detail/avx2_p.h>

#include <immintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <limits>

namespace zd::detail::avx2 {

namespace {

/// Fibres that are filtered together, and their coordinates.
constexpr std::size_t quadFibers = 4;
constexpr std::size_t quadValues = 2 * quadFibers;

/// A pair (x, y) for each fibre of a quad: the first two fibres, and the other two.
struct Quad {
    __m256d first;
    __m256d second;
};

DATAIO_AVX2 __m256d twoPairs(double x, double y)
{
    return _mm256_setr_pd(x, y, x, y);
}

DATAIO_AVX2 Quad widened(__m256 values)
{
    return {_mm256_cvtps_pd(_mm256_castps256_ps128(values)), _mm256_cvtps_pd(_mm256_extractf128_ps(values, 1))};
}

/// For each fibre, whether both its masks are set.
DATAIO_AVX2 __m256d bothSet(const Quad& masks)
{
    const __m256d x = _mm256_unpacklo_pd(masks.first, masks.second);
    const __m256d y = _mm256_unpackhi_pd(masks.first, masks.second);
    return _mm256_permute4x64_pd(_mm256_and_pd(x, y), _MM_SHUFFLE(3, 1, 2, 0));
}

/// For each fibre, the sum of its two values.
DATAIO_AVX2 __m256d sums(const Quad& values)
{
    return _mm256_permute4x64_pd(_mm256_hadd_pd(values.first, values.second), _MM_SHUFFLE(3, 1, 2, 0));
}

DATAIO_AVX2 __m256d scaledSquare(__m256d value, __m256d scale)
{
    return _mm256_mul_pd(_mm256_mul_pd(value, value), scale);
}

/// Which coordinates lie in [0, last].
DATAIO_AVX2 __m256d withinLimits(__m256d coordinates, __m256d last)
{
    return _mm256_and_pd(_mm256_cmp_pd(coordinates, _mm256_setzero_pd(), _CMP_GE_OQ),
                         _mm256_cmp_pd(coordinates, last, _CMP_LE_OQ));
}

DATAIO_AVX2 unsigned int bits(__m256d masks)
{
    return static_cast<unsigned int>(_mm256_movemask_pd(masks));
}

/// For each set of fibres of a quad, as bits, the indexes that move the pairs of its members to the front.
constexpr auto compactions = [] {
    std::array<std::array<std::int32_t, quadValues>, std::size_t{1} << quadFibers> table{};
    for (unsigned int members = 0; members < table.size(); ++members) {
        std::size_t end = 0;
        for (int fiber = 0; fiber < static_cast<int>(quadFibers); ++fiber) {
            if ((members >> fiber & 1U) == 0)
                continue;
            table[members][end++] = 2 * fiber;
            table[members][end++] = 2 * fiber + 1;
        }
    }
    return table;
}();

/// What quads are scaled by and tested against, in registers: what a function only refers to is read again after each
/// store of positions.
struct QuadTerms {
    __m256d size;
    __m256d last;
    __m256d center;
    __m256d scale;                ///< reciprocal squares of the half-axes
    const BundleEllipse* ellipse; ///< null when the frame alone is tested
};

DATAIO_AVX2 QuadTerms termsOf(FiberFrame frame, const BundleEllipse* ellipse)
{
    const FrameLimits limits(frame);
    QuadTerms terms{};
    terms.size = twoPairs(frame.width, frame.height);
    terms.last = twoPairs(limits.lastColumn, limits.lastRow);
    terms.ellipse = ellipse;
    if (ellipse != nullptr) {
        terms.center = twoPairs(ellipse->centerX, ellipse->centerY);
        terms.scale = twoPairs(1 / ellipse->squareX, 1 / ellipse->squareY);
    }
    return terms;
}

/// For each fibre, its squared distance from the centre, 1 on the outline, but for the last places.
[[gnu::always_inline]] DATAIO_AVX2 inline __m256d nearDistances(const QuadTerms& terms, const Quad& positions)
{
    return sums({scaledSquare(_mm256_sub_pd(positions.first, terms.center), terms.scale),
                 scaledSquare(_mm256_sub_pd(positions.second, terms.center), terms.scale)});
}

/// Those of the fibres `undecided` that lie in the ellipse.
DATAIO_AVX2 unsigned int decided(const BundleEllipse& ellipse, unsigned int undecided, __m256 positions)
{
    std::array<float, quadValues> values;
    _mm256_storeu_ps(values.data(), positions);
    unsigned int members = 0;
    for (std::size_t fiber = 0; fiber < quadFibers; ++fiber) {
        if ((undecided >> fiber & 1U) != 0 && ellipse.contains(values[2 * fiber], values[2 * fiber + 1]))
            members |= 1U << fiber;
    }
    return members;
}

/// The fibres in the ellipse among those in the frame.
[[gnu::always_inline]] DATAIO_AVX2 inline unsigned int inEllipse(const QuadTerms& terms, __m256 positions,
                                                                 __m256d inFrame)
{
    // Products with reciprocals are several times faster than quotients, and differ from them by a few units in the
    // last place. Fibres that this could move across the outline, and those whose distance is not a number, are left
    // to the exact test.
    const __m256d inner = _mm256_set1_pd(1 - 1e-9);
    const __m256d outer = _mm256_set1_pd(1 + 1e-9);
    const __m256 rounded = _mm256_round_ps(positions, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    const __m256d exact = nearDistances(terms, widened(positions));
    const __m256d ofRounded = nearDistances(terms, widened(rounded));
    const __m256d inside =
        _mm256_and_pd(_mm256_cmp_pd(exact, inner, _CMP_LT_OQ), _mm256_cmp_pd(ofRounded, inner, _CMP_LT_OQ));
    const __m256d outside =
        _mm256_or_pd(_mm256_cmp_pd(exact, outer, _CMP_GT_OQ), _mm256_cmp_pd(ofRounded, outer, _CMP_GT_OQ));
    const unsigned int candidates = bits(_mm256_andnot_pd(outside, inFrame));
    const unsigned int members = candidates & bits(inside);
    return members == candidates ? members : members | decided(*terms.ellipse, candidates & ~members, positions);
}

/// Writes the positions of a quad's fibres to `out`, which has room for all of them, those kept first, and returns how
/// many values those are.
[[gnu::always_inline]] DATAIO_AVX2 inline std::size_t filterQuad(const QuadTerms& terms, const float* fractions,
                                                                 float* out)
{
    const Quad scaled = widened(_mm256_loadu_ps(fractions));
    const __m256 positions = _mm256_set_m128(_mm256_cvtpd_ps(_mm256_mul_pd(scaled.second, terms.size)),
                                             _mm256_cvtpd_ps(_mm256_mul_pd(scaled.first, terms.size)));
    const Quad exact = widened(positions);
    const __m256d inFrame = bothSet({withinLimits(exact.first, terms.last), withinLimits(exact.second, terms.last)});
    const unsigned int members = terms.ellipse == nullptr ? bits(inFrame) : inEllipse(terms, positions, inFrame);

    const auto* order = reinterpret_cast<const __m256i*>(compactions[members].data());
    _mm256_storeu_ps(out, _mm256_permutevar8x32_ps(positions, _mm256_loadu_si256(order)));
    return 2 * static_cast<std::size_t>(std::popcount(members));
}

/// Replaces `out` with the positions of the fibres that pass the tests.
DATAIO_AVX2 void filter(const QuadTerms terms, const float* fractions, std::size_t fibers, std::vector<float>& out)
{
    out.resize(2 * fibers);
    float* target = out.data();
    std::size_t i = 0;
    for (; i + quadFibers <= fibers; i += quadFibers)
        target += filterQuad(terms, fractions + 2 * i, target);

    std::array<float, quadValues> last;
    last.fill(std::numeric_limits<float>::quiet_NaN()); // passes no test
    std::copy(fractions + 2 * i, fractions + 2 * fibers, last.begin());
    const std::size_t keptLast = filterQuad(terms, last.data(), last.data());
    target = std::copy_n(last.begin(), keptLast, target);
    out.resize(static_cast<std::size_t>(target - out.data()));
}

} // namespace

DATAIO_AVX2 void fibersInFrame(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out)
{
    filter(termsOf(frame, nullptr), fractions, fibers, out);
}

DATAIO_AVX2 void fibersInBundle(const float* fractions, std::size_t fibers, FiberFrame frame, const BundleBox& box,
                                std::vector<float>& out)
{
    const BundleEllipse ellipse(box);
    filter(termsOf(frame, &ellipse), fractions, fibers, out);
}

} // namespace zd::detail::avx2

#else

namespace zd::detail::avx2 {

void fibersInFrame(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out)
{
    portable::fibersInFrame(fractions, fibers, frame, out);
}

void fibersInBundle(const float* fractions, std::size_t fibers, FiberFrame frame, const BundleBox& box,
                    std::vector<float>& out)
{
    portable::fibersInBundle(fractions, fibers, frame, box, out);
}

} // namespace zd::detail::avx2

#endif
