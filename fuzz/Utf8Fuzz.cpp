// SPDX-License-Identifier: MIT
// Conversions of UTF-8 on every route: the public functions against the C library and the locale's
// facet, the library's own plain conversions against a decoder of one character at a time.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <Bases/Impl/Utf8.h>
#include <Bases/Text.h>

#include <tests/support/ConversionSteps.h>

#include "support/Fuzz.h"

namespace {

using VornTest::Codecvt;
using VornTest::MultibyteToWide;
using VornTest::Utf8ToWide;
using VornTest::WideToMultibyte;
using VornTest::WideToUtf8;

const Codecvt& Facet() {
    static const std::locale locale("C.UTF-8");
    return std::use_facet<Codecvt>(locale);
}

// A text, or the message of an exception.
template <typename Char>
struct Outcome {
    std::basic_string<Char> text;
    std::string message;
    bool operator==(const Outcome& other) const = default;
};

template <typename Char, typename Conversion>
Outcome<Char> OutcomeOf(Conversion convert) {
    try {
        return {convert(), {}};
    } catch (const std::exception& error) {
        return {{}, error.what()};
    }
}

// --- Plain characters, one at a time -------------------------------------------------------------

bool IsPlain(unsigned long c) { return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF); }

std::string Encoded(unsigned long c) {
    std::string bytes;
    if (c < 0x80)
        return {static_cast<char>(c)};
    const int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    for (int i = 0; i < more; ++i) {
        bytes.insert(bytes.begin(), static_cast<char>(0x80 | (c & 0x3F)));
        c >>= 6;
    }
    const unsigned first[] = {0, 0xC0, 0xE0, 0xF0};
    bytes.insert(bytes.begin(), static_cast<char>(first[more] | c));
    return bytes;
}

// The plain characters in front, and how many bytes they are. Whatever is not the encoding of the
// number that it seems to be is not plain.
std::size_t PlainPrefix(std::string_view s, std::wstring& wide) {
    std::size_t done = 0;
    while (done < s.size()) {
        const auto first = static_cast<unsigned char>(s[done]);
        const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        const std::string_view bytes = s.substr(done, length);
        unsigned long c = length == 1 ? first : first & (0xFFU >> (length + 1));
        for (const char byte : bytes.substr(1))
            c = c << 6 | (static_cast<unsigned char>(byte) & 0x3F);
        if (!IsPlain(c) || Encoded(c) != bytes)
            break;
        wide += static_cast<wchar_t>(c);
        done += length;
    }
    return done;
}

std::size_t PlainPrefix(std::wstring_view w, std::string& utf8) {
    std::size_t done = 0;
    for (; done < w.size() && IsPlain(static_cast<unsigned>(w[done])); ++done)
        utf8 += Encoded(static_cast<unsigned>(w[done]));
    return done;
}

// --- Comparisons ---------------------------------------------------------------------------------

void TryNarrow(const std::string& s) {
    const auto fromUtf8 = OutcomeOf<wchar_t>([&] { return Utf8ToWide(s); });
    const auto fromMultibyte = OutcomeOf<wchar_t>([&] { return MultibyteToWide(s, Facet()); });
    std::wstring plain = L"+";
    const std::size_t plainBytes = PlainPrefix(s, plain);
    VornFuzz::OnEachRoute([&] {
        VornFuzz::Check(OutcomeOf<wchar_t>([&] { return Vorn::utf8_to_wcs(s); }) == fromUtf8,
                        "utf8_to_wcs");
        VornFuzz::Check(OutcomeOf<wchar_t>([&] { return Vorn::mbs_to_wcs(s); }) == fromMultibyte,
                        "mbs_to_wcs");
        std::wstring wide = L"+";
        VornFuzz::Check(Vorn::AppendUtf8AsWide(s, wide) == plainBytes && wide == plain,
                        "AppendUtf8AsWide");
        VornFuzz::Check(Vorn::IsPlainUtf8(s) == (plainBytes == s.size()), "IsPlainUtf8");
    });
}

void TryWide(const std::wstring& w) {
    const auto toUtf8 = OutcomeOf<char>([&] { return WideToUtf8(w); });
    const auto toMultibyte = OutcomeOf<char>([&] { return WideToMultibyte(w, Facet()); });
    std::string plain = "+";
    const std::size_t plainCharacters = PlainPrefix(w, plain);
    VornFuzz::OnEachRoute([&] {
        VornFuzz::Check(OutcomeOf<char>([&] { return Vorn::wcs_to_utf8(w); }) == toUtf8,
                        "wcs_to_utf8");
        VornFuzz::Check(OutcomeOf<char>([&] { return Vorn::wcs_to_mbs(w); }) == toMultibyte,
                        "wcs_to_mbs");
        std::string text = "+";
        VornFuzz::Check(Vorn::AppendWideAsUtf8(w, text) == plainCharacters && text == plain,
                        "AppendWideAsUtf8");
    });
}

} // namespace

// Characters of one kind in front let a short input reach any place of a vector.
void VornFuzz::Try(Input& input) {
    const std::wstring front(input.Below(256), L"a\u00E9\u20AC\U0001F600"[input.Below(4)]);
    const std::string rest = input.Rest();
    TryNarrow(WideToMultibyte(front, Facet()) + rest);

    std::wstring characters(rest.size() / sizeof(wchar_t), L'\0');
    std::memcpy(characters.data(), rest.data(), characters.size() * sizeof(wchar_t));
    TryWide(front + characters);

    std::wstring decoded = front;
    PlainPrefix(rest, decoded);
    TryWide(decoded);
}
