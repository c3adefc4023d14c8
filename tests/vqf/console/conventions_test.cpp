#include <tests/support/moviebytes.h>
#include <tests/support/tiffstack.h>
#include <tests/support/tooltest.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStringList>

#include <gmock/gmock.h>

namespace zd::tool {
namespace {

using test::Ended;
using testing::HasSubstr;
using testing::StartsWith;

/// What holds for every subcommand alike.
class Conventions : public test::ToolTest {
protected:
    Conventions()
    {
        for (const char* name : {"beads.tif", "more.tif", "part1.tif", "part2.tif", "corrected.tif"})
            test::writeStack(directory.path(name), {.bits = 16}, 4, 2,
                             {test::testPixels(16, 0), test::testPixels(16, 1)});
        test::writeStack(directory.path("cells.tif"), {.bits = 16}, 4, 2,
                         std::vector<std::string>(500, test::testPixels(16, 0)));
        test::writeFile(directory.path("seconds.txt"), "1700000000" + repeated("\n1700000000", 500));
        test::writeFile(directory.path("header.txt"), "operator=Curie\n");
        test::writeFile(directory.path("samples.bin"), std::string(576 * 576 * 2, 's'));
        test::writeFile(directory.path("rich.vqf"), test::richMovie());
        for (const char* part : {"part-1", "part-2", "part-3"})
            run(QStringLiteral("vqf import beads.tif -o %1.vqf --attr operator=Curie").arg(QLatin1StringView(part)));
        run(QStringLiteral("vqf import beads.tif -o later.vqf --rate 100 --start 2024-03-01T11:00:00Z --comment left "
                           "--attr operator=Curie"));
        run(QStringLiteral("vqf import cells.tif -o long.vqf --rate 100 --start 2024-03-01T10:00:00Z "
                           "--comment left --attr operator=Curie"));
    }

    static std::string repeated(const char* text, int times)
    {
        return QString::fromLatin1(text).repeated(times - 1).toStdString();
    }

    // The movies that the examples name, new for each of them.
    void prepareFor(const QString& example) const
    {
        for (const char* name :
             {"cells.vqf", "beads.vqf", "recorded.vqf", "processed.vqf", "edited.vqf", "yesterday.vqf"}) {
            QFile::remove(directory.path(name));
            QFile::copy(directory.path("long.vqf"), directory.path(name));
        }
        for (const char* name : {"dead.vqf", "dead-recording.vqf"}) {
            QFile::remove(directory.path(name));
            if (example.contains(QLatin1StringView("dead")))
                test::writeFile(directory.path(name), test::withoutTail(test::richMovie(), 40));
        }
        static const QRegularExpression output(QStringLiteral("-o (\\S+)"));
        const QString made = output.match(example).captured(1);
        if (!made.isEmpty())
            QFile::remove(QDir(directory.path("")).filePath(made));
    }

    Ended run(const QString& script) const { return ToolTest::run(script.toStdString()); }

    QString help(const QString& command) const
    {
        const Ended ended = run(QStringLiteral("vqf %1 --help").arg(command));
        EXPECT_EQ(ended.code, 0) << command.toStdString();
        return QString::fromStdString(ended.output);
    }

