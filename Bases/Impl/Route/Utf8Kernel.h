// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_ROUTE_UTF8_KERNEL_H
#define VORN_BASES_IMPL_ROUTE_UTF8_KERNEL_H

// The kernels of UTF-8: whole vectors of bytes to wide characters and back.

#include <cstddef>

#include <Bases/Impl/Route/Route.h>

namespace Vorn {

/// How many elements were converted, and to how many.
struct Utf8Progress {
    std::size_t read = 0;
    std::size_t written = 0;
};

/// Converts from the first of the `size` elements at `from` on, to the `capacity` ones at `to`.
/// Stops in front of a character that is not plain (see Utf8.h), and where either end is too near
/// for whole vectors; what is behind the result in `to` means nothing.
using Utf8DecodeKernel = Utf8Progress (*)(const char* from, std::size_t size, wchar_t* to,
                                          std::size_t capacity);
using Utf8EncodeKernel = Utf8Progress (*)(const wchar_t* from, std::size_t size, char* to,
                                          std::size_t capacity);

/// The kernels of a route; null where there are none.
struct Utf8Kernels {
    Utf8DecodeKernel decode = nullptr;
    Utf8EncodeKernel encode = nullptr;
};

Utf8Kernels FindUtf8Kernels(Route route);

/// The candidates: those written with Highway, and those for AVX-512 with VBMI.
Utf8Kernels FindUtf8KernelsOfHighway(Route route);
Utf8Progress Utf8DecodeKernelOfVbmi(const char* from, std::size_t size, wchar_t* to,
                                    std::size_t capacity);
Utf8Progress Utf8EncodeKernelOfVbmi(const wchar_t* from, std::size_t size, char* to,
                                    std::size_t capacity);

} // namespace Vorn

#endif
