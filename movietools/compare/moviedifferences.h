#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace zd::movietools {

/// How two lists of values differ, as far as both go.
struct ValueDifferences {
    std::uint64_t compared = 0;
    std::uint64_t differing = 0;        ///< values whose stored bits differ
    std::optional<std::uint64_t> first; ///< frame or fibre of the first one that differs
    double largest = 0;                 ///< absolute difference, of those that have one: both known, no "not a number"
    double sum = 0;                     ///< of these differences

    double mean() const { return compared == 0 ? 0 : sum / static_cast<double>(compared); }
    /// Counts a value that differs. `difference` is not finite when it cannot be told.
    void add(std::uint64_t place, double difference);
};

/// The first sample that differs in two movies.
struct DifferingSample {
    unsigned frame = 0;
    std::uint64_t x = 0;
    std::uint64_t y = 0;
    int channel = 0; ///< of RGB and RGBA
    double a = 0;
    double b = 0;
};

/// What tells two movies from each other. Where the chunks lie in the files makes no difference.
struct MovieDifferences {
    struct Item {
        QString name; ///< attribute, or "frames", "picture", "times", "laser powers", "fibres", "chunks of type 9"
        std::optional<QString> a; ///< nothing when that movie has none
        std::optional<QString> b;
    };

    std::vector<Item> structure;
    std::vector<Item> attributes;
    ValueDifferences times; ///< seconds
    ValueDifferences laserPowers;
    ValueDifferences fibers;   ///< pixels, of either coordinate
    bool picturesMatch = true; ///< same size and sample type; samples are not compared otherwise
    std::uint64_t framesCompared = 0;
    std::uint64_t framesDiffering = 0; ///< in a sample or in their length
    std::optional<unsigned> firstFrame;
    ValueDifferences samples;
    std::optional<DifferingSample> firstSample;

    bool none() const;
};

} // namespace zd::movietools
