// SPDX-License-Identifier: MIT
// Concerns: the order of the machine the tests run on, whichever it is; every name of every width
// against bytes reversed in memory, and against the bytes that the order demands; the upper half of
// the 32-bit values, which is dropped or kept by order; that each name is a function of its own.
//
// The machine's order is the compiler's word here, so that a wrong answer of the library is seen.
#include <Bases/Utility.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace {

namespace Endian = Vorn::Endian;

static_assert(std::endian::native == std::endian::little ||
              std::endian::native == std::endian::big);
static_assert(sizeof(unsigned long) == 8, "the upper half is what the 32-bit tests are about");

constexpr bool LittleMachine = std::endian::native == std::endian::little;
constexpr unsigned int Seed = 20240613;

template <typename Value>
struct Conversion {
    const char* name;
    Value (*convert)(Value);
    std::endian order;
};

template <typename Value>
using Conversions = std::array<Conversion<Value>, 6>;

const Conversions<unsigned short> Of16 = {{{"tobe16", Endian::tobe16, std::endian::big},
                                           {"betoh16", Endian::betoh16, std::endian::big},
                                           {"hton16", Endian::hton16, std::endian::big},
                                           {"ntoh16", Endian::ntoh16, std::endian::big},
                                           {"tole16", Endian::tole16, std::endian::little},
                                           {"letoh16", Endian::letoh16, std::endian::little}}};

const Conversions<unsigned long> Of32 = {{{"tobe32", Endian::tobe32, std::endian::big},
                                          {"betoh32", Endian::betoh32, std::endian::big},
                                          {"hton32", Endian::hton32, std::endian::big},
                                          {"ntoh32", Endian::ntoh32, std::endian::big},
                                          {"tole32", Endian::tole32, std::endian::little},
                                          {"letoh32", Endian::letoh32, std::endian::little}}};

const Conversions<unsigned long long> Of64 = {{{"tobe64", Endian::tobe64, std::endian::big},
                                               {"betoh64", Endian::betoh64, std::endian::big},
                                               {"hton64", Endian::hton64, std::endian::big},
                                               {"ntoh64", Endian::ntoh64, std::endian::big},
                                               {"tole64", Endian::tole64, std::endian::little},
                                               {"letoh64", Endian::letoh64, std::endian::little}}};

static_assert(std::is_same_v<decltype(Endian::IsLittleEndian), int()>);
static_assert(std::is_same_v<decltype(Endian::IsBigEndian), int()>);
static_assert(std::is_same_v<decltype(Endian::Swap16), unsigned short(unsigned short)>);
static_assert(std::is_same_v<decltype(Endian::Swap32), unsigned long(unsigned long)>);
static_assert(std::is_same_v<decltype(Endian::Swap64), unsigned long long(unsigned long long)>);

template <typename Value>
Value ReversedInMemory(Value value) {
    std::array<unsigned char, sizeof(Value)> bytes{};
    std::memcpy(bytes.data(), &value, sizeof value);
    std::reverse(bytes.begin(), bytes.end());
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

unsigned long LowHalfReversed(unsigned long value) {
    return ReversedInMemory(static_cast<unsigned int>(value));
}

// Zero, each single bit, all bits, bytes that differ, and random values.
template <typename Value>
std::vector<Value> Samples() {
    std::vector<Value> samples = {0, std::numeric_limits<Value>::max(),
                                  static_cast<Value>(0x0123456789ABCDEFULL)};
    for (int bit = 0; bit < std::numeric_limits<Value>::digits; ++bit)
        samples.push_back(static_cast<Value>(Value{1} << bit));
    std::mt19937_64 random(Seed);
    for (int i = 0; i < 1000; ++i)
        samples.push_back(static_cast<Value>(random()));
    return samples;
}

template <typename Value>
void ExpectSwapsWhereOrdersDiffer(const Conversions<Value>& conversions, Value (*swapped)(Value)) {
    for (const Conversion<Value>& conversion : conversions) {
        SCOPED_TRACE(conversion.name);
        for (const Value value : Samples<Value>()) {
            const Value expected = conversion.order == std::endian::native ? value : swapped(value);
            ASSERT_EQ(expected, conversion.convert(value)) << std::hex << value << " seed " << Seed;
        }
    }
}

// The bytes of `value`, most significant first or last.
template <typename Value>
std::string BytesInOrder(Value value, std::size_t size, std::endian order) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        const std::size_t place = order == std::endian::little ? i : size - 1 - i;
        bytes += static_cast<char>(value >> (8 * place) & 0xFF);
    }
    return bytes;
}

