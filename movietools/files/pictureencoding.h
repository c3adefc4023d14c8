#pragma once

#include <QByteArray>
#include <QString>

class QImage;

namespace zd::movietools {

/// A picture as the bytes of a file in one of Qt's formats ("png"), whole in memory, so that it is written and checked
/// as every other output is. `quality` is Qt's, from 0 to 100, -1 for the format's own. Throws JobError about `path`.
QByteArray encodedPicture(const QImage& picture, const QByteArray& format, int quality, const QString& path);

} // namespace zd::movietools
