#pragma once

#include <iostream>

namespace zd::test {

/// Prints a figure of the running test, to be quoted.
template <typename Value>
void figure(const char* what, const Value& value)
{
    std::cout << "  " << what << ": " << value << '\n';
}

} // namespace zd::test
