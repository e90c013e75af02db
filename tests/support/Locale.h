// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_LOCALE_H
#define VORN_BASES_TESTS_SUPPORT_LOCALE_H

#include <clocale>
#include <cstdlib>
#include <locale>
#include <map>
#include <optional>
#include <string>

#include <gtest/gtest.h>

/// The C library loses the directory list that it makes from LOCPATH for each locale it opens. Only
/// the leak check asks for this; nothing of the library under test allocates there.
extern "C" __attribute__((used)) inline const char* __lsan_default_suppressions() {
    return "leak:__argz_add_sep";
}

namespace VornTest {

inline constexpr char Utf8Locale[] = "C.UTF-8";
inline constexpr char Latin1Locale[] = "de_DE.ISO-8859-1";
inline constexpr char KoreanLocale[] = "ko_KR.EUC-KR";

/// A test that starts in the "C" locale, with no locale variable in the environment and only the
/// tests' own locales to be found. Environment and locale are put back afterwards. The program has
/// to link VornTestLocales.
class LocaleTest : public ::testing::Test {
public:
    LocaleTest() : m_locale(std::locale::global(std::locale::classic())) {
        for (const char* name :
             {"LC_ALL", "LC_CTYPE", "LC_NUMERIC", "LC_TIME", "LC_COLLATE", "LC_MONETARY",
              "LC_MESSAGES", "LC_PAPER", "LC_NAME", "LC_ADDRESS", "LC_TELEPHONE", "LC_MEASUREMENT",
              "LC_IDENTIFICATION", "LANG", "LANGUAGE"})
            SetVariable(name, nullptr);
        SetVariable("LOCPATH", VORN_TEST_LOCPATH);
    }

    ~LocaleTest() override {
        for (const auto& [name, value] : m_variables)
            Put(name.c_str(), value ? value->c_str() : nullptr);
        std::locale::global(m_locale);
    }

    LocaleTest(const LocaleTest&) = delete;
    LocaleTest& operator=(const LocaleTest&) = delete;

protected:
    /// Sets an environment variable, or removes it with null, until the end of the test.
    void SetVariable(const char* name, const char* value) {
        const char* old = std::getenv(name);
        m_variables.emplace(name, old ? std::optional<std::string>(old) : std::nullopt);
        Put(name, value);
    }

    /// Changes the C library's locale only; the standard library's global one stays "C".
    static void SetCLocale(const char* name) {
        ASSERT_NE(nullptr, std::setlocale(LC_ALL, name)) << name;
    }

private:
    static void Put(const char* name, const char* value) {
        if (value == nullptr)
            unsetenv(name);
        else
            setenv(name, value, 1);
    }

    std::locale m_locale;
    std::map<std::string, std::optional<std::string>> m_variables;
};

} // namespace VornTest

#endif
