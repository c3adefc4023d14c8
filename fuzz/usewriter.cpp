#include <fuzz/moviefile.h>
#include <fuzz/require.h>
#include <fuzz/script.h>

#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <tests/support/faults.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace zd::fuzz {

namespace {

using test::Fault;
using test::Faults;

/// The movie as it has to be.
struct Model {
    struct Frame {
        std::string pixels;
        float laserPower;
    };
    std::vector<Frame> frames;
    std::vector<timeval> times; // sorted by `close`
    QString comment;
};

/// Operations on one movie, each with a fault now and then. One that fails is repeated.
class Session {
public:
    explicit Session(Script& script) : m_script(script), m_path(MovieFile::instance().path())
    {
        MovieFile::instance().remove();
        m_writer.setRecordingLog(script.below(2) == 0);
        m_writer.setJournaled(script.below(2) == 0);
    }

    void run()
    {
        create();
        for (int steps = 0; steps < 48 && !m_script.ended(); ++steps) {
            switch (m_script.below(8)) {
            case 0:
                reopen();
                break;
            case 1:
                replace();
                break;
            case 2:
                arrange();
                break;
            case 3:
                comment();
                break;
            default:
                add();
            }
        }
        close();
    }

private:
    /// Runs the operation until it succeeds; at most one fault strikes.
    template <typename Operation>
    void insist(Operation operation)
    {
        constexpr int errors[] = {ENOSPC, EIO, EDQUOT, EFBIG};
        constexpr test::Share shares[] = {test::Share::Nothing, test::Share::OneByte, test::Share::Half,
                                          test::Share::AllButOne};
        if (m_script.below(4) == 0) {
            Faults fault({.at = 1 + m_script.byte() % 32,
                          .error = errors[m_script.below(4)],
                          .share = shares[m_script.below(4)]});
            const std::string code =
                codeOf({"FW_OF_OPEN", "FW_OF_OPEN2", "FDCW_MODIFY", "FDCW_PC_READ", "FDCW_PC_SEEK1", "FDCW_PC_SEEK2",
                        "FDCW_AC_SEEK", "FDCW_AC_WRITE", "CHB_WFD_WRITE", "CHB_LDF_READ", "CHB_LFD_SEEK", "FDCW_TRUNC"},
                       operation);
            require(code.empty() || fault.struck(), "no failure without a fault");
            if (code.empty())
                return;
        }
        require(codeOf({}, operation).empty(), "a repeated operation succeeds");
    }

    void create()
    {
        insist([this] { m_writer.create(m_path, false); });
        m_writer.width(4);
        m_writer.height(1);
        m_writer.pixType(ZD_UCHAR);
    }

    void add()
    {
        const Input taken = m_script.take(m_script.below(40));
        const std::string pixels(taken.begin(), taken.end());
        const timeval time{m_script.byte(), m_script.byte()};
        const float power = static_cast<float>(m_script.byte()) / 254.0F;
        insist([&] { m_writer.addFrame(pixels.data(), static_cast<int>(pixels.size()), time, power); });
        m_model.frames.push_back({pixels, power});
        m_model.times.push_back(time);
    }

    void replace()
    {
        if (m_model.frames.empty())
            return;
        const unsigned int index = m_script.below(static_cast<unsigned int>(m_model.frames.size()));
        Model::Frame& frame = m_model.frames[index];
        frame = {std::string(frame.pixels.size(), static_cast<char>(m_script.byte())), 0.5F};
        insist([&] { m_writer.replaceFrame(frame.pixels.data(), index, m_model.times[index], 0.5F); });
    }

    void arrange()
    {
        if (m_model.frames.empty())
            return;
        const unsigned int first = m_script.below(static_cast<unsigned int>(m_model.frames.size()));
        m_writer.setFirstFrame(first);
        std::rotate(m_model.frames.begin(), m_model.frames.begin() + first, m_model.frames.end());
    }

    void comment()
    {
        m_model.comment = QString(1 + static_cast<qsizetype>(m_script.byte()), u'c');
        m_writer.setComment(m_model.comment);
    }

    void reopen()
    {
        close();
        if (m_script.below(2) == 0) {
            AttributeChunk attributes = m_writer.attributeChunk();
            m_model.comment = QStringLiteral("other");
            attributes.set(QStringLiteral("comment"), m_model.comment);
            // Without a journal nothing brings a header back that is half written.
            if (m_writer.journaled())
                insist([&] { m_writer.modifyAttribute(m_path, attributes); });
            else
                m_writer.modifyAttribute(m_path, attributes);
            compare();
        }
        insist([this] { m_writer.modify(m_path); });
    }

    void close()
    {
        insist([this] { m_writer.close(); });
        std::sort(m_model.times.begin(), m_model.times.end());
        compare();
    }

    void compare()
    {
        ImageReader reader(m_path);
        require(static_cast<std::size_t>(reader.nbFrames()) == m_model.frames.size(), "all frames");
        require(reader.getFrameTimer().size() == m_model.times.size() &&
                    std::equal(m_model.times.begin(), m_model.times.end(), reader.getFrameTimer().begin()),
                "all times, in order");
        for (unsigned int i = 0; i < m_model.frames.size(); ++i) {
            const void* data = nullptr;
            require(reader.getFrame(data, i), "each frame");
            const std::string pixels(static_cast<const char*>(data), static_cast<std::size_t>(reader.frameSize()));
            require(pixels == m_model.frames[i].pixels, "its pixels");
            float power = -1;
            const float expected = m_model.frames[i].laserPower;
            require(reader.getLaserPower(i, power) == (expected <= 1) &&
                        (expected > 1 || std::abs(power - expected) < 0.002F),
                    "its laser power");
        }
        require(reader.getComment() == m_model.comment, "the comment");
    }

    Script& m_script;
    const QString m_path;
    ImageWriter m_writer;
    Model m_model;
};

} // namespace

void useWriter(Input input)
{
    Script script(input);
    Session(script).run();
}

} // namespace zd::fuzz
