#pragma once

#include <QString>

#include <cstdint>
#include <string>
#include <vector>

namespace zd::test {

/// How a TIFF stack is stored; tag values are those of the TIFF library.
struct StackForm {
    std::uint16_t bits = 8;
    std::uint16_t format = 1; ///< 1 unsigned, 2 signed, 3 float
    std::uint16_t channels = 1;
    std::uint16_t photometric = 1; ///< 0 white is zero, 1 black is zero, 2 RGB, 3 palette, 6 YCbCr
    std::uint16_t compression = 1; ///< 1 none, 5 LZW, 7 JPEG, 8 deflate, 32773 PackBits
    const char* mode = "w";        ///< of the TIFF library: byte order and classic or big
    std::uint32_t tile = 0;        ///< side of a tile; 0: strips of three rows (JPEG: sixteen)
    bool separate = false;         ///< channels apart
    std::uint16_t orientation = 1;
    std::string description = {}; ///< of the first page
};

/// One page as read back.
struct StackPage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 0;
    std::uint16_t format = 0;
    std::uint16_t channels = 0;
    std::uint16_t photometric = 0;
    std::string description;
    std::string software;
    std::string pixels;
};

/// Writes a stack whose pages have these pixels: rows from the top, channels side by side, native byte order.
void writeStack(const QString& path, const StackForm& form, std::uint32_t width, std::uint32_t height,
                const std::vector<std::string>& pages);
/// Reads a stack of strips with channels side by side, row by row.
std::vector<StackPage> readStack(const QString& path);

/// Bytes that differ from place to place and from frame to frame.
std::string testPixels(std::size_t bytes, unsigned frame);

} // namespace zd::test
