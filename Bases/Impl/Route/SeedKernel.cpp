// SPDX-License-Identifier: MIT
// The choice among the kernels of SEED that were built.

#include <Bases/Impl/Route/SeedKernel.h>

namespace Vorn {

SeedKernel FindSeedKernel(Route route) {
#ifdef VORN_BASES_GFNI
    if (route == Route::Avx512Gfni)
        return SeedKernelOfGfni;
#endif
#ifdef VORN_BASES_HIGHWAY
    return FindSeedKernelOfHighway(route);
#else
    static_cast<void>(route);
    return nullptr;
#endif
}

} // namespace Vorn
