#include <movietools/movie/movieindex.h>

#include <common/iofileexception.h>
#include <libdataio/filereader.h>
#include <libdataio/imagefilelayout.h>
#include <movietools/job/joberror.h>

namespace zd::movietools {

ChunkInfo readMovieInfo(const QString& path)
{
    ChunkInfo info;
    try {
        FileReader file;
        file.openFile(path);
        file.seekEnd();
        if (!file.prevChunk(ZD_INFO_CHUNK))
            throw JobError{path, QStringLiteral("does not end with the record of its frames"),
                           QStringLiteral("it is no VQF movie, or its recording was cut off: try vqf recover"),
                           QStringLiteral("IR_MISSINFO")};
        info.load(file.data(), static_cast<unsigned int>(file.chunkSize()));
    } catch (const IOFileException& report) {
        throw jobError(report, path);
    }
    return info;
}

const std::vector<ChunkRecord>& recordsOf(const ChunkIndex& index, int type)
{
    static const std::vector<ChunkRecord> none;
    const auto found = index.find(type);
    return found == index.end() ? none : found->second;
}

} // namespace zd::movietools
