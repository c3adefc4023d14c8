#include <movietools/exchange/tiff/tiffdirectory_p.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include <unistd.h>

namespace zd::movietools {

namespace {

/// Numbers of a file, in its byte order.
class NumberReader {
public:
    NumberReader(int fd, bool isSwapped) : m_fd(fd), m_isSwapped(isSwapped) {}

    std::optional<std::string> bytes(std::uint64_t offset, std::size_t size) const
    {
        std::string bytes(size, '\0');
        std::size_t done = 0;
        while (done < size) {
            const ssize_t got = ::pread(m_fd, bytes.data() + done, size - done, static_cast<off_t>(offset + done));
            if (got <= 0 && !(got < 0 && errno == EINTR))
                return std::nullopt;
            done += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
        }
        return bytes;
    }

    std::uint64_t number(std::string digits) const
    {
        if (m_isSwapped)
            std::reverse(digits.begin(), digits.end());
        std::uint64_t value = 0;
        std::memcpy(&value, digits.data(), digits.size()); // this machine's numbers begin with their lowest byte
        return value;
    }

private:
    int m_fd;
    bool m_isSwapped;
};

} // namespace

std::optional<TiffDirectory> TiffDirectory::ofCurrentPage(::TIFF* tiff)
{
    // Bytes of the number of entries, of an entry, of its number of values behind tag and type, and of a position.
    const bool isBig = TIFFIsBigTIFF(tiff) != 0;
    const std::size_t countBytes = isBig ? 8 : 2;
    const std::size_t entryBytes = isBig ? 20 : 12;
    const std::size_t positionBytes = isBig ? 8 : 4;
    constexpr std::size_t valuesAt = 4;
    constexpr std::uint64_t mostEntries = 65536;

    const NumberReader file(TIFFFileno(tiff), TIFFIsByteSwapped(tiff) != 0);
    const std::uint64_t start = TIFFCurrentDirOffset(tiff);
    const std::optional<std::string> count = file.bytes(start, countBytes);
    if (!count || file.number(*count) > mostEntries)
        return std::nullopt;
    const std::size_t entriesBytes = static_cast<std::size_t>(file.number(*count)) * entryBytes;
    const std::optional<std::string> entries = file.bytes(start + countBytes, entriesBytes + positionBytes);
    if (!entries)
        return std::nullopt;
    TiffDirectory directory;
    for (std::size_t at = 0; at < entriesBytes; at += entryBytes)
        if (file.number(entries->substr(at + valuesAt, positionBytes)) > 0)
            directory.tags.insert(static_cast<std::uint16_t>(file.number(entries->substr(at, 2))));
    directory.next = file.number(entries->substr(entriesBytes));
    return directory;
}

} // namespace zd::movietools
