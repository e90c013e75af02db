// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_ROUTE_UTF8_FORM_H
#define VORN_BASES_IMPL_ROUTE_UTF8_FORM_H

// What UTF-8 looks like, as the portable code and the kernels read it: a sequence of one to four
// bytes as a number, its first byte highest.

#include <cstddef>
#include <cstdint>

namespace Vorn {

/// How sequences of a length are made. (RFC 3629, section 3)
struct Utf8Form {
    std::uint32_t marks;   ///< the bits that tell the length and the tails
    std::uint32_t payload; ///< where the bits of the code point are
    std::uint32_t least;   ///< the first code point that needs the length
};

/// By the length, less one.
inline constexpr Utf8Form Utf8Forms[] = {
    {0x00000000, 0x0000007F, 0x00000},
    {0x0000C080, 0x00001F3F, 0x00080},
    {0x00E08080, 0x000F3F3F, 0x00800},
    {0xF0808080, 0x073F3F3F, 0x10000},
};

inline constexpr std::uint32_t LastCodePoint = 0x10FFFF;

/// A surrogate is a code point whose bits beyond the lowest eleven are these. There are none in
/// UTF-8.
inline constexpr std::uint32_t SurrogateBits = 0xD800;
inline constexpr std::uint32_t BitsOfSurrogates = ~0x7FFU;

} // namespace Vorn

#endif
