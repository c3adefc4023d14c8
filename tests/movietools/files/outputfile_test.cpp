#include <movietools/files/outputfile.h>
#include <movietools/job/joberror.h>
#include <tests/support/moviebytes.h>

#include <QDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace zd::movietools {
namespace {

using test::TemporaryDirectory;
using Existing = OutputFile::Existing;

std::string namesIn(const TemporaryDirectory& directory)
{
    return QDir(directory.path(""))
        .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot)
        .join(QLatin1Char(' '))
        .toStdString();
}

unsigned permissionsOf(const QString& path)
{
    struct stat status {};
    ::stat(path.toUtf8().constData(), &status);
    return status.st_mode & 07777;
}

template <typename Operation>
std::string problemOf(Operation operation)
{
    try {
        operation();
    } catch (const JobError& error) {
        return error.path.section(QLatin1Char('/'), -1).toStdString() + " " + error.problem.toStdString();
    }
    return "nothing was reported";
}

class OutputFileTest : public testing::TestWithParam<OutputFile::Work> {
protected:
    void writeAndDrop(const char* name, Existing existing, const QStringList& inputs = {})
    {
        const OutputFile file(directory.path(name), existing, inputs, 0666, GetParam());
        test::writeFile(file.workPath(), "unfinished");
    }

    TemporaryDirectory directory;
};

INSTANTIATE_TEST_SUITE_P(, OutputFileTest, testing::Values(OutputFile::Work::Unnamed, OutputFile::Work::Named),
                         [](const auto& param) { return param.index == 0 ? "Unnamed" : "Named"; });

TEST_P(OutputFileTest, AppearsCompleteOrNotAtAll)
{
    const mode_t mask = ::umask(027);
    {
        OutputFile file(directory.path("new"), Existing::Refuse, {}, 0666, GetParam());
        test::writeFile(file.workPath(), "bytes");
        EXPECT_FALSE(QFile::exists(directory.path("new")));
        file.commit();
        EXPECT_EQ(test::readFile(directory.path("new")), "bytes");
    }
    ::umask(mask);
    EXPECT_EQ(permissionsOf(directory.path("new")), 0640U);

    writeAndDrop("new", Existing::Replace);
    writeAndDrop("other", Existing::Refuse);
    EXPECT_EQ(test::readFile(directory.path("new")), "bytes");
    EXPECT_EQ(namesIn(directory), "new");

    // Replaced through symbolic links, which stay; permissions stay, too.
    ::chmod(directory.path("new").toUtf8().constData(), 0604);
    QFile::link(directory.path("new"), directory.path("between"));
    QFile::link(directory.path("between"), directory.path("link"));
    {
        OutputFile file(directory.path("link"), Existing::Replace, {}, 0666, GetParam());
        test::writeFile(file.workPath(), "more");
        file.commit();
    }
    EXPECT_EQ(test::readFile(directory.path("new")), "more");
    EXPECT_EQ(permissionsOf(directory.path("new")), 0604U);
    EXPECT_EQ(namesIn(directory), "between link new");
}

TEST_P(OutputFileTest, RefusesTargetsBeforeAnythingIsWritten)
{
    test::writeFile(directory.path("old"), "old");
    QFile::link(directory.path("old"), directory.path("link"));
    ASSERT_EQ(::mkfifo(directory.path("pipe").toUtf8().constData(), 0600), 0);
    const auto problem = [this](const char* name, Existing existing) {
        return problemOf([&] { writeAndDrop(name, existing, {directory.path("link")}); });
    };
    EXPECT_EQ(problem("old", Existing::Replace), "old is the input itself");
    EXPECT_EQ(problem("pipe", Existing::Replace), "pipe is not a regular file");
    EXPECT_EQ(problem(".", Existing::Replace), ". is not a regular file");
    EXPECT_EQ(problem("none/x", Existing::Replace), "x cannot be written: No such file or directory");
    EXPECT_EQ(problem("old/x", Existing::Replace), "x cannot be written: Not a directory");
    EXPECT_EQ(problemOf([&] { OutputFile(QString(), Existing::Refuse, {}); }), " is no name for a file");
    test::writeFile(directory.path("second"), "second");
    EXPECT_EQ(problem("second", Existing::Refuse), "second exists already");

    const OutputFile file(directory.path("x"), Existing::Refuse, {}, 0666, GetParam());
    EXPECT_NO_THROW(file.requireRoom(1));
    EXPECT_EQ(problemOf([&] { file.requireRoom(std::uint64_t{1} << 60); }).substr(0, 26), "x needs 1152921504.61 GB, ");
}

TEST_P(OutputFileTest, ReplacesNothingThatAppearedMeanwhile)
{
    OutputFile file(directory.path("x"), Existing::Refuse, {}, 0666, GetParam());
    test::writeFile(directory.path("x"), "of another program");
    EXPECT_EQ(problemOf([&] { file.commit(); }), "x cannot be named: File exists");
    EXPECT_EQ(test::readFile(directory.path("x")), "of another program");
}

TEST_P(OutputFileTest, NeedsAFolderThatCanBeWritten)
{
    const QByteArray folder = directory.path("").toUtf8();
    ASSERT_EQ(::chmod(folder.constData(), 0555), 0);
    const uid_t user = ::geteuid();
    if (user == 0) { // permissions do not bind the superuser
        ASSERT_EQ(::seteuid(65534), 0);
    }
    const std::string problem = problemOf([&] { writeAndDrop("x", Existing::Refuse); });
    ASSERT_EQ(::seteuid(user), 0);
    ::chmod(folder.constData(), 0700);
    EXPECT_EQ(problem, "x cannot be written: Permission denied");
}

} // namespace
} // namespace zd::movietools
