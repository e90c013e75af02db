// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_CHECKS_EXAMPLES_EXAMPLE_H
#define VORN_BASES_TESTS_CHECKS_EXAMPLES_EXAMPLE_H

// What precedes every example that extract.awk finds.

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <Bases/Bases.h>
#include <Bases/Container.h>
#include <Bases/Crypto.h>
#include <Bases/File.h>
#include <Bases/Text.h>
#include <Bases/Thread.h>
#include <Bases/Time.h>
#include <Bases/Utility.h>
#include <Bases/Xml.h>

#include "support/StdoutCapture.h"
#include "support/TempDir.h"

namespace VornTest {

/// Whether a value is the one that an example states: numbers in the type of the value, text by its
/// characters.
template <typename Stated, typename Actual>
testing::AssertionResult Is(const Stated& stated, const Actual& actual) {
    if constexpr (std::is_arithmetic_v<Actual>) {
        if (static_cast<Actual>(stated) == actual)
            return testing::AssertionSuccess();
    } else if (actual == stated) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "the comment says " << testing::PrintToString(stated)
                                       << ", but it is " << testing::PrintToString(actual);
}

inline testing::AssertionResult Is(const char* stated, const char* actual) {
    return Is(stated, std::string(actual));
}

/// Runs an example in an empty directory of its own and returns what it prints. What it fails with
/// goes to standard error.
inline std::string RunExample(void (*example)()) {
    const TempDir directory;
    std::filesystem::current_path(directory.Path());
    const std::string printed = StdoutOf(example);
    std::filesystem::current_path("/");
    if (testing::Test::HasFailure())
        std::fputs(printed.c_str(), stderr);
    return printed;
}

} // namespace VornTest

#endif
