// SPDX-License-Identifier: MIT
// Conversions between multibyte, wide and UTF-8 strings.

#include <Bases/Text.h>

#include <algorithm>
#include <cwchar>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fault/Platform.h"
#include "support/Locale.h"
#include "support/Thrown.h"

namespace {

namespace Platform = VornTest::Platform;

using testing::_;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::NotNull;
using VornTest::KoreanLocale;
using VornTest::Latin1Locale;
using VornTest::Thrown;
using VornTest::Utf8Locale;

using Codecvt = std::codecvt<wchar_t, char, std::mbstate_t>;
using CodecvtByName = std::codecvt_byname<wchar_t, char, std::mbstate_t>;

constexpr char BadString[] = "runtime_error: can't convert string to wstring";
constexpr char BadWideString[] = "runtime_error: can't convert wstring to string";
constexpr char BadUtf8[] = "runtime_error: Invalid UTF-8 sequence.";
constexpr char BadWideForUtf8[] = "runtime_error: Invalid wide string sequence.";
constexpr char NoCharacters[] = "runtime_error: Error in conversion.";
constexpr char CountsDiffer[] = "runtime_error: Unknown Error";
constexpr char Convertible[] = "logic_error: basic_string: construction from null is not valid";

// The UTF-8 form of a code point, written down from its definition.
std::string Utf8Of(unsigned int c) {
    const auto byte = [](unsigned int value) { return static_cast<char>(value); };
    const auto tail = [&](unsigned int shift) { return byte(0x80 | ((c >> shift) & 0x3F)); };
    if (c < 0x80)
        return {byte(c)};
    if (c < 0x800)
        return {byte(0xC0 | (c >> 6)), tail(0)};
    if (c < 0x10000)
        return {byte(0xE0 | (c >> 12)), tail(6), tail(0)};
    return {byte(0xF0 | (c >> 18)), tail(12), tail(6), tail(0)};
}

struct Block {
    std::wstring wide;
    std::string narrow;
};

// Every code point but zero, which ends strings, and the surrogates, which are no characters.
std::vector<Block> AllCodePoints() {
    std::vector<Block> blocks(0x110000 >> 12);
    for (unsigned int c = 1; c < 0x110000; ++c) {
        if (c >= 0xD800 && c < 0xE000)
            continue;
        blocks[c >> 12].wide += static_cast<wchar_t>(c);
        blocks[c >> 12].narrow += Utf8Of(c);
    }
    return blocks;
}

// A facet that returns a scripted answer, writes a scripted number of 'x', and records its
// arguments.
class ScriptedFacet : public Codecvt {
public:
    struct Script {
        result answer = ok;
        std::size_t written = 0;
        int maxLength = 1;
    };

    struct Request {
        std::size_t length = 0;
        std::size_t capacity = 0;
        bool stateIsInitial = false;
        bool capacityIsZero = false;
    };

    explicit ScriptedFacet(Script script) : Codecvt(1), m_script(script) {}
    ~ScriptedFacet() override = default;
    ScriptedFacet(const ScriptedFacet&) = delete;
    ScriptedFacet& operator=(const ScriptedFacet&) = delete;

    /// A locale with this facet, which stays the test's own.
    std::locale Locale() { return {std::locale::classic(), static_cast<Codecvt*>(this)}; }

    const std::vector<Request>& Requests() const { return m_requests; }

protected:
    result do_in(std::mbstate_t& state, const char* from, const char* fromEnd,
                 const char*& fromNext, wchar_t* to, wchar_t* toEnd,
                 wchar_t*& toNext) const override {
        fromNext = fromEnd;
        return Answer(state, fromEnd - from, to, toEnd, toNext);
    }

    result do_out(std::mbstate_t& state, const wchar_t* from, const wchar_t* fromEnd,
                  const wchar_t*& fromNext, char* to, char* toEnd, char*& toNext) const override {
        fromNext = fromEnd;
        return Answer(state, fromEnd - from, to, toEnd, toNext);
    }

    int do_max_length() const noexcept override { return m_script.maxLength; }

private:
    template <typename Char>
    result Answer(const std::mbstate_t& state, std::ptrdiff_t length, Char* to, Char* toEnd,
                  Char*& toNext) const {
        m_requests.push_back({static_cast<std::size_t>(length),
                              static_cast<std::size_t>(toEnd - to), std::mbsinit(&state) != 0,
                              std::count(to, toEnd, Char()) == toEnd - to});
        const auto written = std::min(m_script.written, m_requests.back().capacity);
        toNext = std::fill_n(to, written, static_cast<Char>('x'));
        return m_script.answer;
    }

