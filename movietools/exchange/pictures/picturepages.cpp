#include <movietools/exchange/pictures/picturepages_p.h>

#include <movietools/files/folderentries.h>
#include <movietools/frames/sampletype.h>
#include <movietools/frames/signedsamples_p.h>
#include <movietools/job/joberror.h>

#include <QDir>
#include <QFileInfo>
#include <QImageReader>

#include <algorithm>
#include <cstring>

namespace zd::movietools {

namespace {

bool isTiff(const QString& name)
{
    return name.endsWith(QLatin1StringView(".tif"), Qt::CaseInsensitive) ||
           name.endsWith(QLatin1StringView(".tiff"), Qt::CaseInsensitive);
}

QStringList picturesIn(const QString& folder)
{
    QStringList names = folderEntries(folder);
    const auto end = std::remove_if(names.begin(), names.end(), [&folder](const QString& name) {
        const bool isPicture = isTiff(name) || name.endsWith(QLatin1StringView(".png"), Qt::CaseInsensitive);
        return !isPicture || name.startsWith(QLatin1Char('.')) || QFileInfo(QDir(folder), name).isDir();
    });
    names.erase(end, names.end());
    std::sort(names.begin(), names.end(), isBefore);
    for (QString& name : names)
        name = QDir(folder).filePath(name);
    return names;
}

// How a picture's pixels are kept in memory without loss; movies have no other kinds.
ZDImagePixelType typeOf(QImage::Format format)
{
    switch (format) {
    case QImage::Format_Grayscale8:
        return ZD_UCHAR;
    case QImage::Format_Grayscale16:
        return ZD_USHORT;
    case QImage::Format_RGB32:
    case QImage::Format_RGB888:
        return ZD_RGB;
    case QImage::Format_ARGB32:
    case QImage::Format_RGBA8888:
        return ZD_RGBA;
    default:
        return ZD_UNKNOWN;
    }
}

QImage::Format memoryFormat(ZDImagePixelType type)
{
    return type == ZD_RGB ? QImage::Format_RGB888 : QImage::Format_RGBA8888;
}

} // namespace

bool isBefore(const QString& left, const QString& right)
{
    qsizetype l = 0;
    qsizetype r = 0;
    const auto number = [](const QString& text, qsizetype& at) {
        while (at + 1 < text.size() && text[at] == u'0' && text[at + 1].isDigit())
            ++at;
        const qsizetype begin = at;
        while (at < text.size() && text[at].isDigit())
            ++at;
        return QStringView(text).mid(begin, at - begin);
    };
    while (l < left.size() && r < right.size()) {
        if (left[l].isDigit() && right[r].isDigit()) {
            const QStringView a = number(left, l);
            const QStringView b = number(right, r);
            if (a != b)
                return a.size() != b.size() ? a.size() < b.size() : a < b;
        } else if (left[l] != right[r]) {
            return left[l] < right[r];
        } else {
            ++l;
            ++r;
        }
    }
    return left.size() - l != right.size() - r ? left.size() - l < right.size() - r : left < right;
}

PicturePages::PicturePages(const QString& path, const QStringList& pictures, ZDImagePixelType signedType)
    : m_path(path), m_pictures(pictures), m_signedType(signedType)
{
    if (m_pictures.isEmpty())
        refuse(path, QStringLiteral("holds no PNG or TIFF pictures"),
               QStringLiteral("name a folder of pictures, or a file"));
    look();
}

bool PicturePages::next()
{
    if (m_tiff && m_tiff->next()) {
        m_format = m_tiff->format();
        ++m_page;
        return true;
    }
    if (m_picture + 1 >= m_pictures.size())
        return false;
    ++m_picture;
    ++m_page;
    look();
    return true;
}

// Finds out about the current picture, pixels unread.
void PicturePages::look()
{
    const QString& picture = m_pictures[m_picture];
    m_tiff.reset();
    if (isTiff(picture)) {
        m_tiff = openTiffPages(picture);
        m_format = m_tiff->format();
        return;
    }
    QImageReader reader(picture, "png");
    const QSize size = reader.size();
    if (!size.isValid())
        refusePicture(picture, reader.errorString());
    m_format = {static_cast<std::uint32_t>(size.width()), static_cast<std::uint32_t>(size.height()),
                typeOf(reader.imageFormat()), false};
    if (m_format.type == ZD_UNKNOWN)
        refuse(picture, QStringLiteral("has pixels of a kind that movies do not hold"),
               QStringLiteral("movies hold grey pictures of 8 or 16 bits, RGB and RGBA of 8 bits: convert it"));
    if (unsignedType(m_signedType) == m_format.type)
        m_format.type = m_signedType;
}

void PicturePages::readPixels(char* pixels)
{
    const QString& picture = m_pictures[m_picture];
    if (m_tiff) {
        m_tiff->readPixels(pixels);
        return;
    }
    QImageReader reader(picture, "png");
    reader.setAllocationLimit(0); // the size has been compared with that of the other frames
    QImage image = reader.read();
    if (image.isNull() || image.width() != static_cast<int>(m_format.width) ||
        image.height() != static_cast<int>(m_format.height) || (typeOf(image.format()) != unsignedType(m_format.type)))
        refusePicture(picture, reader.errorString());
    if (isColored(m_format.type))
        image.convertTo(memoryFormat(m_format.type));
    const std::size_t rowBytes = m_format.frameBytes() / m_format.height;
    for (int row = 0; row < image.height(); ++row)
        std::memcpy(pixels + static_cast<std::size_t>(row) * rowBytes, image.constScanLine(row), rowBytes);
    shiftSigned(m_format.type, pixels, pixels, m_format.frameBytes());
}

void PicturePages::refusePicture(const QString& picture, const QString& problem) const
{
    refuse(picture, QStringLiteral("cannot be read: %1").arg(problem),
           QStringLiteral("the picture is damaged or ends early: use another copy"));
}

std::unique_ptr<FramePages> openPicture(const QString& path)
{
    return std::make_unique<PicturePages>(path, QStringList{path}, ZD_UNKNOWN);
}

std::unique_ptr<FramePages> openPictures(const QString& folder, ZDImagePixelType signedType)
{
    return std::make_unique<PicturePages>(folder, picturesIn(folder), signedType);
}

} // namespace zd::movietools
