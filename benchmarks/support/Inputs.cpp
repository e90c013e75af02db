// SPDX-License-Identifier: MIT
#include <support/Inputs.h>

#include <cstring>
#include <string_view>
#include <vector>

namespace Bench {

namespace {

// The words, in random order, each followed by a space.
std::string TextOf(const std::vector<std::string_view>& words, std::size_t size) {
    Random random;
    std::string text;
    text.reserve(size + 32);
    while (text.size() < size) {
        text += words[random() % words.size()];
        text += ' ';
    }
    text.resize(size);
    while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80)
        text.pop_back();
    if (!text.empty() && static_cast<unsigned char>(text.back()) >= 0xC0)
        text.pop_back();
    return text;
}

} // namespace

std::string RandomBytes(std::size_t size) {
    Random random;
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; i += sizeof(Random::result_type)) {
        const Random::result_type word = random();
        std::memcpy(&bytes[i], &word, std::min(sizeof word, size - i));
    }
    return bytes;
}

std::int64_t RandomInteger(Random& random) {
    const auto value = static_cast<std::int64_t>(random() >> (1 + random() % 63));
    return random() % 2 == 0 ? value : -value;
}

std::string AsciiText(std::size_t size) {
    return TextOf({"a", "base", "library", "of", "an", "application", "engine,", "on", "POSIX."},
                  size);
}

// Without the spaces the words are one run of characters of three bytes.
std::string KoreanText(std::size_t size) {
    std::string text;
    Random random;
    while (text.size() + 3 <= size) {
        const auto point = static_cast<unsigned>(0xAC00 + random() % 11172); // a Hangul syllable
        text += static_cast<char>(0xE0 | point >> 12);
        text += static_cast<char>(0x80 | (point >> 6 & 0x3F));
        text += static_cast<char>(0x80 | (point & 0x3F));
    }
    return text;
}

std::string MixedText(std::size_t size) {
    return TextOf({"size", "\xED\x81\xAC\xEA\xB8\xB0", "gr\xC3\xB6\xC3\x9F", "\xF0\x9F\x98\x80",
                   "\xD0\xB2\xD0\xB5\xD1\x81", "2024-03-05"},
                  size);
}

} // namespace Bench
