#include <libdataio/detail/stockpicture_p.h>

namespace zd::detail {

namespace {

#include <libdataio/detail/stockpicture.xpm>

} // namespace

QImage stockPicture()
{
    return QImage(stockPictureXpm);
}

} // namespace zd::detail
