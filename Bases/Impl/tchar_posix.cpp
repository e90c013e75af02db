// SPDX-License-Identifier: MIT
// Integers as narrow and wide text in any radix.

#include <Bases/Text.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

namespace {

static_assert(sizeof(long) == sizeof(long long), "one conversion serves both widths");

using Magnitude = unsigned long long;

// --- Any radix -----------------------------------------------------------------------------------

// One digit for each bit in radix 2, and the terminating zero. The sign fits: only radix 10 has
// one.
constexpr std::size_t WorkSize = std::numeric_limits<Magnitude>::digits + 1;

template <typename Char>
Char Digit(Magnitude digit) {
    return static_cast<Char>(digit < 10 ? '0' + digit : 'a' + (digit - 10));
}

// The text in a work area, filled from its end.
template <typename Char>
class IntegerText {
public:
    IntegerText(Magnitude magnitude, bool negative, int radix) {
        const auto base = static_cast<Magnitude>(radix);
        *m_pBegin = 0;
        do {
            *--m_pBegin = Digit<Char>(magnitude % base);
            magnitude /= base;
        } while (magnitude != 0);
        if (negative)
            *--m_pBegin = static_cast<Char>('-');
    }
    ~IntegerText() = default;
    IntegerText(const IntegerText&) = delete;
    IntegerText& operator=(const IntegerText&) = delete;

