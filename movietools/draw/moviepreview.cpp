#include <movietools/draw/moviepreview.h>

#include <libdataio/imagereader.h>

namespace zd::movietools {

void openForPreview(ImageReader& movie, const QString& path)
{
    movie.setPayloadLimit(largestPreviewedHeader);
    movie.open(path);
    movie.setPayloadLimit(largestPreviewedFrame);
}

} // namespace zd::movietools
