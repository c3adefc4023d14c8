#pragma once

#include <cstddef>
#include <limits>

namespace zd::test {

struct AllocationFault {
    std::size_t above = std::numeric_limits<std::size_t>::max(); ///< requests for more bytes fail
    int at = 0;                                                  ///< the n-th request fails, from 1; 0: none does
    bool lasting = false;                                        ///< all requests after the n-th fail as well
};

/// Watches what the process asks of `operator new` while it lives, and makes requests fail with std::bad_alloc.
/// One at a time, used by one thread; Qt's own containers do not ask `operator new`.
class Allocations {
public:
    explicit Allocations(const AllocationFault& fault = {});
    Allocations(const Allocations&) = delete;
    Allocations& operator=(const Allocations&) = delete;
    ~Allocations();

    int count() const { return m_count; }             ///< requests so far
    std::size_t largest() const { return m_largest; } ///< bytes of the largest request, failed ones included

    /// Counts a request and tells whether it may be met.
    bool meet(std::size_t size);

private:
    const AllocationFault m_fault;
    int m_count = 0;
    std::size_t m_largest = 0;
};

} // namespace zd::test
