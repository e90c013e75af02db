// SPDX-License-Identifier: MIT
// Integers as text against the C++ library's, sizes as text against the stated steps, and byte
// order against reversed bytes.

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>

#include <Bases/Text.h>
#include <Bases/Utility.h>

#include "support/Fuzz.h"

namespace {

template <typename T>
std::string Digits(T value, int radix) {
    char text[Vorn::IntegerTextSize];
    return {text, std::to_chars(std::begin(text), std::end(text), value, radix).ptr};
}

// Negative numbers have a sign in radix 10 only.
std::string Signed(long long value, int radix) {
    return radix == 10 ? Digits(value, 10) : Digits(static_cast<unsigned long long>(value), radix);
}

template <typename Char, typename T>
void TryForm(Char* (*convert)(T, Char*, int), T value, int radix, const std::string& expected) {
    Char buffer[Vorn::IntegerTextSize + 1];
    std::fill(std::begin(buffer), std::end(buffer), static_cast<Char>('~'));
    VornFuzz::Check(convert(value, buffer, radix) == buffer, "the pointer of an integer's text");
    VornFuzz::Check(std::equal(expected.begin(), expected.end(), buffer), "an integer's text");
    const Char* pEnd = buffer + expected.size();
    VornFuzz::Check(*pEnd == 0 && pEnd[1] == static_cast<Char>('~'), "its end");
}

void TryInteger(long long value, int radix) {
    const auto bits = static_cast<unsigned long long>(value);
    const auto low = static_cast<int>(value);
    TryForm(_i64toa, value, radix, Signed(value, radix));
    TryForm(_ltoa, static_cast<long>(value), radix, Signed(value, radix));
    TryForm(_itoa, low, radix, Signed(low, radix));
    TryForm(_ui64toa, bits, radix, Digits(bits, radix));
    TryForm(_ultoa, static_cast<unsigned long>(bits), radix, Digits(bits, radix));
    TryForm(Vorn::_i64tow, value, radix, Signed(value, radix));
    TryForm(Vorn::_ltow, static_cast<long>(value), radix, Signed(value, radix));
    TryForm(Vorn::_itow, low, radix, Signed(low, radix));
    TryForm(Vorn::_ui64tow, bits, radix, Digits(bits, radix));
    TryForm(Vorn::_ultow, static_cast<unsigned long>(bits), radix, Digits(bits, radix));
}

std::string Separated(std::string text) {
    const std::size_t point = text.find('.');
    const std::size_t start = point != std::string::npos ? point : text.size() - 1;
    if (start >= 2)
        text.insert(start - 2, ",");
    return text;
}

template <typename... Number>
void TrySizeText(const std::string& expected, std::size_t size, Number... number) {
    std::string text;
    VornFuzz::Check(Vorn::GetSizeFormat(text, number...) == 1, "GetSizeFormat");
    VornFuzz::Check(text == expected.substr(0, 254), "the string of GetSizeFormat");
    char buffer[300];
    std::memset(buffer, '~', sizeof buffer);
    VornFuzz::Check(Vorn::GetSizeFormat(buffer, size, number...) == (size > 0 ? 1 : 0),
                    "GetSizeFormat with a buffer");
    VornFuzz::Check(size == 0 || buffer == expected.substr(0, size - 1),
                    "the buffer of GetSizeFormat");
    VornFuzz::Check(buffer[size] == '~', "what lies behind it");
}

void TrySizes(long long value, double number, int precision, std::size_t size) {
    TrySizeText(Separated(std::to_string(value)), size, value);
    const std::string format = precision >= 0 ? "%f" : "%." + std::to_string(precision) + "f";
    char text[255];
// The format is the one that is stated.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(text, sizeof text, format.c_str(), number);
#pragma GCC diagnostic pop
    TrySizeText(Separated(text), size, number, precision);

    double scaled = 0;
    const int unit = Vorn::GetSizeUnit(value, scaled);
    auto expected = static_cast<double>(value);
    int divisions = 0;
    for (; divisions < 6 && expected >= 1024; ++divisions)
        expected /= 1024;
    VornFuzz::Check(unit == divisions && scaled == expected, "GetSizeUnit");
}

template <typename T, typename U>
T Reversed(U value) {
    auto bits = static_cast<T>(value);
    char bytes[sizeof bits];
    std::memcpy(bytes, &bits, sizeof bits);
    std::reverse(std::begin(bytes), std::end(bytes));
    std::memcpy(&bits, bytes, sizeof bits);
    return bits;
}

void TryByteOrder(unsigned long value) {
    const auto low = static_cast<unsigned short>(value);
    const auto reversed16 = Reversed<unsigned short>(low);
    const unsigned long reversed32 = Reversed<unsigned int>(value);
    const auto reversed64 = Reversed<unsigned long long>(value);
    VornFuzz::Check(Vorn::Endian::Swap16(low) == reversed16, "Swap16");
    VornFuzz::Check(Vorn::Endian::Swap32(value) == reversed32, "Swap32");
    VornFuzz::Check(Vorn::Endian::Swap64(value) == reversed64, "Swap64");

    const bool little = Vorn::Endian::IsLittleEndian() == 1;
    VornFuzz::Check(Vorn::Endian::tobe16(low) == (little ? reversed16 : low) &&
                        Vorn::Endian::tole16(low) == (little ? low : reversed16),
                    "16 bits");
    VornFuzz::Check(Vorn::Endian::tobe32(value) == (little ? reversed32 : value) &&
                        Vorn::Endian::tole32(value) == (little ? value : reversed32),
                    "32 bits");
    VornFuzz::Check(Vorn::Endian::tobe64(value) == (little ? reversed64 : value) &&
                        Vorn::Endian::tole64(value) == (little ? value : reversed64),
                    "64 bits");
}

} // namespace

void VornFuzz::Try(Input& input) {
    const int radix = static_cast<int>(input.Below(35)) + 2;
    const int precision = static_cast<int>(input.Byte()) - 128;
    const std::size_t size = input.Below(299);
    const int shift = static_cast<int>(input.Below(64));
    const long long value = input.Number<long long>() >> shift;
    TryInteger(value, radix);
    TryInteger(value, 10);
    TrySizes(value, input.Number<double>(), precision, size);
    TryByteOrder(static_cast<unsigned long>(value));
}
