#pragma once

#include <QString>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace zd::test {

/// A directory of its own for one test, removed afterwards.
class TemporaryDirectory {
public:
    QString path(const char* name) const { return m_directory.filePath(QString::fromUtf8(name)); }

private:
    QTemporaryDir m_directory;
};

/// Whole files as bytes.
std::string readFile(const QString& path);
void writeFile(const QString& path, const std::string& bytes);

/// Bytes from hexadecimal digits; blanks are skipped.
std::string hex(const char* digits);

/// Little-endian and big-endian 32-bit words.
std::string word(std::uint32_t value);
std::string wordBigEndian(std::uint32_t value);

/// Edits: other bytes at an offset; the last `count` bytes cut off.
std::string withBytes(std::string bytes, std::size_t offset, const std::string& others);
std::string withoutTail(const std::string& bytes, std::size_t count);

/// A chunk written out by hand: headers and payload. Headers alone may claim any payload size.
std::string startHeader(std::uint32_t type, std::uint32_t size);
std::string endHeader(std::uint32_t type, std::uint32_t size);
std::string chunk(std::uint32_t type, const std::string& payload);

/// Puts a movie file together by hand, byte by byte, whole or damaged. Shares no code with the library.
class MovieBuilder {
public:
    /// A header value as the info chunk holds it.
    MovieBuilder& attribute(const std::string& name, const std::string& value);
    /// The values that every reader of frames asks for, and "endian" 2.
    MovieBuilder& frameFormat(int width, int height, int pixType, int pixBits);

    /// Appends a chunk and lists it in the index.
    MovieBuilder& chunk(std::uint32_t type, const std::string& payload);
    MovieBuilder& frame(const std::string& pixels) { return chunk(2, pixels); }
    /// Appends bytes that the index does not list.
    MovieBuilder& bytes(const std::string& bytes);
    /// Lists a chunk that need not be there.
    MovieBuilder& record(std::uint32_t type, std::uint32_t offset, std::uint32_t length);

    /// Where the next chunk begins.
    std::uint32_t end() const { return static_cast<std::uint32_t>(m_chunks.size()); }

    std::string infoPayload() const;
    /// The chunks so far.
    std::string unfinished() const { return m_chunks; }
    /// The whole file: the chunks and the info chunk.
    std::string movie() const;

private:
    struct Record {
        std::uint32_t offset;
        std::uint32_t length;
    };

    std::string m_chunks;
    std::map<std::uint32_t, std::vector<Record>> m_index;
    std::map<std::string, std::string> m_attributes;
};

/// Payloads: words one after the other, and times of seconds and microseconds.
std::string words(std::initializer_list<std::uint32_t> values);
std::string timeBytes(std::int32_t seconds, std::int32_t microseconds);

/// A frame of `size` bytes that count up from `first`.
std::string countingFrame(std::size_t size, char first);

/// 309 bytes: two frames of 4 x 2 samples of 16 bits, two times, the laser powers 0.5 and "not known".
std::string smallMovie();

/// Three frames of 4 x 2 samples of 16 bits with times, laser powers, four fibre centres, a bounding box, a palette of
/// three nodes and a comment of two lines.
std::string richMovie();

/// The two parts of a movie that say where everything is, and the two that hold what was recorded.
enum class Region {
    Headers, ///< of chunks
    Index,
    Attributes,
    Data, ///< pixels, times, laser powers
};
Region regionOfSmallMovie(std::size_t offset);

/// A 32-bit number in the small movie.
struct Field {
    std::size_t offset;
    bool bigEndian;
};
/// All numbers in its chunk headers and its index.
std::vector<Field> fieldsOfSmallMovie();
/// `movie` with another value in a field.
std::string withField(std::string movie, const Field& field, std::uint32_t value);

/// Values that make sizes, offsets and counts overflow, point to the wrong place or nearly fit.
extern const std::vector<std::uint32_t> hostileValues;

} // namespace zd::test
