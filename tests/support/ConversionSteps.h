// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_CONVERSION_STEPS_H
#define VORN_BASES_TESTS_SUPPORT_CONVERSION_STEPS_H

// The conversions of text in the plainest form: calls of the C library and of a locale's facet,
// with the exceptions that the library throws. What the fast routes give is compared with them.

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <locale>
#include <stdexcept>
#include <string>
#include <vector>

namespace VornTest {

using Codecvt = std::codecvt<wchar_t, char, std::mbstate_t>;

inline std::wstring Utf8ToWide(const std::string& s) {
    const std::size_t count = std::mbstowcs(nullptr, s.c_str(), 0);
    if (count == static_cast<std::size_t>(-1))
        throw std::runtime_error("Invalid UTF-8 sequence.");
    if (count == 0)
        throw std::runtime_error("Error in conversion.");
    std::vector<wchar_t> buffer(count + 1);
    if (std::mbstowcs(buffer.data(), s.c_str(), buffer.size()) != count)
        throw std::runtime_error("Unknown Error");
    return buffer.data();
}

inline std::string WideToUtf8(const std::wstring& w) {
    const std::size_t count = std::wcstombs(nullptr, w.c_str(), 0);
    if (count == static_cast<std::size_t>(-1))
        throw std::runtime_error("Invalid wide string sequence.");
    if (count == 0)
        throw std::runtime_error("Error in conversion.");
    throw std::logic_error("basic_string: construction from null is not valid");
}

inline std::wstring MultibyteToWide(const std::string& s, const Codecvt& facet) {
    std::mbstate_t state{};
    std::vector<wchar_t> buffer(s.size() + 1);
    const char* fromNext = nullptr;
    wchar_t* toNext = nullptr;
    if (facet.in(state, s.c_str(), s.c_str() + s.size(), fromNext, buffer.data(),
                 buffer.data() + buffer.size(), toNext) == Codecvt::error)
        throw std::runtime_error("can't convert string to wstring");
    return {buffer.begin(), std::find(buffer.begin(), buffer.end(), L'\0')};
}

inline std::string WideToMultibyte(const std::wstring& w, const Codecvt& facet) {
    std::mbstate_t state{};
    std::vector<char> buffer((w.size() + 1) * static_cast<std::size_t>(facet.max_length()));
    const wchar_t* fromNext = nullptr;
    char* toNext = nullptr;
    if (facet.out(state, w.c_str(), w.c_str() + w.size(), fromNext, buffer.data(),
                  buffer.data() + buffer.size(), toNext) == Codecvt::error)
        throw std::runtime_error("can't convert wstring to string");
    return {buffer.begin(), std::find(buffer.begin(), buffer.end(), '\0')};
}

} // namespace VornTest

#endif
