#ifndef VORN_BASES_IMPL_ROUTE_BITS_KERNEL_H
#define VORN_BASES_IMPL_ROUTE_BITS_KERNEL_H

// The kernels of bit-sets: whole vectors of bytes counted and combined.

#include <cstddef>

#include <Bases/Impl/Route/Route.h>

namespace Vorn {

/// Adds to `count` the bits that are 1 in bytes from the first of the `size` ones at `bytes` on.
/// Returns how many bytes.
using BitsCountKernel = std::size_t (*)(const unsigned char* bytes, std::size_t size,
                                        std::size_t& count);

/// Combines bytes from the first of the `size` ones at `left` and at `right` on. Returns how many
/// bytes. `result` may be either operand; where it is aligned to 64, the kernel is fastest.
using BitsLogicKernel = std::size_t (*)(const unsigned char* left, const unsigned char* right,
                                        std::size_t size, unsigned char* result);

/// The kernels of a route; null where there are none.
struct BitsKernels {
    BitsCountKernel count = nullptr;
    BitsLogicKernel logicAnd = nullptr;
    BitsLogicKernel logicOr = nullptr;
    BitsLogicKernel logicXor = nullptr;
};

BitsKernels FindBitsKernels(Route route);

/// The candidates: those written with Highway.
BitsKernels FindBitsKernelsOfHighway(Route route);

} // namespace Vorn

#endif
