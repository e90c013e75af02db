// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_FILES_H
#define VORN_BASES_TESTS_SUPPORT_FILES_H

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

namespace VornTest {

inline void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    ASSERT_TRUE(file.flush().good()) << path;
}

inline std::string TextOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

/// How many descriptors the process has open, the one that counts them included.
inline std::ptrdiff_t OpenDescriptors() {
    namespace fs = std::filesystem;
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

} // namespace VornTest

#endif
