#pragma once

#include <libdataio/chunkinfo.h>
#include <libdataio/derived_p.h>
#include <libdataio/growth_p.h>
#include <libdataio/pixeltypes.h>

#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace zd {

class ZdPalette;

/// The info record of a movie with the typed values of its attributes and what follows from them, as reader and writer
/// need it. Values that are absent give false and leave `out` alone.
class MovieHeader : public ChunkInfo {
public:
    MovieHeader();
    ~MovieHeader() override;

    bool frameSides(int& width, int& height) const;
    bool pixBits(int& out) const; ///< from the pixel type, else from "pixbits"
    int pixBytes() const;         ///< whole bytes of a sample, 0 when the bits are not known
    ZDImagePixelType pixType() const;
    int endian() const; ///< 0 when absent
    QString dataType() const;
    int maskLevel() const;
    QString comment(const QString& key) const;
    bool bundleBox(std::vector<float>& box) const; ///< `box` is empty when one of its values is missing

    /// Makes room for one more record of that type and gives the records.
    std::vector<ChunkRecord>& recordsWithRoom(int type)
    {
        std::vector<ChunkRecord>& records = (*this)[type];
        makeRoom(records);
        return records;
    }
    /// Forgets where side data and header lay.
    void removeTailRecords();

    // What follows from the attributes.

    /// Whether samples and side data are stored in the other byte order.
    bool isSwapped();
    /// Bytes of a frame that is recorded without its size; nothing when a value is missing or the product overflows.
    std::optional<std::int64_t> recordedFrameSize();
    /// Bytes of a frame that is read; 0 when a side is not positive or missing, or the product beyond any file.
    std::int64_t claimedFrameSize();
    /// The same for samples of that many bytes.
    std::int64_t frameSize(int sampleBytes) const;
    /// The stored palette, null when there is none.
    const ZdPalette* palette();

private:
    Derived<bool> m_swapped;
    Derived<std::optional<std::int64_t>> m_recordedFrameSize;
    Derived<std::int64_t> m_claimedFrameSize;
    Derived<std::unique_ptr<ZdPalette>> m_palette;
};

} // namespace zd
