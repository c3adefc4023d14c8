#include <movietools/exchange/exchangeform.h>

#include <QDir>

namespace zd::movietools {

namespace {

struct NamedForm {
    QLatin1StringView name;
    ExchangeForm form;
};

constexpr NamedForm namedForms[] = {
    {QLatin1StringView("tif"), ExchangeForm::Tiff},        {QLatin1StringView("ome.tif"), ExchangeForm::OmeTiff},
    {QLatin1StringView("png"), ExchangeForm::PngPictures}, {QLatin1StringView("tifs"), ExchangeForm::TiffPictures},
    {QLatin1StringView("raw"), ExchangeForm::Raw},         {QLatin1StringView("npy"), ExchangeForm::Npy},
    {QLatin1StringView("csv"), ExchangeForm::Csv},         {QLatin1StringView("mkv"), ExchangeForm::Mkv},
    {QLatin1StringView("mp4"), ExchangeForm::Mp4},
};

// The longer extension first.
constexpr NamedForm extensions[] = {
    {QLatin1StringView(".ome.tif"), ExchangeForm::OmeTiff}, {QLatin1StringView(".ome.tiff"), ExchangeForm::OmeTiff},
    {QLatin1StringView(".tif"), ExchangeForm::Tiff},        {QLatin1StringView(".tiff"), ExchangeForm::Tiff},
    {QLatin1StringView(".raw"), ExchangeForm::Raw},         {QLatin1StringView(".npy"), ExchangeForm::Npy},
    {QLatin1StringView(".csv"), ExchangeForm::Csv},         {QLatin1StringView(".mkv"), ExchangeForm::Mkv},
    {QLatin1StringView(".mp4"), ExchangeForm::Mp4},
};

} // namespace

std::optional<ExchangeForm> formNamed(const QString& name)
{
    for (const NamedForm& named : namedForms)
        if (named.name == name)
            return named.form;
    return std::nullopt;
}

std::optional<ExchangeForm> formOfFile(const QString& path)
{
    for (const NamedForm& extension : extensions)
        if (path.endsWith(extension.name, Qt::CaseInsensitive))
            return extension.form;
    return std::nullopt;
}

QString formName(ExchangeForm form)
{
    for (const NamedForm& named : namedForms)
        if (named.form == form)
            return named.name;
    return {};
}

QStringList formNames()
{
    QStringList names;
    for (const NamedForm& named : namedForms)
        names.append(named.name);
    return names;
}

bool isFolder(ExchangeForm form)
{
    return form == ExchangeForm::PngPictures || form == ExchangeForm::TiffPictures;
}

bool isVideo(ExchangeForm form)
{
    return form == ExchangeForm::Mkv || form == ExchangeForm::Mp4;
}

bool changesPixels(ExchangeForm form)
{
    return form == ExchangeForm::Mp4;
}

bool hasSidecar(ExchangeForm form)
{
    return form != ExchangeForm::OmeTiff && form != ExchangeForm::Csv;
}

QString sidecarOf(const QString& path, bool isFolder)
{
    return isFolder ? QDir(path).filePath(QStringLiteral("movie.json")) : path + QStringLiteral(".json");
}

} // namespace zd::movietools
