#include <movietools/exchange/importsource_p.h>

#include <movietools/exchange/describedpages_p.h>
#include <movietools/exchange/exchangeform.h>
#include <movietools/exchange/sidecar_p.h>
#include <movietools/job/joberror.h>

#include <QFileInfo>

#include <cerrno>

#include <sys/stat.h>

namespace zd::movietools {

namespace {

bool isVideoName(const QString& path)
{
    static const QStringList extensions{QStringLiteral("mkv"), QStringLiteral("mp4"),  QStringLiteral("avi"),
                                        QStringLiteral("mov"), QStringLiteral("webm"), QStringLiteral("m4v")};
    return extensions.contains(QFileInfo(path).suffix().toLower());
}

std::unique_ptr<FramePages> openRaw(const QString& path, const std::optional<Sidecar>& sidecar,
                                    const ImportOptions& options)
{
    if (options.rawFormat)
        return openRawPages(
            path, RawLayout{{options.rawFormat->width, options.rawFormat->height, options.rawFormat->type, false},
                            0,
                            options.rawFormat->offset,
                            false});
    if (!sidecar)
        refuse(path, QStringLiteral("does not say what its samples are"),
               QStringLiteral("name their size and type, like --size 576x576 --type u16"));
    return openRawPages(path, RawLayout{sidecar->format, sidecar->frames, sidecar->offset, false});
}

std::unique_ptr<FramePages> openPixels(const QString& path, bool isFolder, const std::optional<Sidecar>& sidecar,
                                       const ImportOptions& options)
{
    const ZDImagePixelType signedType = sidecar && sidecar->zero != 0 ? sidecar->format.type : ZD_UNKNOWN;
    const std::optional<ExchangeForm> form = formOfFile(path);
    if (isFolder)
        return openPictures(path, signedType);
    if (options.rawFormat || form == ExchangeForm::Raw || (sidecar && sidecar->form == ExchangeForm::Raw))
        return openRaw(path, sidecar, options);
    if (form == ExchangeForm::Npy)
        return openNpyPages(path);
    if (form == ExchangeForm::Csv)
        refuse(path, QStringLiteral("is a table, which has no pixels"),
               QStringLiteral("name a file of pixels and give the table with --table"));
    if (path.endsWith(QLatin1StringView(".png"), Qt::CaseInsensitive))
        return openPicture(path);
    if (isVideoName(path))
        return openVideoPages(path, signedType);
    return openTiffPages(path);
}

bool isFolderAt(const QString& path)
{
    struct stat status {};
    if (::stat(path.toUtf8().constData(), &status) != 0)
        throw systemError(path, QStringLiteral("read"), errno);
    return S_ISDIR(status.st_mode);
}

/// For pixels alone it need not be right.
std::optional<Sidecar> sidecarAt(const QString& path, const ImportOptions& options)
{
    try {
        return readSidecar(path);
    } catch (const JobError&) {
        if (options.pixelsOnly)
            return std::nullopt;
        throw;
    }
}

} // namespace

std::unique_ptr<FramePages> openPages(const QString& path, const ImportOptions& options)
{
    const bool isFolder = isFolderAt(path);
    const QString sidecarPath = sidecarOf(path, isFolder);
    const std::optional<Sidecar> sidecar = sidecarAt(sidecarPath, options);
    std::unique_ptr<FramePages> pages = openPixels(path, isFolder, sidecar, options);
    if (options.pixelsOnly)
        return pixelsAlone(std::move(pages));
    return sidecar ? describedPages(std::move(pages), *sidecar, sidecarPath) : std::move(pages);
}

} // namespace zd::movietools
