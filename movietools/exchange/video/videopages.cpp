#include <movietools/exchange/video/videopages_p.h>

#include <movietools/exchange/video/videotool_p.h>
#include <movietools/frames/signedsamples_p.h>
#include <movietools/job/joberror.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <vector>

namespace zd::movietools {

namespace {

QStringList quietly(const QStringList& arguments)
{
    // Containers alone, whatever the file is called: a playlist would bring in other files, or the network.
    return QStringList{QStringLiteral("-v"),
                       QStringLiteral("error"),
                       QStringLiteral("-protocol_whitelist"),
                       QStringLiteral("file,pipe"),
                       QStringLiteral("-format_whitelist"),
                       QStringLiteral("matroska,webm,mov,mp4,m4a,3gp,3g2,mj2,avi")} +
           arguments;
}

QJsonObject askAbout(const QString& path, const QString& reportedPath)
{
    ChildProgram program(
        QStringLiteral("ffprobe"),
        quietly({QStringLiteral("-select_streams"), QStringLiteral("v:0"), QStringLiteral("-count_packets"),
                 QStringLiteral("-show_entries"), QStringLiteral("stream=width,height,pix_fmt,nb_read_packets"),
                 QStringLiteral("-of"), QStringLiteral("json"), QStringLiteral("-i"), videoAddress(path)}),
        ChildProgram::Direction::GivesBytes, reportedPath);
    QByteArray answer(65536, Qt::Uninitialized);
    answer.resize(static_cast<qsizetype>(program.read(answer.data(), static_cast<std::size_t>(answer.size()))));
    program.finish();
    return QJsonDocument::fromJson(answer).object().value(QStringLiteral("streams")).toArray().at(0).toObject();
}

std::uint64_t pictureCount(const QJsonObject& stream)
{
    return stream.value(QStringLiteral("nb_read_packets")).toString().toULongLong();
}

ZDImagePixelType decodedType(const QString& pixels)
{
    if (pixels == QLatin1StringView("gray"))
        return ZD_UCHAR;
    if (pixels.startsWith(QLatin1StringView("gray")) && !pixels.startsWith(QLatin1StringView("grayf")))
        return ZD_USHORT;
    return pixels.contains(QLatin1StringView("rgba")) || pixels.contains(QLatin1StringView("bgra")) ? ZD_RGBA : ZD_RGB;
}

} // namespace

std::uint64_t picturesIn(const QString& path, const QString& reportedPath)
{
    return pictureCount(askAbout(path, reportedPath));
}

VideoPages::VideoPages(const QString& path, ZDImagePixelType signedType) : m_path(path), m_signedType(signedType)
{
    look();
}

void VideoPages::look()
{
    const QJsonObject stream = askAbout(m_path, m_path);
    const int width = stream.value(QStringLiteral("width")).toInt();
    const int height = stream.value(QStringLiteral("height")).toInt();
    m_pictures = pictureCount(stream);
    if (width <= 0 || height <= 0 || m_pictures == 0)
        refuse(m_path, QStringLiteral("holds no video"), QStringLiteral("name another file"));
    m_decoded = decodedType(stream.value(QStringLiteral("pix_fmt")).toString());
    m_format = {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height),
                unsignedType(m_signedType) == m_decoded ? m_signedType : m_decoded, false};
    if (m_format.frameBytes() > largestFrame)
        refuse(m_path, QStringLiteral("has frames larger than a movie (2^31 bytes)"), {});
}

bool VideoPages::next()
{
    if (m_page + 1 >= m_pictures)
        return false;
    ++m_page;
    return true;
}

void VideoPages::readPixels(char* pixels)
{
    if (!m_decoder)
        m_decoder.emplace(
            QStringLiteral("ffmpeg"),
            quietly({QStringLiteral("-nostdin"), QStringLiteral("-xerror"), QStringLiteral("-i"), videoAddress(m_path),
                     QStringLiteral("-map"), QStringLiteral("0:v:0"), QStringLiteral("-fps_mode"),
                     QStringLiteral("passthrough"), QStringLiteral("-f"), QStringLiteral("rawvideo"),
                     QStringLiteral("-pix_fmt"), videoPixels(m_decoded), QStringLiteral("pipe:1")}),
            ChildProgram::Direction::GivesBytes, m_path);
    for (; m_read <= m_page; ++m_read)
        if (m_decoder->read(pixels, m_format.frameBytes()) != m_format.frameBytes()) {
            m_decoder->finish(); // has its own words for a failure
            refuse(m_path, QStringLiteral("ends within frame %1 of %2").arg(m_read).arg(m_pictures),
                   QStringLiteral("the video is damaged: use another copy"));
        }
    if (m_read == m_pictures)
        m_decoder->finish();
    shiftSigned(m_format.type, pixels, pixels, m_format.frameBytes());
}

std::unique_ptr<FramePages> openVideoPages(const QString& path, ZDImagePixelType signedType)
{
    return std::make_unique<VideoPages>(path, signedType);
}

} // namespace zd::movietools