    Char* CopyTo(Char* buffer) const {
        const auto size = static_cast<std::size_t>(m_work + WorkSize - m_pBegin);
        std::char_traits<Char>::copy(buffer, m_pBegin, size);
        return buffer;
    }

private:
    Char m_work[WorkSize];
    Char* m_pBegin = m_work + WorkSize - 1;
};

// --- Radix 10, two digits at a time --------------------------------------------------------------

using DigitPairs = std::array<std::array<char, 2>, 100>;

constexpr DigitPairs PairTable() {
    DigitPairs pairs{};
    for (unsigned i = 0; i < pairs.size(); ++i)
        pairs[i] = {static_cast<char>('0' + i / 10), static_cast<char>('0' + i % 10)};
    return pairs;
}

constexpr DigitPairs Pairs = PairTable();

constexpr std::array<Magnitude, 20> PowersOfTen() {
    std::array<Magnitude, 20> powers{1};
    for (std::size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}

constexpr std::array<Magnitude, 20> Powers = PowersOfTen();

// 1233 / 4096 is a little more than the digits that a bit is worth; the table corrects it.
int CountDecimalDigits(Magnitude magnitude) {
    const int estimate = static_cast<int>(std::bit_width(magnitude | 1)) * 1233 >> 12;
    return estimate + (magnitude >= Powers[static_cast<std::size_t>(estimate)] || magnitude == 0);
}

void WritePair(char* text, Magnitude pair) { std::memcpy(text, Pairs[pair].data(), 2); }

// Writes the digits, from the last one on, and the terminating zero after them.
void WriteDecimal(Magnitude magnitude, char* text) {
    char* end = text + CountDecimalDigits(magnitude);
    *end = '\0';
    while (magnitude >= 10000) {
        const Magnitude rest = magnitude % 10000;
        magnitude /= 10000;
        end -= 4;
        WritePair(end, rest / 100);
        WritePair(end + 2, rest % 100);
    }
    if (magnitude >= 100) {
        end -= 2;
        WritePair(end, magnitude % 100);
        magnitude /= 100;
    }
    if (magnitude >= 10)
        WritePair(end - 2, magnitude);
    else
        end[-1] = static_cast<char>('0' + magnitude);
}

// --- Radix 16, eight digits at a time ------------------------------------------------------------

// The eight digits of a word, one to a byte in the order of the text: the word's halves are moved
// apart, then the bytes, then the digits, and all eight become characters with one addition each.
struct EightDigits {
    char text[sizeof(std::uint64_t)];

    explicit EightDigits(std::uint32_t word) {
        constexpr std::uint64_t Each = 0x0101010101010101;
        std::uint64_t digits = word;
        digits = (digits | digits << 16) & 0x0000FFFF0000FFFF;
        digits = (digits | digits << 8) & 0x00FF00FF00FF00FF;
        digits = (digits | digits << 4) & 0x0F0F0F0F0F0F0F0F;
        const std::uint64_t isLetter = (digits + 6 * Each) >> 4 & Each;
        std::uint64_t characters = digits + '0' * Each + isLetter * ('a' - '0' - 10);
        if constexpr (std::endian::native == std::endian::little)
            characters = __builtin_bswap64(characters);
        std::memcpy(text, &characters, sizeof text);
    }
};

// The first and the last digits are written in one piece each, which overlap where that is more
// than there are. Not inlined, so that the other radices need not save its many registers.
[[gnu::noinline]] void WriteHexadecimal(Magnitude magnitude, char* text) {
    const int count = (static_cast<int>(std::bit_width(magnitude | 1)) + 3) / 4;
    const EightDigits last(static_cast<std::uint32_t>(magnitude));
    const EightDigits first(static_cast<std::uint32_t>(magnitude << (64 - 4 * count) >> 32));
    text[count] = '\0';
    if (count >= 8) {
        std::memcpy(text, first.text, sizeof first.text);
        std::memcpy(text + count - 8, last.text, sizeof last.text);
    } else if (count >= 4) {
        std::memcpy(text, first.text, 4);
        std::copy(last.text + 4, std::end(last.text), text + count - 4);
    } else {
        text[0] = first.text[0];
        text[count / 2] = first.text[1];
        text[count - 1] = last.text[7]; // in the same place as the one before if there are fewer
    }
}

// --- The choice ----------------------------------------------------------------------------------

// Not inlined: its work area would cost the two usual radices a frame of that size.
[[gnu::noinline]] char* WriteInAnyRadix(Magnitude magnitude, char* buffer, int radix) {
    return IntegerText<char>(magnitude, false, radix).CopyTo(buffer);
}

char* WriteUnsigned(Magnitude magnitude, char* buffer, int radix) {
    if (radix == 10)
        WriteDecimal(magnitude, buffer);
    else if (radix == 16)
        WriteHexadecimal(magnitude, buffer);
    else
        WriteInAnyRadix(magnitude, buffer, radix);
    return buffer;
}

// Only radix 10 has a sign; every other radix shows the bit pattern.
char* WriteSigned(long long value, char* buffer, int radix) {
    const auto pattern = static_cast<Magnitude>(value);
    if (value >= 0 || radix != 10)
        return WriteUnsigned(pattern, buffer, radix);
    *buffer = '-';
    WriteDecimal(0 - pattern, buffer + 1);
    return buffer;
}

// The wide forms check the buffer only after the conversion.
wchar_t* WriteUnlessNull(Magnitude magnitude, bool negative, wchar_t* buffer, int radix) {
    const IntegerText<wchar_t> text(magnitude, negative, radix);
    return buffer == nullptr ? nullptr : text.CopyTo(buffer);
}

wchar_t* WriteSignedUnlessNull(long long value, wchar_t* buffer, int radix) {
    const auto pattern = static_cast<Magnitude>(value);
    const bool negative = value < 0 && radix == 10;
    return WriteUnlessNull(negative ? 0 - pattern : pattern, negative, buffer, radix);
}

} // namespace

char* _itoa(int value, char* buffer, int radix) { return _ltoa(value, buffer, radix); }

char* _ltoa(long value, char* buffer, int radix) { return WriteSigned(value, buffer, radix); }

char* _ultoa(unsigned long value, char* buffer, int radix) {
    // The only narrow form that checks its buffer, and before it uses the radix.
    if (buffer == nullptr)
        return nullptr;
    return WriteUnsigned(value, buffer, radix);
}

char* _i64toa(long long value, char* buffer, int radix) {
    return WriteSigned(value, buffer, radix);
}

char* _ui64toa(unsigned long long value, char* buffer, int radix) {
    return WriteUnsigned(value, buffer, radix);
}

namespace Vorn {

wchar_t* _itow(int value, wchar_t* buffer, int radix) { return _ltow(value, buffer, radix); }

wchar_t* _ltow(long value, wchar_t* buffer, int radix) {
    return WriteSignedUnlessNull(value, buffer, radix);
}

wchar_t* _ultow(unsigned long value, wchar_t* buffer, int radix) {
    return WriteUnlessNull(value, false, buffer, radix);
}

wchar_t* _i64tow(long long value, wchar_t* buffer, int radix) {
    return WriteSignedUnlessNull(value, buffer, radix);
}

wchar_t* _ui64tow(unsigned long long value, wchar_t* buffer, int radix) {
    return WriteUnlessNull(value, false, buffer, radix);
}

} // namespace Vorn
