#include <fuzz/moviefile.h>
#include <fuzz/require.h>
#include <fuzz/script.h>

#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>

#include <QFileInfo>

#include <algorithm>
#include <vector>

namespace zd::fuzz {

namespace {

/// Where the frame chunks lie, by the index of the movie.
std::vector<ChunkRecord> frameRecords(const std::string& movie)
{
    // The movie opens: its last chunk is an info chunk.
    const auto sizeAt = movie.size() - 6;
    std::uint32_t size = 0;
    for (std::size_t i = 0; i < 4; ++i)
        size = size << 8 | static_cast<unsigned char>(movie[sizeAt + i]);
    ChunkInfo info;
    info.load(movie.data() + movie.size() - 16 - size, size);
    return info[ZD_FRAME_CHUNK];
}

constexpr std::size_t longestInput = 1 << 20;

/// Edits a movie and remembers which bytes it may have changed.
class Editing {
public:
    /// The movie that is edited was cut at `end`.
    Editing(ImageWriter& writer, std::size_t end) : m_writer(writer), m_end(end), m_cut(end) {}

    void run(Script& script, const std::vector<ChunkRecord>& records)
    {
        for (int steps = 0; steps < 8 && !script.ended(); ++steps) {
            switch (script.below(4)) {
            case 0:
                m_writer.setComment(QString(static_cast<qsizetype>(script.byte()), u'c'));
                break;
            case 1:
                add(script);
                break;
            case 2:
                replace(script, records);
                break;
            default:
                m_writer.addBundleBoundingBoxCoords(0, 0, 1, 1);
            }
        }
    }

    /// Copies the bytes of replaced frames, so that what is left must be equal.
    void copyReplaced(const std::string& from, std::string& to) const
    {
        for (const ChunkRecord& record : m_replaced)
            to.replace(record.offset, record.length + 32, from, record.offset, record.length + 32);
    }

    struct Frame {
        std::size_t offset;
        std::string pixels;
    };
    const std::vector<Frame>& added() const { return m_added; }

private:
    void add(Script& script)
    {
        const Input pixels = script.take(script.below(32));
        m_writer.addFrame(pixels.data(), static_cast<int>(pixels.size()), timeval{script.byte(), 0}, 0.5F);
        m_added.push_back({m_end, std::string(pixels.begin(), pixels.end())});
        m_end += pixels.size() + 32;
    }

    void replace(Script& script, const std::vector<ChunkRecord>& records)
    {
        const unsigned int index = script.byte();
        if (index >= records.size())
            return;
        // A length that no frame of this file has must be refused before a byte is read.
        const std::size_t length = std::min<std::size_t>(records[index].length, longestInput);
        const std::vector<char> pixels(length, static_cast<char>(script.byte()));
        const std::string code =
            codeOf({"CHB_LFD_PARSE", "CHB_LDF_READ"}, [&] { m_writer.replaceFrame(pixels.data(), index, 1.0F); });
        if (!code.empty())
            return;
        if (records[index].offset < m_cut)
            return m_replaced.push_back(records[index]);
        // The index listed a frame in the tail that was cut, and one was added there.
        const auto hit = std::find_if(m_added.begin(), m_added.end(),
                                      [&](const Frame& frame) { return frame.offset == records[index].offset; });
        require(hit != m_added.end() && hit->pixels.size() == length, "no frame where none was");
        hit->pixels.assign(pixels.begin(), pixels.end());
    }

    ImageWriter& m_writer;
    std::size_t m_end;
    const std::size_t m_cut;
    std::vector<ChunkRecord> m_replaced;
    std::vector<Frame> m_added;
};

} // namespace

void modifyMovie(Input input)
{
    MovieFile& file = MovieFile::instance();
    Script head(input);
    Script script(head.take(32));
    const Input content = head.rest();
    file.write(content);
    const std::string before(content.begin(), content.end());

    ImageWriter writer;
    writer.setJournaled(script.below(2) == 0);
    const std::string code = codeOf({"FDCW_MODIFY", "FDCW_MODIFY1", "FDCW_MODIFY2", "FDCW_MODIFY3", "FDCW_MODIFY4",
                                     "CHB_LFD_PARSE", "CHB_LDF_READ", "CI_L_CHUNK", "FDCW_PC_SEEK2", "IW_ARFCI_INFO2"},
                                    [&] { writer.modify(file.path()); });
    require(code.empty() == writer.isOpen(), "open, or not");
    if (!code.empty())
        return require(file.read() == before, "a failed modify changes nothing");
    std::string kept = file.read();
    require(before.starts_with(kept), "modify cuts the tail");

    const std::vector<ChunkRecord> records = frameRecords(before);
    Editing editing(writer, kept.size());
    editing.run(script, records);
    writer.close();
    require(!QFileInfo::exists(file.path() + QStringLiteral("-journal")), "no journal of an edit that ended");

    const std::string after = file.read();
    editing.copyReplaced(after, kept);
    require(after.starts_with(kept), "nothing changes but the frames that were replaced");
    const std::vector<ChunkRecord> recordsAfter = frameRecords(after);
    require(recordsAfter.size() == records.size() + editing.added().size() &&
                std::equal(records.begin(), records.end(), recordsAfter.begin()),
            "the frames of before, and those that were added");
    ImageReader reader(file.path());
    for (std::size_t i = 0; i < editing.added().size(); ++i) {
        const void* data = nullptr;
        const auto index = static_cast<unsigned int>(records.size() + i);
        require(reader.getFrame(data, index) &&
                    editing.added()[i].pixels ==
                        std::string(static_cast<const char*>(data), static_cast<std::size_t>(reader.frameSize())),
                "frames that were added");
    }
}

} // namespace zd::fuzz
