// SPDX-License-Identifier: MIT
// Concerns: where the unit changes, up to values that a double cannot hold exactly; where the one
// separator goes, for every kind of text that the C library can print, failure included; what a
// buffer of any size holds afterwards, after the text and beyond the buffer; the string forms.
#include <Bases/Text.h>

#include <cerrno>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fault/Platform.h"
#include "support/Locale.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::GetSizeFormat;
using Vorn::GetSizeUnit;

constexpr unsigned int Seed = 20240611;
constexpr double Infinity = std::numeric_limits<double>::infinity();

// The rule step by step: count down from the "." or the last character, and insert at three.
std::string Separated(std::string s) {
    const std::size_t point = s.find('.');
    long index = static_cast<long>(point == std::string::npos ? s.size() - 1 : point);
    for (int counter = 1; index >= 0; --index, ++counter) {
        if (counter == 3)
            s.insert(static_cast<std::size_t>(index), 1, ',');
    }
    return s;
}

std::string Printed(const char* format, double value) {
    char text[512] = {};
    const int length = std::snprintf(text, sizeof text, format, value);
    EXPECT_GT(static_cast<int>(sizeof text), length);
    return std::string(text).substr(0, 254);
}

std::string PrintedWithNegative(int precision, double value) {
    return Printed(("%." + std::to_string(precision) + "f").c_str(), value);
}

std::string Format(long long value) {
    std::string out = "old";
    EXPECT_EQ(1, GetSizeFormat(out, value));
    return out;
}

std::string Format(double value, int precision) {
    std::string out = "old";
    EXPECT_EQ(1, GetSizeFormat(out, value, precision));
    return out;
}

// What is made of a text that the C library prints.
std::string FormatOfText(const char* text) {
    Platform::snprintf.Do([text](char* buffer, std::size_t size, const char*, std::va_list*) {
        return snprintf(buffer, size, "%s", text);
    });
    std::string out = "old";
    GetSizeFormat(out, 1.0, 0);
    Platform::snprintf.Reset();
    return out;
}

// A buffer between guard bytes, filled before the call.
class GuardedBuffer {
public:
    explicit GuardedBuffer(std::size_t size) : m_bytes(size + 2 * GuardSize, Filling) {}
    char* Data() { return m_bytes.data() + GuardSize; }
    std::size_t Size() const { return m_bytes.size() - 2 * GuardSize; }

    bool HoldsOnly(const std::string& fullText) const {
        std::string expected = fullText.substr(0, Size() - 1);
        expected.resize(Size(), '\0');
        return Content() == expected && GuardsAreUntouched();
    }

    bool IsUntouched() const {
        return Content() == std::string(Size(), Filling) && GuardsAreUntouched();
    }

private:
    static constexpr std::size_t GuardSize = 16;
    static constexpr char Filling = '\x5A';

    std::string Content() const { return {m_bytes.data() + GuardSize, Size()}; }

    bool GuardsAreUntouched() const {
        const std::string guard(GuardSize, Filling);
        return std::string(m_bytes.data(), GuardSize) == guard &&
               std::string(m_bytes.data() + GuardSize + Size(), GuardSize) == guard;
    }

    std::vector<char> m_bytes;
};

constexpr long long Kibi = 1024;
constexpr long long Powers[] = {1,
                                Kibi,
                                Kibi* Kibi,
                                Kibi* Kibi* Kibi,
                                Kibi* Kibi* Kibi* Kibi,
                                Kibi* Kibi* Kibi* Kibi* Kibi,
                                Kibi* Kibi* Kibi* Kibi* Kibi* Kibi};

void ExpectUnit(long long bytes, int unit, double scaled) {
    double result = -77;
    EXPECT_EQ(unit, GetSizeUnit(bytes, result)) << bytes;
    EXPECT_EQ(scaled, result) << bytes;
}

TEST(SizeUnit, ChangesAtExactly1024) {
    ExpectUnit(0, 0, 0);
    ExpectUnit(1, 0, 1);
    ExpectUnit(1023, 0, 1023);
    ExpectUnit(1024, 1, 1);
    ExpectUnit(1025, 1, 1025.0 / 1024);
    ExpectUnit(1536, 1, 1.5);
}

