#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace zd {

/// Makes room for one more element, so that appending it cannot fail.
template <typename T>
void makeRoom(std::vector<T>& list)
{
    if (list.size() == list.capacity())
        list.reserve(std::max<std::size_t>(64, 2 * list.size()));
}

} // namespace zd
