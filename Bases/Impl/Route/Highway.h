// SPDX-License-Identifier: MIT
// Google Highway as the kernels use it. A kernel's file is compiled once for each instruction set
// below, by including itself:
//
//     #undef HWY_TARGET_INCLUDE
//     #define HWY_TARGET_INCLUDE "Bases/Impl/Route/Name_hwy.cpp"
//     #include <Bases/Impl/Route/Highway.h>
//
// The kernels are in namespace Vorn::HWY_NAMESPACE, another one each time; what is compiled only
// once, such as the choice among them, is inside #if HWY_ONCE. Only headers of Highway are used:
// the library does not link its shared library.
//
// This file has no include guard, because it is included once for each instruction set.

// No SSSE3, whose AES is slower than the portable code; no AVX-512 before Ice Lake, which gains
// little over AVX2; no SVE, for which GCC 12 compiles index tables wrongly.
#ifndef HWY_DISABLED_TARGETS
#define HWY_DISABLED_TARGETS                                                                       \
    (HWY_SSSE3 | HWY_AVX3 | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#define HWY_WANT_AVX3_DL
#define HWY_IS_DEBUG_BUILD 0 // whose checks would need Highway's shared library
#endif

#include <hwy/foreach_target.h>
#include <hwy/highway.h>
