// SPDX-License-Identifier: MIT
// The choice among the kernels of bit-sets that were built.

#include <Bases/Impl/Route/BitsKernel.h>

namespace Vorn {

BitsKernels FindBitsKernels(Route route) {
#ifdef VORN_BASES_HIGHWAY
    return FindBitsKernelsOfHighway(route);
#else
    static_cast<void>(route);
    return {};
#endif
}

} // namespace Vorn