TEST(SizeUnit, ChangesAtEveryPowerOf1024) {
    for (int unit = 1; unit <= 6; ++unit) {
        ExpectUnit(Powers[unit], unit, 1);
        ExpectUnit(Powers[unit] + Powers[unit] / 2, unit, 1.5);
    }
    for (int unit = 1; unit <= 5; ++unit) {
        const long long oneLess = Powers[unit] - 1;
        const double below = static_cast<double>(Powers[unit - 1]);
        ExpectUnit(oneLess, unit - 1, static_cast<double>(oneLess) / below);
    }
}

TEST(SizeUnit, CountsAsADoubleSoThatACountJustBelowAnExbibyteIsOne) {
    ExpectUnit(Powers[6] - 1, 6, 1);
    ExpectUnit(Powers[6] - 128, 5, 1024 - std::ldexp(1, -43)); // the double before 2^60
}

TEST(SizeUnit, StopsAtExbibytes) {
    ExpectUnit(7 * Powers[6], 6, 7);
    ExpectUnit(LLONG_MAX, 6, 8);
}

TEST(SizeUnit, KeepsANegativeCountInBytes) {
    ExpectUnit(-1, 0, -1);
    ExpectUnit(-1024, 0, -1024);
    ExpectUnit(-5000000, 0, -5000000);
    ExpectUnit(LLONG_MIN, 0, -std::ldexp(1, 63));
}

TEST(SizeUnit, DividesAnyCountByTheUnitItReturns) {
    std::mt19937_64 random(Seed);
    for (int i = 0; i < 20000; ++i) {
        const unsigned long bits = random();
        const long long bytes = static_cast<long long>(bits >> (1 + random() % 63));
        double scaled = -1;
        const int unit = GetSizeUnit(bytes, scaled);
        ASSERT_TRUE(unit >= 0 && unit <= 6) << "seed " << Seed << " bytes " << bytes;
        EXPECT_EQ(static_cast<double>(bytes), std::ldexp(scaled, 10 * unit)) << bytes;
        EXPECT_TRUE(unit == 0 || scaled >= 1) << "seed " << Seed << " bytes " << bytes;
        EXPECT_TRUE(unit == 6 ? scaled <= 8 : scaled < 1024) << "seed " << Seed << ' ' << bytes;
    }
}

TEST(SizeFormat, PutsOneSeparatorBeforeTheThirdCharacterFromTheEnd) {
    EXPECT_EQ("1,234", Format(1234));
    EXPECT_EQ("1234,567", Format(1234567));
    EXPECT_EQ("9223372036854775,807", Format(LLONG_MAX));
    EXPECT_EQ("-9223372036854775,808", Format(LLONG_MIN));
}

TEST(SizeFormat, PutsTheSeparatorBeforeTheFirstOfThreeCharacters) {
    EXPECT_EQ(",123", Format(123));
    EXPECT_EQ(",999", Format(999));
    EXPECT_EQ(",-12", Format(-12));
}

TEST(SizeFormat, PutsTheSeparatorAfterASign) { EXPECT_EQ("-,123", Format(-123)); }

TEST(SizeFormat, HasNoSeparatorBelowThreeCharacters) {
    EXPECT_EQ("0", Format(0));
    EXPECT_EQ("12", Format(12));
    EXPECT_EQ("-1", Format(-1));
}

TEST(SizeFormat, FollowsTheRuleForEverySmallInteger) {
    for (long long value = -11000; value <= 11000; ++value)
        ASSERT_EQ(Separated(std::to_string(value)), Format(value));
}

TEST(SizeFormat, FollowsTheRuleForRandomIntegers) {
    std::mt19937_64 random(Seed);
    for (int i = 0; i < 20000; ++i) {
        const long long bits = static_cast<long long>(random());
        const long long value = bits >> random() % 64;
        ASSERT_EQ(Separated(std::to_string(value)), Format(value)) << "seed " << Seed;
    }
}

