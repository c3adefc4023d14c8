#include <libdataio/editjournal_p.h>

#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <libdataio/recordingremains.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

namespace zd {

namespace {

using namespace test;

class Journal : public testing::Test {
protected:
    Journal() { writeFile(m_path, before); }

    std::string file() const { return readFile(m_path); }
    QString beside(const char* suffix) const { return m_path + QString::fromUtf8(suffix); }

    /// Everything but the movie.
    QStringList leftovers() const
    {
        QStringList names = QDir(m_directory.path("")).entryList(QDir::Files);
        names.removeAll(QStringLiteral("movie.vqf"));
        return names;
    }

    const NoSynchronisation m_noSynchronisation;
    const std::string before = MovieBuilder()
                                   .frame("first")
                                   .chunk(7, timeBytes(10, 0))
                                   .attribute("endian", "2")
                                   .attribute("comment", "before")
                                   .movie();
    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie.vqf");
};

TEST_F(Journal, TellsTornFromWholeHeaders)
{
    const auto leaveJournal = [this](const std::string& newInfo) {
        const Descriptor movie(m_path, O_RDWR);
        const auto infoStart = static_cast<std::int64_t>(walkMovie(before).back().offset);
        const auto journal = EditJournal::begin(m_path, movie.get(), infoStart);
        const auto length = infoStart + 32 + static_cast<std::int64_t>(newInfo.size());
        journal->announceEnd(length, QByteArray::fromStdString(newInfo));
    };
    const std::string oldInfo = walkMovie(before).back().payload;
    const std::string start = before.substr(0, walkMovie(before).back().offset);
    std::string newInfo = oldInfo;
    newInfo.replace(newInfo.find("before"), 6, "after!");
    std::string tornInfo = oldInfo;
    tornInfo.replace(newInfo.find("after!"), 3, "aft");

    leaveJournal(newInfo);
    writeFile(m_path, start + chunk(5, tornInfo));
    EXPECT_EQ(walkMovie(file()).size(), 3U) << "it looks sound";
    EXPECT_TRUE(ImageWriter::undoInterruptedEdit(m_path));
    EXPECT_EQ(file(), before);

    const std::string longer = start + chunk(5, newInfo + "x=1\n");
    const std::string wholes[] = {before, start + chunk(5, newInfo), longer};
    for (const std::string& whole : wholes) {
        writeFile(m_path, before);
        leaveJournal(newInfo);
        writeFile(m_path, whole);
        EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_path));
        EXPECT_EQ(file(), whole) << "old, new, or another movie put here since";
        EXPECT_EQ(leftovers(), QStringList());
    }
}

TEST_F(Journal, LeavesOthersFilesAlone)
{
    const auto editAll = [this] {
        EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_path));
        ImageWriter writer;
        writer.setRecordingLog(true);
        writer.modify(m_path);
        writer.replaceFrame("FIRST", 0, 0.5F);
        writer.addFrame("second", 6, timeval{11, 0}, -1.0F);
        writer.close();
        writer.modifyAttribute(m_path, writer.attributeChunk());
        walkMovie(file());
        writer.create(m_path, false);
        writer.close();
        writeFile(m_path, before);
    };
    const QByteArray path = beside("-journal").toUtf8();
    const std::string texts[] = {"notes about the movie", "VQFJRNL2 of another version", "VQF"};
    for (const std::string& text : texts) {
        writeFile(beside("-journal"), text);
        writeFile(beside("-log"), text);
        editAll();
        if (text.size() > 8) {
            EXPECT_EQ(readFile(beside("-journal")), text);
            EXPECT_EQ(readFile(beside("-log")), text);
        }
    }
    EXPECT_EQ(leftovers(), QStringList()) << "the beginning of a mark is a journal that never got further";

    ASSERT_EQ(mkfifo(path.constData(), 0600), 0);
    editAll();
    struct stat status {};
    EXPECT_EQ(lstat(path.constData(), &status), 0);
    unlink(path.constData());

    writeFile(m_directory.path("target"), "VQFJRNL1");
    ASSERT_EQ(symlink("target", path.constData()), 0);
    editAll();
    EXPECT_EQ(readFile(m_directory.path("target")), "VQFJRNL1");
    unlink(path.constData());

    ASSERT_EQ(mkdir(path.constData(), 0700), 0);
    editAll();
    EXPECT_EQ(rmdir(path.constData()), 0);
}

TEST_F(Journal, LivesAsLongAsItsEdit)
{
    ImageWriter writer;
    writer.modify(m_path);
    EXPECT_EQ(leftovers(), QStringList(QStringLiteral("movie.vqf-journal")));
    struct stat status {};
    stat(beside("-journal").toUtf8().constData(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_path)) << "the edit goes on";
    EXPECT_TRUE(RecordingRemains::of(m_path).editGoesOn);
    EXPECT_EQ(file(), chunk(2, "first"));
    writer.close();
    EXPECT_EQ(leftovers(), QStringList());
    EXPECT_EQ(file(), before);

    EXPECT_TRUE(writer.journaled());
    writer.setJournaled(false);
    writer.modify(m_path);
    EXPECT_EQ(leftovers(), QStringList());
    writer.close();

    const QString link = m_directory.path("link");
    ASSERT_TRUE(QFile::link(m_path, link));
    writer.setJournaled(true);
    writer.modify(link);
    EXPECT_TRUE(QFile::exists(beside("-journal"))) << "beside the movie itself";
    writer.close();
    EXPECT_EQ(file(), before);
}

TEST_F(Journal, APathEndsAtItsEnd)
{
    const QString empty = m_directory.path("empty");
    writeFile(empty, "");
    const QString path = empty + QChar::Null + QStringLiteral("x");
    EXPECT_FALSE(ImageWriter::undoInterruptedEdit(path));
    EXPECT_EQ(codeOf([&] { ImageWriter().modifyAttribute(path, AttributeChunk()); }), "FW_OF_OPEN2");
    RecordingRemains::remove(path);
    EXPECT_TRUE(QFile::exists(empty));
}

} // namespace

} // namespace zd
