#pragma once

#include <libdataio/export.h>

#include <QString>

/// Sample type of a movie's pixels. Files store the number.
enum ZDImagePixelType : int {
    ZD_UNKNOWN = 0,
    ZD_FLOAT = 1,  ///< 32-bit IEEE floating point
    ZD_DOUBLE = 2, ///< 64-bit IEEE floating point
    ZD_UCHAR = 3,  ///< unsigned 8-bit
    ZD_CHAR = 4,   ///< signed 8-bit
    ZD_USHORT = 5, ///< unsigned 16-bit
    ZD_SHORT = 6,  ///< signed 16-bit
    ZD_UINT = 7,   ///< unsigned 32-bit
    ZD_INT = 8,    ///< signed 32-bit
    ZD_ULONG = 9,  ///< unsigned 32-bit, not 64
    ZD_LONG = 10,  ///< signed 32-bit, not 64
    ZD_RGB = 11,   ///< three channels of 8 bits
    ZD_RGBA = 12,  ///< four channels of 8 bits
};

/// Families of sample types.
enum ZDImagePixelGroups : int {
    ZD_GROUP_UNKNOWN = 0,
    ZD_GROUP_FLOAT = 1,
    ZD_GROUP_SIGNED = 2,
    ZD_GROUP_UNSIGNED = 3,      ///< unsigned integers of an exact width
    ZD_GROUP_UNSIGNED_BITS = 4, ///< unsigned integers of any depth up to 64, in the smallest type that fits
    ZD_GROUP_RGB = 5,
    ZD_GROUP_RGBA = 6,
};

/// Bits of one sample; 0 for an unknown type and for numbers outside the enumeration.
DATAIO_EXPORT int GetPixBits(ZDImagePixelType type);

/// Family of a type; `ZD_GROUP_UNKNOWN` for an unknown type and for numbers outside the enumeration.
DATAIO_EXPORT ZDImagePixelGroups GetPixGroup(ZDImagePixelType type);

/// The type of a family with that many bits, `ZD_UNKNOWN` when there is none. Not the inverse of
/// `GetPixBits`: 64-bit integers give the 32-bit long types, and `ZD_GROUP_RGBA` takes 24 bits.
DATAIO_EXPORT ZDImagePixelType GuessPixelType(ZDImagePixelGroups group, int bits);

/// The type of that name ("ZD_USHORT", in any mix of letter cases, not trimmed), else `ZD_UNKNOWN`.
DATAIO_EXPORT ZDImagePixelType QstringToPixelType(const QString& text);

/// Replaces `out` with the type's name; with the empty text for numbers outside the enumeration.
DATAIO_EXPORT void PixelTypeToQstring(ZDImagePixelType type, QString& out);
