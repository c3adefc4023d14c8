#pragma once

#include <common/export.h>

#include <QString>

#include <array>
#include <list>
#include <memory>

namespace zd {

class FTransfoBase;

/// One node of a palette.
struct PalNode {
    float value = 0; ///< position: 0 and 1 are the palette's crop minimum and maximum
    float r = 0;     ///< red, 0 to 1
    float g = 0;     ///< green, 0 to 1
    float b = 0;     ///< blue, 0 to 1

    friend bool operator==(const PalNode&, const PalNode&) = default;
};

/// A colour palette: nodes in order of position, between which colours are interpolated, over a crop
/// range in data units, with an optional transfer function. A value: copies are independent.
class DATAIO_COMMON_EXPORT ZdPalette {
public:
    int cropMin = 0;                   ///< data value at position 0
    int cropMax = 0;                   ///< data value at position 1
    QString name;                      ///< the palette's name
    std::array<float, 3> aboveColor{}; ///< red, green, blue above the last node
    std::array<float, 3> belowColor{}; ///< red, green, blue below the first node
    bool useOutOfRangeColors = false;  ///< whether the two colours above replace the end nodes' colours

    /// Most nodes a palette keeps: one for each 16-bit sample value.
    static constexpr int maximumNodes = 65536;

    /// A palette without nodes, crop range 0 to 0.
    ZdPalette();
    ZdPalette(const ZdPalette&);
    ZdPalette& operator=(const ZdPalette&);
    ~ZdPalette();

    /// Removes every node; the crop range and the name stay.
    void reset();
    /// Appends a node at `position` with a colour of three components from 0 to 1.
    void addColor(float position, float red, float green, float blue);
    int size() const { return static_cast<int>(m_nodes.size()); }

    std::list<PalNode>::iterator begin() { return m_nodes.begin(); }
    std::list<PalNode>::iterator end() { return m_nodes.end(); }
    std::list<PalNode>::const_iterator begin() const { return m_nodes.begin(); }
    std::list<PalNode>::const_iterator end() const { return m_nodes.end(); }

    /// The first and the last node; the palette must have one.
    PalNode& first() { return m_nodes.front(); }
    const PalNode& first() const { return m_nodes.front(); }
    PalNode& last() { return m_nodes.back(); }
    const PalNode& last() const { return m_nodes.back(); }

    /// Brings the palette into a consistent state: drops nodes that hold a value that is not finite, puts
    /// nodes in order of position (equal positions keep their order), keeps the first `maximumNodes`,
    /// limits colour components to [0, 1] and swaps a crop range that runs backwards. Components of the
    /// out-of-range colours that are not numbers become 0. Positions may lie outside [0, 1], and a crop range of
    /// width 0 stays as it is.
    void checkBounds();
    /// Whether `checkBounds` would change nothing and there is at least one node. Never aborts.
    bool assertIntegrity() const;

    /// The transfer function, or null for a plain piecewise-linear palette; owned by the palette.
    const FTransfoBase* getTransfo() const { return m_transfo.get(); }
    /// Copies of the palette share the function, which cannot change. Null removes it.
    void setTransfo(std::shared_ptr<const FTransfoBase> transfo);

    /// Position of `node` in data units: cropMin + value x (cropMax - cropMin), computed in double precision.
    /// Infinite when it exceeds the range of float.
    float getValueScaled(const PalNode& node) const;
    /// Moves the nodes linearly so that the first lies at position `low` and the last at `high`. When these two
    /// share one position, all nodes move to `low`. Does nothing without nodes, or when an argument or the
    /// position of the first or last node is not finite.
    void adjustNodeValues(float low, float high);

    // The default palettes replace the whole palette: they are named, and have neither a transfer function nor
    // out-of-range colours of their own.

    /// A perceptually uniform palette from black to white for 16-bit data, crop range -32768 to 32767.
    void initDefault();
    /// A grey ramp over -128 to 127.
    void initSigned8();
    /// A grey ramp over 0 to 255.
    void initUnsigned8();

private:
    void initGreyRamp(const QString& rampName, int minimum, int maximum);

    std::list<PalNode> m_nodes;
    std::shared_ptr<const FTransfoBase> m_transfo;
};

} // namespace zd
