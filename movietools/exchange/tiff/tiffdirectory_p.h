#pragma once

#include <cstdint>
#include <optional>
#include <set>

#include <tiffio.h>

namespace zd::movietools {

/// What the directory of a TIFF file's current page says, read beside the TIFF library, which takes an entry or a next
/// page that cannot be read for one that is not there.
struct TiffDirectory {
    std::set<std::uint16_t> tags; ///< of entries that hold something
    std::uint64_t next = 0;       ///< where the next page's directory lies; 0: this is the last one

    /// Nothing when the file does not hold it whole, or the system fails.
    static std::optional<TiffDirectory> ofCurrentPage(::TIFF* tiff);
};

} // namespace zd::movietools
