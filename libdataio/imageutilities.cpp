#include <libdataio/imageutilities.h>

#include <libdataio/frametimer.h>
#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>

namespace zd {

void ImageUtilities::copyVqfFileAttributes(ImageWriter& writer, const QString& fileName)
{
    ImageReader reader(fileName);
    FrameTimer::removeFromAttChunk(reader.attributeChunk());
    writer.attributeChunk().merge(reader.attributeChunk());
    reader.close();
}

} // namespace zd
