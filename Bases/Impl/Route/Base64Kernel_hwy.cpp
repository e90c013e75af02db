// SPDX-License-Identifier: MIT
// The kernels of Base64 for every instruction set of Highway.
//
// A group of three bytes and its four characters take one lane of 32 bits. Within a lane the bits
// are moved by shifts and multiplications. The value of a character is found by adding an offset
// for its range of the alphabet, looked up by the upper half of the character.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Bases/Impl/Route/Base64Kernel_hwy.cpp"
#include <Bases/Impl/Route/Highway.h>
// After Highway.
#include <Bases/Impl/Route/Groups.h>

#include <cstdint>

#include <Bases/Impl/Route/Base64Kernel.h>

#ifndef VORN_BASES_IMPL_ROUTE_BASE64_KERNEL_HWY_TABLES
#define VORN_BASES_IMPL_ROUTE_BASE64_KERNEL_HWY_TABLES

namespace Vorn {

namespace {

// The offset from a value to its character. Values below 26 are looked up at 13, others at what is
// left of them above 51: 0 for the small letters, then one place for each digit and sign.
constexpr ByteTable OffsetToCharacter() {
    ByteTable table{};
    const auto offset = [](int value) {
        return static_cast<std::uint8_t>(Base64Alphabet[value] - value);
    };
    table.bytes[13] = offset(0);
    table.bytes[0] = offset(26);
    for (int value = 52; value < 64; ++value)
        table.bytes[value - 51] = offset(value);
    return table;
}

// The characters of the alphabet, by the upper half of their codes:
//     2: + and /     3: 0 to 9     4 and 6: all but 0     5 and 7: 0 to A
// Each such set of lower halves has a bit of its own; a character is in the alphabet when the bit
// of its upper half is not among those that exclude its lower half.
constexpr std::uint8_t SetOfUpperHalf(int upper) {
    switch (upper) {
    case 2:
        return 1;
    case 3:
        return 2;
    case 4:
    case 6:
        return 4;
    case 5:
    case 7:
        return 8;
    default:
        return 16;
    }
}

constexpr bool IsOfTheAlphabet(int character) {
    for (int value = 0; value < 64; ++value)
        if (Base64Alphabet[value] == character)
            return true;
    return false;
}

constexpr ByteTable SetsByUpperHalf() {
    ByteTable table{};
    for (int upper = 0; upper < 16; ++upper)
        table.bytes[upper] = SetOfUpperHalf(upper);
    return table;
}

constexpr ByteTable ExcludingSetsByLowerHalf() {
    ByteTable table{};
    for (int lower = 0; lower < 16; ++lower)
        for (int upper = 0; upper < 8; ++upper)
            if (!IsOfTheAlphabet(upper * 16 + lower))
                table.bytes[lower] |= SetOfUpperHalf(upper);
    return table;
}

// The offset from a character to its value, by its upper half; / is looked up one place before +.
constexpr ByteTable OffsetToValue() {
    ByteTable table{};
    for (int value = 0; value < 63; ++value)
        table.bytes[Base64Alphabet[value] / 16] =
            static_cast<std::uint8_t>(value - Base64Alphabet[value]);
    table.bytes['/' / 16 - 1] = static_cast<std::uint8_t>(63 - '/');
    return table;
}

constexpr ByteTable ToCharacter = OffsetToCharacter();
constexpr ByteTable UpperHalfSets = SetsByUpperHalf();
constexpr ByteTable LowerHalfExclusions = ExcludingSetsByLowerHalf();
constexpr ByteTable ToValue = OffsetToValue();

// Three bytes to a lane, the middle one twice, so that each half of the lane has the bits of two
// characters.
constexpr ByteTable GroupsIntoLanes{{1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10}};

} // namespace

} // namespace Vorn

#endif

HWY_BEFORE_NAMESPACE();