    Script m_script;
    mutable std::vector<Request> m_requests;
};

class MultibyteToWide : public VornTest::LocaleTest {};
class WideToMultibyte : public VornTest::LocaleTest {};
class Utf8ToWide : public VornTest::LocaleTest {};
class WideToUtf8 : public VornTest::LocaleTest {};
class ConversionChain : public VornTest::LocaleTest {};
class TextString : public VornTest::LocaleTest {};

// Concerns: the encoding is the locale argument's, never the C library's; the facet gets the whole
// input, a fresh state and exactly one zeroed element more than the input has; every answer but
// "error" is success; the result ends at the first zero or, without one, with the capacity.

TEST_F(MultibyteToWide, UsesTheEncodingOfTheLocaleArgument) {
    EXPECT_EQ(L"\u00E9\u00DF", Vorn::mbs_to_wcs("\xE9\xDF", std::locale(Latin1Locale)));
    EXPECT_EQ(L"\uD55C\uAE00", Vorn::mbs_to_wcs("\xC7\xD1\xB1\xDB", std::locale(KoreanLocale)));
    EXPECT_EQ(L"\U0001F600", Vorn::mbs_to_wcs("\xF0\x9F\x98\x80", std::locale(Utf8Locale)));
    EXPECT_EQ(L"plain", Vorn::mbs_to_wcs("plain", std::locale::classic()));
}

TEST_F(MultibyteToWide, IgnoresTheLocaleOfTheCLibrary) {
    SetCLocale(KoreanLocale);
    EXPECT_EQ(L"\u00C7\u00D1", Vorn::mbs_to_wcs("\xC7\xD1", std::locale(Latin1Locale)));
    EXPECT_EQ(BadString, Thrown([] { Vorn::mbs_to_wcs("\xC7\xD1", std::locale::classic()); }));
}

TEST_F(MultibyteToWide, TakesTheGlobalLocaleByDefault) {
    EXPECT_EQ(BadString, Thrown([] { Vorn::mbs_to_wcs("\xE9"); }));
    std::locale::global(std::locale(Latin1Locale));
    EXPECT_EQ(L"\u00E9", Vorn::mbs_to_wcs("\xE9"));
}

TEST_F(MultibyteToWide, ConvertsAnEmptyStringToAnEmptyString) {
    for (const char* name : {"C", Utf8Locale, Latin1Locale, KoreanLocale})
        EXPECT_EQ(L"", Vorn::mbs_to_wcs("", std::locale(name))) << name;
}

TEST_F(MultibyteToWide, ConvertsEveryCodePoint) {
    const std::locale utf8(Utf8Locale);
    for (const Block& block : AllCodePoints())
        ASSERT_TRUE(block.wide == Vorn::mbs_to_wcs(block.narrow, utf8))
            << "block from " << std::hex << static_cast<unsigned int>(block.wide.at(0));
}

TEST_F(MultibyteToWide, TakesALongTextForUtf8OnlyWhereTheLocaleDoes) {
    std::string text; // whose bytes are characters everywhere
    for (int i = 0; i < 150; ++i)
        text += "\xC3\xA9";
    for (const char* name : {Utf8Locale, Latin1Locale, KoreanLocale}) {
        const std::locale loc(name);
        std::wstring expected;
        for (int i = 0; i < 150; ++i)
            expected += Vorn::mbs_to_wcs("\xC3\xA9", loc);
        EXPECT_EQ(expected, Vorn::mbs_to_wcs(text, loc)) << name;
        const std::locale byName(std::locale::classic(), new CodecvtByName(name));
        EXPECT_EQ(expected, Vorn::mbs_to_wcs(text, byName)) << name;
    }
}

TEST_F(MultibyteToWide, ThrowsForAMalformedString) {
    const std::locale utf8(Utf8Locale);
    for (const char* text :
         {"\xFF", "\x80", "a\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xE2\x82z"})
        EXPECT_EQ(BadString, Thrown([&] { Vorn::mbs_to_wcs(text, utf8); })) << text;
    EXPECT_EQ(BadString, Thrown([] { Vorn::mbs_to_wcs("\xC7!", std::locale(KoreanLocale)); }));
}

TEST_F(MultibyteToWide, DropsACharacterCutOffAtTheEnd) {
    const std::locale utf8(Utf8Locale);
    EXPECT_EQ(L"ab", Vorn::mbs_to_wcs("ab\xF0\x9F\x98", utf8));
    EXPECT_EQ(L"ab", Vorn::mbs_to_wcs("ab\xE2", utf8));
    EXPECT_EQ(L"", Vorn::mbs_to_wcs("\xC3", utf8));
    EXPECT_EQ(L"\uD55C", Vorn::mbs_to_wcs("\xC7\xD1\xB1", std::locale(KoreanLocale)));
}

TEST_F(MultibyteToWide, DropsAlsoAMalformedStartAtTheEnd) {
    const std::locale utf8(Utf8Locale);
    for (const char* start : {"\xE0\x80", "\xED\xA0", "\xF0\x80", "\xF4\x90", "\xF8", "\xFC\x84"}) {
        EXPECT_EQ(L"ab", Vorn::mbs_to_wcs(std::string("ab") + start, utf8)) << start;
        SetCLocale(Utf8Locale);
        EXPECT_EQ(BadUtf8, Thrown([&] { Vorn::utf8_to_wcs(start); })) << start;
    }
    for (const char* start : {"\xFE", "\xFF", "\x80", "\xC0", "\xC1"})
        EXPECT_EQ(BadString, Thrown([&] { Vorn::mbs_to_wcs(std::string("ab") + start, utf8); }));
}

// The first and the last number of each length that Unicode lacks.
TEST_F(MultibyteToWide, AndBackGoBeyondUnicodeWhereTheCLibraryDoes) {
    const std::locale utf8(Utf8Locale);
    SetCLocale(Utf8Locale);
    for (const auto& [number, bytes] :
         std::vector<std::pair<unsigned, std::string>>{{0x110000, "\xF4\x90\x80\x80"},
                                                       {0x1FFFFF, "\xF7\xBF\xBF\xBF"},
                                                       {0x200000, "\xF8\x88\x80\x80\x80"},
                                                       {0x3FFFFFF, "\xFB\xBF\xBF\xBF\xBF"},
                                                       {0x4000000, "\xFC\x84\x80\x80\x80\x80"},
                                                       {0x7FFFFFFF, "\xFD\xBF\xBF\xBF\xBF\xBF"}}) {
        const std::wstring wide(1, static_cast<wchar_t>(number));
        EXPECT_EQ(wide, Vorn::mbs_to_wcs(bytes, utf8));
        EXPECT_EQ(wide, Vorn::utf8_to_wcs(bytes));
        EXPECT_EQ(bytes, Vorn::wcs_to_mbs(wide, utf8));
        EXPECT_EQ(Convertible, Thrown([&] { Vorn::wcs_to_utf8(wide); }));
    }
    const std::wstring beyond(1, static_cast<wchar_t>(0x80000000));
    EXPECT_EQ(BadWideString, Thrown([&] { Vorn::wcs_to_mbs(beyond, utf8); }));
    EXPECT_EQ(BadWideForUtf8, Thrown([&] { Vorn::wcs_to_utf8(beyond); }));
}

TEST_F(MultibyteToWide, EndsAtAnEmbeddedZero) {
    const std::locale utf8(Utf8Locale);
    EXPECT_EQ(L"ab", Vorn::mbs_to_wcs(std::string("ab\0cd", 5), utf8));
    EXPECT_EQ(L"", Vorn::mbs_to_wcs(std::string("\0cd", 3), utf8));
    EXPECT_EQ(BadString, Thrown([&] { Vorn::mbs_to_wcs(std::string("ab\0\xFF", 4), utf8); }));
}

TEST_F(MultibyteToWide, PassesTheFacetTheWholeInputAndCapacityForOneElementMore) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{1000}}) {
        ScriptedFacet facet({});
        Vorn::mbs_to_wcs(std::string(length, '\0'), facet.Locale());
        ASSERT_EQ(1U, facet.Requests().size());
        EXPECT_EQ(length, facet.Requests()[0].length);
        EXPECT_EQ(length + 1, facet.Requests()[0].capacity);
        EXPECT_TRUE(facet.Requests()[0].stateIsInitial);
        EXPECT_TRUE(facet.Requests()[0].capacityIsZero);
    }
}

