// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_ROUTE_BITS_KERNEL_H
#define VORN_BASES_IMPL_ROUTE_BITS_KERNEL_H

// The kernels of bit-sets, which count and combine whole vectors of bytes.

#include <cstddef>

#include <Bases/Impl/Route/Route.h>

namespace Vorn {

/// Adds the bits that are 1 in a leading part of the `size` bytes at `bytes` to `count`. Returns
/// the length of that part.
using BitsCountKernel = std::size_t (*)(const unsigned char* bytes, std::size_t size,
                                        std::size_t& count);

/// Combines a leading part of the `size` bytes at `left` and at `right`. Returns the length of that
/// part. `result` may be either operand; the kernel is fastest if it is aligned to 64.
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
