// SPDX-License-Identifier: MIT
// The choice among the kernels of UTF-8 that were built.

#include <Bases/Impl/Route/Utf8Kernel.h>

namespace Vorn {

Utf8Kernels FindUtf8Kernels(Route route) {
#ifdef VORN_BASES_VBMI
    if (route >= Route::Avx512)
        return {Utf8DecodeKernelOfVbmi, Utf8EncodeKernelOfVbmi};
#endif
#ifdef VORN_BASES_HIGHWAY
    return FindUtf8KernelsOfHighway(route);
#else
    static_cast<void>(route);
    return {};
#endif
}

} // namespace Vorn
