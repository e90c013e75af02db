// SPDX-License-Identifier: MIT
#include "Armour.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <Bases/Text.h>

#include "Cipher.h"

namespace Seal {

namespace {

constexpr std::string_view FormatBegin = "Sealed file, version ";
constexpr std::string_view Version = "1";
constexpr std::string_view LengthBegin = "Length: ";
constexpr std::string_view EndLine = "End of sealed file";
constexpr std::size_t BytesPerLine = 48; // 64 characters, without padding

[[noreturn]] void Refuse(const std::string& reason) { throw std::runtime_error(reason); }

/// Splits a text into its lines.
class Lines {
public:
    explicit Lines(std::string_view text) : m_rest(text) {}

    bool AtEnd() const { return m_rest.empty(); }

    /// The number of the line that Next returned last.
    std::size_t Number() const { return m_number; }

    /// Returns the next line without its line end, or an empty one at the end of the text.
    std::string_view Next() {
        const std::size_t end = std::min(m_rest.find('\n'), m_rest.size());
        std::string_view line = m_rest.substr(0, end);
        m_rest.remove_prefix(std::min(end + 1, m_rest.size()));
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        ++m_number;
        return line;
    }

private:
    std::string_view m_rest;
    std::size_t m_number = 0;
};

// Without isalnum, which depends on the locale.
bool IsBase64(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '/' || c == '=';
}

void CheckFormat(std::string_view line) {
    if (!line.starts_with(FormatBegin))
        Refuse("not a sealed file");
    if (line.substr(FormatBegin.size()) != Version)
        Refuse("a sealed file of an unknown version");
}

unsigned long long ReadLength(std::string_view line) {
    unsigned long long length = 0;
    const std::string_view digits =
        line.substr(line.starts_with(LengthBegin) ? LengthBegin.size() : line.size());
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, length);
    const bool leadingZero = digits.size() > 1 && digits.front() == '0';
    if (digits.empty() || stop != end || leadingZero || error == std::errc::invalid_argument)
        Refuse("line 2 does not state the length");
    if (error == std::errc::result_out_of_range || length > MostLength)
        Refuse("line 2 states a length above " + std::to_string(MostLength) +
               ", the most that can be sealed");
    return length;
}

// Joins the lines up to the last one.
std::string ReadBase64(Lines& lines) {
    std::string base64;
    while (!lines.AtEnd()) {
        const std::string_view line = lines.Next();
        if (line == EndLine)
            return base64;
        if (lines.AtEnd() && EndLine.starts_with(line))
            break;
        if (!std::all_of(line.begin(), line.end(), IsBase64))
            Refuse("line " + std::to_string(lines.Number()) +
                   " holds a character that is not Base64");
        base64 += line;
    }
    Refuse("cut off: the last line is missing");
}

std::string Encode(const char* bytes, std::size_t size) {
    std::string text;
    Vorn::Base64().Encode(bytes, size, text);
    return text;
}

// The decoder skips every "=" and ignores the unused bits of the last group. As the number of "="
// follows from the number of bytes, checking the last group is enough.
bool EndsRightly(const std::string& base64, const std::string& bytes) {
    const std::size_t inLastGroup = (bytes.size() - 1) % 3 + 1;
    const std::string lastGroup = Encode(bytes.data() + bytes.size() - inLastGroup, inLastGroup);
    return base64.ends_with(lastGroup);
}

std::string Decode(const std::string& base64, std::size_t size) {
    const std::size_t characters = (size + 2) / 3 * 4;
    if (base64.size() != characters)
        Refuse(std::to_string(base64.size()) + " characters of Base64, where the length needs " +
               std::to_string(characters));
    std::string bytes(base64.size() + 1, '\0'); // the size that the decoder asks for
    bytes.resize(Vorn::Base64().Decode(base64.c_str(), bytes.data()));
    if (bytes.size() != size || !EndsRightly(base64, bytes))
        Refuse("the Base64 text is not padded correctly");
    return bytes;
}

} // namespace

unsigned long long SealedSize(unsigned long long length) {
    constexpr unsigned long long Block = Cipher::BlockSize;
    return DigestSize + (length + Block - 1) / Block * Block;
}

std::string Armour(const Sealed& sealed) {
    const std::string& bytes = sealed.bytes;
    std::string text;
    text.reserve(bytes.size() / 2 * 3 + 100);
    text.append(FormatBegin).append(Version) += '\n';
    text.append(LengthBegin).append(std::to_string(sealed.length)) += '\n';
    for (std::size_t i = 0; i < bytes.size(); i += BytesPerLine)
        text += Encode(bytes.data() + i, std::min(BytesPerLine, bytes.size() - i)) + '\n';
    text.append(EndLine) += '\n';
    return text;
}

Sealed Unarmour(const std::string& text) {
    Lines lines(text);
    Sealed sealed;
    CheckFormat(lines.Next());
    sealed.length = ReadLength(lines.Next());
    const std::string base64 = ReadBase64(lines);
    if (!lines.AtEnd())
        Refuse("there is more after the last line");
    sealed.bytes = Decode(base64, SealedSize(sealed.length));
    return sealed;
}

} // namespace Seal
