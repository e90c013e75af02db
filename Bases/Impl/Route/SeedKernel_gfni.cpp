// SPDX-License-Identifier: MIT
// The kernel of SEED for AVX-512 with GFNI, whose instructions compute a bit-matrix product of
// every byte, and one of the inverse of every byte in the field of AES. Otherwise as
// SeedKernel_hwy.cpp, which explains the rest; Highway lacks these instructions.

#include <Bases/Impl/Route/SeedKernel.h>

#include <utility>

#include <immintrin.h>

#include <Bases/Crypto.h>
#include <Bases/Impl/Route/SeedField.h>

namespace Vorn {

namespace {

using Words = __m512i;

// The matrix of a linear map as the instructions want it: row i, for bit i of the result, is byte
// 7 - i.
constexpr unsigned long long Matrix(const SeedField::Bytes& map) {
    unsigned long long matrix = 0;
    for (unsigned row = 0; row < 8; ++row)
        for (unsigned column = 0; column < 8; ++column) {
            const unsigned long long bit = map[1U << column] >> row & 1U;
            matrix |= bit << (8 * (7 - row) + column);
        }
    return matrix;
}

// From the inverse of the image of x to what `box` gives for x, less its constant.
constexpr SeedField::Bytes OutOfAes(const SeedField::Bytes& box) {
    SeedField::Bytes map{};
    for (unsigned x = 0; x < map.size(); ++x)
        map[SeedField::Inverse(SeedField::Aes, SeedField::ToAes[x])] =
            static_cast<unsigned char>(box[x] ^ box[0]);
    return map;
}

constexpr unsigned long long ToAesMatrix = Matrix(SeedField::ToAes);
constexpr unsigned long long ToS1Matrix = Matrix(OutOfAes(SeedField::S1));
constexpr unsigned long long ToS2Matrix = Matrix(OutOfAes(SeedField::S2));

constexpr int SetBitsOfXor3 = 0x96; // the truth table of a ^ b ^ c
constexpr int XorOfAnd = 0x78;      // of a ^ (b & c)

inline Words Set(unsigned word) { return _mm512_set1_epi32(static_cast<int>(word)); }

inline Words SetMatrix(unsigned long long matrix) {
    return _mm512_set1_epi64(static_cast<long long>(matrix));
}

// S1 of the first and the third byte of each word, S2 of the others.
inline Words Substitute(Words x) {
    constexpr __mmask64 Odd = 0xAAAAAAAAAAAAAAAA;
    const Words image = _mm512_gf2p8affine_epi64_epi8(x, SetMatrix(ToAesMatrix), 0);
    const Words s1 =
        _mm512_gf2p8affineinv_epi64_epi8(image, SetMatrix(ToS1Matrix), SeedField::Constant1);
    return _mm512_mask_gf2p8affineinv_epi64_epi8(s1, Odd, image, SetMatrix(ToS2Matrix),
                                                 SeedField::Constant2);
}

inline Words XorMasked(Words sum, Words x, unsigned mask) {
    return _mm512_ternarylogic_epi32(sum, x, Set(mask), XorOfAnd);
}

inline Words G(Words x) {
    const Words s = Substitute(x);
    Words sum = _mm512_and_si512(s, Set(SeedField::MaskSameByte));
    sum = XorMasked(sum, _mm512_ror_epi32(s, 8), SeedField::MaskNextByte);
    sum = XorMasked(sum, _mm512_ror_epi32(s, 16), SeedField::MaskSecondByte);
    return XorMasked(sum, _mm512_ror_epi32(s, 24), SeedField::MaskThirdByte);
}

struct Half {
    Words first, second;
};

inline void Round(Half& changed, const Half& other, const std::uint32_t* key) {
    Words c = _mm512_xor_si512(other.first, Set(key[0]));
    Words d = G(_mm512_ternarylogic_epi32(c, other.second, Set(key[1]), SetBitsOfXor3));
    c = G(_mm512_add_epi32(c, d));
    d = G(_mm512_add_epi32(d, c));
    changed.first = _mm512_xor_si512(changed.first, _mm512_add_epi32(c, d));
    changed.second = _mm512_xor_si512(changed.second, d);
}

struct Blocks {
    Half left, right;
};

inline void Transpose(Words& a, Words& b, Words& c, Words& d) {
    const Words ab01 = _mm512_unpacklo_epi32(a, b);
    const Words ab23 = _mm512_unpackhi_epi32(a, b);
    const Words cd01 = _mm512_unpacklo_epi32(c, d);
    const Words cd23 = _mm512_unpackhi_epi32(c, d);
    a = _mm512_unpacklo_epi64(ab01, cd01);
    b = _mm512_unpackhi_epi64(ab01, cd01);
    c = _mm512_unpacklo_epi64(ab23, cd23);
    d = _mm512_unpackhi_epi64(ab23, cd23);
}

inline Blocks Load(const unsigned char* bytes) {
    Blocks blocks{{_mm512_loadu_si512(bytes), _mm512_loadu_si512(bytes + 64)},
                  {_mm512_loadu_si512(bytes + 128), _mm512_loadu_si512(bytes + 192)}};
    Transpose(blocks.left.first, blocks.left.second, blocks.right.first, blocks.right.second);
    return blocks;
}

inline void Store(Blocks blocks, unsigned char* bytes) {
    Transpose(blocks.right.first, blocks.right.second, blocks.left.first, blocks.left.second);
    _mm512_storeu_si512(bytes, blocks.right.first);
    _mm512_storeu_si512(bytes + 64, blocks.right.second);
    _mm512_storeu_si512(bytes + 128, blocks.left.first);
    _mm512_storeu_si512(bytes + 192, blocks.left.second);
}

constexpr std::size_t BlocksInASet = 16;
constexpr std::size_t SetSize = BlocksInASet * CryptoSize::SeedBlock;

template <std::size_t... I>
inline void CipherSets(unsigned char* bytes, SeedKeys keys, std::index_sequence<I...>) {
    Blocks sets[] = {Load(bytes + I * SetSize)...};
    for (std::ptrdiff_t round = 0; round < SeedRoundCount; round += 2) {
        (Round(sets[I].left, sets[I].right, keys.key + round * keys.step), ...);
        (Round(sets[I].right, sets[I].left, keys.key + (round + 1) * keys.step), ...);
    }
    (Store(sets[I], bytes + I * SetSize), ...);
}

} // namespace

std::size_t SeedKernelOfGfni(unsigned char* bytes, std::size_t count, SeedKeys keys) {
    std::size_t sets = count / BlocksInASet;
    for (; sets >= 4; sets -= 4, bytes += 4 * SetSize)
        CipherSets(bytes, keys, std::make_index_sequence<4>());
    for (; sets > 0; --sets, bytes += SetSize)
        CipherSets(bytes, keys, std::make_index_sequence<1>());
    return count - count % BlocksInASet;
}

} // namespace Vorn
