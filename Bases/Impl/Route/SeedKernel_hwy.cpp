// SPDX-License-Identifier: MIT
// The kernels of SEED for every instruction set of Highway that has AES, except SSE4, on which the
// tables of the portable code are faster.
//
// Blocks are transposed, so that a vector holds the same word of several blocks; the rounds are
// then those of the portable code with vectors for words. What differs is G: its tables cannot be
// looked up in many lanes at once, but both boxes of SEED are inversion in a field of 256 elements
// between two linear maps, and so is the box of AES, for which there are instructions. SeedField.h
// maps one field to the other.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Bases/Impl/Route/SeedKernel_hwy.cpp"
#include <Bases/Impl/Route/Highway.h>

#include <utility>

#include <Bases/Crypto.h>
#include <Bases/Impl/Route/SeedField.h>
#include <Bases/Impl/Route/SeedKernel.h>

#ifndef VORN_BASES_IMPL_ROUTE_SEED_KERNEL_HWY_TABLES
#define VORN_BASES_IMPL_ROUTE_SEED_KERNEL_HWY_TABLES

namespace Vorn {

namespace {

// A map of bytes that is linear but for a constant, as two tables for the halves of a byte: the
// image of x is low[x & 15] ^ high[x >> 4].
struct NibbleTables {
    alignas(16) unsigned char low[16];
    alignas(16) unsigned char high[16];
};

constexpr NibbleTables Split(const SeedField::Bytes& map) {
    NibbleTables tables{};
    for (unsigned i = 0; i < 16; ++i) {
        tables.low[i] = map[i];
        tables.high[i] = static_cast<unsigned char>(map[i << 4] ^ map[0]);
    }
    return tables;
}

constexpr unsigned AesBox(unsigned x) {
    const unsigned inverse = SeedField::Inverse(SeedField::Aes, x);
    unsigned result = 0x63;
    for (unsigned turn = 0; turn < 5; ++turn)
        result ^= (inverse << turn | inverse >> (8 - turn)) & 0xFF;
    return result;
}

// From what the box of AES gives for the image of x to what `box` gives for x.
constexpr SeedField::Bytes OutOfAes(const SeedField::Bytes& box) {
    SeedField::Bytes map{};
    for (unsigned x = 0; x < map.size(); ++x)
        map[AesBox(SeedField::ToAes[x])] = box[x];
    return map;
}

constexpr NibbleTables ToAesTables = Split(SeedField::ToAes);
constexpr NibbleTables ToS1Tables = Split(OutOfAes(SeedField::S1));
constexpr NibbleTables ToS2Tables = Split(OutOfAes(SeedField::S2));

// The instruction for the last round of AES moves bytes before it looks them up; this moves them to
// where they are moved back from.
alignas(16) constexpr unsigned char BeforeShiftRows[16] = {0, 13, 10, 7,  4,  1, 14, 11,
                                                           8, 5,  2,  15, 12, 9, 6,  3};

alignas(16) constexpr unsigned char NextByte[16] = {1, 2,  3,  0, 5,  6,  7,  4,
                                                    9, 10, 11, 8, 13, 14, 15, 12};
alignas(16) constexpr unsigned char SecondByte[16] = {2,  3,  0, 1, 6,  7,  4,  5,
                                                      10, 11, 8, 9, 14, 15, 12, 13};
alignas(16) constexpr unsigned char ThirdByte[16] = {3,  0, 1, 2,  7,  4,  5,  6,
                                                     11, 8, 9, 10, 15, 12, 13, 14};

} // namespace

} // namespace Vorn

#endif

HWY_BEFORE_NAMESPACE();