TEST_F(MultibyteToWide, StartsEveryCallWithAFreshState) {
    const std::locale utf8(Utf8Locale);
    EXPECT_EQ(L"", Vorn::mbs_to_wcs("\xC3", utf8));
    EXPECT_EQ(BadString, Thrown([&] { Vorn::mbs_to_wcs("\xA9", utf8); }));
}

TEST_F(MultibyteToWide, TakesEveryFacetAnswerButErrorAsSuccess) {
    for (const auto answer : {Codecvt::ok, Codecvt::partial, Codecvt::noconv}) {
        ScriptedFacet facet({.answer = answer, .written = 2});
        EXPECT_EQ(L"xx", Vorn::mbs_to_wcs("abc", facet.Locale())) << answer;
    }
    ScriptedFacet silent({.answer = Codecvt::noconv});
    EXPECT_EQ(L"", Vorn::mbs_to_wcs("abc", silent.Locale()));
    ScriptedFacet failing({.answer = Codecvt::error, .written = 2});
    EXPECT_EQ(BadString, Thrown([&] { Vorn::mbs_to_wcs("abc", failing.Locale()); }));
    EXPECT_EQ(BadString, Thrown([&] { Vorn::mbs_to_wcs("", failing.Locale()); }));
}

TEST_F(MultibyteToWide, StopsAtTheEndOfABufferThatTheFacetFilled) {
    ScriptedFacet facet({.written = 1000});
    EXPECT_EQ(L"xxxx", Vorn::mbs_to_wcs("abc", facet.Locale()));
    EXPECT_EQ(L"x", Vorn::mbs_to_wcs("", facet.Locale()));
    EXPECT_EQ(std::wstring(101, L'x'), Vorn::mbs_to_wcs(std::string(100, 'a'), facet.Locale()));
}

