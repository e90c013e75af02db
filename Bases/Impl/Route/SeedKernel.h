#ifndef VORN_BASES_IMPL_ROUTE_SEED_KERNEL_H
#define VORN_BASES_IMPL_ROUTE_SEED_KERNEL_H

// The kernels of SEED: the sixteen rounds over many blocks at a time.

#include <cstddef>
#include <cstdint>

#include <Bases/Impl/Route/Route.h>

namespace Vorn {

/// The round keys in the order of their use: round i takes key[i * step] and the word behind it.
/// Deciphering goes through them backwards.
struct SeedKeys {
    const std::uint32_t* key;
    std::ptrdiff_t step;
};

/// Takes blocks of 16 bytes at `blocks`, at any address, through the rounds in place: as many of
/// the first `count` ones as fill whole vectors. Returns how many.
using SeedKernel = std::size_t (*)(unsigned char* blocks, std::size_t count, SeedKeys keys);

/// The kernel of a route; null where there is none, in which case the portable code does it all.
SeedKernel FindSeedKernel(Route route);

/// Its candidates: those written with Highway, and the one for GFNI.
SeedKernel FindSeedKernelOfHighway(Route route);
std::size_t SeedKernelOfGfni(unsigned char* blocks, std::size_t count, SeedKeys keys);

} // namespace Vorn

#endif