TEST(SizeFormat, CountsFromTheDecimalPointOfAFloatingPointValue) {
    EXPECT_EQ("12,34.500000", Format(1234.5, 2));
    EXPECT_EQ("9,99.000000", Format(999, 0));
    EXPECT_EQ(",10.250000", Format(10.25, 0));
    EXPECT_EQ(",-0.000000", Format(-0.0, 0));
    EXPECT_EQ("-,12.000000", Format(-12, 0));
    EXPECT_EQ("0.500000", Format(0.5, 0));
}

TEST(SizeFormat, HasSixDecimalsForEveryPrecisionFromZeroOn) {
    for (const int precision : {0, 1, 2, 6, 17, 400, INT_MAX})
        EXPECT_EQ("12,34.567890", Format(1234.56789, precision)) << precision;
}

TEST(SizeFormat, SeparatesLettersLikeDigits) {
    EXPECT_EQ(",inf", Format(Infinity, 0));
    EXPECT_EQ("-,inf", Format(-Infinity, 0));
    EXPECT_EQ(",nan", Format(std::numeric_limits<double>::quiet_NaN(), 0));
}

TEST(SizeFormat, FollowsTheRuleForRandomFloatingPointValues) {
    std::mt19937_64 random(Seed);
    for (int i = 0; i < 10000; ++i) {
        const unsigned long bits = random();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        const std::string expected = Separated(Printed("%f", value));
        ASSERT_EQ(expected.substr(0, 254), Format(value, i)) << "seed " << Seed << " call " << i;
    }
}

TEST(SizeFormat, PrintsANegativePrecisionAsTheCLibraryDoes) {
    const int precisions[] = {-1, -2, -3, -10, -255, -99999, INT_MIN + 1, INT_MIN};
    const double values[] = {0, 1, -1, 1234.5, 1234567.891, -0.001, 1e300, Infinity, -Infinity};
    for (const int precision : precisions) {
        for (const double value : values)
            EXPECT_EQ(Separated(PrintedWithNegative(precision, value)), Format(value, precision))
                << value << ' ' << precision;
    }
}

#ifdef __GLIBC__
TEST(SizeFormat, PrintsTheFormatItselfForANegativePrecision) {
    EXPECT_EQ("%.0-3f", Format(1234.5, -3));
    EXPECT_EQ("%.0-2147483648f", Format(1234.5, INT_MIN));
}
#endif

TEST(SizeFormat, CutsTheTextOfAHugeValueBeforeItSeparates) {
    for (const double value : {1e246, 1e247, 1e250, 1e253, 1e254, 1e300, DBL_MAX, -DBL_MAX}) {
        const std::string expected = Separated(Printed("%f", value));
        GuardedBuffer buffer(400);
        EXPECT_EQ(1, GetSizeFormat(buffer.Data(), buffer.Size(), value, 0));
        EXPECT_TRUE(buffer.HoldsOnly(expected)) << value << ": " << buffer.Data();
        EXPECT_EQ(expected.substr(0, 254), Format(value, 0));
    }
}

TEST(SizeFormat, KeepsThreeDigitsAfterTheSeparatorOfAHugeValue) {
    char text[400];
    ASSERT_EQ(1, GetSizeFormat(text, sizeof text, 1e300, 0));
    EXPECT_EQ(255U, std::strlen(text));
    EXPECT_EQ(text + 251, std::strchr(text, ','));
    EXPECT_EQ(nullptr, std::strchr(text, '.'));
    const std::string asString = Format(1e300, 0);
    EXPECT_EQ(std::string(text, 254), asString);
}

class SizeFormatInALocale : public VornTest::LocaleTest {};

TEST_F(SizeFormatInALocale, SeparatesTheDecimalsWhereTheDecimalPointIsAComma) {
    SetCLocale(VornTest::Latin1Locale);
    EXPECT_EQ("1234,500,000", Format(1234.5, 2));
    EXPECT_EQ("1234,567", Format(1234567));
}

