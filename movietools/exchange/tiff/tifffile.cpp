#include <movietools/exchange/tiff/tifffile_p.h>

#include <movietools/files/descriptor_p.h>
#include <movietools/job/joberror.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zd::movietools {

namespace {

// The name under which the TIFF library knows every file: callers add the real one.
constexpr QLatin1StringView nameForMessages{"file"};

QString formatted(const char* format, va_list arguments)
{
    std::array<char, 512> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    QString message = QString::fromUtf8(text.data()).trimmed();
    const QString start = nameForMessages + QStringLiteral(": ");
    if (message.startsWith(start))
        message.remove(0, start.size());
    while (message.endsWith(QLatin1Char('.')))
        message.chop(1);
    return message.isEmpty() ? QStringLiteral("it is damaged") : message;
}

thandle_t handleOf(int fd)
{
    return reinterpret_cast<thandle_t>(static_cast<std::intptr_t>(fd));
}

int fdOf(thandle_t handle)
{
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle));
}

tmsize_t readBytes(thandle_t file, void* bytes, tmsize_t size)
{
    tmsize_t done = 0;
    while (done < size) {
        const ssize_t got = ::read(fdOf(file), static_cast<char*>(bytes) + done, static_cast<std::size_t>(size - done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

tmsize_t writeBytes(thandle_t file, void* bytes, tmsize_t size)
{
    return Descriptor::writeTo(fdOf(file), bytes, static_cast<std::size_t>(size)) ? size : -1;
}

toff_t seekTo(thandle_t file, toff_t offset, int from)
{
    return static_cast<toff_t>(::lseek(fdOf(file), static_cast<off_t>(offset), from));
}

int closeFile(thandle_t file)
{
    return ::close(fdOf(file));
}

toff_t sizeOf(thandle_t file)
{
    struct stat status {};
    return ::fstat(fdOf(file), &status) == 0 ? static_cast<toff_t>(status.st_size) : 0;
}

} // namespace

TiffFile TiffFile::open(const QString& path)
{
    // Opened here: the name of a folder or of a pipe must neither block nor reach the TIFF library.
    const int fd = Descriptor::openFile(path.toUtf8(), O_RDONLY | O_NONBLOCK);
    if (fd < 0)
        throw systemError(path, QStringLiteral("read"), errno);
    struct stat status {};
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(fd);
        refuse(path, QStringLiteral("is not a regular file"), QStringLiteral("name a TIFF file"));
    }
    TiffFile file;
    file.m_bytes = status.st_size;
    // m: read instead of mapping, so that a file cut short meanwhile is an error and not a crash; c: strips as
    // they are stored, not cut into small ones.
    constexpr std::int64_t alwaysAllowed = std::int64_t{64} << 20;
    file.attach(fd, "rmc", std::max(alwaysAllowed, 4 * file.m_bytes));
    if (!file.m_handle)
        refuse(path, QStringLiteral("cannot be read as TIFF: %1").arg(file.message()),
               QStringLiteral("name a TIFF file that is whole"));
    return file;
}

TiffFile TiffFile::create(const QString& workPath, const QString& path, bool big)
{
    const int fd = Descriptor::openFile(workPath.toUtf8(), O_RDWR);
    if (fd < 0)
        throw systemError(path, QStringLiteral("written"), errno);
    // Only where there is something to cut: ext4 makes the closing of a file that was cut to nothing wait for the disk.
    struct stat status {};
    if (::fstat(fd, &status) == 0 && status.st_size > 0 && ::ftruncate(fd, 0) != 0) {
        const int error = errno;
        ::close(fd);
        throw systemError(path, QStringLiteral("written"), error);
    }
    TiffFile file;
    file.attach(fd, big ? "w8" : "w", 0);
    if (!file.m_handle)
        throw systemError(path, QStringLiteral("written"), file.systemErrorNumber());
    return file;
}

void TiffFile::attach(int fd, const char* mode, std::int64_t largestAllocation)
{
    const std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(),
                                                                               &TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), &TiffFile::takeError, m_messages.get());
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), &TiffFile::takeWarning, m_messages.get());
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), largestAllocation);
    // Calls of our own, since the TIFF library's take an interruption for a failure.
    m_handle.reset(TIFFClientOpenExt(nameForMessages.data(), mode, handleOf(fd), readBytes, writeBytes, seekTo,
                                     closeFile, sizeOf, nullptr, nullptr, options.get()));
    if (m_handle)
        TIFFSetFileno(m_handle.get(), fd);
    else
        ::close(fd);
}

int TiffFile::takeError(::TIFF*, void* messages, const char*, const char* format, va_list arguments)
{
    const int systemError = errno;
    auto& taken = *static_cast<Messages*>(messages);
    if (taken.error.isEmpty()) {
        taken.error = formatted(format, arguments);
        taken.systemError = systemError;
    }
    return 1;
}

int TiffFile::takeWarning(::TIFF*, void* messages, const char*, const char* format, va_list arguments)
{
    auto& taken = *static_cast<Messages*>(messages);
    if (taken.warning.isEmpty())
        taken.warning = formatted(format, arguments);
    return 1;
}

QString TiffFile::message() const
{
    for (const QString& text : {m_messages->error, m_messages->warning}) {
        if (!text.isEmpty())
            return text;
    }
    return QStringLiteral("it is damaged");
}

bool TiffFile::close()
{
    m_handle.reset();
    return !hasErrors();
}

} // namespace zd::movietools
