#include <vqf/console/madetext.h>

#include <movietools/job/wording.h>
#include <vqf/console/console.h>

#include <QJsonObject>

namespace zd::tool {

void tellMade(const movietools::MadeMovie& movie)
{
    tell(QStringLiteral("%1: %2 frames (%3)")
             .arg(escaped(movie.path))
             .arg(movie.frames)
             .arg(movietools::sizeText(movie.bytes)),
         {{QStringLiteral("path"), movie.path},
          {QStringLiteral("frames"), static_cast<qint64>(movie.frames)},
          {QStringLiteral("bytes"), static_cast<qint64>(movie.bytes)}});
}

} // namespace zd::tool