    // The subcommands that a help text lists.
    QStringList commands(const QString& helpText) const
    {
        QStringList names;
        const QString list =
            helpText.section(QStringLiteral("\nSubcommands:\n"), 1).section(QStringLiteral("\n\n"), 0, 0);
        for (const QString& line : list.split(QLatin1Char('\n'))) {
            const QString name = line.mid(2).section(QLatin1Char(' '), 0, 0);
            if (!name.isEmpty())
                names.append(name);
        }
        return names;
    }
};

TEST_F(Conventions, ExamplesOfTheHelpWork)
{
    const QStringList names = commands(help({}));
    ASSERT_GE(names.size(), 15);
    for (const QString& name : names) {
        const QString text = help(name).section(QRegularExpression(QStringLiteral("\nExamples?:\n")), 1);
        const QString examples = text.section(QStringLiteral("\n\n"), 0, 0);
        EXPECT_THAT(examples.toStdString(), StartsWith("  vqf " + name.toStdString()));
        for (const QString& example : examples.split(QStringLiteral("\n  vqf "))) {
            const QString script =
                QStringLiteral("vqf ") + QString(example).replace(QStringLiteral("  vqf "), QString());
            prepareFor(script);
            const Ended ended = run(script);
            const bool toldOfDamage = ended.code == 3 && script.contains(QStringLiteral("dead"));
            EXPECT_TRUE(ended.code == 0 || toldOfDamage) << script.toStdString() << "\n" << ended.code << ended.errors;
        }
    }
}

TEST_F(Conventions, JsonBeginsWithSchemaAndVersion)
{
    int checked = 0;
    for (const char* command : {"info", "frames", "chunks", "fibers", "attr list", "verify"}) {
        for (const char* option : {"--json", "--format ndjson"}) {
            if (!help(QLatin1StringView(command)).contains(QLatin1StringView(option).left(8)))
                continue;
            const Ended ended =
                run(QStringLiteral("vqf %1 rich.vqf %2").arg(QLatin1StringView(command), QLatin1StringView(option)));
            const QByteArray output = QByteArray::fromStdString(ended.output);
            const bool severalLines = option[2] == 'f';
            for (const QByteArray& object : severalLines ? output.trimmed().split('\n') : QByteArrayList{output}) {
                EXPECT_THAT(object.toStdString(), StartsWith("{\"schema\":\"vqf.")) << command;
                const QJsonObject parsed = QJsonDocument::fromJson(object).object();
                EXPECT_EQ(parsed.value(QStringLiteral("version")), 1) << command;
                EXPECT_EQ(
                    parsed.value(QStringLiteral("movie")).toString(parsed.value(QStringLiteral("path")).toString()),
                    QStringLiteral("rich.vqf"))
                    << command;
                ++checked;
            }
        }
    }
    const std::string written = run(QStringLiteral("vqf cut rich.vqf -o x.vqf --frames 1 --json")).output;
    EXPECT_EQ(written, "{\"schema\":\"vqf.done\",\"version\":1,\"bytes\":" + std::to_string(file("x.vqf").size()) +
                           ",\"frames\":1,\"path\":\"x.vqf\"}\n");
    EXPECT_EQ(
        run(QStringLiteral("vqf order x.vqf --first 0 --json; vqf --json info x.vqf | head -c 10")).output,
        "{\"schema\":\"vqf.done\",\"version\":1,\"message\":\"x.vqf: begins with what was frame 0\"}\n{\"schema\":");
    EXPECT_GE(checked, 6 + 4 + 3 + 7); // every command, and a line for each row
}

TEST_F(Conventions, ATerminalIsNoFile)
{
    const Ended ended =
        run(QStringLiteral("script -qec \"\\\"" VQF_PROGRAM "\\\" export rich.vqf -o -\" /dev/null < /dev/null"));
    EXPECT_EQ(ended.code, 2);
    EXPECT_THAT(ended.output, StartsWith("vqf: -o -: standard output is a terminal"));
}

TEST_F(Conventions, TheManualKnowsEveryCommand)
{
    const std::string manual = run(QStringLiteral("vqf completion man")).output;
    for (const QString& name : commands(help({})))
        EXPECT_THAT(manual, HasSubstr("\n.SS \\fBvqf " +
                                      QString(name).replace(QLatin1Char('-'), QStringLiteral("\\-")).toStdString()));
    EXPECT_THAT(manual, HasSubstr("\n.TP\n\\fB\\-o\\fR, \\fB\\-\\-output\\fR \\fIPATH\\fR\nThe movie to make"));
}

} // namespace
} // namespace zd::tool