// A facet of a UTF-8 locale that makes other characters of some.
class CapitalFacet : public std::codecvt_byname<wchar_t, char, std::mbstate_t> {
public:
    CapitalFacet() : codecvt_byname(Utf8Locale) {}

protected:
    result do_in(std::mbstate_t& state, const char* from, const char* fromEnd,
                 const char*& fromNext, wchar_t* to, wchar_t* toEnd,
                 wchar_t*& toNext) const override {
        const result answer =
            codecvt_byname::do_in(state, from, fromEnd, fromNext, to, toEnd, toNext);
        std::replace(to, toNext, L'a', L'A');
        return answer;
    }

    result do_out(std::mbstate_t& state, const wchar_t* from, const wchar_t* fromEnd,
                  const wchar_t*& fromNext, char* to, char* toEnd, char*& toNext) const override {
        const result answer =
            codecvt_byname::do_out(state, from, fromEnd, fromNext, to, toEnd, toNext);
        std::replace(to, toNext, 'a', 'A');
        return answer;
    }
};

TEST_F(MultibyteToWide, AsksAFacetThatOnlyStartsFromUtf8) {
    const std::locale capital(std::locale::classic(), new CapitalFacet);
    for (const std::size_t length : {std::size_t{1}, std::size_t{1000}})
        EXPECT_EQ(std::wstring(length, L'A'), Vorn::mbs_to_wcs(std::string(length, 'a'), capital));
}

// Concerns: as above in the other direction; the capacity is the input's length plus one, times
// what the facet says one character may need.

TEST_F(WideToMultibyte, UsesTheEncodingOfTheLocaleArgument) {
    EXPECT_EQ("\xE9\xDF", Vorn::wcs_to_mbs(L"\u00E9\u00DF", std::locale(Latin1Locale)));
    EXPECT_EQ("\xC7\xD1\xB1\xDB", Vorn::wcs_to_mbs(L"\uD55C\uAE00", std::locale(KoreanLocale)));
    EXPECT_EQ("\xF0\x9F\x98\x80", Vorn::wcs_to_mbs(L"\U0001F600", std::locale(Utf8Locale)));
    EXPECT_EQ("plain", Vorn::wcs_to_mbs(L"plain", std::locale::classic()));
}

TEST_F(WideToMultibyte, IgnoresTheLocaleOfTheCLibrary) {
    SetCLocale(Utf8Locale);
    EXPECT_EQ("\xE9", Vorn::wcs_to_mbs(L"\u00E9", std::locale(Latin1Locale)));
    EXPECT_EQ(BadWideString, Thrown([] { Vorn::wcs_to_mbs(L"\u00E9", std::locale::classic()); }));
}

TEST_F(WideToMultibyte, TakesTheGlobalLocaleByDefault) {
    EXPECT_EQ(BadWideString, Thrown([] { Vorn::wcs_to_mbs(L"\u00E9"); }));
    std::locale::global(std::locale(Latin1Locale));
    EXPECT_EQ("\xE9", Vorn::wcs_to_mbs(L"\u00E9"));
}

TEST_F(WideToMultibyte, ConvertsAnEmptyStringToAnEmptyString) {
    for (const char* name : {"C", Utf8Locale, Latin1Locale, KoreanLocale})
        EXPECT_EQ("", Vorn::wcs_to_mbs(L"", std::locale(name))) << name;
}

TEST_F(WideToMultibyte, ConvertsEveryCodePoint) {
    const std::locale utf8(Utf8Locale);
    for (const Block& block : AllCodePoints())
        ASSERT_TRUE(block.narrow == Vorn::wcs_to_mbs(block.wide, utf8))
            << "block from " << std::hex << static_cast<unsigned int>(block.wide.at(0));
}

TEST_F(WideToMultibyte, ThrowsForACharacterThatTheEncodingDoesNotHave) {
    EXPECT_EQ(BadWideString,
              Thrown([] { Vorn::wcs_to_mbs(L"a\u20AC", std::locale(Latin1Locale)); }));
    EXPECT_EQ(BadWideString,
              Thrown([] { Vorn::wcs_to_mbs(L"\u00E9", std::locale(KoreanLocale)); }));
    const std::locale utf8(Utf8Locale);
    for (wchar_t surrogate = 0xD800; surrogate < 0xE000; ++surrogate)
        EXPECT_EQ(BadWideString, Thrown([&] { Vorn::wcs_to_mbs({L'a', surrogate}, utf8); }));
    EXPECT_EQ(BadWideString, Thrown([&] { Vorn::wcs_to_mbs({static_cast<wchar_t>(-1)}, utf8); }));
}

