#include <libdataio/chunkwriter.h>

namespace zd {

ChunkWriter::~ChunkWriter() = default;

} // namespace zd
