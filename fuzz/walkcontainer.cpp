#include <fuzz/containermodel.h>
#include <fuzz/moviefile.h>
#include <fuzz/require.h>
#include <fuzz/script.h>

#include <libdataio/fdchunkreader.h>
#include <libdataio/fdchunkwriter.h>

#include <limits>

#include <fcntl.h>

namespace zd::fuzz {

namespace {

using Look = ContainerModel::Look;
using Meeting = ContainerModel::Meeting;
constexpr std::int64_t headerBytes = ContainerModel::headerBytes;
constexpr std::int64_t farLength = 1 << 20; // further away nothing is tried

int openMovie(int flags)
{
    return ::open(MovieFile::instance().path().toUtf8().constData(), flags | O_CLOEXEC);
}

const char* codeFor(Meeting meeting)
{
    switch (meeting) {
    case Meeting::Torn:
        return "CHB_LDF_READ";
    case Meeting::Damaged:
        return "CHB_LFD_PARSE";
    default:
        return "";
    }
}

/// The type that lies at the position more often than not, so that steps get somewhere.
std::uint32_t likelyType(Script& script, const ContainerModel& model, std::int64_t header)
{
    const std::uint8_t choice = script.byte();
    if (choice < 200 && header >= 0 && header + headerBytes <= model.length())
        return model.typeAt(header);
    return choice % 16;
}

/// A chunk reader that does all that the model does.
class ReaderWalk {
public:
    explicit ReaderWalk(ContainerModel& model) : m_model(model) { m_reader.setFD(openMovie(O_RDONLY)); }

    void run(Script& script)
    {
        for (int steps = 0; steps < 64 && !script.ended(); ++steps) {
            switch (script.below(8)) {
            case 0:
                m_reader.rewind();
                m_model.position = 0;
                break;
            case 1:
                m_reader.seekEnd();
                m_model.position = m_model.length();
                break;
            case 2: {
                const std::uint32_t position = script.word();
                m_reader.seek(position);
                m_model.position = position == std::numeric_limits<std::uint32_t>::max() ? ContainerModel::none
                                                                                         : std::int64_t{position};
                break;
            }
            case 3:
            case 4:
                back(likelyType(script, m_model, m_model.position - headerBytes));
                break;
            default:
                forward(likelyType(script, m_model, m_model.position));
            }
        }
    }

private:
    bool step(const Look& look, std::uint32_t type, bool (FDChunkReader::*operation)(unsigned int))
    {
        bool done = false;
        const std::string code = codeOf({"CHB_LDF_READ", "CHB_LFD_PARSE"}, [&] { done = (m_reader.*operation)(type); });
        require(code == codeFor(look.meeting), "the report of what lies there");
        return done;
    }

    void forward(std::uint32_t type)
    {
        const Look look = m_model.ahead(type);
        const bool done = step(look, type, &FDChunkReader::nextChunk);
        if (look.meeting != Meeting::Found)
            return require(!done && m_reader.chunkSize() == -1, "no step over what is no such chunk");
        const std::string payload = m_model.payload(m_model.position + headerBytes, look.size);
        m_model.position += 2 * headerBytes + look.size;
        if (m_model.position > ContainerModel::largestPosition)
            m_model.position = ContainerModel::none;
        require(done == (payload.size() == look.size), "a whole payload, or none");
        compare(done, payload, look.size);
    }

    void back(std::uint32_t type)
    {
        const Look look = m_model.behind(type);
        const bool done = step(look, type, &FDChunkReader::prevChunk);
        const std::int64_t start = m_model.position - headerBytes - std::int64_t{look.size};
        if (look.meeting != Meeting::Found || start < 0)
            return require(!done && m_reader.chunkSize() == -1, "no step over what is no such chunk");
        m_model.position = start < headerBytes ? ContainerModel::none : start - headerBytes;
        require(done, "a payload before its end header");
        compare(true, m_model.payload(start, look.size), look.size);
    }

    void compare(bool loaded, const std::string& payload, std::uint32_t size)
    {
        const bool representable = size <= std::uint32_t{std::numeric_limits<std::int32_t>::max()};
        require(m_reader.chunkSize() == (representable ? static_cast<int>(size) : -1), "the size of the chunk");
        if (loaded && size != 0)
            require(payload.compare(0, size, static_cast<const char*>(m_reader.data()), size) == 0, "the payload");
        if (!loaded)
            require(codeOf({"MM_D_NODATA"}, [this] { m_reader.data(); }) == "MM_D_NODATA", "nothing to show");
    }

    ContainerModel& m_model;
    FDChunkReader m_reader;
};

/// A chunk writer that does all that the model does.
class WriterWalk {
public:
    explicit WriterWalk(ContainerModel& model) : m_model(model)
    {
        m_writer.setFD(openMovie(O_RDWR));
        m_model.position = 0;
    }

