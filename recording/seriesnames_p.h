#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace zd {

/// A file that by its name is a part of a series.
struct SeriesFile {
    QString path;
    int number = 0; ///< by its name
};

/// How the parts of a series are called.
class SeriesNames {
public:
    /// Of the series "folder/stem.vqf", or "folder/stem".
    explicit SeriesNames(const QString& name);
    /// Of the series that a part belongs to by its name; nothing for another name.
    static std::optional<SeriesNames> ofPart(const QString& path);

    QString partPath(int number) const;
    /// The number of a part by its file's name; 0 for any other file.
    int numberOf(const QString& path) const;
    /// The files that exist, by number.
    std::vector<SeriesFile> files() const;

private:
    QString m_folder; // with a separator behind it
    QString m_stem;
};

} // namespace zd
