#pragma once

#include <movietools/files/plainoutput.h>
#include <vqf/arguments/outputargument.h>

#include <QByteArray>
#include <QImage>

#include <string>

namespace zd::tool {

/// A picture file; to standard output it is PNG unless another format is named.
class PictureOutput {
public:
    /// Starts the file, in the format that is named or else its name tells. Throws UsageError when there is none, and
    /// JobError.
    PictureOutput(const OutputArgument& argument, const QString& movie, const std::string& format = {});
    /// Writes the picture, gives the file its name and tells so. Throws JobError.
    void save(const QImage& picture);

private:
    QByteArray m_format;
    movietools::PlainOutput m_file;
};

} // namespace zd::tool
