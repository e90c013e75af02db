// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_ROUTE_BASE64_KERNEL_H
#define VORN_BASES_IMPL_ROUTE_BASE64_KERNEL_H

// The kernels of Base64, which convert whole vectors of bytes to text and back.

#include <cstddef>

#include <Bases/Impl/Route/Route.h>

namespace Vorn {

/// The characters of the values 0 to 63. (RFC 4648, section 4)
inline constexpr char Base64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Encodes a leading part of the `size` bytes at `bytes`. Returns its length, a multiple of 3; the
/// text has 4/3 of that, and nothing is written beyond it.
using Base64EncodeKernel = std::size_t (*)(const unsigned char* bytes, std::size_t size,
                                           char* text);

/// Decodes a leading part of the `length` characters at `text`, all of it in the alphabet, ignoring
/// their high bits. Returns its length, a multiple of 4, for 3/4 as many bytes. May write up to
/// `length` bytes at `bytes`; those beyond the result are garbage.
using Base64DecodeKernel = std::size_t (*)(const char* text, std::size_t length,
                                           unsigned char* bytes);

/// The kernels of a route; null where there are none.
struct Base64Kernels {
    Base64EncodeKernel encode = nullptr;
    Base64DecodeKernel decode = nullptr;
};

Base64Kernels FindBase64Kernels(Route route);

/// The candidates: those written with Highway, and those for AVX-512 with VBMI.
Base64Kernels FindBase64KernelsOfHighway(Route route);
std::size_t Base64EncodeKernelOfVbmi(const unsigned char* bytes, std::size_t size, char* text);
std::size_t Base64DecodeKernelOfVbmi(const char* text, std::size_t length, unsigned char* bytes);

} // namespace Vorn

#endif
