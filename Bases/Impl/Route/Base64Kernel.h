#ifndef VORN_BASES_IMPL_ROUTE_BASE64_KERNEL_H
#define VORN_BASES_IMPL_ROUTE_BASE64_KERNEL_H

// The kernels of Base64: whole vectors of bytes to text and back.

#include <cstddef>

#include <Bases/Impl/Route/Route.h>

namespace Vorn {

/// The characters of the values 0 to 63. (RFC 4648, section 4)
inline constexpr char Base64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Writes the text of bytes from the first of the `size` ones at `bytes` on. Returns how many
/// bytes, a multiple of 3; their text has 4/3 of that, and nothing is written behind it.
using Base64EncodeKernel = std::size_t (*)(const unsigned char* bytes, std::size_t size,
                                           char* text);

/// Writes the bytes of characters from the first of the `length` ones at `text` on, as long as each
/// is of the alphabet, whatever its highest bit. Returns how many characters, a multiple of 4;
/// their bytes are 3/4 of that. Up to `length` bytes at `bytes` may be written; what is behind the
/// result means nothing.
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
