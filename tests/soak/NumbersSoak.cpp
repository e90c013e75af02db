// SPDX-License-Identifier: MIT
// Concerns: every 32-bit value as text and in the other byte order. Plan: against the C++ library's
// conversion, and bytes moved one by one.
#include <Bases/Text.h>
#include <Bases/Utility.h>

#include <charconv>
#include <cstring>

#include "soak/Soak.h"

namespace {

constexpr unsigned long Values = 1UL << 32;
constexpr unsigned long Stride = 100003;

// Another radix than 10 shows the 64 bits of a negative value.
template <int Radix>
bool IsText(unsigned long n) {
    const auto value = static_cast<int>(n);
    char expected[Vorn::IntegerTextSize + 1];
    char text[Vorn::IntegerTextSize + 1];
    char* pEnd = expected;
    if constexpr (Radix == 10)
        pEnd = std::to_chars(expected, std::end(expected), value, Radix).ptr;
    else
        pEnd = std::to_chars(expected, std::end(expected), static_cast<unsigned long>(value), Radix)
                   .ptr;
    *pEnd = '\0';
    return _itoa(value, text, Radix) == text && std::strcmp(text, expected) == 0;
}

TEST(Soak, WritesEvery32BitValueInRadix10) {
    VornTest::Soak("_itoa, radix 10", Values, Stride, IsText<10>);
}

TEST(Soak, WritesEvery32BitValueInRadix16) {
    VornTest::Soak("_itoa, radix 16", Values, Stride, IsText<16>);
}

TEST(Soak, WritesEvery32BitValueInRadix2) {
    VornTest::Soak("_itoa, radix 2", Values, Stride, IsText<2>);
}

constexpr unsigned long Reversed(unsigned long value, int bytes) {
    unsigned long reversed = 0;
    for (int i = 0; i < bytes; ++i)
        reversed = reversed << 8 | (value >> 8 * i & 0xFF);
    return reversed;
}

// In 64 bits the value stands twice, once inverted.
bool IsReversed(unsigned long n) {
    using namespace Vorn::Endian;
    const bool little = IsLittleEndian() == 1;
    const auto low = static_cast<unsigned short>(n);
    const unsigned long both = n << 32 | (~n & 0xFFFFFFFF);
    const unsigned long reversed16 = Reversed(low, 2);
    const unsigned long reversed32 = Reversed(n, 4);
    const unsigned long reversed64 = Reversed(both, 8);
    const unsigned long big16 = little ? reversed16 : low;
    const unsigned long big32 = little ? reversed32 : n;
    const unsigned long big64 = little ? reversed64 : both;
    const unsigned long little16 = little ? low : reversed16;
    const unsigned long little32 = little ? n : reversed32;
    const unsigned long little64 = little ? both : reversed64;
    return Swap16(low) == reversed16 && Swap32(n) == reversed32 && Swap64(both) == reversed64 &&
           tobe16(low) == big16 && betoh16(low) == big16 && hton16(low) == big16 &&
           ntoh16(low) == big16 && tole16(low) == little16 && letoh16(low) == little16 &&
           tobe32(n) == big32 && betoh32(n) == big32 && hton32(n) == big32 && ntoh32(n) == big32 &&
           tole32(n) == little32 && letoh32(n) == little32 && tobe64(both) == big64 &&
           betoh64(both) == big64 && hton64(both) == big64 && ntoh64(both) == big64 &&
           tole64(both) == little64 && letoh64(both) == little64;
}

TEST(Soak, ReversesTheBytesOfEvery32BitValue) {
    VornTest::Soak("byte order", Values, Stride, IsReversed);
}

} // namespace