TEST_F(WideToMultibyte, EndsAtAnEmbeddedZero) {
    const std::locale utf8(Utf8Locale);
    EXPECT_EQ("\xC3\xA9", Vorn::wcs_to_mbs(std::wstring(L"\u00E9\0cd", 4), utf8));
    EXPECT_EQ("", Vorn::wcs_to_mbs(std::wstring(L"\0cd", 3), utf8));
}

TEST_F(WideToMultibyte, PassesTheFacetTheWholeInputAndCapacityForItsLongestForm) {
    for (const int maxLength : {1, 2, 7})
        for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{1000}}) {
            ScriptedFacet facet({.maxLength = maxLength});
            Vorn::wcs_to_mbs(std::wstring(length, L'\0'), facet.Locale());
            ASSERT_EQ(1U, facet.Requests().size());
            EXPECT_EQ(length, facet.Requests()[0].length);
            EXPECT_EQ((length + 1) * static_cast<std::size_t>(maxLength),
                      facet.Requests()[0].capacity);
            EXPECT_TRUE(facet.Requests()[0].stateIsInitial);
            EXPECT_TRUE(facet.Requests()[0].capacityIsZero);
        }
}

TEST_F(WideToMultibyte, TakesEveryFacetAnswerButErrorAsSuccess) {
    for (const auto answer : {Codecvt::ok, Codecvt::partial, Codecvt::noconv}) {
        ScriptedFacet facet({.answer = answer, .written = 2});
        EXPECT_EQ("xx", Vorn::wcs_to_mbs(L"abc", facet.Locale())) << answer;
    }
    ScriptedFacet silent({.answer = Codecvt::noconv});
    EXPECT_EQ("", Vorn::wcs_to_mbs(L"abc", silent.Locale()));
    ScriptedFacet failing({.answer = Codecvt::error, .written = 2});
    EXPECT_EQ(BadWideString, Thrown([&] { Vorn::wcs_to_mbs(L"abc", failing.Locale()); }));
    EXPECT_EQ(BadWideString, Thrown([&] { Vorn::wcs_to_mbs(L"", failing.Locale()); }));
}

TEST_F(WideToMultibyte, StopsAtTheEndOfABufferThatTheFacetFilled) {
    ScriptedFacet facet({.written = 1000, .maxLength = 3});
    EXPECT_EQ(std::string(12, 'x'), Vorn::wcs_to_mbs(L"abc", facet.Locale()));
    EXPECT_EQ("xxx", Vorn::wcs_to_mbs(L"", facet.Locale()));
}

TEST_F(WideToMultibyte, GivesAnEmptyStringWhenTheFacetNeedsNoCapacity) {
    ScriptedFacet facet({.written = 1000, .maxLength = 0});
    EXPECT_EQ("", Vorn::wcs_to_mbs(L"abc", facet.Locale()));
}

// Concerns: the encoding is that of the C library's locale, whatever the standard library's global
// one; nothing to convert is an error here; each failure has its message; the C library gets the
// true capacity.

TEST_F(Utf8ToWide, UsesTheEncodingOfTheCLocale) {
    SetCLocale(Utf8Locale);
    EXPECT_EQ(std::wstring(1, static_cast<wchar_t>(0x1F600)),
              Vorn::utf8_to_wcs("\xF0\x9F\x98\x80"));
    SetCLocale(Latin1Locale);
    EXPECT_EQ(L"\u00C7\u00D1", Vorn::utf8_to_wcs("\xC7\xD1"));
    SetCLocale(KoreanLocale);
    EXPECT_EQ(L"\uD55C", Vorn::utf8_to_wcs("\xC7\xD1"));
    SetCLocale("C");
    EXPECT_EQ(L"plain", Vorn::utf8_to_wcs("plain"));
}

// Gives the thread a locale of its own for the C library.
class ThreadLocale {
public:
    explicit ThreadLocale(const char* name)
        : m_own(newlocale(LC_ALL_MASK, name, nullptr)), m_before(uselocale(m_own)) {}
    ~ThreadLocale() {
        uselocale(m_before);
        freelocale(m_own);
    }
    ThreadLocale(const ThreadLocale&) = delete;
    ThreadLocale& operator=(const ThreadLocale&) = delete;

private:
    locale_t m_own;
    locale_t m_before;
};

TEST_F(Utf8ToWide, UsesTheEncodingOfTheThreadsOwnLocale) {
    {
        const ThreadLocale own(Utf8Locale);
        EXPECT_EQ(L"\u00E9", Vorn::utf8_to_wcs("\u00E9"));
    }
    SetCLocale(Utf8Locale);
    const ThreadLocale own("C");
    EXPECT_EQ(BadUtf8, Thrown([] { Vorn::utf8_to_wcs("\u00E9"); }));
}

