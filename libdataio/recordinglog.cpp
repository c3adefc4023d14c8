#include <libdataio/recordinglog_p.h>

#include <libdataio/attributechunk.h>
#include <libdataio/besidefile_p.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/recordingremains.h>
#include <libdataio/report_p.h>

#include <QtEndian>

#include <bit>
#include <cerrno>

#include <fcntl.h>

namespace zd {

namespace {

// A log: a mark, then records. A record is its kind (1 byte), the payload's length (32-bit little-endian), the
// payload, and a CRC-16 over all that; a record that does not check ends the log. A later header or list of
// fibre centres replaces an earlier one.
const QByteArray mark = QByteArrayLiteral("VQFRLOG1");
constexpr char headerKind = 'H'; // attribute text, Latin-1
constexpr char fibersKind = 'C'; // floats
constexpr char frameKind = 'F';  // offset, seconds, microseconds, laser power, whether there is a time: 17 bytes
constexpr qsizetype recordStartBytes = 5;
constexpr qsizetype checksumBytes = 2;
constexpr qsizetype frameBytes = 17;

QByteArray logPath(const QString& movie)
{
    return report::systemPath(besidePath(movie, QStringLiteral("-log")));
}

QByteArray word(quint32 value)
{
    QByteArray bytes(sizeof value, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

quint32 wordAt(const QByteArray& bytes, qsizetype at)
{
    return qFromLittleEndian<quint32>(bytes.constData() + at);
}

QByteArray checksum(const QByteArray& bytes)
{
    QByteArray sum(checksumBytes, '\0');
    qToLittleEndian(qChecksum(bytes), sum.data());
    return sum;
}

QByteArray headerText(const AttributeChunk& header)
{
    QString text;
    header.dump(text);
    return text.toLatin1();
}

/// The attributes without which frames cannot be read.
AttributeChunk essentialHeader(const AttributeChunk& header)
{
    using namespace layout;
    AttributeChunk essential;
    for (const QLatin1StringView name : {key::endian, key::width, key::height, key::pixType, key::pixBits,
                                         key::frameDelay, key::dimension, key::dataType, key::maskLevel}) {
        QString value;
        if (header.get(name, value))
            essential.set(name, value);
    }
    return essential;
}

bool setHeaderAttribute(int fd, const QByteArray& text)
{
    return systemCalls.fsetxattr(fd, headerExtendedAttribute, text.constData(), static_cast<std::size_t>(text.size()),
                                 0) == 0;
}

/// Takes one complete record in.
void take(RecordingRemains& remains, char kind, const QByteArray& payload)
{
    if (kind == headerKind) {
        remains.headerText = QString::fromLatin1(payload);
        remains.headerSource = RecordingRemains::HeaderSource::RecordingLog;
    } else if (kind == fibersKind) {
        remains.fiberCenters.resize(static_cast<std::size_t>(payload.size()) / sizeof(float));
        for (std::size_t i = 0; i < remains.fiberCenters.size(); ++i)
            remains.fiberCenters[i] = std::bit_cast<float>(wordAt(payload, static_cast<qsizetype>(4 * i)));
    } else if (kind == frameKind && payload.size() == frameBytes) {
        RecordingRemains::Frame frame;
        frame.time = {static_cast<std::int32_t>(wordAt(payload, 4)), static_cast<std::int32_t>(wordAt(payload, 8))};
        frame.laserPower = std::bit_cast<float>(wordAt(payload, 12));
        frame.hasTime = payload[16] != 0;
        remains.frames[wordAt(payload, 0)] = frame;
    }
}

} // namespace

void keepHeader(int movieFD, const AttributeChunk& header)
{
    if (!setHeaderAttribute(movieFD, headerText(header)))
        setHeaderAttribute(movieFD, headerText(essentialHeader(header)));
}

QByteArray keptHeader(int movieFD)
{
    const ssize_t size = systemCalls.fgetxattr(movieFD, headerExtendedAttribute, nullptr, 0);
    if (size <= 0)
        return {};
    QByteArray text(size, '\0');
    const ssize_t read =
        systemCalls.fgetxattr(movieFD, headerExtendedAttribute, text.data(), static_cast<std::size_t>(size));
    return read == size ? text : QByteArray();
}

void dropHeader(int movieFD)
{
    // A second attempt helps where the first one met a passing trouble.
    if (systemCalls.fremovexattr(movieFD, headerExtendedAttribute) == -1 && errno == EIO)
        systemCalls.fremovexattr(movieFD, headerExtendedAttribute);
}

std::unique_ptr<RecordingLog> RecordingLog::begin(const QString& movie)
{
    const QByteArray path = logPath(movie);
    removeBeside(path, mark, movie);
    std::unique_ptr<RecordingLog> log(new RecordingLog(path));
    // A log without its mark on the storage device would be taken for another's file, and stay for ever.
    const bool begun = log->m_file && writeBytesAt(log->m_file.get(), 0, mark).bytes == mark.size() &&
                       settle(log->m_file.get()) && log->m_file.appearAs(path);
    log->m_length = mark.size();
    return begun ? std::move(log) : nullptr;
}

void RecordingLog::header(const AttributeChunk& header)
{
    _append(headerKind, headerText(header));
}

void RecordingLog::fiberCenters(const std::vector<float>& centers)
{
    QByteArray payload(static_cast<qsizetype>(centers.size() * sizeof(float)), '\0');
    for (std::size_t i = 0; i < centers.size(); ++i)
        qToLittleEndian(std::bit_cast<quint32>(centers[i]), payload.data() + i * sizeof(float));
    _append(fibersKind, payload);
}

void RecordingLog::frame(std::uint32_t offset, const timeval* time, float laserPower) noexcept
{
    const timeval known = time != nullptr ? *time : timeval{};
    try {
        _append(frameKind, word(offset) + word(static_cast<quint32>(known.tv_sec)) +
                               word(static_cast<quint32>(known.tv_usec)) + word(std::bit_cast<quint32>(laserPower)) +
                               QByteArray(1, time != nullptr ? '\1' : '\0'));
    } catch (...) {
        m_broken = true;
    }
}

void RecordingLog::end() noexcept
{
    remove(m_path, m_file.get(), mark);
}

void RecordingLog::_append(char kind, const QByteArray& payload)
{
    if (m_broken)
        return;
    const QByteArray content = QByteArray(1, kind) + word(static_cast<quint32>(payload.size())) + payload;
    const QByteArray record = content + checksum(content);
    m_broken = writeBytesAt(m_file.get(), m_length, record).bytes != record.size();
    m_length += record.size();
}

RecordingRemains RecordingLog::contentOf(const QString& movie)
{
    RecordingRemains remains;
    const Descriptor log(openFile(logPath(movie).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK, 0));
    if (!log || !isOurs(log.get(), mark, movie))
        return remains;
    const QByteArray bytes = bytesAt(log.get(), 0, lengthOf(log.get()));
    remains.hasLog = true;
    qsizetype at = mark.size();
    while (bytes.size() - at >= recordStartBytes + checksumBytes) {
        const qsizetype length = wordAt(bytes, at + 1);
        const qsizetype end = at + recordStartBytes + length;
        if (end + checksumBytes > bytes.size() || checksum(bytes.mid(at, end - at)) != bytes.mid(end, checksumBytes))
            return remains;
        take(remains, bytes[at], bytes.mid(at + recordStartBytes, length));
        at = end + checksumBytes;
    }
    return remains;
}

void RecordingLog::discard(const QString& movie)
{
    removeBeside(logPath(movie), mark, movie);
}

} // namespace zd
