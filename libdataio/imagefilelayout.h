#pragma once

#include <libdataio/chunkframing.h>
#include <libdataio/export.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <vector>

/// Types of the chunks of a VQF movie.
enum ZDImageChunkType : int {
    ZD_FRAME_CHUNK = 2,         ///< the pixels of one frame
    ZD_INFO_CHUNK = 5,          ///< chunk index and header attributes; always the last chunk
    ZD_FIBER_CENTERS_CHUNK = 6, ///< fibre centres, two 32-bit words each
    ZD_FRAME_TIMER_CHUNK = 7,   ///< one 8-byte time per frame
    ZD_LASER_POWER_CHUNK = 8,   ///< one byte per frame
};

/// The constants and encodings of a movie file that its writer and its reader share.
namespace zd::layout {

/// Bytes of the index's count and of each of its records.
inline constexpr std::int64_t indexCountBytes = 4;
inline constexpr std::int64_t indexRecordBytes = 12;
/// Bytes of a stored time, laser power and fibre-centre word.
inline constexpr std::int64_t frameTimeBytes = 8;
inline constexpr std::int64_t laserPowerBytes = 1;
inline constexpr std::int64_t fiberWordBytes = 4;

/// Values of the attribute "endian".
inline constexpr int littleEndian = 2;
/// Whether samples of a movie with that "endian" (0 when absent) are in the other byte order.
constexpr bool needsSwapping(int endian)
{
    return endian != 0 && endian != littleEndian;
}

/// Values of the attribute "data_type", and the frame size that means raw data when it is absent.
inline constexpr QLatin1StringView dataTypeRaw{"raw"};
inline constexpr QLatin1StringView dataTypeProcessed{"imp"};
inline constexpr int rawWidth = 896;
inline constexpr int rawHeight = 640;

/// Values of the attributes "mask_level" and "datadimension" when they are absent.
inline constexpr int defaultMaskLevel = -32768;
inline constexpr int defaultDimension = 2;
/// Value of the attribute "datadimension" for signals over time, which are no pictures.
inline constexpr int signalDimension = 1;

/// Names of the header attributes that the library itself reads or writes.
namespace key {
inline constexpr QLatin1StringView endian{"endian"};
inline constexpr QLatin1StringView width{"width"};
inline constexpr QLatin1StringView height{"height"};
inline constexpr QLatin1StringView pixType{"pixtype"};
inline constexpr QLatin1StringView pixBits{"pixbits"};
inline constexpr QLatin1StringView frameDelay{"framedelay"};
inline constexpr QLatin1StringView dimension{"datadimension"};
inline constexpr QLatin1StringView palette{"palette"};
inline constexpr QLatin1StringView indexed{"indexed"};
inline constexpr QLatin1StringView comment{"comment"};
inline constexpr QLatin1StringView specificComment{"specific_comment"};
inline constexpr QLatin1StringView plugPrefix{"plug_"};
inline constexpr QLatin1StringView boxMinX{"bbox_min_x"};
inline constexpr QLatin1StringView boxMinY{"bbox_min_y"};
inline constexpr QLatin1StringView boxMaxX{"bbox_max_x"};
inline constexpr QLatin1StringView boxMaxY{"bbox_max_y"};
inline constexpr QLatin1StringView dataType{"data_type"};
inline constexpr QLatin1StringView maskLevel{"mask_level"};
inline constexpr QLatin1StringView sinusT0{"sinus_disto_t0"};
inline constexpr QLatin1StringView sinusT1{"sinus_disto_t1"};
inline constexpr QLatin1StringView frameTimer{"frame_timer"};
inline constexpr QLatin1StringView utcOffsetSeconds{"utc_offset_seconds"};
/// A frame time's two names: the prefix, its number in decimal without padding, a suffix.
inline constexpr QLatin1StringView frameTimePrefix{"frame_timer_n"};
inline constexpr QLatin1StringView secondsSuffix{"_sec"};
inline constexpr QLatin1StringView microsecondsSuffix{"_usec"};
/// The palette's names follow its own prefix, if it has one, and "_".
inline constexpr QLatin1StringView palettePrefix{"pal_"}; // of all of them
inline constexpr QLatin1StringView paletteNodeCount{"pal_nbcols"};
inline constexpr QLatin1StringView paletteOldNodeCount{"pal_nbnodes"};
inline constexpr QLatin1StringView paletteName{"pal_name"};
inline constexpr QLatin1StringView paletteCropMin{"pal_cropMin"};
inline constexpr QLatin1StringView paletteCropMax{"pal_cropMax"};
/// A palette node's four names: the prefix, its number in decimal without padding, a suffix.
inline constexpr QLatin1StringView paletteNodePrefix{"pal_n"};
inline constexpr QLatin1StringView nodeValueSuffix{"_val"};
inline constexpr QLatin1StringView nodeRedSuffix{"_r"};
inline constexpr QLatin1StringView nodeGreenSuffix{"_g"};
inline constexpr QLatin1StringView nodeBlueSuffix{"_b"};
} // namespace key

/// Whole bytes that hold a sample of that many bits: (bits - 1) / 8 + 1, truncating toward zero (0 bits give 1).
constexpr int bytesForBits(int bits)
{
    return static_cast<int>((static_cast<std::int64_t>(bits) - 1) / 8 + 1);
}

/// The byte of a laser power: 255 for a negative value or not a number, else power x 254 in single precision,
/// rounded to the nearest integer (ties to even), modulo 256.
DATAIO_EXPORT std::uint8_t encodeLaserPower(float power);
/// -1 (not known) for 255, else byte / 254.
DATAIO_EXPORT float decodeLaserPower(std::uint8_t byte);

/// The word of a fibre-centre coordinate on an axis of `extent` pixels: the coordinate, limited to
/// [0, extent - 1] (not a number gives 0), x 4294967295 / extent, truncated, low 32 bits. Defined for
/// every extent.
DATAIO_EXPORT std::uint32_t encodeFiberWord(float coordinate, int extent);
/// word x (extent / 4294967295), at most extent - 1.
DATAIO_EXPORT float decodeFiberWord(std::uint32_t word, int extent);

/// The payload of a fibre-centre chunk: the words of x0, y0, x1, y1, ..., little-endian. A list of odd length ends in the x
/// word of an unpaired value.
DATAIO_EXPORT QByteArray encodeFiberCenters(const std::vector<float>& centers, int width, int height);
/// Pixel columns and rows of words as `ImageReader::getFiberWords` gives them: the centres as they were recorded, to the
/// precision of the file.
DATAIO_EXPORT std::vector<float> decodeFiberCenters(const std::vector<std::uint32_t>& words, int width, int height);

/// Text of a stored comment: BEL (U+0007) stands for a line feed.
DATAIO_EXPORT QString decodeComment(const QString& stored);

} // namespace zd::layout
