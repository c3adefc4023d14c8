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

#include <cstdio>
#include <functional>

#include <sys/stat.h>
#include <unistd.h>

namespace zd {

namespace {

using namespace test;

/// While it lives and `active` is set, files that begin as a journal does belong to somebody else.
class Strangers {
public:
    explicit Strangers(bool& active) : m_system(systemCalls)
    {
        s_active = &active;
        s_system = systemCalls;
        systemCalls.fstat = [](int fd, struct stat* status) {
            const int result = s_system.fstat(fd, status);
            char start[8] = {};
            if (*s_active && pread(fd, start, sizeof start, 0) == 8 && std::string(start, 8) == "VQFJRNL2")
                ++status->st_uid;
            return result;
        };
    }
    Strangers(const Strangers&) = delete;
    Strangers& operator=(const Strangers&) = delete;
    ~Strangers() { systemCalls = m_system; }

private:
    inline static bool* s_active = nullptr;
    inline static SystemCalls s_system;
    const SystemCalls m_system;
};

std::string codesIn(const LogCapture& log)
{
    QStringList codes;
    for (const LogRecord& record : log.records)
        codes.append(record.code);
    return codes.join(u' ').toStdString();
}

class Journal : public testing::Test {
protected:
    Journal() { writeFile(m_path, before); }

    std::string file() const { return readFile(m_path); }
    QString beside(const char* suffix) const { return m_path + QString::fromUtf8(suffix); }

    /// The journal of an edit that died when it was about to write that info payload.
    void leaveJournal(const std::string& newInfo) const
    {
        const Descriptor movie(m_path, O_RDWR);
        const auto infoStart = static_cast<std::int64_t>(walkMovie(before).back().offset);
        const EditJournal::Beginning beginning = EditJournal::begin(m_path, movie.get(), infoStart);
        const auto length = infoStart + 32 + static_cast<std::int64_t>(newInfo.size());
        beginning.journal->announceEnd(length, QByteArray::fromStdString(newInfo));
    }

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
    bool m_stranger = false;
    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie.vqf");
};

TEST_F(Journal, TellsTornFromWholeHeaders)
{
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

    const std::string wholes[] = {before, start + chunk(5, newInfo)};
    for (const std::string& whole : wholes) {
        writeFile(m_path, before);
        leaveJournal(newInfo);
        writeFile(m_path, whole);
        EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_path));
        EXPECT_EQ(file(), whole);
        EXPECT_EQ(leftovers(), QStringList());
    }
}

TEST_F(Journal, IsBelievedOfItsMovieAlone)
{
    const std::string torn = before.substr(0, before.size() - 1);
    std::string other = before;
    other.replace(other.find("first"), 5, "FIRST");
    std::string otherHeader = before;
    otherHeader.replace(otherHeader.find("before"), 6, "strays");
    const auto put = [this](const std::string& bytes) { writeFile(m_path, bytes); };
    const auto putByRename = [this](const std::string& bytes) {
        writeFile(m_directory.path("new"), bytes);
        std::rename(m_directory.path("new").toUtf8().constData(), m_path.toUtf8().constData());
    };
    struct Case {
        const char* name;
        std::function<void()> happens;
        bool undone;
    };
    const Case cases[] = {
        {"the edit died", [&] { put(torn); }, true},
        {"another movie of that length was copied over the name", [&] { put(otherHeader); }, false},
        {"one with other frames", [&] { put(other); }, false},
        {"that one is torn as well", [&] { put(other.substr(0, torn.size())); }, false},
        {"a shorter one", [&] { put(chunk(2, "x")); }, false},
        {"another file was put under the name", [&] { putByRename(torn); }, false},
        {"it is a stranger's", [&] { put(torn), m_stranger = true; }, false},
        {"its beginning is damaged",
         [&] {
             put(torn);
             std::string journal = readFile(beside("-journal"));
             journal[40] = static_cast<char>(~journal[40]);
             writeFile(beside("-journal"), journal);
         },
         false},
    };
    const Strangers strangers(m_stranger);
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        m_stranger = false;
        put(before);
        leaveJournal(walkMovie(before).back().payload + "new=1\n");
        one.happens();
        const std::string left = file();
        const std::string journal = readFile(beside("-journal"));
        const auto protection = one.undone ? EditProtection::Journal : EditProtection::ForeignJournal;
        EXPECT_EQ(ImageWriter::editProtectionOf(m_path), protection);
        const LogCapture log(2);
        EXPECT_EQ(ImageWriter::undoInterruptedEdit(m_path), one.undone);
        EXPECT_EQ(codesIn(log), one.undone ? "" : "IW_M_JOURNAL");
        EXPECT_EQ(file(), one.undone ? before : left);
        EXPECT_EQ(QFile::exists(beside("-journal")), !one.undone);
        if (one.undone)
            continue;
        ImageWriter writer;
        const std::string code = codeOf([&] { writer.modify(m_path); });
        EXPECT_EQ(code.empty(), left.size() == before.size()) << code;
        EXPECT_EQ(writer.editProtection(), code.empty() ? EditProtection::ForeignJournal : EditProtection::None);
        writer.close();
        EXPECT_EQ(file(), left);
        EXPECT_EQ(readFile(beside("-journal")), journal);
        QFile::remove(beside("-journal"));
    }
}

