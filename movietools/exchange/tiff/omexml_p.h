#pragma once

#include <movietools/frames/pageformat.h>
#include <movietools/movie/moviedescription.h>

#include <QByteArray>
#include <QString>

/// The metadata of OME-TIFF files, in the schema of June 2016.
namespace zd::movietools {

/// What the metadata of a stack tell.
struct OmeStack {
    QString name;      ///< of the image
    PageFormat format; ///< of every page
    unsigned frames = 0;
    const MovieDescription* description = nullptr;
    bool fiberRegions = false; ///< whether the fibre centres also become a region of interest
};

/// The metadata as UTF-8: a plane with its time for each frame, the date of the first, the comment as description,
/// the attributes as a map, laser powers and fibre centres as annotations.
QByteArray omeXml(const OmeStack& stack);

/// Why metadata cannot be understood, to be read after "metadata that".
struct OmeXmlError {
    QString problem;
};

bool isOmeXml(const QString& text);

/// What metadata say of the pages of a stack: the times of any program's, all else of those that `omeXml` made.
/// Times belong to pages as the dimension order or the pages' own records say. Throws OmeXmlError.
MovieDescription readOmeXml(const QString& text);

} // namespace zd::movietools
