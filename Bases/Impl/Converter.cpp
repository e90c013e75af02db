// SPDX-License-Identifier: MIT
// Opening iconv, converting one text with it, and finding the texts that need no conversion.

#include <Bases/Impl/Converter.h>

#include <cstdint>
#include <cstring>

#include <strings.h>

#include <Bases/Impl/Port/ConverterName.h>

namespace Vorn {

namespace {

const char* NameOnHost(const char* encoding) {
    return std::strcmp(encoding, LocaleEncoding) == 0 ? LocaleConverterName() : encoding;
}

bool IsNameOfUtf8(const char* encoding) { return strcasecmp(encoding, "UTF-8") == 0; }

template <typename Unit>
std::uint64_t Load(const char* bytes) {
    Unit unit = 0;
    std::memcpy(&unit, bytes, sizeof unit);
    return unit;
}

// Most texts are short, so the last bytes are looked at together too, some of them twice.
bool IsAscii(std::string_view text) {
    const char* const end = text.data() + text.size();
    std::uint64_t bits = 0;
    if (text.size() >= 8) {
        for (const char* at = text.data(); at < end - 8; at += 8)
            bits |= Load<std::uint64_t>(at);
        bits |= Load<std::uint64_t>(end - 8);
    } else if (text.size() >= 4) {
        bits = Load<std::uint32_t>(text.data()) | Load<std::uint32_t>(end - 4);
    } else {
        for (const char byte : text)
            bits |= static_cast<unsigned char>(byte);
    }
    return (bits & 0x8080808080808080) == 0;
}

std::size_t LengthByLead(unsigned lead) {
    if (lead < 0x80)
        return 1;
    if (lead < 0xC0 || lead >= 0xF8)
        return 0;
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

bool IsInRange(unsigned code, std::size_t length) {
    switch (length) {
    case 1:
        return true;
    case 2:
        return code >= 0x80;
    case 3:
        return code >= 0x800 && (code < 0xD800 || code > 0xDFFF);
    default:
        return code >= 0x10000 && code <= 0x10FFFF;
    }
}

// How many bytes the character has that the text begins with; 0 for a malformed one.
std::size_t CharacterLength(std::string_view text) {
    const unsigned lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = LengthByLead(lead);
    if (length == 0 || length > text.size())
        return 0;
    unsigned code = lead & (0x7FU >> length);
    for (const char next : text.substr(1, length - 1)) {
        if ((next & 0xC0) != 0x80)
            return 0;
        code = code << 6 | (static_cast<unsigned char>(next) & 0x3FU);
    }
    return IsInRange(code, length) ? length : 0;
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

} // namespace

Converter::Handle Converter::TryOpen(const char* to, const char* from) {
    const iconv_t handle = iconv_open(to, from);
    // iconv_open fails with all ones, not null. NOLINTNEXTLINE(performance-no-int-to-ptr)
    return Handle(handle == reinterpret_cast<iconv_t>(-1) ? nullptr : handle);
}

bool Converter::Open(const char* to, const char* from) {
    m_hConverter = TryOpen(to, from);
    if (!m_hConverter)
        m_hConverter = TryOpen(NameOnHost(to), NameOnHost(from));
    m_bUtf8 = IsOpen() && IsNameOfUtf8(NameOnHost(to)) && IsNameOfUtf8(NameOnHost(from));
    return IsOpen();
}

void Converter::Close() {
    m_hConverter.reset();
    m_bUtf8 = false;
}

// Where iconv is laxer than the check, it decides.
bool Converter::Keeps(std::string_view text) const {
    return m_bUtf8 && (IsAscii(text) || IsUtf8(text));
}

std::optional<std::size_t> Converter::Convert(const char* text, std::size_t size, char* output,
                                              std::size_t capacity) const {
    char* input = const_cast<char*>(text); // iconv only moves the pointer
    std::size_t left = capacity;
    const iconv_t handle = m_hConverter.get();
    if (iconv(handle, &input, &size, &output, &left) == static_cast<std::size_t>(-1)) {
        // The shift state that a failed text leaves must not affect the next one.
        iconv(handle, nullptr, nullptr, nullptr, nullptr);
        return std::nullopt;
    }
    return capacity - left;
}

} // namespace Vorn
