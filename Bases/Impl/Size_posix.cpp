// SPDX-License-Identifier: MIT
// Sizes for display: units of powers of 1024, and numbers with one separator.

#include <Bases/Text.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace Vorn {

namespace {

constexpr std::size_t TextSize = 255;

// A number as text, with space for the separator and the terminator.
struct NumberText {
    char characters[TextSize + 1];
    std::size_t length;
};

// Callers lay out their displays for exactly one separator. It goes into the finished text, where a
// sign or a letter counts like a digit.
void InsertSeperator(NumberText& text) {
    const auto* const point =
        static_cast<const char*>(std::memchr(text.characters, '.', text.length));
    const std::size_t upToStart =
        point == nullptr ? text.length : static_cast<std::size_t>(point - text.characters) + 1;
    if (upToStart < 3)
        return;
    char* const place = text.characters + upToStart - 3;
    std::memmove(place + 1, place, text.length - (upToStart - 3));
    *place = ',';
    ++text.length;
}

NumberText TextOf(long long value) {
    NumberText text;
    char* const end = std::to_chars(text.characters, text.characters + TextSize, value).ptr;
    text.length = static_cast<std::size_t>(end - text.characters);
    InsertSeperator(text);
    return text;
}

NumberText TextOf(double value, int precision) {
    // Callers pass a precision and still expect six decimals. Only a negative one goes into the
    // format; the C library decides what it prints for that.
    char format[32] = "%f";
    if (precision < 0)
        std::snprintf(format, sizeof format, "%%.%df", precision);
    NumberText text;
    const int length = std::snprintf(text.characters, TextSize, format, value);
    text.length = std::min(static_cast<std::size_t>(std::max(length, 0)), TextSize - 1);
    InsertSeperator(text);
    return text;
}

// Cuts the text to what the buffer holds with a terminator; the rest of the buffer is zeros.
int Put(const NumberText& text, char* buffer, unsigned long size) {
    const std::size_t copied = std::min<std::size_t>(text.length, size - 1);
    std::memcpy(buffer, text.characters, copied);
    std::memset(buffer + copied, 0, size - copied);
    return 1;
}

int Put(const NumberText& text, std::string& out) {
    out.assign(text.characters, std::min(text.length, TextSize - 1));
    return 1;
}

} // namespace

int GetSizeUnit(long long bytes, double& scaled) {
    scaled = static_cast<double>(bytes);
    for (int unit = 0; unit < 6; ++unit) {
        if (scaled < 1024)
            return unit;
        scaled /= 1024;
    }
    return 6;
}

int GetSizeFormat(char* buffer, unsigned long size, long long value) {
    if (buffer == nullptr || size == 0)
        return 0;
    return Put(TextOf(value), buffer, size);
}

int GetSizeFormat(char* buffer, unsigned long size, double value, int precision) {
    if (buffer == nullptr || size == 0)
        return 0;
    return Put(TextOf(value, precision), buffer, size);
}

int GetSizeFormat(std::string& out, long long value) { return Put(TextOf(value), out); }

int GetSizeFormat(std::string& out, double value, int precision) {
    return Put(TextOf(value, precision), out);
}

} // namespace Vorn
