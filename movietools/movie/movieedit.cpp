#include <movietools/movie/movieedit.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <libdataio/imageutilities.h>
#include <libdataio/recordingremains.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/attributerules.h>
#include <movietools/movie/checksum.h>
#include <movietools/movie/movieindex.h>

#include <utility>

namespace zd::movietools {

namespace {

/// Runs a step of the library on the movie at `path` and puts its report into words.
template <typename Step>
void run(const QString& path, Step step)
{
    try {
        step();
    } catch (const IOFileException& report) {
        throw jobError(report, path);
    }
}

// The library would make a missing file, empty, before it finds that it is no movie.
void requireExists(const QString& path)
{
    ImageReader movie;
    openHeader(movie, path);
}

// What would protect an edit, once there is nothing to undo: a journal that is still there belongs to something else.
EditProtection protectionOf(const QString& path)
{
    const RecordingRemains remains = RecordingRemains::of(path);
    if (remains.hasJournal && !remains.editGoesOn)
        return EditProtection::ForeignJournal;
    return ImageWriter::editProtectionOf(path);
}

QString textOf(const AttributeChunk& header)
{
    QString text;
    header.dump(text);
    return text;
}

} // namespace

MovieLock lockMovie(const QString& path)
{
    std::optional<MovieLock> lock = MovieLock::tryLock(path);
    if (!lock)
        refuseBusy(path);
    return std::move(*lock);
}

MovieEdit::MovieEdit(const QString& path, WithoutJournal withoutJournal)
    : m_path(path), m_withoutJournal(withoutJournal), m_lock(lockMovie(path))
{
    run(path, [this] { ImageWriter::undoInterruptedEdit(m_path, *m_lock); });
    m_writer.useLock(*m_lock);
}

MovieEdit::~MovieEdit()
{
    try {
        m_writer.rollBack();
    } catch (...) {
        // The journal stays: the next edit puts the movie back.
    }
}

void MovieEdit::begin()
{
    run(m_path, [this] {
        requireExists(m_path);
        requireJournal(protectionOf(m_path));
        m_writer.modify(m_path);
        m_lock.reset();
        requireJournal(m_writer.editProtection());
    });
}

void MovieEdit::commit()
{
    run(m_path, [this] { m_writer.close(); });
}

void MovieEdit::storeHeader(const AttributeChunk& header)
{
    run(m_path, [&] {
        requireJournal(protectionOf(m_path));
        m_writer.modifyAttribute(m_path, header);
    });
    m_lock.reset();
}

void MovieEdit::requireJournal(EditProtection protection) const
{
    if (protection == EditProtection::Journal || m_withoutJournal == WithoutJournal::GoOn)
        return;
    const bool isForeign = protection == EditProtection::ForeignJournal;
    refuse(m_path,
           isForeign
               ? QStringLiteral("cannot be protected against a crash: its journal's name is taken by another file")
               : QStringLiteral("cannot be protected against a crash: no journal can be made in its folder"),
           isForeign ? QStringLiteral("move %1-journal away, or --force to go on").arg(m_path)
                     : QStringLiteral("make the folder writable, or --force to go on"));
}

void openMovie(ImageReader& movie, const QString& path)
{
    openHeader(movie, path);
    if (movie.lacksSideData())
        refuse(path, QStringLiteral("has acquisition times or laser powers that cannot be read"),
               QStringLiteral("try again; if vqf verify finds the movie damaged, vqf recover saves its frames"));
}

void openHeader(ImageReader& movie, const QString& path)
{
    run(path, [&] { movie.open(path); });
}

void requireFibers(const ImageReader& movie, const QString& path, bool wereRead)
{
    const std::vector<ChunkRecord>& records = recordsOf(movie.index(), ZD_FIBER_CENTERS_CHUNK);
    if (!wereRead && !records.empty() && records.front().length >= 2 * layout::fiberWordBytes)
        refuse(path, QStringLiteral("has fibre centres that cannot be read"),
               QStringLiteral("try again; vqf verify tells whether the movie is damaged"));
}

AttributeChunk readHeader(const QString& path)
{
    return readMovieInfo(path);
}

void changeHeader(const QString& path, WithoutJournal withoutJournal,
                  const std::function<void(AttributeChunk&)>& change)
{
    MovieEdit edit(path, withoutJournal);
    AttributeChunk header = readHeader(path);
    const QString before = textOf(header);
    change(header);
    if (textOf(header) != before)
        edit.storeHeader(header);
}

void copyHeader(const QString& from, const QString& to, bool withFrameDescription, WithoutJournal withoutJournal)
{
    MovieEdit edit(to, withoutJournal);
    edit.begin();
    AttributeChunk& header = edit.writer().attributeChunk();
    const AttributeChunk own = header;
    run(from, [&] { ImageUtilities::copyVqfFileAttributes(edit.writer(), from); });
    const AttributeChunk copied = header;
    for (const auto& [name, value] : copied.attributes()) {
        QString ownValue;
        // Checksums of other frames would make sound ones look damaged.
        if (withFrameDescription ? name != checksumAttribute : !describesFrames(name))
            continue;
        if (own.get(name, ownValue))
            header.set(name, ownValue);
        else
            header.erase(name);
    }
    edit.commit();
}

void putFrameFirst(const QString& path, unsigned first, const std::optional<unsigned>& circularSize,
                   WithoutJournal withoutJournal)
{
    MovieEdit edit(path, withoutJournal);
    ImageReader movie;
    openMovie(movie, path);
    const auto frames = static_cast<unsigned>(movie.nbFrames());
    if (first >= frames || (circularSize && first != 0 && (*circularSize >= frames || first >= *circularSize)))
        refuse(path, QStringLiteral("has %1 frames").arg(frames),
               QStringLiteral("the first frame must be one of the circular part, and that fewer than all"));
    movie.close();
    edit.begin();
    run(path, [&] {
        if (circularSize)
            edit.writer().organizeIndex(first, *circularSize);
        else
            edit.writer().setFirstFrame(first);
    });
    edit.commit();
}

} // namespace zd::movietools
