#pragma once

#include <libdataio/pixeltypes.h>

#include <cstddef>
#include <cstdint>

/// Samples with a sign in forms that have none.
namespace zd::movietools {

/// What a sample of 0 becomes: half the range of signed samples of 8 and 16 bits, 0 for all others.
std::uint32_t zeroOf(ZDImagePixelType type);

/// The type without a sign that holds such samples, or the type itself.
ZDImagePixelType unsignedType(ZDImagePixelType type);

/// Adds half the range to each of `bytes` bytes of signed samples of `type`, or takes it away, which is the same.
/// `target` may be `source`. Samples of other types are not touched.
void shiftSigned(ZDImagePixelType type, const void* source, char* target, std::size_t bytes);

} // namespace zd::movietools