TEST_F(Journal, LeavesOthersFilesAlone)
{
    const auto editAll = [this] {
        EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_path));
        ImageWriter writer;
        writer.setRecordingLog(true);
        const LogCapture log(2);
        writer.modify(m_path);
        EXPECT_EQ(codesIn(log), "IW_M_JOURNAL IW_M_UNPROTECTED");
        EXPECT_EQ(writer.editProtection(), EditProtection::ForeignJournal);
        EXPECT_FALSE(writer.rollBack());
        writer.replaceFrame("FIRST", 0, 0.5F);
        writer.addFrame("second", 6, timeval{11, 0}, -1.0F);
        writer.close();
        writer.modifyAttribute(m_path, writer.attributeChunk());
        EXPECT_EQ(writer.editProtection(), EditProtection::ForeignJournal);
        walkMovie(file());
        writer.create(m_path, false);
        writer.close();
        writeFile(m_path, before);
    };
    const QByteArray path = beside("-journal").toUtf8();
    const std::string texts[] = {"notes about the movie", "VQFJRNL1 of an earlier version", "VQFJRNL2 torn", "VQF", ""};
    for (const std::string& text : texts) {
        writeFile(beside("-journal"), text);
        writeFile(beside("-log"), text);
        const Strangers strangers(m_stranger = text.starts_with("VQFJRNL2"));
        editAll();
        EXPECT_EQ(readFile(beside("-journal")), text);
        EXPECT_EQ(readFile(beside("-log")), text);
    }
    QFile::remove(beside("-journal"));
    QFile::remove(beside("-log"));

    ASSERT_EQ(mkfifo(path.constData(), 0600), 0);
    editAll();
    struct stat status {};
    EXPECT_EQ(lstat(path.constData(), &status), 0);
    unlink(path.constData());

    writeFile(m_directory.path("target"), "VQFJRNL2");
    ASSERT_EQ(symlink("target", path.constData()), 0);
    editAll();
    EXPECT_EQ(readFile(m_directory.path("target")), "VQFJRNL2");
    unlink(path.constData());

    ASSERT_EQ(mkdir(path.constData(), 0700), 0);
    editAll();
    EXPECT_EQ(rmdir(path.constData()), 0);
}

TEST_F(Journal, AppearsWhereItCan)
{
    // Without unnamed files, then without second names, then in a folder that cannot be written.
    static SystemCalls system;
    system = systemCalls;
    const auto edit = [this](EditProtection protection) {
        EXPECT_EQ(ImageWriter::editProtectionOf(m_path), protection);
        ImageWriter writer;
        writer.modify(m_path);
        EXPECT_EQ(writer.editProtection(), protection);
        EXPECT_EQ(leftovers(), protection == EditProtection::Journal ? QStringList(QStringLiteral("movie.vqf-journal"))
                                                                     : QStringList());
        writer.close();
        EXPECT_EQ(file(), before);
        EXPECT_EQ(leftovers(), QStringList());
    };
    edit(EditProtection::Journal);
    systemCalls.open = [](const char* name, int flags, mode_t mode) {
        errno = EOPNOTSUPP;
        return (flags & O_TMPFILE) == O_TMPFILE ? -1 : system.open(name, flags, mode);
    };
    edit(EditProtection::Journal);
    systemCalls.link = [](const char*, const char*) {
        errno = EPERM;
        return -1;
    };
    edit(EditProtection::Journal);
    systemCalls.open = [](const char* name, int flags, mode_t mode) {
        errno = EACCES;
        return (flags & O_TMPFILE) == O_TMPFILE || (flags & O_EXCL) != 0 ? -1 : system.open(name, flags, mode);
    };
    const LogCapture log(2);
    edit(EditProtection::NoFolder);
    EXPECT_EQ(codesIn(log), "IW_M_UNPROTECTED");
    systemCalls = system;
}

TEST_F(Journal, DoesNotHideWhatIsWrongWithTheMovie)
{
    const Fault unreadable{.at = 2, .error = EIO, .among = call::open};
    for (const auto& [content, code] :
         {std::pair<std::string, std::string>{"no movie", "FDCW_MODIFY"}, {before, "FDCW_AC_WRITE"}}) {
        writeFile(m_path, content);
        const Faults fault(unreadable);
        EXPECT_EQ(codeOf([&] { ImageWriter().modify(m_path); }), code);
        EXPECT_EQ(file(), content);
    }
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
    for (const bool locking : {true, false}) {
        // The movie's name may have been given to another file meanwhile, or its lock be off.
        ImageWriter guest;
        guest.setLocking(locking);
        EXPECT_EQ(codeOf([&] { guest.modify(m_path); }), "FW_OF_OPEN2");
        EXPECT_EQ(codeOf([&] { guest.modifyAttribute(m_path, AttributeChunk()); }), "FW_OF_OPEN2");
        EXPECT_EQ(codeOf([&] { guest.create(m_path, false); }), "FW_OF_OPEN");
    }
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