namespace Vorn::HWY_NAMESPACE {

namespace {

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SSE4

namespace hn = hwy::HWY_NAMESPACE;

using WordTag = hn::ScalableTag<std::uint32_t>;
using PairTag = hn::Repartition<std::uint64_t, WordTag>;
using ByteTag = hn::Repartition<std::uint8_t, WordTag>;
using Words = hn::Vec<WordTag>;
using Octets = hn::Vec<ByteTag>;

constexpr WordTag InWords;
constexpr PairTag InPairs;
constexpr ByteTag InOctets;

HWY_INLINE Octets Constant(const unsigned char (&bytes)[16]) {
    return hn::LoadDup128(InOctets, bytes);
}

HWY_INLINE Octets Map(const NibbleTables& tables, Octets x) {
    const Octets low = hn::And(x, hn::Set(InOctets, 15));
    const Octets high = hn::ShiftRight<4>(x);
    return hn::Xor(hn::TableLookupBytes(Constant(tables.low), low),
                   hn::TableLookupBytes(Constant(tables.high), high));
}

// S1 of the first and the third byte of each word, S2 of the others.
HWY_INLINE Octets Substitute(Octets x) {
    const Octets moved = hn::TableLookupBytes(x, Constant(BeforeShiftRows));
    const Octets box = hn::AESLastRound(Map(ToAesTables, moved), hn::Zero(InOctets));
    const auto odd = hn::MaskFromVec(hn::BitCast(InOctets, hn::Set(InWords, 0xFF00FF00)));
    return hn::IfThenElse(odd, Map(ToS2Tables, box), Map(ToS1Tables, box));
}

// Rotates the bytes of each word, as the table says, and keeps the bits of `mask`.
HWY_INLINE Words Rotate(Octets s, const unsigned char (&table)[16], std::uint32_t mask) {
    const Octets rotated = hn::TableLookupBytes(s, Constant(table));
    return hn::And(hn::BitCast(InWords, rotated), hn::Set(InWords, mask));
}

HWY_INLINE Words G(Words x) {
    const Octets s = Substitute(hn::BitCast(InOctets, x));
    const Words same = hn::And(hn::BitCast(InWords, s), hn::Set(InWords, SeedField::MaskSameByte));
    const Words next = Rotate(s, NextByte, SeedField::MaskNextByte);
    const Words second = Rotate(s, SecondByte, SeedField::MaskSecondByte);
    const Words third = Rotate(s, ThirdByte, SeedField::MaskThirdByte);
    return hn::Xor(hn::Xor(same, next), hn::Xor(second, third));
}

struct Half {
    Words first, second;
};

HWY_INLINE Half Xor(const Half& a, const Half& b) {
    return {hn::Xor(a.first, b.first), hn::Xor(a.second, b.second)};
}

// A round of several sets of blocks. Each G waits for the one before, so they take turns: while the
// processor waits for one set, it has the others to work on.
template <std::size_t... I>
HWY_INLINE void Round(Half* changed, const Half* other, const std::uint32_t* key,
                      std::index_sequence<I...> /*sets*/) {
    const Half keys{hn::Set(InWords, key[0]), hn::Set(InWords, key[1])};
    Half mixed[] = {Xor(other[I], keys)...};
    ((mixed[I].second = G(hn::Xor(mixed[I].first, mixed[I].second))), ...);
    ((mixed[I].first = G(hn::Add(mixed[I].first, mixed[I].second))), ...);
    ((mixed[I].second = G(hn::Add(mixed[I].second, mixed[I].first))), ...);
    ((mixed[I].first = hn::Add(mixed[I].first, mixed[I].second)), ...);
    ((changed[I] = Xor(changed[I], mixed[I])), ...);
}

HWY_INLINE void Transpose(Words& a, Words& b, Words& c, Words& d) {
    const auto ab01 = hn::BitCast(InPairs, hn::InterleaveLower(InWords, a, b));
    const auto ab23 = hn::BitCast(InPairs, hn::InterleaveUpper(InWords, a, b));
    const auto cd01 = hn::BitCast(InPairs, hn::InterleaveLower(InWords, c, d));
    const auto cd23 = hn::BitCast(InPairs, hn::InterleaveUpper(InWords, c, d));
    a = hn::BitCast(InWords, hn::InterleaveLower(InPairs, ab01, cd01));
    b = hn::BitCast(InWords, hn::InterleaveUpper(InPairs, ab01, cd01));
    c = hn::BitCast(InWords, hn::InterleaveLower(InPairs, ab23, cd23));
    d = hn::BitCast(InWords, hn::InterleaveUpper(InPairs, ab23, cd23));
}

HWY_INLINE Words LoadWords(const unsigned char* bytes) {
    return hn::BitCast(InWords, hn::LoadU(InOctets, bytes));
}

HWY_INLINE void StoreWords(Words x, unsigned char* bytes) {
    hn::StoreU(hn::BitCast(InOctets, x), InOctets, bytes);
}

// A set is as many blocks as a vector has words: four vectors of four words of a block each, read
// as four vectors of one word each. Transposing twice changes nothing.
HWY_INLINE void Load(const unsigned char* bytes, Half& left, Half& right) {
    const std::size_t size = hn::Lanes(InOctets);
    left = {LoadWords(bytes), LoadWords(bytes + size)};
    right = {LoadWords(bytes + 2 * size), LoadWords(bytes + 3 * size)};
    Transpose(left.first, left.second, right.first, right.second);
}

// The halves are swapped once more at the end.
HWY_INLINE void Store(Half left, Half right, unsigned char* bytes) {
    const std::size_t size = hn::Lanes(InOctets);
    Transpose(right.first, right.second, left.first, left.second);
    StoreWords(right.first, bytes);
    StoreWords(right.second, bytes + size);
    StoreWords(left.first, bytes + 2 * size);
    StoreWords(left.second, bytes + 3 * size);
}

constexpr std::size_t SetCount = 4; // more gain nothing

template <std::size_t... I>
HWY_INLINE void CipherSets(unsigned char* bytes, SeedKeys keys, std::index_sequence<I...> sets) {
    const std::size_t setSize = 4 * hn::Lanes(InOctets);
    Half left[sizeof...(I)];
    Half right[sizeof...(I)];
    (Load(bytes + I * setSize, left[I], right[I]), ...);
    for (std::ptrdiff_t round = 0; round < SeedRoundCount; round += 2) {
        Round(left, right, keys.key + round * keys.step, sets);
        Round(right, left, keys.key + (round + 1) * keys.step, sets);
    }
    (Store(left[I], right[I], bytes + I * setSize), ...);
}

std::size_t Kernel(unsigned char* bytes, std::size_t count, SeedKeys keys) {
    const std::size_t blocksAtATime = SetCount * hn::Lanes(InWords);
    const std::size_t left = count % blocksAtATime;
    for (std::size_t done = 0; done != count - left; done += blocksAtATime)
        CipherSets(bytes + done * CryptoSize::SeedBlock, keys,
                   std::make_index_sequence<SetCount>());
    return count - left;
}

#endif

} // namespace

} // namespace Vorn::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace Vorn {

SeedKernel FindSeedKernelOfHighway(Route route) {
    switch (route) {
#if HWY_ARCH_X86
    case Route::Avx2:
        return HWY_CHOOSE_AVX2(Kernel);
    case Route::Avx512:
    case Route::Avx512Gfni:
        return HWY_CHOOSE_AVX3_DL(Kernel);
#elif HWY_ARCH_ARM
    case Route::Neon:
        return HWY_CHOOSE_NEON(Kernel);
#endif
    default:
        return nullptr;
    }
}

} // namespace Vorn

#endif
