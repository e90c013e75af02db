// SPDX-License-Identifier: MIT
// Concerns: every group of four bytes as Base64, and every three bytes encoded, on every route.
// Plan: the group stands within a text that kernels take; what it means is read bit by bit.
#include <Bases/Text.h>

#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "soak/Soak.h"

namespace {

constexpr std::string_view Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int Skipped = -1;
constexpr int Invalid = -2;

// The value of each byte; its high bit does not count.
constexpr std::array<int, 256> Values = [] {
    std::array<int, 256> values{};
    for (int byte = 0; byte < 256; ++byte) {
        const auto c = static_cast<char>(byte % 128);
        const std::size_t value = Alphabet.find(c);
        values[static_cast<std::size_t>(byte)] = c == '=' ? Skipped
                                                 : value == std::string_view::npos
                                                     ? Invalid
                                                     : static_cast<int>(value);
    }
    return values;
}();

// The group is the last that a kernel takes, of any width up to this, and more comes behind it.
constexpr std::size_t Widest = 64;
constexpr std::size_t Before = Widest - 4;
constexpr std::size_t Behind = Widest;
constexpr std::size_t Size = Before + 4 + Behind;

// A text around a group, and what it decodes to.
class Text {
public:
    Text() {
        m_text.fill('q');
        m_text[Size] = '\0';
        Read(0, Before);
    }

    bool IsDecodedRightly(unsigned long n) {
        for (std::size_t i = 0; i < 4; ++i)
            m_text[Before + i] = static_cast<char>(n >> (24 - 8 * i));
        m_size = Before / 4 * 3;
        m_waiting = 0;
        const std::size_t length = std::strlen(m_text.data());
        const bool isValid = Read(Before, length);
        m_decoded[length] = '~';
        m_decoded[length + 1] = '~';
        const unsigned long size = Vorn::Base64().Decode(m_text.data(), m_decoded.data());
        return size == (isValid ? m_size : 0) &&
               std::memcmp(m_decoded.data(), m_expected.data(), m_size) == 0 &&
               m_decoded[m_size] == '\0' && m_decoded[length] == '\0' &&
               m_decoded[length + 1] == '~';
    }

private:
    bool Read(std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to; ++i) {
            const int value = Values[static_cast<unsigned char>(m_text[i])];
            if (value == Invalid)
                return false;
            if (value == Skipped)
                continue;
            m_bits = m_bits << 6 | static_cast<unsigned>(value);
            m_waiting += 6;
            if (m_waiting < 8)
                continue;
            m_waiting -= 8;
            m_expected[m_size++] = static_cast<char>(m_bits >> m_waiting);
        }
        return true;
    }

    std::array<char, Size + 1> m_text{};
    std::array<char, Size + 2> m_decoded{};
    std::array<char, Size + 1> m_expected{};
    std::size_t m_size = 0;
    unsigned m_bits = 0;
    unsigned m_waiting = 0;
};

TEST(Base64Soak, DecodesEveryGroupOfFourBytes) {
    VornTest::SoakRoutes("Base64 groups of four bytes", 1UL << 32, 5000011, [](unsigned long n) {
        thread_local Text text;
        return text.IsDecodedRightly(n);
    });
}

// The three bytes are repeated.
bool IsEncodedRightly(unsigned long n) {
    std::string bytes;
    std::string expected;
    for (int i = 0; i < 32; ++i) {
        for (const int shift : {16, 8, 0})
            bytes += static_cast<char>(n >> shift);
        for (const int shift : {18, 12, 6, 0})
            expected += Alphabet[n >> shift & 63];
    }
    std::string text;
    return Vorn::Base64().Encode(bytes.data(), bytes.size(), text) == 1 && text == expected;
}

TEST(Base64Soak, EncodesEveryThreeBytes) {
    VornTest::SoakRoutes("Base64 of three bytes", 1UL << 24, 20011, IsEncodedRightly);
}

} // namespace
