#pragma once

#include <QByteArray>

#include <cstdint>
#include <vector>

namespace zd::movietools {

/// One record of a stored index.
struct IndexEntry {
    std::uint32_t type = 0;
    std::uint32_t offset = 0; ///< of the chunk's start header
    std::uint32_t length = 0; ///< of its payload

    friend bool operator==(const IndexEntry&, const IndexEntry&) = default;
};

/// The payload of an info chunk, taken apart without trust: the index records in the order in which they are stored,
/// and the bytes of the header text.
struct InfoPayload {
    std::uint32_t declaredRecords = 0; ///< what the payload says; 0 when it is shorter than a number
    bool holdsDeclaredRecords = false;
    std::vector<IndexEntry> entries;
    std::int64_t textOffset = 0; ///< in the payload
    QByteArray text;             ///< Latin-1

    /// Believes the declared number of records; without room for them there are neither records nor text.
    static InfoPayload asDeclared(const QByteArray& payload);
    /// Makes the best of a payload that may be damaged: as many records are read as lie before the first line of text,
    /// or as many as declared when that line is damaged. `isCutShort` leaves out a last line without its end.
    static InfoPayload salvaged(const QByteArray& payload, bool isCutShort);
};

} // namespace zd::movietools
