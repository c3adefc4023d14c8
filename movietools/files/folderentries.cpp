#include <movietools/files/folderentries.h>

#include <movietools/job/joberror.h>

#include <QFile>

#include <filesystem>

namespace zd::movietools {

QStringList folderEntries(const QString& folder)
{
    QStringList names;
    std::error_code error;
    std::filesystem::directory_iterator entry(QFile::encodeName(folder).toStdString(), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error))
        names.append(QFile::decodeName(entry->path().filename().c_str()));
    if (error)
        throw systemError(folder, QStringLiteral("listed"), error.value());
    return names;
}

} // namespace zd::movietools