    void run(Script& script)
    {
        for (int steps = 0; steps < 64 && !script.ended() && m_model.position < farLength; ++steps) {
            step(script);
            require(m_writer.offset() == m_model.position, "the position");
        }
        m_writer.closeFD();
        require(MovieFile::instance().read() == m_model.bytes, "the bytes of the file");
    }

private:
    void step(Script& script)
    {
        switch (script.below(8)) {
        case 0:
            m_model.position = script.word() % farLength;
            require(m_writer.seek(static_cast<unsigned int>(m_model.position)), "any position can be gone to");
            break;
        case 1:
            require(m_writer.seekEnd(), "the end can be gone to");
            m_model.position = m_model.length();
            break;
        case 2:
            m_writer.truncateFile();
            m_model.bytes.resize(static_cast<std::size_t>(m_model.position));
            break;
        case 3:
            add(script);
            break;
        case 4:
            backUnread();
            break;
        case 5:
            back(likelyType(script, m_model, m_model.position - headerBytes));
            break;
        default:
            forward(likelyType(script, m_model, m_model.position));
        }
    }

    void add(Script& script)
    {
        const std::uint32_t type = script.below(16);
        const Input payload = script.take(script.below(64));
        const std::string size = {'\0', '\0', '\0', static_cast<char>(payload.size())};
        const std::string fields = std::string(3, '\0') + static_cast<char>(type) + size + ">\n";
        const std::int64_t start = m_model.position;
        m_model.write("\n<CSTA" + fields + std::string(payload.begin(), payload.end()) + "\n<CEND" + fields);
        require(m_writer.addChunk(type, payload.data(), static_cast<unsigned int>(payload.size())) == start,
                "the offset of the chunk");
    }

    void backUnread()
    {
        const std::int64_t header = m_model.position - headerBytes;
        const bool fits = header >= 0 && header + headerBytes <= m_model.length();
        const Look look = m_model.behind(fits ? m_model.typeAt(header) : 0);
        bool done = false;
        const std::string code = codeOf({"CHB_LDF_READ", "CHB_LFD_PARSE"}, [&] { done = m_writer.seekPrev(); });
        require(code == codeFor(look.meeting), "the report of what lies there");
        const std::int64_t start = header - headerBytes - std::int64_t{look.size};
        require(done == (look.meeting == Meeting::Found && start > 0), "no step to the first chunk");
        if (done)
            m_model.position = start;
    }

    void back(std::uint32_t type)
    {
        const Look look = m_model.behind(type);
        const std::int64_t start = m_model.position - 2 * headerBytes - std::int64_t{look.size};
        const bool possible = look.meeting == Meeting::Found && start >= 0;
        move(look, type, possible, start, start + headerBytes, &FDChunkWriter::prevChunk);
    }

    void forward(std::uint32_t type)
    {
        const Look look = m_model.ahead(type);
        const std::int64_t end = m_model.position + 2 * headerBytes + std::int64_t{look.size};
        move(look, type, look.meeting == Meeting::Found, end, m_model.position + headerBytes,
             &FDChunkWriter::nextChunk);
    }

    void move(const Look& look, std::uint32_t type, bool possible, std::int64_t target, std::int64_t payloadStart,
              bool (FDChunkWriter::*operation)(unsigned int))
    {
        bool done = false;
        const bool beforeFile = look.meeting == Meeting::Found && payloadStart < 0;
        const std::string code = codeOf({"CHB_LDF_READ", "CHB_LFD_PARSE", "FDCW_NC_READ", "FDCW_PC_SEEK2"},
                                        [&] { done = (m_writer.*operation)(type); });
        if (beforeFile)
            return require(code == "FDCW_PC_SEEK2", "no payload before the file");
        if (code == "FDCW_NC_READ")
            return require(look.size > farLength, "only sizes far beyond the file are not believed");
        require(code == codeFor(look.meeting), "the report of what lies there");
        require(done == possible, "a step over each such chunk");
        if (!done)
            return;
        m_model.position = target;
        std::string payload = m_model.payload(payloadStart, look.size);
        payload.resize(look.size); // what is missing reads as zeros
        require(static_cast<std::uint32_t>(m_writer.chunkSize()) == look.size, "the size of the chunk");
        if (look.size != 0)
            require(payload.compare(0, look.size, static_cast<const char*>(m_writer.data()), look.size) == 0,
                    "the payload");
    }

    ContainerModel& m_model;
    FDChunkWriter m_writer;
};

} // namespace

void walkContainer(Input input)
{
    Script head(input);
    Script script(head.take(head.byte()));
    const Input content = head.rest();
    MovieFile::instance().write(content);
    ContainerModel model(std::string(content.begin(), content.end()));
    if (script.below(2) == 0)
        ReaderWalk(model).run(script);
    else
        WriterWalk(model).run(script);
}

} // namespace zd::fuzz
