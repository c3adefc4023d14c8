#pragma once

#include <fuzz/targets.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace zd::fuzz {

/// Takes decisions from the front of an input, zeros when it has come to its end.
class Script {
public:
    explicit Script(Input input) : m_rest(input) {}

    bool ended() const { return m_rest.empty(); }
    Input rest() const { return m_rest; }

    Input take(std::size_t count)
    {
        const Input taken = m_rest.first(std::min(count, m_rest.size()));
        m_rest = m_rest.subspan(taken.size());
        return taken;
    }
    std::uint8_t byte()
    {
        const Input taken = take(1);
        return taken.empty() ? std::uint8_t{0} : taken[0];
    }
    /// 0 to `limit` - 1.
    unsigned int below(unsigned int limit) { return byte() % limit; }
    std::uint32_t word()
    {
        std::uint32_t value = 0;
        for (const std::uint8_t next : take(4))
            value = value << 8 | next;
        return value;
    }

private:
    Input m_rest;
};

} // namespace zd::fuzz
