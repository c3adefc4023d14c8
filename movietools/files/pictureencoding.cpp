#include <movietools/files/pictureencoding.h>

#include <movietools/job/joberror.h>

#include <QBuffer>
#include <QImage>
#include <QImageWriter>

namespace zd::movietools {

QByteArray encodedPicture(const QImage& picture, const QByteArray& format, int quality, const QString& path)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QImageWriter writer(&buffer, format);
    writer.setQuality(quality);
    if (picture.isNull() || !buffer.open(QIODevice::WriteOnly) || !writer.write(picture) || bytes.isEmpty())
        refuse(path, QStringLiteral("cannot be drawn as %1: %2").arg(QString::fromLatin1(format), writer.errorString()),
               QStringLiteral("use another format or a smaller picture"));
    return bytes;
}

} // namespace zd::movietools
