#pragma once

#include <movietools/exchange/framepages_p.h>

#include <QImage>
#include <QStringList>

#include <memory>

namespace zd::movietools {

/// The pictures of a folder, PNG files and pages of TIFF files, in the order of their names; numbers in names count as
/// numbers.
class PicturePages : public FramePages {
public:
    /// These pictures of the folder or file at `path`. `signedType` as in `openPictures`.
    PicturePages(const QString& path, const QStringList& pictures, ZDImagePixelType signedType);

    const QString& path() const override { return m_path; }
    unsigned page() const override { return m_page; }
    const PageFormat& format() const override { return m_format; }
    bool next() override;
    void readPixels(char* pixels) override;

private:
    void look();
    [[noreturn]] void refusePicture(const QString& picture, const QString& problem) const;

    QString m_path;
    QStringList m_pictures;
    ZDImagePixelType m_signedType;
    qsizetype m_picture = 0;
    unsigned m_page = 1;
    PageFormat m_format;
    std::unique_ptr<FramePages> m_tiff; // of a TIFF file
};

/// Whether `left` stands before `right`, runs of digits compared as numbers.
bool isBefore(const QString& left, const QString& right);

} // namespace zd::movietools
