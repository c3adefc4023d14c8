#pragma once

#include <movietools/files/descriptor_p.h>

#include <QString>

#include <cstdint>

namespace zd::movietools {

/// Appends stretches of files to a new one, within the system where that can.
class FileCopy {
public:
    /// Opens `workPath` for writing from its beginning; `path` is its name in messages. Throws JobError.
    FileCopy(const QString& workPath, const QString& path);
    FileCopy(const FileCopy&) = delete;
    FileCopy& operator=(const FileCopy&) = delete;

    /// Copies `length` bytes from `offset` of the file behind a descriptor. Throws JobError.
    void append(int source, const QString& sourcePath, std::int64_t offset, std::int64_t length);

private:
    std::int64_t copyWithin(int source, std::int64_t offset, std::int64_t length);
    std::int64_t copyThrough(int source, const QString& sourcePath, std::int64_t offset, std::int64_t length);

    QString m_path;
    Descriptor m_file;
    bool m_within = true; // the system copies from file to file
};

} // namespace zd::movietools
