// SPDX-License-Identifier: MIT
// The kernels of Base64 for AVX-512 with VBMI, whose instructions look up bytes in tables of 64 and
// 128, move bytes anywhere in a vector and extract eight bits from any position of a word. Highway
// lacks these instructions.

#include <Bases/Impl/Route/Base64Kernel.h>

#include <algorithm>
#include <cstdint>

#include <immintrin.h>

namespace Vorn {

namespace {

using Octets = __m512i;

constexpr std::size_t VectorSize = 64;
constexpr std::size_t BytesAtATime = 48;

struct alignas(64) Table {
    std::uint8_t bytes[64];
};

Octets Load(const void* bytes) { return _mm512_loadu_si512(bytes); }

// The first so many bytes of a vector, at least one.
__mmask64 First(std::size_t count) { return ~__mmask64{0} >> (VectorSize - count); }

// Three bytes to each lane of 32 bits, the middle one twice: see Base64Kernel_hwy.cpp.
constexpr Table GroupsIntoLanes() {
    Table table{};
    for (unsigned lane = 0; lane < 16; ++lane) {
        const unsigned group = 3 * lane;
        const unsigned order[] = {group + 1, group, group + 2, group + 1};
        for (unsigned i = 0; i < 4; ++i)
            table.bytes[4 * lane + i] = static_cast<std::uint8_t>(order[i]);
    }
    return table;
}

// The three bytes of each lane, highest first, without gaps.
constexpr Table GroupsOutOfLanes() {
    Table table{};
    for (unsigned lane = 0; lane < 16; ++lane)
        for (unsigned i = 0; i < 3; ++i)
            table.bytes[3 * lane + i] = static_cast<std::uint8_t>(4 * lane + 2 - i);
    return table;
}

// From which bit on each character's value lies in the eight bytes of two lanes.
constexpr Table FirstBits() {
    Table table{};
    for (unsigned i = 0; i < VectorSize; i += 8) {
        const std::uint8_t bits[] = {10, 4, 22, 16, 42, 36, 54, 48};
        for (unsigned k = 0; k < 8; ++k)
            table.bytes[i + k] = bits[k];
    }
    return table;
}

constexpr std::uint8_t NoValue = 0x80;

// The values of 64 characters from `first` on; NoValue for what is not in the alphabet.
constexpr Table ValuesFrom(char first) {
    Table table{};
    for (std::uint8_t& byte : table.bytes)
        byte = NoValue;
    for (unsigned value = 0; value < 64; ++value) {
        const int place = Base64Alphabet[value] - first;
        if (place >= 0 && place < 64)
            table.bytes[place] = static_cast<std::uint8_t>(value);
    }
    return table;
}

constexpr Table Into = GroupsIntoLanes();
constexpr Table OutOf = GroupsOutOfLanes();
constexpr Table Bits = FirstBits();
constexpr Table LowValues = ValuesFrom(0);
constexpr Table HighValues = ValuesFrom(64);

} // namespace

std::size_t Base64EncodeKernelOfVbmi(const unsigned char* bytes, std::size_t size, char* text) {
    const Octets into = Load(Into.bytes);
    const Octets bits = Load(Bits.bytes);
    const Octets alphabet = Load(Base64Alphabet);
    const auto encode = [&](Octets source) {
        const Octets lanes = _mm512_permutexvar_epi8(into, source);
        const Octets values = _mm512_multishift_epi64_epi8(bits, lanes); // two bits too many
        return _mm512_permutexvar_epi8(values, alphabet);                // looks at six
    };
    std::size_t done = 0;
    for (; done + VectorSize <= size; done += BytesAtATime, text += VectorSize)
        _mm512_storeu_si512(text, encode(Load(bytes + done)));
    // The rest, at most two vectors of it, in parts.
    for (std::size_t part = 0; size - done >= 3; done += part, text += part / 3 * 4) {
        part = std::min((size - done) / 3 * 3, BytesAtATime);
        _mm512_mask_storeu_epi8(text, First(part / 3 * 4),
                                encode(_mm512_maskz_loadu_epi8(First(part), bytes + done)));
    }
    return done;
}

std::size_t Base64DecodeKernelOfVbmi(const char* text, std::size_t length, unsigned char* bytes) {
    const Octets low = Load(LowValues.bytes);
    const Octets high = Load(HighValues.bytes);
    const Octets outOf = Load(OutOf.bytes);
    const Octets pairFactors = _mm512_set1_epi32(0x01400140);
    const Octets groupFactors = _mm512_set1_epi32(0x00011000);
    std::size_t done = 0;
    for (; done + VectorSize <= length; done += VectorSize, bytes += BytesAtATime) {
        // Looks at the lower seven bits of each character.
        const Octets values = _mm512_permutex2var_epi8(low, Load(text + done), high);
        if (_mm512_movepi8_mask(values) != 0)
            break;
        const Octets pairs = _mm512_maddubs_epi16(values, pairFactors);
        const Octets groups = _mm512_madd_epi16(pairs, groupFactors);
        _mm512_storeu_si512(bytes, _mm512_permutexvar_epi8(outOf, groups));
    }
    return done;
}

} // namespace Vorn