TEST(SizeFormat, CountsFromTheFirstOfSeveralPoints) {
    EXPECT_EQ("12,34.567.890", FormatOfText("1234.567.890"));
    EXPECT_EQ(",12.567", FormatOfText("12.567"));
    EXPECT_EQ("1.567", FormatOfText("1.567"));
    EXPECT_EQ(".567", FormatOfText(".567"));
}

TEST(SizeFormat, FollowsTheRuleForEveryShortText) {
    for (const char* text : {"1", "12", "123", "1234", ".", "..", "...", "1.", "12.", "123."})
        EXPECT_EQ(Separated(text), FormatOfText(text));
}

TEST(SizeFormat, LeavesAnEmptyTextWithoutSeparator) {
    Platform::snprintf.Fail(ENOMEM);
    std::string out = "old";
    GetSizeFormat(out, 1.0, 0);
    EXPECT_EQ("", out);
    for (const std::size_t size : {1U, 2U, 40U}) {
        GuardedBuffer buffer(size);
        EXPECT_EQ(1, GetSizeFormat(buffer.Data(), size, 1234.5, 0));
        EXPECT_TRUE(buffer.HoldsOnly(""));
    }
}

TEST(SizeFormat, CutsAnIntegerToTheBufferAndFillsTheRestWithZeros) {
    for (const long long value : {0LL, 12LL, 999LL, 12345LL, -123LL, LLONG_MAX, LLONG_MIN}) {
        for (std::size_t size = 1; size <= 40; ++size) {
            GuardedBuffer buffer(size);
            EXPECT_EQ(1, GetSizeFormat(buffer.Data(), size, value));
            EXPECT_TRUE(buffer.HoldsOnly(Separated(std::to_string(value)))) << value << ' ' << size;
        }
    }
}

TEST(SizeFormat, CutsAFloatingPointValueToTheBufferAndFillsTheRestWithZeros) {
    for (const double value : {0.0, 1234.5, -99999.875, 1e30, -Infinity}) {
        for (std::size_t size = 1; size <= 40; ++size) {
            GuardedBuffer buffer(size);
            EXPECT_EQ(1, GetSizeFormat(buffer.Data(), size, value, 3));
            EXPECT_TRUE(buffer.HoldsOnly(Separated(Printed("%f", value)))) << value << ' ' << size;

            GuardedBuffer odd(size);
            EXPECT_EQ(1, GetSizeFormat(odd.Data(), size, value, -3));
            EXPECT_TRUE(odd.HoldsOnly(Separated(PrintedWithNegative(-3, value)))) << size;
        }
    }
}

TEST(SizeFormat, GivesTheBeginningInASmallBuffer) {
    char text[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(1, GetSizeFormat(text, sizeof text, 12345));
    EXPECT_STREQ("12,", text);
    EXPECT_EQ(1, GetSizeFormat(text, 1, 12345));
    EXPECT_STREQ("", text);
    EXPECT_EQ('2', text[1]);
}

TEST(SizeFormat, RefusesANullBufferAndASizeOfZero) {
    EXPECT_EQ(0, GetSizeFormat(nullptr, 40, 1234));
    EXPECT_EQ(0, GetSizeFormat(nullptr, 40, 1234.5, 2));
    EXPECT_EQ(0, GetSizeFormat(nullptr, 0, 1234));
    GuardedBuffer buffer(8);
    EXPECT_EQ(0, GetSizeFormat(buffer.Data(), 0, 1234));
    EXPECT_EQ(0, GetSizeFormat(buffer.Data(), 0, 1234.5, 2));
    EXPECT_EQ(0, GetSizeFormat(buffer.Data(), 0, 1234.5, -2));
    EXPECT_TRUE(buffer.IsUntouched());
}

TEST(SizeFormat, ReplacesTheStringsContent) {
    std::string out(500, 'x');
    EXPECT_EQ(1, GetSizeFormat(out, 1234567));
    EXPECT_EQ("1234,567", out);
    EXPECT_EQ(1, GetSizeFormat(out, 1234.5, 2));
    EXPECT_EQ("12,34.500000", out);
}

} // namespace
