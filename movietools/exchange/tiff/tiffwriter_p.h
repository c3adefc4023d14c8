#pragma once

#include <movietools/exchange/tiff/tifffile_p.h>
#include <movietools/frames/pageformat.h>
#include <movietools/frames/sampletype.h>

#include <QByteArray>

#include <array>
#include <cstdint>
#include <vector>

namespace zd::movietools {

/// What the first page of a stack has beside its pixels.
struct TiffFirstPage {
    QByteArray description;                           ///< UTF-8; may be empty
    std::array<std::vector<std::uint16_t>, 3> colors; ///< of each sample value, red, green and blue, 16 bits; or none

    std::uint64_t bytes() const;
};

/// Whether a stack of that many pages could exceed what plain TIFF files reach, 2^32 bytes.
bool needsBigTiff(std::uint64_t pages, std::uint64_t frameBytes, std::uint64_t descriptionBytes);

/// Writes frames as the pages of an uncompressed TIFF file, with one strip a page. Throws JobError.
class TiffWriter {
public:
    /// Starts the file at `workPath`; errors speak of `path`.
    TiffWriter(const QString& workPath, const QString& path, bool big, const PageFormat& format,
               const TiffFirstPage& first);

    /// Appends a page of the format.
    void add(const void* pixels);
    /// Completes the file and counts its pages as another program will see them.
    void close();

private:
    void describePage();
    void describeFirstPage();
    [[noreturn]] void reportFailure() const;

    QString m_workPath;
    QString m_path;
    PageFormat m_format;
    SampleFormat m_samples;
    TiffFirstPage m_first;
    TiffFile m_file;
    unsigned m_pages = 0;
};

} // namespace zd::movietools
