// SPDX-License-Identifier: MIT
// Conversions between the character sets of a locale, of the C library and of wide strings.

#include <Bases/Text.h>

#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <typeinfo>

#include <langinfo.h>

#include <Bases/Impl/Utf8.h>

namespace Vorn {

namespace {

using Codecvt = std::codecvt<wchar_t, char, std::mbstate_t>;

constexpr auto Impossible = static_cast<std::size_t>(-1);

// A facet may have filled the whole buffer, so there may be no zero.
template <typename String>
void CutAtFirstZero(String& text) {
    const std::size_t zero = text.find(typename String::value_type());
    if (zero != String::npos)
        text.resize(zero);
}

// Throws what a first count of the C library means: no conversion, or nothing to convert.
void CheckCount(std::size_t count, const char* impossibleMessage) {
    if (count == Impossible)
        throw std::runtime_error(impossibleMessage);
    if (count == 0)
        throw std::runtime_error("Error in conversion.");
}

// With a null destination the C library only counts and ignores the limit; the compiler's check of
// the two does not know that.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnonnull"
std::size_t CountBytes(const std::wstring& w, std::size_t limit) {
    return std::wcstombs(nullptr, w.c_str(), limit);
}
#pragma GCC diagnostic pop

void CheckSecondCount(std::size_t count, std::size_t expected) {
    if (count != expected)
        throw std::runtime_error("Unknown Error");
}

// --- The codecs of the locale --------------------------------------------------------------------

void AppendByFacet(const Codecvt& facet, const char* from, const char* end, std::wstring& wide) {
    std::mbstate_t state{};
    const std::size_t size = wide.size();
    wide.resize(size + static_cast<std::size_t>(end - from) + 1);
    const char* fromNext = nullptr;
    wchar_t* toNext = nullptr;
    if (facet.in(state, from, end, fromNext, wide.data() + size, wide.data() + wide.size(),
                 toNext) == Codecvt::error)
        throw std::runtime_error("can't convert string to wstring");
}

void AppendByFacet(const Codecvt& facet, const wchar_t* from, const wchar_t* end,
                   std::string& text) {
    std::mbstate_t state{};
    const std::size_t size = text.size();
    text.resize(size + static_cast<std::size_t>(end - from + 1) *
                           static_cast<std::size_t>(facet.max_length()));
    const wchar_t* fromNext = nullptr;
    char* toNext = nullptr;
    if (facet.out(state, from, end, fromNext, text.data() + size, text.data() + text.size(),
                  toNext) == Codecvt::error)
        throw std::runtime_error("can't convert wstring to string");
}

// The C library's terminating zero overwrites the string's own terminator.
void AppendByCLibrary(const char* from, std::wstring& wide) {
    const std::size_t count = std::mbstowcs(nullptr, from, 0);
    CheckCount(count, "Invalid UTF-8 sequence.");
    const std::size_t size = wide.size();
    wide.resize(size + count);
    CheckSecondCount(std::mbstowcs(wide.data() + size, from, count + 1), count);
}

// --- Whether they are those of UTF-8 -------------------------------------------------------------

bool CLibraryUsesUtf8() { return std::string_view(nl_langinfo(CODESET)) == "UTF-8"; }

// Only the standard library's own facets are known to do nothing else. What such a one is for shows
// in what it makes of characters of every length.
bool IsForUtf8(const Codecvt& facet) {
    constexpr std::string_view Probe = "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
    constexpr std::wstring_view Expected = L"\u00E9\u20AC\U0001F600";
    const std::type_info& type = typeid(facet);
    if (type != typeid(Codecvt) &&
        type != typeid(std::codecvt_byname<wchar_t, char, std::mbstate_t>))
        return false;
    std::mbstate_t state{};
    wchar_t wide[Probe.size()];
    const char* fromNext = nullptr;
    wchar_t* toNext = nullptr;
    return facet.in(state, Probe.data(), Probe.data() + Probe.size(), fromNext, std::begin(wide),
                    std::end(wide), toNext) == Codecvt::ok &&
           Expected == std::wstring_view(wide, static_cast<std::size_t>(toNext - wide));
}

// The question takes a facet about as long as a text of this length.
constexpr std::size_t ShortText = 128;

// Appends the plain characters in front, if the facet is for UTF-8. Returns how many elements of
// the text they were.
std::size_t AppendPlain(const Codecvt& facet, const std::string& s, std::wstring& wide) {
    return s.size() > ShortText && IsForUtf8(facet) ? AppendUtf8AsWide(s, wide) : 0;
}

std::size_t AppendPlain(const Codecvt& facet, const std::wstring& w, std::string& text) {
    return w.size() > ShortText && IsForUtf8(facet) ? AppendWideAsUtf8(w, text) : 0;
}

} // namespace

std::wstring mbs_to_wcs(const std::string& s, const std::locale& loc) {
    const auto& facet = std::use_facet<Codecvt>(loc);
    std::wstring wide;
    const std::size_t done = AppendPlain(facet, s, wide);
    if (done != 0 && done == s.size() && s.find('\0') == std::string::npos)
        return wide;
    AppendByFacet(facet, s.data() + done, s.data() + s.size(), wide);
    CutAtFirstZero(wide);
    return wide;
}

std::string wcs_to_mbs(const std::wstring& w, const std::locale& loc) {
    const auto& facet = std::use_facet<Codecvt>(loc);
    std::string text;
    const std::size_t done = AppendPlain(facet, w, text);
    if (done == 0 || done != w.size())
        AppendByFacet(facet, w.data() + done, w.data() + w.size(), text);
    CutAtFirstZero(text);
    return text;
}

std::wstring utf8_to_wcs(const std::string& s) {
    const std::string_view text(s.c_str());
    std::wstring wide;
    const std::size_t done = CLibraryUsesUtf8() ? AppendUtf8AsWide(text, wide) : 0;
    if (done == 0 || done != text.size())
        AppendByCLibrary(s.c_str() + done, wide);
    return wide;
}

std::string wcs_to_utf8(const std::wstring& w) {
    const std::size_t count = CountBytes(w, 0);
    CheckCount(count, "Invalid wide string sequence.");
    CheckSecondCount(CountBytes(w, count), count);

    // Callers recognise a convertible string by this exception, that of a string made from a null
    // pointer; see WideToUtf8.EndsInALogicErrorForEveryConvertibleString.
    throw std::logic_error("basic_string: construction from null is not valid");
}

std::string mbs_to_utf8(const std::string& s, const std::locale& loc) {
    return wcs_to_utf8(mbs_to_wcs(s, loc)); // GCOVR_EXCL_BR_LINE throws
}

std::string utf8_to_mbs(const std::string& s, const std::locale& loc) {
    return wcs_to_mbs(utf8_to_wcs(s), loc);
}

std::wstring tcs_to_wcs(const std::string& s, const std::locale& loc) { return mbs_to_wcs(s, loc); }

std::string wcs_to_tcs(const std::wstring& w, const std::locale& loc) { return wcs_to_mbs(w, loc); }

std::string tcs_to_utf8(const std::string& s, const std::locale& loc) {
    return mbs_to_utf8(s, loc);
}

std::string utf8_to_tcs(const std::string& s, const std::locale& loc) {
    return utf8_to_mbs(s, loc);
}

std::string mbs_to_tcs(const std::string& s, const std::locale& /*loc*/) { return s; }

std::string tcs_to_mbs(const std::string& s, const std::locale& /*loc*/) { return s; }

} // namespace Vorn