namespace Vorn::HWY_NAMESPACE {

namespace {

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

constexpr hn::Repartition<std::uint16_t, OctetTag> InHalves;

HWY_INLINE Octets Lookup(const ByteTable& table, Octets index) {
    return hn::TableLookupBytes(hn::LoadDup128(InOctets, table.bytes), index);
}

// The four values of each group, one to a byte: the first and third by a multiplication that moves
// them down, the second and fourth by one that moves them up.
HWY_INLINE Octets ValuesOf(Octets bytes) {
    const Octets groups = Shuffle(MoveLanes(bytes, Spread), GroupsIntoLanes);
    const auto outer = hn::And(hn::BitCast(InWords, groups), hn::Set(InWords, 0x0FC0FC00));
    const auto inner = hn::And(hn::BitCast(InWords, groups), hn::Set(InWords, 0x003F03F0));
    const auto down = hn::MulHigh(hn::BitCast(InHalves, outer),
                                  hn::BitCast(InHalves, hn::Set(InWords, 0x04000040)));
    const auto up =
        hn::Mul(hn::BitCast(InHalves, inner), hn::BitCast(InHalves, hn::Set(InWords, 0x01000010)));
    return hn::BitCast(InOctets, hn::Or(down, up));
}

HWY_INLINE Octets CharactersOf(Octets values) {
    const Octets above51 = hn::SaturatedSub(values, hn::Set(InOctets, 51));
    const auto isCapital = hn::Lt(values, hn::Set(InOctets, 26));
    const Octets range = hn::IfThenElse(isCapital, hn::Set(InOctets, 13), above51);
    return hn::Add(values, Lookup(ToCharacter, range));
}

std::size_t Encode(const unsigned char* bytes, std::size_t size, char* text) {
    const std::size_t vector = hn::Lanes(InOctets);
    const std::size_t bytesAtATime = vector / 4 * 3;
    std::size_t done = 0;
    for (; done + vector <= size; done += bytesAtATime, text += vector) {
        const Octets characters = CharactersOf(ValuesOf(hn::LoadU(InOctets, bytes + done)));
        hn::StoreU(characters, InOctets, reinterpret_cast<std::uint8_t*>(text));
    }
    return done;
}

// The three bytes of each group of four values, from the front of each block of 16 bytes on.
HWY_INLINE Octets BytesOf(Octets values) {
    const auto pairs = hn::BitCast(InHalves, values);
    const auto first = hn::And(hn::ShiftLeft<6>(pairs), hn::Set(InHalves, 0x0FC0));
    const auto twelveBits = hn::BitCast(InWords, hn::Or(first, hn::ShiftRight<8>(pairs)));
    // What the second pair leaves in the highest byte of each lane is of no interest.
    const auto groups = hn::Or(hn::ShiftLeft<12>(twelveBits), hn::ShiftRight<16>(twelveBits));
    return Shuffle(hn::BitCast(InOctets, groups), GroupsOutOfLanes);
}

std::size_t Decode(const char* text, std::size_t length, unsigned char* bytes) {
    const std::size_t vector = hn::Lanes(InOctets);
    std::size_t done = 0;
    for (; done + vector <= length; done += vector, bytes += vector / 4 * 3) {
        const Octets read = hn::LoadU(InOctets, reinterpret_cast<const std::uint8_t*>(text) + done);
        const Octets characters = hn::And(read, hn::Set(InOctets, 0x7F));
        const Octets upper = hn::ShiftRight<4>(characters);
        const Octets lower = hn::And(characters, hn::Set(InOctets, 0x0F));
        const Octets excluded =
            hn::And(Lookup(UpperHalfSets, upper), Lookup(LowerHalfExclusions, lower));
        if (!hn::AllTrue(InOctets, hn::Eq(excluded, hn::Zero(InOctets))))
            break;
        const Octets isSlash =
            hn::VecFromMask(InOctets, hn::Eq(characters, hn::Set(InOctets, '/')));
        const Octets values = hn::Add(characters, Lookup(ToValue, hn::Add(upper, isSlash)));
        hn::StoreU(MoveLanes(BytesOf(values), Close), InOctets, bytes);
    }
    return done;
}

#endif

} // namespace

} // namespace Vorn::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace Vorn {

Base64Kernels FindBase64KernelsOfHighway(Route route) {
    switch (route) {
#if HWY_ARCH_X86
    case Route::Sse4:
        return {HWY_CHOOSE_SSE4(Encode), HWY_CHOOSE_SSE4(Decode)};
    case Route::Avx2:
        return {HWY_CHOOSE_AVX2(Encode), HWY_CHOOSE_AVX2(Decode)};
    case Route::Avx512:
    case Route::Avx512Gfni:
        return {HWY_CHOOSE_AVX3_DL(Encode), HWY_CHOOSE_AVX3_DL(Decode)};
#elif HWY_ARCH_ARM
    case Route::Neon:
        return {HWY_CHOOSE_NEON(Encode), HWY_CHOOSE_NEON(Decode)};
#endif
    default:
        return {};
    }
}

} // namespace Vorn

#endif