TEST_F(Utf8ToWide, ConvertsEveryCodePoint) {
    SetCLocale(Utf8Locale);
    for (const Block& block : AllCodePoints())
        ASSERT_TRUE(block.wide == Vorn::utf8_to_wcs(block.narrow))
            << "block from " << std::hex << static_cast<unsigned int>(block.wide.at(0));
}

TEST_F(Utf8ToWide, RefusesAnEmptyString) {
    for (const char* name : {"C", Utf8Locale, Latin1Locale, KoreanLocale}) {
        SetCLocale(name);
        EXPECT_EQ(NoCharacters, Thrown([] { Vorn::utf8_to_wcs(""); })) << name;
        EXPECT_EQ(NoCharacters, Thrown([] { Vorn::utf8_to_wcs(std::string("\0ab", 3)); })) << name;
    }
}

TEST_F(Utf8ToWide, ThrowsForAMalformedString) {
    SetCLocale(Utf8Locale);
    for (const char* text :
         {"\xFF", "ab\xFF", "\x80", "\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xE2\x82z"})
        EXPECT_EQ(BadUtf8, Thrown([&] { Vorn::utf8_to_wcs(text); })) << text;
    SetCLocale(KoreanLocale);
    EXPECT_EQ(BadUtf8, Thrown([] { Vorn::utf8_to_wcs("\xC7!"); }));
}

TEST_F(Utf8ToWide, ThrowsForACharacterCutOffAtTheEnd) {
    SetCLocale(Utf8Locale);
    EXPECT_EQ(BadUtf8, Thrown([] { Vorn::utf8_to_wcs("ab\xE2\x82"); }));
    SetCLocale(KoreanLocale);
    EXPECT_EQ(BadUtf8, Thrown([] { Vorn::utf8_to_wcs("ab\xC7"); }));
}

TEST_F(Utf8ToWide, EndsAtAnEmbeddedZeroWhateverFollows) {
    SetCLocale(Utf8Locale);
    EXPECT_EQ(L"ab", Vorn::utf8_to_wcs(std::string("ab\0cd", 5)));
    EXPECT_EQ(L"ab", Vorn::utf8_to_wcs(std::string("ab\0\xFF", 4)));
}

TEST_F(Utf8ToWide, CountsFirstAndThenConvertsIntoThatCapacity) {
    SetCLocale(KoreanLocale);
    Platform::mbstowcs.Record();
    Vorn::utf8_to_wcs("\xC7\xD1\xB1\xDB!");
    EXPECT_THAT(Platform::mbstowcs.Calls(),
                ElementsAre(FieldsAre(IsNull(), _, 0U), FieldsAre(NotNull(), _, 4U)));
}

TEST_F(Utf8ToWide, ThrowsWhenTheSecondCountDiffers) {
    for (const std::size_t second :
         {std::size_t{0}, std::size_t{2}, std::size_t{4}, ~std::size_t{}}) {
        Platform::mbstowcs.At(1).Answer(3);
        Platform::mbstowcs.At(2).Answer(second);
        EXPECT_EQ(CountsDiffer, Thrown([] { Vorn::utf8_to_wcs("abc"); })) << second;
    }
    EXPECT_EQ(L"abc", Vorn::utf8_to_wcs("abc"));
}

// Concerns: no string is ever returned; the exception distinguishes convertible strings from
// others; the encoding is that of the C library's locale; both counts are made and never write.

TEST_F(WideToUtf8, EndsInALogicErrorForEveryConvertibleString) {
    EXPECT_EQ(Convertible, Thrown([] { Vorn::wcs_to_utf8(L"plain"); }));
    SetCLocale(Utf8Locale);
    EXPECT_EQ(Convertible, Thrown([] { Vorn::wcs_to_utf8(L"\U0001F600"); }));
    EXPECT_EQ(Convertible, Thrown([] { Vorn::wcs_to_utf8(std::wstring(100000, L'\u20AC')); }));
    EXPECT_EQ(Convertible, Thrown([] { Vorn::wcs_to_utf8(std::wstring(L"a\0b", 3)); }));
    for (const Block& block : AllCodePoints())
        ASSERT_EQ(Convertible, Thrown([&] { Vorn::wcs_to_utf8(block.wide); }));
}

