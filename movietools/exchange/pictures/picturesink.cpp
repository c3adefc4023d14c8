#include <movietools/exchange/framesink_p.h>
#include <movietools/exchange/sidecaroutput_p.h>
#include <movietools/exchange/tiff/tiffwriter_p.h>
#include <movietools/files/bytesource.h>
#include <movietools/files/outputfolder.h>
#include <movietools/files/pictureencoding.h>
#include <movietools/frames/signedsamples_p.h>
#include <movietools/job/joberror.h>

#include <QDir>
#include <QFile>
#include <QImage>

namespace zd::movietools {

namespace {

constexpr int fastCompression = 85; // Qt's quality of 85 is zlib's level 1
constexpr int fewestDigits = 5;

QImage::Format imageFormat(ZDImagePixelType type)
{
    switch (type) {
    case ZD_UCHAR:
    case ZD_CHAR:
        return QImage::Format_Grayscale8;
    case ZD_USHORT:
    case ZD_SHORT:
        return QImage::Format_Grayscale16;
    case ZD_RGB:
        return QImage::Format_RGB888;
    case ZD_RGBA:
        return QImage::Format_RGBA8888;
    default:
        return QImage::Format_Invalid;
    }
}

/// A folder with a picture for each frame, and the sidecar.
class PictureSink : public FrameSink {
public:
    explicit PictureSink(const ExportPlan& plan)
        : m_plan(plan),
          m_folder(plan.options.output, plan.options.replace),
          m_isPng(plan.options.form == ExchangeForm::PngPictures)
    {
        if (!m_isPng)
            m_folder.requireRoom(plan.pixelBytes());
    }

    void add(const void* pixels) override
    {
        const QString path = nextPath();
        if (m_isPng)
            writePng(path, pixels);
        else
            writeTiff(path, pixels);
        m_bytes += lengthOfFile(path);
        ++m_pictures;
    }

    std::uint64_t finish() override
    {
        if (m_plan.options.sidecar)
            writeSidecar();
        m_folder.commit();
        return m_bytes;
    }

private:
    QString nextPath() const;
    void writePng(const QString& path, const void* pixels);
    void writeTiff(const QString& path, const void* pixels) const;
    void writeSidecar() const;
    void writeFile(const QString& path, const QByteArray& bytes) const;
    [[noreturn]] void reportFailure(const QString& reason) const;

    const ExportPlan& m_plan;
    OutputFolder m_folder;
    bool m_isPng;
    unsigned m_pictures = 0;
    std::uint64_t m_bytes = 0;
    std::vector<char> m_shifted;
};

QString PictureSink::nextPath() const
{
    const auto digits = std::max(fewestDigits, static_cast<int>(QString::number(m_plan.frames - 1).size()));
    const QString name = QStringLiteral("frame-%1.%2")
                             .arg(m_pictures, digits, 10, QLatin1Char('0'))
                             .arg(m_isPng ? QLatin1StringView("png") : QLatin1StringView("tif"));
    return QDir(m_folder.workPath()).filePath(name);
}

void PictureSink::writePng(const QString& path, const void* pixels)
{
    const PageFormat& format = m_plan.format;
    if (zeroOf(format.type) != 0) {
        m_shifted.resize(format.frameBytes());
        shiftSigned(format.type, pixels, m_shifted.data(), m_shifted.size());
        pixels = m_shifted.data();
    }
    const QImage image(static_cast<const uchar*>(pixels), static_cast<int>(format.width),
                       static_cast<int>(format.height), static_cast<qsizetype>(format.frameBytes() / format.height),
                       imageFormat(format.type));
    writeFile(path, encodedPicture(image, "png", fastCompression, m_folder.path()));
}

void PictureSink::writeTiff(const QString& path, const void* pixels) const
{
    { // the writer wants a file that is there
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            reportFailure(file.errorString());
    }
    TiffWriter writer(path, m_folder.path(), needsBigTiff(1, m_plan.format.frameBytes(), 0), m_plan.format, {});
    writer.add(pixels);
    writer.close();
}

void PictureSink::writeSidecar() const
{
    Sidecar sidecar = sidecarFor(m_plan);
    sidecar.zero = m_isPng ? zeroOf(m_plan.format.type) : 0;
    writeFile(sidecarOf(m_folder.workPath(), true), sidecarText(sidecar));
}

/// A new file of the folder, with the length that was meant.
void PictureSink::writeFile(const QString& path, const QByteArray& bytes) const
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush() ||
        file.size() != bytes.size())
        reportFailure(file.errorString());
}

void PictureSink::reportFailure(const QString& reason) const
{
    refuse(m_folder.path(), QStringLiteral("cannot be written: %1").arg(reason),
           QStringLiteral("free some space or write elsewhere"));
}

} // namespace

std::unique_ptr<FrameSink> makePictureSink(const ExportPlan& plan)
{
    if (plan.options.form == ExchangeForm::PngPictures && imageFormat(plan.format.type) == QImage::Format_Invalid)
        refuse(plan.options.movie, QStringLiteral("has samples that PNG pictures cannot hold"),
               QStringLiteral("export it as tifs, or scale it with --depth 16"));
    return std::make_unique<PictureSink>(plan);
}

} // namespace zd::movietools
