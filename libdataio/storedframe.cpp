#include <libdataio/storedframe_p.h>

#include <libdataio/detail/byteorder_p.h>
#include <libdataio/movieheader_p.h>

#include <algorithm>

namespace zd {

namespace {

/// Largest frame that is filled up when the file holds less of it than the header says.
constexpr std::int64_t largestPaddedFrame = 64 << 20;

/// Whether samples of that many bytes are turned when the movie has the other byte order.
bool isTurned(int sampleBytes)
{
    return sampleBytes == 2 || sampleBytes == 4;
}

/// Turns the whole samples in the first `bytes` bytes; returns how many bytes these are. The target may be the source.
std::int64_t turnSamples(const char* source, char* target, std::int64_t bytes, int sampleBytes)
{
    const auto samples = static_cast<std::size_t>(bytes / sampleBytes);
    if (sampleBytes == 2)
        detail::swap16(source, target, samples);
    else
        detail::swap32(source, target, samples);
    return static_cast<std::int64_t>(samples) * sampleBytes;
}

/// Bytes of a frame that is turned, by the header; 0 when that does not tell, or claims far more than the file holds.
std::int64_t turnedSize(const MovieHeader& header, int sampleBytes, std::int64_t held)
{
    const std::int64_t bytes = header.frameSize(sampleBytes);
    return bytes > held && bytes > largestPaddedFrame ? 0 : bytes;
}

} // namespace

const void* StoredFrame::deliver(const char* stored, std::int64_t size, MovieHeader& header)
{
    m_size = size;
    if (!header.isSwapped())
        return _padded(stored, header.claimedFrameSize());
    const int sampleBytes = header.pixBytes();
    if (!isTurned(sampleBytes))
        return stored;
    m_size = turnedSize(header, sampleBytes, size);
    return m_size == 0 ? nullptr : _turned(stored, size, sampleBytes);
}

bool StoredFrame::deliverInto(char* samples, std::int64_t& filled, std::int64_t size, MovieHeader& header)
{
    m_size = size;
    if (!header.isSwapped())
        return true;
    const int sampleBytes = header.pixBytes();
    if (!isTurned(sampleBytes))
        return true;
    const std::int64_t whole = turnedSize(header, sampleBytes, size);
    m_size = std::min(m_size, whole);
    if (whole == 0)
        return false;
    filled = turnSamples(samples, samples, std::min(filled, m_size), sampleBytes);
    return true;
}

float* StoredFrame::fractions(const char* words, std::size_t bytes, bool swapped)
{
    m_buffer.resize(bytes);
    auto* fractions = reinterpret_cast<float*>(m_buffer.data());
    detail::wordsToFractions(words, bytes / sizeof(float), swapped, fractions);
    return fractions;
}

/// Behind a frame that is shorter than the header says lie zeros up to there: callers that count on the header read no foreign
/// memory.
const void* StoredFrame::_padded(const char* stored, std::int64_t claimed)
{
    if (claimed <= m_size || claimed > largestPaddedFrame)
        return stored;
    m_padded.assign(static_cast<std::size_t>(claimed), '\0');
    std::copy_n(stored, m_size, m_padded.begin());
    return m_padded.data();
}

const void* StoredFrame::_turned(const char* stored, std::int64_t held, int sampleBytes)
{
    m_buffer.resize(static_cast<std::size_t>(m_size));
    const std::int64_t turned = turnSamples(stored, m_buffer.data(), std::min(m_size, held), sampleBytes);
    std::fill(m_buffer.begin() + turned, m_buffer.end(), '\0');
    return m_buffer.data();
}

} // namespace zd
