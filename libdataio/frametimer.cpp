#include <libdataio/frametimer.h>

#include <libdataio/chunkinfo.h>
#include <libdataio/imagefilelayout.h>

#include <boost/date_time/posix_time/conversion.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <optional>
#include <stdexcept>
#include <utility>

namespace zd {

namespace {

namespace key = layout::key;

using Entry = AttributeChunk::Map::const_iterator;

constexpr std::size_t timeBytes = layout::frameTimeBytes;
constexpr int microsecondsPerSecond = 1'000'000;

/// What the name of a numbered time attribute says.
struct TimeName {
    std::size_t number;
    bool isMicroseconds;
};

/// The two attributes of a time; the end of the attributes where one is absent.
struct TimeEntries {
    Entry seconds;
    Entry microseconds;
};

/// The two values of a time; nothing where one is absent or no number.
struct TimeValues {
    std::optional<std::int32_t> seconds;
    std::optional<std::int32_t> microseconds;
};

bool isDigit(QChar character)
{
    return character >= u'0' && character <= u'9';
}

/// Takes apart a name that begins with the prefix of numbered times: nothing unless its number is below
/// `limit` and in plain decimal, without leading zeros.
std::optional<TimeName> parseTimeName(QStringView name, std::size_t limit)
{
    const QStringView rest = name.mid(key::frameTimePrefix.size());
    std::size_t number = 0;
    qsizetype digits = 0;
    for (; digits < rest.size() && isDigit(rest[digits]) && number < limit; ++digits)
        number = 10 * number + static_cast<std::size_t>(rest[digits].unicode() - u'0');
    const bool hasLeadingZero = digits > 1 && rest.front() == u'0';
    if (digits == 0 || hasLeadingZero || number >= limit)
        return std::nullopt;

    const QStringView suffix = rest.mid(digits);
    if (suffix == key::secondsSuffix)
        return TimeName{number, false};
    if (suffix == key::microsecondsSuffix)
        return TimeName{number, true};
    return std::nullopt;
}

/// Hands every numbered time attribute to `visit`, with what its name says. Numbers that are not below the count of
/// attributes are left out: there is a gap before them.
template <typename Visit>
void forEachTime(const AttributeChunk::Map& attributes, Visit visit)
{
    const QString prefix = key::frameTimePrefix;
    for (Entry entry = attributes.lower_bound(prefix); entry != attributes.end(); ++entry) {
        if (!entry->first.startsWith(prefix))
            break;
        if (const std::optional<TimeName> name = parseTimeName(entry->first, attributes.size()))
            visit(*name, entry);
    }
}

/// What is kept of the time of that number, made when it is not there yet.
template <typename T>
T& timeAt(std::vector<T>& times, std::size_t number, const T& absent)
{
    if (number >= times.size())
        times.resize(number + 1, absent);
    return times[number];
}

/// The numbered time attributes by their number, gaps included.
std::vector<TimeEntries> findTimes(const AttributeChunk::Map& attributes)
{
    std::vector<TimeEntries> times;
    const TimeEntries absent{attributes.end(), attributes.end()};
    forEachTime(attributes, [&](TimeName name, Entry entry) {
        TimeEntries& time = timeAt(times, name.number, absent);
        (name.isMicroseconds ? time.microseconds : time.seconds) = entry;
    });
    return times;
}

/// The values of the numbered time attributes by their number, gaps included.
std::vector<TimeValues> readTimes(const AttributeChunk::Map& attributes)
{
    std::vector<TimeValues> times;
    forEachTime(attributes, [&](TimeName name, Entry entry) {
        TimeValues& time = timeAt(times, name.number, TimeValues());
        std::int32_t value = 0;
        const bool valid = entry->second.read(value);
        if (name.isMicroseconds)
            time.microseconds = valid ? std::optional(value) : std::nullopt;
        else
            time.seconds = valid ? std::optional(value) : std::nullopt;
    });
    return times;
}

QString timeName(std::size_t number, QLatin1StringView suffix)
{
    return key::frameTimePrefix + QString::number(number) + suffix;
}

/// Local time minus UTC at this moment, daylight saving time included.
int utcOffsetSeconds()
{
    // localtime_r need not notice that the time zone was changed.
    ::tzset();
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    std::tm local{};
    ::gmtime_r(&now, &utc);
    ::localtime_r(&now, &local);
    const auto offset = boost::posix_time::ptime_from_tm(local) - boost::posix_time::ptime_from_tm(utc);
    return static_cast<int>(offset.total_seconds());
}

bool makeTimeval(std::int64_t seconds, std::int64_t microseconds, timeval& out)
{
    if (!std::in_range<std::int32_t>(seconds) || microseconds < 0 || microseconds >= microsecondsPerSecond)
        return false;
    out = {static_cast<std::int32_t>(seconds), static_cast<std::int32_t>(microseconds)};
    return true;
}

} // namespace

timeval::timeval(const ::timeval& time)
    : tv_sec(static_cast<std::int32_t>(time.tv_sec)), tv_usec(static_cast<std::int32_t>(time.tv_usec))
{
    if (tv_sec != time.tv_sec || tv_usec != time.tv_usec)
        throw std::out_of_range("a time that does not fit the 32 bits of a movie");
}

bool toTimeval(std::chrono::system_clock::time_point time, timeval& out)
{
    const auto sinceEpoch = std::chrono::floor<std::chrono::microseconds>(time.time_since_epoch());
    const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
    return makeTimeval(seconds.count(), (sinceEpoch - seconds).count(), out);
}

bool toTimeval(const ::timeval& time, timeval& out)
{
    return makeTimeval(time.tv_sec, time.tv_usec, out);
}

std::chrono::system_clock::time_point toTimePoint(const timeval& time)
{
    return std::chrono::system_clock::time_point(std::chrono::seconds(time.tv_sec) +
                                                 std::chrono::microseconds(time.tv_usec));
}

::timeval toSystemTimeval(const timeval& time)
{
    return {time.tv_sec, time.tv_usec};
}

bool FrameTimer::readFromRawBuffer(const char* buffer, unsigned int size)
{
    return readFromRawBuffer(size, [buffer](void* target, std::size_t bytes) {
        std::copy_n(buffer, bytes, static_cast<char*>(target));
        return true;
    });
}

bool FrameTimer::readFromRawBuffer(unsigned int size, const std::function<bool(void*, std::size_t)>& fetch)
{
    if (size % timeBytes != 0)
        return false;
    resize(size / timeBytes);
    if (fetch(data(), size))
        return true;
    clear();
    return false;
}

bool FrameTimer::dumpToRawBuffer(char* buffer, unsigned int size)
{
    if (size % timeBytes != 0 || this->size() > size / timeBytes)
        return false;
    sortTimes();
    if (!empty())
        std::memcpy(buffer, data(), this->size() * timeBytes);
    return true;
}

bool FrameTimer::readFromChunkInfo(ChunkInfo& info)
{
    clear();
    int present = 0;
    if (!info.get(key::frameTimer, present))
        return false;

    for (const TimeValues& time : readTimes(std::as_const(info).attributes())) {
        if (!time.seconds)
            return true;
        if (!time.microseconds)
            return false;
        push_back({*time.seconds, *time.microseconds});
    }
    return true;
}

bool FrameTimer::dumpToChunkInfo(ChunkInfo& info)
{
    info.set(key::frameTimer, empty() ? 0 : 1);
    if (empty())
        return true;

    info.set(key::utcOffsetSeconds, utcOffsetSeconds());
    sortTimes();
    for (std::size_t i = 0; i < size(); ++i) {
        info.set(timeName(i, key::secondsSuffix), (*this)[i].tv_sec);
        info.set(timeName(i, key::microsecondsSuffix), (*this)[i].tv_usec);
    }
    return true;
}

void FrameTimer::removeFromAttChunk(AttributeChunk& attributes)
{
    int present = 0;
    if (!attributes.get(key::frameTimer, present))
        return;
    attributes.erase(key::frameTimer);

    AttributeChunk::Map& entries = attributes.attributes();
    for (const TimeEntries& time : findTimes(entries)) {
        if (time.seconds == entries.cend())
            return;
        entries.erase(time.seconds);
        if (time.microseconds == entries.cend())
            return;
        entries.erase(time.microseconds);
    }
}

void FrameTimer::sortTimes()
{
    if (!std::is_sorted(begin(), end()))
        std::sort(begin(), end());
}

} // namespace zd
