#ifndef VORN_BASES_TESTS_SUPPORT_ICONV_SPY_H
#define VORN_BASES_TESTS_SUPPORT_ICONV_SPY_H

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace VornTest {

struct IconvCall {
    std::size_t input = 0; // bytes offered
    std::size_t room = 0;  // bytes of room declared
    char* output = nullptr;

    bool operator==(const IconvCall& other) const {
        return input == other.input && room == other.room;
    }
};

/// Looks at the conversions that the library asks of iconv. A program that uses this adds
/// IconvSpy.cpp to its sources and wraps iconv, iconv_open and iconv_close. Conversions may run on
/// several threads; look at the records when they are done.
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
    }
};

} // namespace VornTest

#endif
