// SPDX-License-Identifier: MIT
// Integers as text in every radix, narrow and wide.

#include <Bases/Text.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdint>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

// These do not compile if the header gives the narrow forms another linkage than C's.
extern "C" {
char* _itoa(int value, char* buffer, int radix);
char* _ltoa(long value, char* buffer, int radix);
char* _ultoa(unsigned long value, char* buffer, int radix);
char* _i64toa(long long value, char* buffer, int radix);
char* _ui64toa(unsigned long long value, char* buffer, int radix);
}

namespace {

static_assert(std::is_same_v<decltype(&Vorn::_itow), wchar_t* (*)(int, wchar_t*, int)>);
static_assert(std::is_same_v<decltype(&Vorn::_ltow), wchar_t* (*)(long, wchar_t*, int)>);
static_assert(std::is_same_v<decltype(&Vorn::_ultow), wchar_t* (*)(unsigned long, wchar_t*, int)>);
static_assert(std::is_same_v<decltype(&Vorn::_i64tow), wchar_t* (*)(long long, wchar_t*, int)>);
static_assert(
    std::is_same_v<decltype(&Vorn::_ui64tow), wchar_t* (*)(unsigned long long, wchar_t*, int)>);

constexpr unsigned int Seed = 20240607;

// What the text has to be, from the standard library.
template <typename Integer>
std::string Digits(Integer value, int radix) {
    char text[80];
    const auto end = std::to_chars(text, text + sizeof text, value, radix).ptr;
    return {text, end};
}

std::string ExpectedSigned(long long value, int radix) {
    if (radix == 10)
        return Digits(value, radix);
    return Digits(static_cast<unsigned long long>(value), radix);
}

// Calls a function on a buffer that has guard characters on both sides of its start, and returns
// the text only when the pointer is the buffer's and no guard has changed.
template <typename Char, typename Integer>
std::string Written(Char* (*function)(Integer, Char*, int), Integer value, int radix) {
    constexpr Char Guard = 0x5A;
    constexpr std::ptrdiff_t Before = 8;
    std::vector<Char> area(100, Guard);
    Char* const buffer = area.data() + Before;
    if (function(value, buffer, radix) != buffer)
        return "another pointer";

    const auto terminator = std::find(area.begin() + Before, area.end(), Char());
    if (terminator == area.end())
        return "no terminator";
    if (std::count(area.begin(), area.begin() + Before, Guard) != Before)
        return "written before the buffer";
    if (std::count(terminator + 1, area.end(), Guard) != area.end() - terminator - 1)
        return "written behind the terminator";
    std::string text;
    for (auto c = area.begin() + Before; c != terminator; ++c)
        text += static_cast<char>(*c);
    return text;
}

// The 64-bit patterns worth trying in a radix: all powers of it and of two with their neighbours,
// which includes every extreme of every type, and a few of no pattern at all.
std::set<unsigned long long> Patterns(int radix) {
    std::set<unsigned long long> patterns;
    const auto add = [&](unsigned long long value) {
        for (const unsigned long long near : {value - 1, value, value + 1}) {
            patterns.insert(near);
            patterns.insert(0 - near);
        }
    };
    const auto base = static_cast<unsigned long long>(radix);
    unsigned long long power = 1;
    for (; power <= std::numeric_limits<unsigned long long>::max() / base; power *= base)
        add(power);
    add(power);
    for (unsigned int bit = 0; bit < 64; ++bit)
        add(1ULL << bit);
    std::mt19937_64 random(Seed);
    for (int i = 0; i < 50; ++i)
        patterns.insert(random() >> (random() % 64));
    return patterns;
}

// Concerns: the digits of every value in every radix, from an oracle of its own; a sign in radix 10
// only; int widened first; the same text in wide characters; no character written but the text and
// its terminator; which null buffer is answered by whom.

TEST(IntegerText, HoldsTheDigitsOfEveryUnsignedValueInEveryRadix) {
    for (int radix = 2; radix <= 36; ++radix)
        for (const unsigned long long value : Patterns(radix)) {
            SCOPED_TRACE(testing::Message() << value << " in radix " << radix << ", seed " << Seed);
            const std::string expected = Digits(value, radix);
            ASSERT_EQ(expected, Written(_ultoa, static_cast<unsigned long>(value), radix));
            ASSERT_EQ(expected, Written(_ui64toa, value, radix));
            ASSERT_EQ(expected, Written(Vorn::_ultow, static_cast<unsigned long>(value), radix));
            ASSERT_EQ(expected, Written(Vorn::_ui64tow, value, radix));
        }
}

TEST(IntegerText, HoldsTheDigitsOfEverySignedValueInEveryRadix) {
    for (int radix = 2; radix <= 36; ++radix)
        for (const unsigned long long pattern : Patterns(radix)) {
            const auto value = static_cast<long long>(pattern);
            SCOPED_TRACE(testing::Message() << value << " in radix " << radix << ", seed " << Seed);
            const std::string expected = ExpectedSigned(value, radix);
            ASSERT_EQ(expected, Written(_ltoa, static_cast<long>(value), radix));
            ASSERT_EQ(expected, Written(_i64toa, value, radix));
            ASSERT_EQ(expected, Written(Vorn::_ltow, static_cast<long>(value), radix));
            ASSERT_EQ(expected, Written(Vorn::_i64tow, value, radix));
        }
}

TEST(IntegerText, HoldsTheDigitsOfEveryIntWidenedToLong) {
    for (int radix = 2; radix <= 36; ++radix)
        for (const unsigned long long pattern : Patterns(radix)) {
            const auto value = static_cast<int>(pattern);
            SCOPED_TRACE(testing::Message() << value << " in radix " << radix << ", seed " << Seed);
            const std::string expected = ExpectedSigned(value, radix);
            ASSERT_EQ(expected, Written(_itoa, value, radix));
            ASSERT_EQ(expected, Written(Vorn::_itow, value, radix));
        }
}

TEST(IntegerText, IsTheTextThatIsWrittenOnPaper) {
    EXPECT_EQ("-255", Written(_ltoa, -255L, 10));
    EXPECT_EQ("ffffffffffffff01", Written(_ltoa, -255L, 16));
    EXPECT_EQ("ff", Written(_ultoa, 255UL, 16));
    EXPECT_EQ("0", Written(_ultoa, 0UL, 2));
    EXPECT_EQ("18446744073709551615", Written(_ui64toa, 18446744073709551615ULL, 10));
    EXPECT_EQ("-42", Written(Vorn::_i64tow, -42LL, 10));
    EXPECT_EQ("z", Written(_itoa, 35, 36));
}

TEST(IntegerText, GivesOneDigitForZeroInEveryRadix) {
    for (int radix = 2; radix <= 36; ++radix) {
        EXPECT_EQ("0", Written(_itoa, 0, radix));
        EXPECT_EQ("0", Written(Vorn::_itow, 0, radix));
    }
}

TEST(IntegerText, HasASignInRadixTenOnly) {
    EXPECT_EQ("-1", Written(_itoa, -1, 10));
    EXPECT_EQ("5e8g4ggg7g56dif", Written(_itoa, -1, 21));
    EXPECT_EQ("1777777777777777777777", Written(Vorn::_itow, -1, 8));
}

TEST(IntegerText, ShowsANegativeIntAsSixtyFourBits) {
    EXPECT_EQ("ffffffffffffffff", Written(_itoa, -1, 16));
    EXPECT_EQ("ffffffffffffffff", Written(Vorn::_itow, -1, 16));
    EXPECT_EQ("ffffffff80000000", Written(_itoa, INT_MIN, 16));
}

TEST(IntegerText, NegatesTheSmallestValuesWithoutOverflow) {
    EXPECT_EQ("-9223372036854775808", Written(_ltoa, LONG_MIN, 10));
    EXPECT_EQ("-9223372036854775808", Written(_i64toa, LLONG_MIN, 10));
    EXPECT_EQ("-9223372036854775808", Written(Vorn::_ltow, LONG_MIN, 10));
    EXPECT_EQ("-9223372036854775808", Written(Vorn::_i64tow, LLONG_MIN, 10));
    EXPECT_EQ("-2147483648", Written(_itoa, INT_MIN, 10));
}

TEST(IntegerText, HoldsSixtyFourBinaryDigits) {
    EXPECT_EQ(std::string(64, '1'), Written(_itoa, -1, 2));
    EXPECT_EQ(std::string(64, '1'), Written(_ltoa, -1L, 2));
    EXPECT_EQ(std::string(64, '1'), Written(_ultoa, ULONG_MAX, 2));
    EXPECT_EQ("1" + std::string(63, '0'), Written(Vorn::_ltow, LONG_MIN, 2));
}

TEST(IntegerText, ContinuesAfterTheLetterZAboveRadixThirtySix) {
    EXPECT_EQ("{", Written(_itoa, 36, 37));
    EXPECT_EQ("1~", Written(_itoa, 79, 40));
    EXPECT_EQ("{", Written(Vorn::_itow, 36, 37));
}

TEST(IntegerText, AnswersANullBufferOfTheUnsignedLongFormBeforeTheRadix) {
    EXPECT_EQ(nullptr, _ultoa(5, nullptr, 10));
    EXPECT_EQ(nullptr, _ultoa(5, nullptr, 0));
}

TEST(IntegerText, AnswersANullBufferOfEveryWideForm) {
    EXPECT_EQ(nullptr, Vorn::_itow(7, nullptr, 10));
    EXPECT_EQ(nullptr, Vorn::_ltow(7, nullptr, 10));
    EXPECT_EQ(nullptr, Vorn::_ultow(7, nullptr, 10));
    EXPECT_EQ(nullptr, Vorn::_i64tow(7, nullptr, 10));
    EXPECT_EQ(nullptr, Vorn::_ui64tow(7, nullptr, 10));
}

} // namespace
