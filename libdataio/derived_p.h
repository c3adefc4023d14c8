#pragma once

#include <libdataio/attributechunk.h>

#include <cstdint>

namespace zd {

/// Remembers for which state of a movie's attributes something was done.
class SeenAttributes {
public:
    void note(const AttributeChunk& attributes) { m_revision = attributes.revision(); }
    void forget() { m_revision = never; }
    bool any() const { return m_revision != never; }
    /// Whether no call has changed an attribute since. Changes through references that were handed out are not seen: for
    /// what costs much and may lag behind.
    bool sameCalls(const AttributeChunk& attributes) const { return m_revision == attributes.revision(); }
    /// Whether nothing can have changed since.
    bool unchanged(const AttributeChunk& attributes) const { return attributes.unchangedSince(m_revision); }

private:
    static constexpr std::uint64_t never = ~std::uint64_t{0};

    std::uint64_t m_revision = never;
};

/// What follows from a movie's attributes, worked out again only when they may have changed.
template <typename Value>
class Derived {
public:
    /// `make` gives the value; when it throws, the next call tries again.
    template <typename Make>
    const Value& of(const AttributeChunk& attributes, Make make)
    {
        if (!m_seen.unchanged(attributes)) {
            m_value = make();
            m_seen.note(attributes);
        }
        return m_value;
    }

private:
    Value m_value{};
    SeenAttributes m_seen;
};

} // namespace zd
