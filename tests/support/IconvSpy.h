// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_ICONV_SPY_H
#define VORN_BASES_TESTS_SUPPORT_ICONV_SPY_H

#include <cstddef>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include <iconv.h>
#include <langinfo.h>

#include "fault/Platform.h"

namespace VornTest {

struct IconvCall {
    std::size_t input = 0;    // bytes offered
    std::size_t capacity = 0; // bytes of output allowed
    char* output = nullptr;

    bool operator==(const IconvCall& other) const {
        return input == other.input && capacity == other.capacity;
    }
};

/// Watches the conversions that the library asks of iconv, from Reset to the end of the test.
/// Conversions may run on several threads; look at the records when they are done.
struct IconvSpy {
    static inline std::mutex lock;
    static inline std::vector<std::string> opened; // "FROM to TO", refused ones included
    static inline std::vector<IconvCall> calls;
    static inline int live = 0;                   // converters opened and not closed
    static inline bool platformKnowsChar = false; // lets the name "char" stand for the locale's

    static void Reset() {
        opened.clear();
        calls.clear();
        live = 0;
        platformKnowsChar = false;
        Platform::iconv_open.OnAnyThread().Do(Open);
        Platform::iconv.OnAnyThread().Do(Convert);
        Platform::iconv_close.OnAnyThread().Do(Close);
    }

private:
    static const char* Translate(const char* name) {
        return platformKnowsChar && std::strcmp(name, "char") == 0 ? nl_langinfo(CODESET) : name;
    }

    static iconv_t Open(const char* to, const char* from) {
        const std::lock_guard locker(lock);
        opened.push_back(std::string(from) + " to " + to);
        const iconv_t converter = iconv_open(Translate(to), Translate(from));
        if (reinterpret_cast<std::ptrdiff_t>(converter) != -1)
            ++live;
        return converter;
    }

    static std::size_t Convert(iconv_t converter, char** input, std::size_t* inputLeft,
                               char** output, std::size_t* capacity) {
        if (input != nullptr) { // otherwise it only resets the converter
            const std::lock_guard locker(lock);
            calls.push_back({*inputLeft, *capacity, *output});
        }
        return iconv(converter, input, inputLeft, output, capacity);
    }

    static int Close(iconv_t converter) {
        const std::lock_guard locker(lock);
        --live;
        return iconv_close(converter);
    }
};

} // namespace VornTest

#endif
