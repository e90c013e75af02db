// Conversions between the character sets of a locale, of the C library and of wide strings.

#include <Bases/Text.h>

#include <cstdlib>
#include <cwchar>
#include <stdexcept>

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

} // namespace

std::wstring mbs_to_wcs(const std::string& s, const std::locale& loc) {
    std::mbstate_t state{};
    std::wstring buffer(s.size() + 1, L'\0');
    const char* fromNext = nullptr;
    wchar_t* toNext = nullptr;
    const auto result =
        std::use_facet<Codecvt>(loc).in(state, s.data(), s.data() + s.size(), fromNext,
                                        buffer.data(), buffer.data() + buffer.size(), toNext);
    if (result == Codecvt::error)
        throw std::runtime_error("can't convert string to wstring");
    CutAtFirstZero(buffer);
    return buffer;
}

std::string wcs_to_mbs(const std::wstring& w, const std::locale& loc) {
    const auto& facet = std::use_facet<Codecvt>(loc);
    std::mbstate_t state{};
    std::string buffer((w.size() + 1) * static_cast<std::size_t>(facet.max_length()), '\0');
    const wchar_t* fromNext = nullptr;
    char* toNext = nullptr;
    const auto result = facet.out(state, w.data(), w.data() + w.size(), fromNext, buffer.data(),
                                  buffer.data() + buffer.size(), toNext);
    if (result == Codecvt::error)
        throw std::runtime_error("can't convert wstring to string");
    CutAtFirstZero(buffer);
    return buffer;
}

std::wstring utf8_to_wcs(const std::string& s) {
    const std::size_t count = std::mbstowcs(nullptr, s.c_str(), 0);
    CheckCount(count, "Invalid UTF-8 sequence.");

    // The C library's terminating zero overwrites the string's own terminator.
    std::wstring buffer(count, L'\0');
    CheckSecondCount(std::mbstowcs(buffer.data(), s.c_str(), count + 1), count);
    return buffer;
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
    return wcs_to_utf8(mbs_to_wcs(s, loc));
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
