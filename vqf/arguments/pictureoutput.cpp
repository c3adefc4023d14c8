#include <vqf/arguments/pictureoutput.h>

#include <movietools/files/pictureencoding.h>
#include <vqf/arguments/usageerror.h>
#include <vqf/console/console.h>

#include <QFileInfo>
#include <QImageWriter>

namespace zd::tool {

namespace {

// In small letters.
QByteArray pictureFormat(const OutputArgument& argument, const QString& path, const std::string& wanted)
{
    const QString byName = argument.isStandardOutput() ? QStringLiteral("png") : QFileInfo(path).suffix();
    const QByteArray format = (wanted.empty() ? byName : QString::fromStdString(wanted)).toLower().toLatin1();
    if (QImageWriter::supportedImageFormats().contains(format))
        return format;
    if (!wanted.empty())
        throw UsageError{"--to " + wanted + ": is no picture format; there are png, jpg, bmp, ppm"};
    throw UsageError{"-o " + path.toStdString() + ": name a picture, like movie.png"};
}

} // namespace

PictureOutput::PictureOutput(const OutputArgument& argument, const QString& movie, const std::string& format)
    : m_format(pictureFormat(argument, argument.path(), format)), m_file(argument.path(), argument.replaces(), {movie})
{
}

void PictureOutput::save(const QImage& picture)
{
    m_file.write(movietools::encodedPicture(picture, m_format, -1, m_file.path()));
    m_file.close();
    m_file.commit();
    tell(QStringLiteral("%1: %2 x %3 pixels").arg(escaped(m_file.path())).arg(picture.width()).arg(picture.height()));
}

} // namespace zd::tool
