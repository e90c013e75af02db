// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_ROUTE_SEED_KERNEL_H
#define VORN_BASES_IMPL_ROUTE_SEED_KERNEL_H

// The kernels of SEED: the sixteen rounds over many blocks at a time.

#include <cstddef>
#include <cstdint>

#include <Bases/Impl/Route/Route.h>

namespace Vorn {

inline constexpr std::ptrdiff_t SeedRoundCount = 16;

/// The round keys in the order of their use: round i uses key[i * step] and the word after it. For
/// deciphering the step is negative.
struct SeedKeys {
    const std::uint32_t* key;
    std::ptrdiff_t step;
};

/// Runs as many of the `count` blocks of 16 bytes at `blocks` as fill whole vectors through the
/// rounds, in place, at any alignment. Returns how many.
using SeedKernel = std::size_t (*)(unsigned char* blocks, std::size_t count, SeedKeys keys);

/// The kernel of a route; null where there is none, in which case the portable code does it all.
SeedKernel FindSeedKernel(Route route);

/// Its candidates: those written with Highway, and the one for GFNI.
SeedKernel FindSeedKernelOfHighway(Route route);
std::size_t SeedKernelOfGfni(unsigned char* blocks, std::size_t count, SeedKeys keys);

} // namespace Vorn

#endif
