// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_ROUTE_SEED_FIELD_H
#define VORN_BASES_IMPL_ROUTE_SEED_FIELD_H

// The arithmetic behind SEED's two substitution boxes, at compile time: multiplication and powers
// in GF(2^8), and bit-matrix products. (RFC 4269, section 2.3)

#include <array>
#include <bit>
#include <cstddef>

namespace Vorn::SeedField {

using Bytes = std::array<unsigned char, 256>;
using Rows = std::array<unsigned char, 8>;

/// The polynomials of two fields of 256 elements: SEED's, x^8 + x^6 + x^5 + x + 1, and that of AES.
inline constexpr unsigned Seed = 0x163;
inline constexpr unsigned Aes = 0x11B;

/// x times y in the field of the polynomial.
constexpr unsigned Multiply(unsigned polynomial, unsigned x, unsigned y) {
    unsigned product = 0;
    for (; y != 0; y >>= 1) {
        product ^= (y & 1) != 0 ? x : 0;
        x = x << 1 ^ ((x & 0x80) != 0 ? polynomial : 0);
    }
    return product;
}

constexpr unsigned Power(unsigned polynomial, unsigned x, unsigned exponent) {
    unsigned power = 1;
    for (; exponent != 0; exponent >>= 1) {
        if ((exponent & 1) != 0)
            power = Multiply(polynomial, power, x);
        x = Multiply(polynomial, x, x);
    }
    return power;
}

/// 1 divided by x; 0 for 0.
constexpr unsigned Inverse(unsigned polynomial, unsigned x) { return Power(polynomial, x, 254); }

/// The product of a bit matrix, its rows from the highest bit of the result down, and the bits of
/// x.
constexpr unsigned MatrixProduct(const Rows& rows, unsigned x) {
    unsigned result = 0;
    for (const unsigned char row : rows)
        result = result << 1 | (static_cast<unsigned>(std::popcount(row & x)) & 1);
    return result;
}

/// The constants that each box adds.
inline constexpr unsigned Constant1 = 169;
inline constexpr unsigned Constant2 = 56;

constexpr Bytes Box(const Rows& rows, unsigned exponent, unsigned constant) {
    Bytes box{};
    for (unsigned x = 0; x < box.size(); ++x)
        box[x] =
            static_cast<unsigned char>(MatrixProduct(rows, Power(Seed, x, exponent)) ^ constant);
    return box;
}

inline constexpr Bytes S1 = Box({0b10001010, 0b11111110, 0b10000101, 0b01000010, 0b01000101,
                                 0b00100001, 0b10001000, 0b00010100},
                                247, Constant1);
inline constexpr Bytes S2 = Box({0b01000101, 0b10000101, 0b11111110, 0b00100001, 0b10001010,
                                 0b10001000, 0b01000010, 0b00010100},
                                251, Constant2);

/// Which bits of S-box output i, counted from the lowest byte, go into each byte of G's result: the
/// masks m0 to m3 of RFC 4269, one for each distance between the two bytes.
inline constexpr unsigned MaskSameByte = 0xCFFCCFFC;
inline constexpr unsigned MaskNextByte = 0x3FF33FF3;
inline constexpr unsigned MaskSecondByte = 0xFCCFFCCF;
inline constexpr unsigned MaskThirdByte = 0xF33FF33F;

/// The image of x under the map of SEED's field into that of AES: a root of SEED's polynomial
/// there.
constexpr unsigned FindRootInAes() {
    for (unsigned root = 2; root < 256; ++root) {
        const unsigned sum =
            Power(Aes, root, 8) ^ Power(Aes, root, 6) ^ Power(Aes, root, 5) ^ root ^ 1;
        if (sum == 0)
            return root;
    }
    return 0;
}

inline constexpr unsigned RootInAes = FindRootInAes();

/// An element of SEED's field in the AES field. Sums and products are kept, so inverses are, too:
/// hardware that computes these for AES computes them for SEED.
constexpr Bytes MapIntoAes() {
    Bytes map{};
    for (unsigned x = 0; x < map.size(); ++x)
        for (unsigned bit = 0; bit < 8; ++bit)
            if ((x >> bit & 1) != 0)
                map[x] ^= static_cast<unsigned char>(Power(Aes, RootInAes, bit));
    return map;
}

inline constexpr Bytes ToAes = MapIntoAes();

static_assert(ToAes[Multiply(Seed, 0x57, 0x83)] == Multiply(Aes, ToAes[0x57], ToAes[0x83]));
static_assert(S1[0] == 0xA9 && S1[1] == 0x85 && S2[0] == 0x38 && S2[1] == 0xE8);

} // namespace Vorn::SeedField

#endif
