// SPDX-License-Identifier: MIT
// The choice among the kernels of Base64 that were built.

#include <Bases/Impl/Route/Base64Kernel.h>

namespace Vorn {

Base64Kernels FindBase64Kernels(Route route) {
#ifdef VORN_BASES_VBMI
    if (route >= Route::Avx512)
        return {Base64EncodeKernelOfVbmi, Base64DecodeKernelOfVbmi};
#endif
#ifdef VORN_BASES_HIGHWAY
    return FindBase64KernelsOfHighway(route);
#else
    static_cast<void>(route);
    return {};
#endif
}

} // namespace Vorn