TEST_F(WideToUtf8, UsesTheEncodingOfTheCLocale) {
    EXPECT_EQ(BadWideForUtf8, Thrown([] { Vorn::wcs_to_utf8(L"\u00E9"); }));
    SetCLocale(Latin1Locale);
    EXPECT_EQ(Convertible, Thrown([] { Vorn::wcs_to_utf8(L"\u00E9"); }));
    EXPECT_EQ(BadWideForUtf8, Thrown([] { Vorn::wcs_to_utf8(L"\uD55C"); }));
    SetCLocale(KoreanLocale);
    EXPECT_EQ(BadWideForUtf8, Thrown([] { Vorn::wcs_to_utf8(L"\u00E9"); }));
    EXPECT_EQ(Convertible, Thrown([] { Vorn::wcs_to_utf8(L"\uD55C"); }));
}

TEST_F(WideToUtf8, ThrowsForACharacterThatCannotBeWritten) {
    SetCLocale(Utf8Locale);
    for (wchar_t surrogate = 0xD800; surrogate < 0xE000; ++surrogate)
        EXPECT_EQ(BadWideForUtf8, Thrown([&] { Vorn::wcs_to_utf8({L'a', surrogate}); }));
    EXPECT_EQ(BadWideForUtf8, Thrown([] { Vorn::wcs_to_utf8({static_cast<wchar_t>(-1)}); }));
}

TEST_F(WideToUtf8, RefusesAnEmptyString) {
    for (const char* name : {"C", Utf8Locale, Latin1Locale, KoreanLocale}) {
        SetCLocale(name);
        EXPECT_EQ(NoCharacters, Thrown([] { Vorn::wcs_to_utf8(L""); })) << name;
        EXPECT_EQ(NoCharacters, Thrown([] { Vorn::wcs_to_utf8(std::wstring(L"\0a", 2)); })) << name;
    }
}

TEST_F(WideToUtf8, CountsTwiceAndWritesNothing) {
    SetCLocale(Utf8Locale);
    Platform::wcstombs.Record();
    Thrown([] { Vorn::wcs_to_utf8(L"\u00E9\u20AC"); });
    EXPECT_THAT(Platform::wcstombs.Calls(),
                ElementsAre(FieldsAre(IsNull(), _, 0U), FieldsAre(IsNull(), _, 5U)));
}

TEST_F(WideToUtf8, ThrowsWhenTheSecondCountDiffers) {
    for (const std::size_t second :
         {std::size_t{0}, std::size_t{2}, std::size_t{4}, ~std::size_t{}}) {
        Platform::wcstombs.At(1).Answer(3);
        Platform::wcstombs.At(2).Answer(second);
        EXPECT_EQ(CountsDiffer, Thrown([] { Vorn::wcs_to_utf8(L"abc"); })) << second;
    }
}

// Concerns: each chain is its two steps in their order, with the locale argument for the mbs side
// and the C library's locale for the utf8 side, and lets the exceptions of both through.

TEST_F(ConversionChain, Utf8ToMultibyteConvertsBetweenTheTwoLocales) {
    SetCLocale(Utf8Locale);
    EXPECT_EQ("\xC7\xD1\xB1\xDB", Vorn::utf8_to_mbs("\uD55C\uAE00", std::locale(KoreanLocale)));
    EXPECT_EQ("\xE9", Vorn::utf8_to_mbs("\u00E9", std::locale(Latin1Locale)));
    SetCLocale(KoreanLocale);
    EXPECT_EQ("\uD55C", Vorn::utf8_to_mbs("\xC7\xD1", std::locale(Utf8Locale)));
}

TEST_F(ConversionChain, Utf8ToMultibytePassesTheExceptionsOfBothSteps) {
    SetCLocale(Utf8Locale);
    const std::locale latin1(Latin1Locale);
    EXPECT_EQ(BadUtf8, Thrown([&] { Vorn::utf8_to_mbs("\xFF", latin1); }));
    EXPECT_EQ(NoCharacters, Thrown([&] { Vorn::utf8_to_mbs("", latin1); }));
    EXPECT_EQ(BadWideString, Thrown([&] { Vorn::utf8_to_mbs("\u20AC", latin1); }));
    EXPECT_EQ(BadUtf8, Thrown([] { Vorn::utf8_to_mbs("\xFF", std::locale::classic()); }));
}

TEST_F(ConversionChain, MultibyteToUtf8NeverReturnsAString) {
    SetCLocale(Utf8Locale);
    EXPECT_EQ(Convertible, Thrown([] { Vorn::mbs_to_utf8("\xE9", std::locale(Latin1Locale)); }));
    EXPECT_EQ(Convertible, Thrown([] { Vorn::mbs_to_utf8("plain", std::locale::classic()); }));
}

TEST_F(ConversionChain, MultibyteToUtf8PassesTheExceptionsOfBothSteps) {
    const std::locale utf8(Utf8Locale);
    EXPECT_EQ(BadString, Thrown([&] { Vorn::mbs_to_utf8("\xFF", utf8); }));
    EXPECT_EQ(NoCharacters, Thrown([&] { Vorn::mbs_to_utf8("", utf8); }));
    EXPECT_EQ(NoCharacters,
              Thrown([&] { Vorn::mbs_to_utf8("\xC3", utf8); })); // cut off: nothing left
    EXPECT_EQ(BadWideForUtf8, Thrown([&] { Vorn::mbs_to_utf8("\u00E9", utf8); }));
}