template <typename Value>
void ExpectBytesOfTheOrder(const Conversions<Value>& conversions, Value value) {
    for (const Conversion<Value>& conversion : conversions) {
        const Value converted = conversion.convert(value);
        const std::string bytes(reinterpret_cast<const char*>(&converted), sizeof converted);
        EXPECT_EQ(BytesInOrder(value, sizeof value, conversion.order), bytes) << conversion.name;
    }
}

template <typename Value>
void ExpectOneFunctionForEachName(const Conversions<Value>& conversions) {
    std::set<Value (*)(Value)> functions;
    for (const Conversion<Value>& conversion : conversions)
        functions.insert(conversion.convert);
    EXPECT_EQ(conversions.size(), functions.size());
}

TEST(ByteOrder, IsTheMachines) {
    EXPECT_EQ(LittleMachine ? 1 : 0, Endian::IsLittleEndian());
    EXPECT_EQ(LittleMachine ? 0 : 1, Endian::IsBigEndian());
}

TEST(ByteSwap, ExchangesTheTwoBytesOfEverySixteenBitValue) {
    EXPECT_EQ(0x3412, Endian::Swap16(0x1234));
    for (unsigned int value = 0; value <= 0xFFFF; ++value) {
        const auto narrow = static_cast<unsigned short>(value);
        ASSERT_EQ(value % 256 * 256 + value / 256, Endian::Swap16(narrow)) << value;
    }
}

TEST(ByteSwap, ReversesTheLowFourBytesAndDropsTheUpperHalf) {
    EXPECT_EQ(0x78563412UL, Endian::Swap32(0x12345678UL));
    EXPECT_EQ(0x78563412UL, Endian::Swap32(0x0000000112345678UL));
    EXPECT_EQ(0UL, Endian::Swap32(0xFFFFFFFF00000000UL));
    EXPECT_EQ(0xFFFFFFFFUL, Endian::Swap32(0xFFFFFFFFFFFFFFFFUL));
    for (const unsigned long value : Samples<unsigned long>())
        ASSERT_EQ(LowHalfReversed(value), Endian::Swap32(value)) << std::hex << value;
}

TEST(ByteSwap, ReversesAllEightBytes) {
    EXPECT_EQ(0x0807060504030201ULL, Endian::Swap64(0x0102030405060708ULL));
    for (const unsigned long long value : Samples<unsigned long long>())
        ASSERT_EQ(ReversedInMemory(value), Endian::Swap64(value)) << std::hex << value;
}

TEST(ByteOrderConversion, SwapsWhereTheMachinesOrderDiffersWithEveryName) {
    ExpectSwapsWhereOrdersDiffer<unsigned short>(Of16, ReversedInMemory);
    ExpectSwapsWhereOrdersDiffer<unsigned long>(Of32, LowHalfReversed);
    ExpectSwapsWhereOrdersDiffer<unsigned long long>(Of64, ReversedInMemory);
}

TEST(ByteOrderConversion, GivesTheBytesThatTheOrderDemands) {
    ExpectBytesOfTheOrder<unsigned short>(Of16, 0x1234);
    ExpectBytesOfTheOrder<unsigned long long>(Of64, 0x0102030405060708ULL);
    for (const Conversion<unsigned long>& conversion : Of32) {
        const auto converted = static_cast<unsigned int>(conversion.convert(0x12345678UL));
        const std::string bytes(reinterpret_cast<const char*>(&converted), sizeof converted);
        EXPECT_EQ(BytesInOrder(0x12345678UL, 4, conversion.order), bytes) << conversion.name;
    }
}

TEST(ByteOrderConversion, GivesTheKnownValues) {
    EXPECT_EQ(LittleMachine ? 0x3412 : 0x1234, Endian::tobe16(0x1234));
    EXPECT_EQ(LittleMachine ? 0x1234 : 0x3412, Endian::tole16(0x1234));
    EXPECT_EQ(LittleMachine ? 0x0807060504030201ULL : 0x0102030405060708ULL,
              Endian::hton64(0x0102030405060708ULL));
}

TEST(ByteOrderConversion, DropsTheUpperHalfOf32BitsOnlyWhereItSwaps) {
    constexpr unsigned long Value = 0xFEDCBA9812345678UL;
    for (const Conversion<unsigned long>& conversion : Of32) {
        const bool swaps = conversion.order != std::endian::native;
        EXPECT_EQ(swaps ? 0x78563412UL : Value, conversion.convert(Value)) << conversion.name;
    }
}

TEST(ByteOrderConversion, IsAFunctionOfItsOwnForEachName) {
    ExpectOneFunctionForEachName(Of16);
    ExpectOneFunctionForEachName(Of32);
    ExpectOneFunctionForEachName(Of64);
}

} // namespace
