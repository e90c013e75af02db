// SPDX-License-Identifier: MIT
// Sealed texts: arbitrary ones against a reader of the form, damaged ones, and what is sealed and
// opened again.

#include <algorithm>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

#include "Armour.h"
#include "Cipher.h"
#include "Seal.h"

#include "support/Fuzz.h"

namespace {

using VornFuzz::Check;
using VornFuzz::Input;

constexpr char Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The next line, without its end, half of which may be missing; nothing if there is none.
std::optional<std::string> Line(std::istream& text) {
    std::string line;
    if (!std::getline(text, line))
        return std::nullopt;
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

std::optional<unsigned long long> LengthOf(const std::optional<std::string>& line) {
    const std::string label = "Length: ";
    if (!line || line->rfind(label, 0) != 0)
        return std::nullopt;
    const std::string digits = line->substr(label.size());
    if (digits.empty() || digits.size() > 10 ||
        digits.find_first_not_of("0123456789") != std::string::npos ||
        (digits.size() > 1 && digits[0] == '0') || std::stoull(digits) > Seal::MostLength)
        return std::nullopt;
    return std::stoull(digits);
}

// How many bytes the Base64 text gives; nothing if it is malformed. Its unused bits are zero.
std::optional<unsigned long long> SizeOf(const std::string& text) {
    const std::string alphabet = Alphabet;
    const std::size_t end = text.find_last_not_of('=') + 1;
    const std::size_t padding = text.size() - end;
    if (end == 0 || text.size() % 4 != 0 || padding > 2 || text.find_first_not_of(alphabet) < end ||
        alphabet.find(text[end - 1]) % (1U << 2 * padding) != 0)
        return std::nullopt;
    return end * 3 / 4;
}

// Whether the text has the form, and the length that it states.
std::optional<unsigned long long> Form(const std::string& text) {
    std::istringstream lines(text);
    if (Line(lines) != "Sealed file, version 1")
        return std::nullopt;
    const std::optional<unsigned long long> length = LengthOf(Line(lines));
    if (!length)
        return std::nullopt;
    std::string base64;
    for (std::optional<std::string> line = Line(lines); line != "End of sealed file";
         line = Line(lines)) {
        if (!line)
            return std::nullopt;
        base64 += *line;
    }
    if (Line(lines))
        return std::nullopt;
    return SizeOf(base64) == Seal::SealedSize(*length) ? length : std::nullopt;
}

void TryText(const std::string& text) {
    const std::optional<unsigned long long> expected = Form(text);
    try {
        const Seal::Sealed sealed = Seal::Unarmour(text);
        Check(expected == sealed.length, "a text without the form is accepted");
        const Seal::Sealed again = Seal::Unarmour(Seal::Armour(sealed));
        Check(again.length == sealed.length && again.bytes == sealed.bytes, "Armour");
    } catch (const std::runtime_error& error) {
        Check(!expected, "a text of the form is refused");
        Check(*error.what() != '\0', "a text is refused without a reason");
    }
}

// Opens to what was sealed, or not at all.
void TryDamage(std::string text, const std::string& bytes, const std::string& key, Input& input) {
    text[input.Below(65536) % text.size()] = static_cast<char>(input.Byte());
    TryText(text);
    try {
        Check(Seal::Decipher(text, key) == bytes, "damage goes unnoticed");
    } catch (const std::runtime_error&) { // as it should be
    }
}

} // namespace

void VornFuzz::Try(Input& input) {
    Input text = input;
    TryText(text.Rest());
    std::string key = input.Text(Seal::Cipher::KeySize);
    key.resize(Seal::Cipher::KeySize);
    Input damage = input;
    const std::string bytes = input.Rest();
    const std::string sealed = Seal::Encipher(bytes, key);
    Check(Seal::Decipher(sealed, key) == bytes, "what was sealed opens to something else");
    TryDamage(sealed, bytes, key, damage);
}
