#include <libdataio/imagewriter_p.h>

#include <libdataio/imagefilelayout.h>

namespace zd {

void ImageWriter::Private::clear(bool autotime)
{
    lists.clear(autotime);
    header.clear();
    tail.reset(0);
    room.checkAgain();
    aids.reset();
    edit.endWasCut();
    nameSettled = false;
}

std::optional<std::int64_t> ImageWriter::Private::frameSize()
{
    const std::optional<std::int64_t> size = header.recordedFrameSize();
    return size && *size >= 0 && static_cast<std::uint64_t>(*size) <= room.limit() ? size : std::nullopt;
}

bool ImageWriter::Private::stepBackOver(int type)
{
    const auto typeWord = static_cast<unsigned int>(type);
    if (!file.prevChunk(typeWord))
        return false;
    file.requireChunk(file.offset(), typeWord, static_cast<unsigned int>(file.chunkSize()));
    return true;
}

void ImageWriter::Private::beginEdit(const QString& movie)
{
    // Without a journal the header is kept at least, as it is while a movie is recorded.
    if (!edit.begin(movie, file))
        aids.keepHeader(file.descriptor(), header);
}

void ImageWriter::Private::abandonEdit() noexcept
{
    if (!edit.abandon(file) && aids.keepsHeader() && endsInInfo())
        aids.dropKeptHeader(file.descriptor());
    file.closeFile();
}

bool ImageWriter::Private::endsInInfo() noexcept
{
    try {
        return file.seekEnd() && stepBackOver(ZD_INFO_CHUNK);
    } catch (...) {
        return false;
    }
}

} // namespace zd
