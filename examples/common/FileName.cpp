// SPDX-License-Identifier: MIT
#include "FileName.h"

#include <algorithm>
#include <charconv>
#include <cwctype>
#include <stdexcept>
#include <string_view>

#include <Bases/Text.h>

namespace Examples {

namespace {

bool IsPrintableAscii(char c) { return c >= ' ' && c <= '~'; }

// Printable characters are valid in XML. Bidirectional controls are refused as well, as they
// reorder what a terminal shows around them.
bool IsPlainCharacter(wchar_t c) {
    const bool reorders = (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
    return std::iswprint(static_cast<std::wint_t>(c)) != 0 && !reorders;
}

void AppendHex(std::string& text, std::string_view prefix, char byte) {
    constexpr std::string_view Digits = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    text.append(prefix);
    text.push_back(Digits[value >> 4U]);
    text.push_back(Digits[value & 15U]);
}

bool ReadHex(std::string_view digits, char& byte) {
    unsigned char value = 0;
    const char* const end = digits.data() + digits.size();
    if (digits.size() != 2 || std::from_chars(digits.data(), end, value, 16).ptr != end)
        return false;
    byte = static_cast<char>(value);
    return true;
}

} // namespace

bool IsPlain(const std::string& text) {
    if (std::all_of(text.begin(), text.end(), IsPrintableAscii))
        return true; // in every locale
    if (text.find('\0') != std::string::npos)
        return false; // where the conversion stops
    try {
        const std::wstring wide = Vorn::utf8_to_wcs(text);
        return std::all_of(wide.begin(), wide.end(), IsPlainCharacter);
    } catch (const std::runtime_error&) {
        return false;
    }
}

std::string Escape(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (IsPrintableAscii(c) && c != '%')
            escaped.push_back(c);
        else
            AppendHex(escaped, "%", c);
    }
    return escaped;
}

std::string Unescape(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char byte = text[i];
        if (byte == '%' && ReadHex(std::string_view(text).substr(i + 1, 2), byte))
            i += 2;
        bytes.push_back(byte);
    }
    return bytes;
}

std::string ForDisplay(const std::string& text) {
    if (!text.empty() && IsPlain(text))
        return text;
    std::string shown = "$'";
    for (const char c : text) {
        if (IsPrintableAscii(c) && c != '\'' && c != '\\')
            shown.push_back(c);
        else
            AppendHex(shown, "\\x", c);
    }
    return shown + "'";
}

} // namespace Examples
