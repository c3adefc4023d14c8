#include <movietools/files/bytesearch_p.h>

#include <QByteArrayMatcher>

#include <algorithm>

namespace zd::movietools {

namespace {

constexpr std::int64_t blockBytes = std::int64_t{1} << 20;

} // namespace

std::optional<FoundBytes> findBytes(const ByteSource& source, const std::vector<QByteArray>& sequences,
                                    const ProgressCallback& progress)
{
    std::vector<QByteArrayMatcher> matchers;
    qsizetype longest = 1;
    for (const QByteArray& sequence : sequences) {
        matchers.emplace_back(sequence);
        longest = std::max(longest, sequence.size());
    }
    // Blocks overlap, so that nothing is missed where they meet.
    const std::int64_t step = std::max<std::int64_t>(blockBytes, 2 * longest);
    for (std::int64_t offset = 0; offset < source.length(); offset += step) {
        if (progress && !progress({}))
            throw JobCancelled{};
        const QByteArray block = source.bytes(offset, step + longest - 1);
        for (std::size_t i = 0; i < matchers.size(); ++i)
            if (const qsizetype at = matchers[i].indexIn(block); at >= 0)
                return FoundBytes{i, offset + at};
    }
    return std::nullopt;
}

} // namespace zd::movietools