TEST_F(ConversionChain, TakesTheGlobalLocaleByDefault) {
    std::locale::global(std::locale(Latin1Locale));
    SetCLocale(Utf8Locale);
    EXPECT_EQ("\xE9", Vorn::utf8_to_mbs("\u00E9"));
    EXPECT_EQ(Convertible, Thrown([] { Vorn::mbs_to_utf8("\xE9"); }));
    std::locale::global(std::locale::classic());
    EXPECT_EQ(BadString, Thrown([] { Vorn::mbs_to_utf8("\xE9"); }));
}

TEST_F(ConversionChain, RunsOnSeveralThreadsAtOnce) {
    SetCLocale(Utf8Locale);
    const std::locale korean(KoreanLocale);
    std::vector<int> good(4);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int& count : good)
        threads.emplace_back([&count, &korean] {
            for (int i = 0; i < 200; ++i)
                count += Vorn::utf8_to_mbs("\uD55C\uAE00", korean) == "\xC7\xD1\xB1\xDB" ? 1 : 0;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(good, ElementsAre(200, 200, 200, 200));
}

// Concerns: the text string is the narrow string, so each tcs function is its mbs counterpart with
// the same locale; between tcs and mbs there is nothing to convert, check or cut.

TEST_F(TextString, ConvertsLikeTheMultibyteForms) {
    SetCLocale(Utf8Locale);
    const std::locale korean(KoreanLocale);
    EXPECT_EQ(L"\uD55C", Vorn::tcs_to_wcs("\xC7\xD1", korean));
    EXPECT_EQ("\xC7\xD1", Vorn::wcs_to_tcs(L"\uD55C", korean));
    EXPECT_EQ("\xC7\xD1", Vorn::utf8_to_tcs("\uD55C", korean));
    EXPECT_EQ(Convertible, Thrown([&] { Vorn::tcs_to_utf8("\xC7\xD1", korean); }));
}

TEST_F(TextString, FailsLikeTheMultibyteForms) {
    SetCLocale(Utf8Locale);
    const std::locale korean(KoreanLocale);
    EXPECT_EQ(BadString, Thrown([&] { Vorn::tcs_to_wcs("\xC7!", korean); }));
    EXPECT_EQ(BadWideString, Thrown([&] { Vorn::wcs_to_tcs(L"\u00E9", korean); }));
    EXPECT_EQ(BadUtf8, Thrown([&] { Vorn::utf8_to_tcs("\xFF", korean); }));
    EXPECT_EQ(NoCharacters, Thrown([&] { Vorn::utf8_to_tcs("", korean); }));
    EXPECT_EQ(BadString, Thrown([&] { Vorn::tcs_to_utf8("\xC7!", korean); }));
    EXPECT_EQ(NoCharacters, Thrown([&] { Vorn::tcs_to_utf8("", korean); }));
    EXPECT_EQ(L"", Vorn::tcs_to_wcs("", korean));
    EXPECT_EQ("", Vorn::wcs_to_tcs(L"", korean));
}

TEST_F(TextString, TakesTheGlobalLocaleByDefault) {
    std::locale::global(std::locale(Latin1Locale));
    SetCLocale(Utf8Locale);
    EXPECT_EQ(L"\u00E9", Vorn::tcs_to_wcs("\xE9"));
    EXPECT_EQ("\xE9", Vorn::wcs_to_tcs(L"\u00E9"));
    EXPECT_EQ("\xE9", Vorn::utf8_to_tcs("\u00E9"));
    EXPECT_EQ(Convertible, Thrown([] { Vorn::tcs_to_utf8("\xE9"); }));
}

TEST_F(TextString, CopiesBetweenTextAndMultibyteWhateverTheLocale) {
    ScriptedFacet failing({.answer = Codecvt::error});
    const std::string anything("a\0\xFF\xC3", 4);
    for (const std::locale& loc :
         {std::locale::classic(), std::locale(Utf8Locale), failing.Locale()}) {
        EXPECT_EQ(anything, Vorn::mbs_to_tcs(anything, loc));
        EXPECT_EQ(anything, Vorn::tcs_to_mbs(anything, loc));
        EXPECT_EQ("", Vorn::mbs_to_tcs("", loc));
        EXPECT_EQ("", Vorn::tcs_to_mbs("", loc));
    }
    EXPECT_EQ(anything, Vorn::mbs_to_tcs(anything));
    EXPECT_EQ(anything, Vorn::tcs_to_mbs(anything));
    EXPECT_THAT(failing.Requests(), IsEmpty());
}

} // namespace
