// SPDX-License-Identifier: MIT
// Concerns: every sequence of two and of three bytes, and every wide character, in every conversion
// of UTF-8 on every route. Plan: the sequence stands at the end of a text and within it, so that
// kernels meet it; what it means the C library says of the sequence alone.
#include <Bases/Impl/Utf8.h>
#include <Bases/Text.h>

#include <cerrno>
#include <cstdlib>
#include <cwchar>
#include <locale>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "soak/Soak.h"
#include "support/Locale.h"

namespace {

constexpr std::size_t Front = 131; // more than any kernel takes at a time
const std::string g_front(Front, 'f');
const std::wstring g_wideFront(Front, L'f');
const std::string g_behind(Front, 'b');
const std::wstring g_wideBehind(Front, L'b');

const std::locale& Utf8() {
    static const std::locale locale("C.UTF-8");
    return locale;
}

class Utf8Soak : public VornTest::LocaleTest {
protected:
    Utf8Soak() { SetCLocale(VornTest::Utf8Locale); }
};

// What the C library makes of a short text: characters, and whether they are all.
struct Meaning {
    std::wstring characters;
    bool isComplete = true;   // the last one is
    bool isMalformed = false; // behind the characters
};

Meaning MeaningOf(const std::string& bytes) {
    Meaning meaning;
    std::mbstate_t state{};
    for (std::size_t done = 0; done < bytes.size();) {
        wchar_t character = 0;
        const std::size_t size =
            std::mbrtowc(&character, bytes.data() + done, bytes.size() - done, &state);
        if (size > bytes.size()) {
            meaning.isMalformed = size == static_cast<std::size_t>(-1);
            meaning.isComplete = false;
            return meaning;
        }
        meaning.characters += character;
        done += size == 0 ? 1 : size;
    }
    return meaning;
}

template <typename Convert>
std::optional<std::wstring> Converted(Convert convert) {
    try {
        return convert();
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

bool IsPlain(unsigned long c) { return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF); }

std::wstring CutAtZero(const std::wstring& w) { return w.c_str(); }

// The sequence has no zero, which would end the input of this function.
bool IsUtf8Right(const std::string& text, const Meaning& meaning) {
    const auto wide = Converted([&] { return Vorn::utf8_to_wcs(text); });
    if (!meaning.isComplete)
        return !wide;
    return wide == g_wideFront + meaning.characters;
}

// Cut off at the end is no error here, nor is a start that could not be completed any more, which
// the facet takes for one: only sequences that are well formed or cut off are compared.
bool IsMultibyteRight(const std::string& text, const Meaning& meaning) {
    if (meaning.isMalformed)
        return true;
    const auto wide = Converted([&] { return Vorn::mbs_to_wcs(text, Utf8()); });
    return wide == CutAtZero(g_wideFront + meaning.characters);
}

bool IsPlainRight(const std::string& text, const Meaning& meaning) {
    std::wstring expected = g_wideFront;
    for (const wchar_t c : meaning.characters) {
        if (!IsPlain(static_cast<unsigned>(c)))
            break;
        expected += c;
    }
    const bool isPlain = meaning.isComplete && expected.size() == Front + meaning.characters.size();
    std::wstring wide;
    const std::size_t done = Vorn::AppendUtf8AsWide(text, wide);
    return wide == expected && (done == text.size()) == isPlain &&
           Vorn::IsPlainUtf8(text) == isPlain;
}

bool IsTextRight(const std::string& bytes, const std::string& text, const Meaning& meaning) {
    const bool hasZero = bytes.find('\0') != std::string::npos;
    return IsPlainRight(text, meaning) && IsMultibyteRight(text, meaning) &&
           (hasZero || IsUtf8Right(text, meaning));
}

// One more character decides what a sequence is; those behind it stand for themselves.
bool IsRightWithin(const std::string& bytes) {
    Meaning meaning = MeaningOf(bytes + g_behind[0]);
    if (meaning.isComplete)
        meaning.characters.append(g_wideBehind.substr(1));
    return IsTextRight(bytes, g_front + bytes + g_behind, meaning);
}

// The sequence of the number, at the end and with more behind it.
bool IsSequenceRight(unsigned long n, int size) {
    std::string bytes;
    for (int i = size - 1; i >= 0; --i)
        bytes += static_cast<char>(n >> 8 * i);
    return IsTextRight(bytes, g_front + bytes, MeaningOf(bytes)) && IsRightWithin(bytes);
}

TEST_F(Utf8Soak, ConvertsEverySequenceOfTwoBytes) {
    VornTest::SoakRoutes("sequences of two bytes", 1UL << 16, 101,
                         [](unsigned long n) { return IsSequenceRight(n, 2); });
}

TEST_F(Utf8Soak, ConvertsEverySequenceOfThreeBytes) {
    VornTest::SoakRoutes("sequences of three bytes", 1UL << 24, 20011,
                         [](unsigned long n) { return IsSequenceRight(n, 3); });
}

std::optional<std::string> EncodedByCLibrary(wchar_t character) {
    char bytes[16];
    std::mbstate_t state{};
    const std::size_t size = std::wcrtomb(bytes, character, &state);
    if (size == static_cast<std::size_t>(-1))
        return std::nullopt;
    return std::string(bytes, size);
}

std::optional<std::string> ConvertedToText(const std::wstring& w) {
    try {
        return Vorn::wcs_to_mbs(w, Utf8());
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

// This function never returns: a logic_error is its success.
bool CanBeUtf8(const std::wstring& w) {
    try {
        Vorn::wcs_to_utf8(w);
    } catch (const std::runtime_error&) {
        return false;
    } catch (const std::logic_error&) {
        return true;
    }
    return false;
}

bool IsCharacterRight(unsigned long n) {
    const auto character = static_cast<wchar_t>(n);
    const std::optional<std::string> bytes = EncodedByCLibrary(character);
    const std::wstring wide = g_wideFront + character + g_wideFront;
    const bool isPlain = IsPlain(n);
    std::string plain;
    const std::size_t done = Vorn::AppendWideAsUtf8(wide, plain);
    if (done != (isPlain ? wide.size() : Front) ||
        plain != (isPlain ? g_front + *bytes + g_front : g_front))
        return false;
    const std::optional<std::string> text = ConvertedToText(wide);
    if (!bytes)
        return !text && !CanBeUtf8(wide);
    return text == (n == 0 ? g_front : g_front + *bytes + g_front) && CanBeUtf8(wide);
}

TEST_F(Utf8Soak, ConvertsEveryWideCharacter) {
    VornTest::SoakRoutes("wide characters up to 0x1FFFFF", 1UL << 21, 5003, IsCharacterRight);
}

} // namespace
