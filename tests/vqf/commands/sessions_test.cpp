#include <tests/support/moviebytes.h>
#include <tests/support/tiffstack.h>
#include <tests/support/tooltest.h>

#include <QDir>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace zd::tool {
namespace {

/// Sessions with the real program, as they stand in tests/vqf/commands/sessions: "$ " and a command, then what it writes to
/// standard output, behind "! " what it writes to standard error, and its exit code in brackets unless it is 0. "..."
/// stands for any text. With DATAIO_RECORD in the environment a session is written anew where it went another way, to be looked through.
class Session : public test::ToolTest, public testing::WithParamInterface<std::string> {
protected:
    Session()
    {
        std::vector<std::string> pages;
        for (unsigned frame = 0; frame < 5; ++frame)
            pages.push_back(test::testPixels(16, frame));
        writeStack("a.tif", {pages[0], pages[1], pages[2]});
        writeStack("more.tif", {pages[3], pages[4]});
        writeStack("one.tif", {pages[4]});
        test::writeStack(directory.path("bytes.tif"), {.bits = 8}, 4, 2, {test::testPixels(8, 0)});
        test::writeStack(directory.path("wide.tif"), {.bits = 16}, 5, 2, {test::testPixels(20, 0)});
        test::writeFile(directory.path("rich.vqf"), test::richMovie());
        test::writeFile(directory.path("small.vqf"), test::smallMovie());
        test::MovieBuilder odd; // frames of different length, and a chunk of another type
        odd.frameFormat(4, 2, 5, 16).frame(pages[0]).frame(std::string(100'000, 'x')).chunk(9, "a");
        test::writeFile(directory.path("odd.vqf"), odd.movie());
        test::MovieBuilder gaps; // between the times of its frames
        std::string times;
        for (const int milliseconds : {0, 100, 200, 500, 400, 501, 600, 752}) {
            gaps.frame("x");
            times += test::timeBytes(0, 1000 * milliseconds);
        }
        test::writeFile(directory.path("gaps.vqf"), gaps.chunk(7, times).movie());
    }

    void writeStack(const char* name, const std::vector<std::string>& frames) const
    {
        test::writeStack(directory.path(name), {.bits = 16, .mode = "wb"}, 4, 2, frames);
    }

    QString answerTo(const QString& command) const
    {
        const test::Ended ended = run("export LC_ALL=C.UTF-8\n" + command.toStdString());
        QString errors = QString::fromStdString(ended.errors);
        errors.replace(QRegularExpression(QStringLiteral("^(?=.)"), QRegularExpression::MultilineOption),
                       QStringLiteral("! "));
        const QString code = ended.code == 0 ? QString() : QStringLiteral("[%1]\n").arg(ended.code);
        return QString::fromStdString(ended.output) + errors + code;
    }
};

bool matches(const QString& answer, const QString& expected)
{
    QString pattern = QRegularExpression::escape(expected.trimmed());
    pattern.replace(QStringLiteral("\\.\\.\\."), QStringLiteral(".*"));
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(answer.trimmed()).hasMatch();
}

TEST_P(Session, GoesAsItStands)
{
    const QString path = QString::fromStdString(SESSIONS "/" + GetParam() + ".txt");
    const bool recording = qEnvironmentVariableIsSet("DATAIO_RECORD");
    QString recorded;
    QString command;
    QString expected;
    const auto finishCommand = [&] {
        if (command.isEmpty())
            return;
        const QString answer = answerTo(command);
        const bool right = matches(answer, expected);
        while (expected.endsWith(u'\n'))
            expected.chop(1);
        recorded += QStringLiteral("$ ") + command + u'\n';
        recorded += right && !expected.isEmpty() ? expected + u'\n' : answer;
        EXPECT_TRUE(recording || right) << "$ " << command.toStdString() << '\n' << answer.toStdString();
        expected.clear();
    };
    for (const QString& line : QString::fromStdString(test::readFile(path)).split(u'\n')) {
        const bool isCommand = line.startsWith(QStringLiteral("$ "));
        if (isCommand || line.startsWith(QStringLiteral("# "))) {
            finishCommand();
            command = isCommand ? line.mid(2) : QString();
            recorded += isCommand ? QString() : u'\n' + line + u'\n';
        } else {
            expected += line + u'\n';
        }
    }
    finishCommand();
    if (recording)
        test::writeFile(path, recorded.trimmed().toStdString() + '\n');
}

std::vector<std::string> sessions()
{
    std::vector<std::string> names;
    for (const QString& name : QDir(QStringLiteral(SESSIONS)).entryList(QDir::Files))
        names.push_back(name.section(u'.', 0, 0).toStdString());
    return names;
}

INSTANTIATE_TEST_SUITE_P(, Session, testing::ValuesIn(sessions()), [](const auto& session) { return session.param; });

} // namespace
} // namespace zd::tool
