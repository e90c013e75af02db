// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_XML_TEST_H
#define VORN_BASES_TESTS_SUPPORT_XML_TEST_H

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <unistd.h>

#include <libxml/globals.h>
#include <libxml/parser.h>

#include <gtest/gtest.h>

#include <Bases/Bases.h>
#include <Bases/Xml.h>

#include "Files.h"
#include "IconvSpy.h"
#include "Locale.h"
#include "TempDir.h"

namespace VornTest {

/// A test with the library set up in a UTF-8 locale, unless it asks for another one, and with the
/// spy on its conversions. No converter may be left open in the end.
class XmlTest : public LocaleTest {
public:
    ~XmlTest() override { EXPECT_EQ(0, IconvSpy::live) << "converters left open"; }
    XmlTest(const XmlTest&) = delete;
    XmlTest& operator=(const XmlTest&) = delete;

protected:
    XmlTest() {
        IconvSpy::Reset();
        UseLocale(Utf8Locale);
    }

    void UseLocale(const char* name) {
        SetVariable("LC_ALL", name);
        Vorn::BasesInit();
    }

    TempDir m_dir;
};

/// A parameter whose text may hold anything, with a name for the lists of tests.
struct NamedText {
    const char* name;
    std::string text;

    friend void PrintTo(const NamedText& parameter, std::ostream* out) { *out << parameter.name; }
};

inline std::string NameOfText(const testing::TestParamInfo<NamedText>& info) {
    return info.param.name;
}

/// Calls `action` and returns what the process wrote to its standard error meanwhile.
template <typename Action>
std::string StderrOf(Action&& action) {
    testing::internal::CaptureStderr();
    std::forward<Action>(action)();
    return testing::internal::GetCapturedStderr();
}

/// Runs the action on four threads at the same time.
inline void OnFourThreads(const std::function<void()>& action) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(action);
    for (std::thread& thread : threads)
        thread.join();
}

/// Loads from a copy of the text that is gone afterwards.
inline bool LoadText(Vorn::XmlReader& reader, std::string text) {
    const bool result = reader.Load(reinterpret_cast<unsigned char*>(text.data()), text.size());
    text.assign(text.size(), '#');
    return result;
}

/// Standard input holds a text and nothing more while this lives.
class StdinText {
public:
    explicit StdinText(const std::string& text) : m_size(text.size()) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, pipe(ends));
        EXPECT_EQ(static_cast<ssize_t>(m_size), write(ends[1], text.data(), m_size));
        close(ends[1]);
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
    }

    ~StdinText() {
        if (m_old < 0)
            return;
        dup2(m_old, STDIN_FILENO);
        close(m_old);
    }

    StdinText(const StdinText&) = delete;
    StdinText& operator=(const StdinText&) = delete;

    /// Reads what nobody has read.
    std::string Left() const {
        std::string left(m_size + 1, '\0');
        const ssize_t count = read(STDIN_FILENO, left.data(), left.size());
        left.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        return left;
    }

private:
    std::size_t m_size;
    int m_old = dup(STDIN_FILENO);
};

/// ASCII text in UTF-16, low byte first and without a byte-order mark.
inline std::string Utf16(const std::string& ascii) {
    std::string wide;
    for (const char c : ascii) {
        wide += c;
        wide += '\0';
    }
    return wide;
}

/// Stands in for a host that has error functions of its own in libxml2: counts what reaches them
/// while it lives, and puts the ones of before back.
class HostErrors {
public:
    HostErrors() {
        xmlSetGenericErrorFunc(this, CountGeneric);
        xmlSetStructuredErrorFunc(this, CountStructured);
    }

    ~HostErrors() {
        xmlSetGenericErrorFunc(m_genericContext, m_generic);
        xmlSetStructuredErrorFunc(m_structuredContext, m_structured);
    }

    HostErrors(const HostErrors&) = delete;
    HostErrors& operator=(const HostErrors&) = delete;

    /// How many reports reached this host.
    int Count() const { return m_count; }

    /// Whether its functions and their contexts stand, for the calling thread.
    bool Stand() const {
        return xmlGenericError == CountGeneric && xmlGenericErrorContext == this &&
               xmlStructuredError == m_ownStructured && xmlStructuredErrorContext == this;
    }

private:
    static void CountGeneric(void* context, const char*, ...) { ++Of(context).m_count; }
    // Releases of libxml2 differ in whether the record is const.
    template <typename Error>
    static void CountStructured(void* context, Error*) {
        ++Of(context).m_count;
    }
    static HostErrors& Of(void* context) { return *static_cast<HostErrors*>(context); }

    xmlGenericErrorFunc m_generic = xmlGenericError;
    void* m_genericContext = xmlGenericErrorContext;
    xmlStructuredErrorFunc m_structured = xmlStructuredError;
    void* m_structuredContext = xmlStructuredErrorContext;
    xmlStructuredErrorFunc m_ownStructured = CountStructured;
    int m_count = 0;
};

/// Makes libxml2 report something, outside of the library.
inline void ProvokeReport() { xmlFreeDoc(xmlReadMemory("<a", 2, "provoked", nullptr, 0)); }

} // namespace VornTest

#endif
