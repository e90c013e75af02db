// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_FILE_FILE_SYS_TEST_H
#define VORN_BASES_TESTS_FILE_FILE_SYS_TEST_H

// What the tests of the file-system functions have in common.

#include <filesystem>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <Bases/File.h>

#include "fault/Platform.h"
#include "support/Files.h"
#include "support/TempDir.h"

namespace VornTest {

inline struct stat StatusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(0, lstat(path.c_str(), &status)) << path;
    return status;
}

inline std::string Node(const TempDir& dir, const char* name, mode_t kind) {
    std::string path = dir.File(name);
    EXPECT_EQ(0, mknod(path.c_str(), kind | 0600, 0)) << path;
    return path;
}

inline std::string Link(const TempDir& dir, const char* name, const std::string& target) {
    std::string path = dir.File(name);
    EXPECT_EQ(0, symlink(target.c_str(), path.c_str())) << path;
    return path;
}

inline bool IsThere(const std::string& path) {
    return std::filesystem::symlink_status(path).type() != std::filesystem::file_type::not_found;
}

/// Ends a test that hangs, instead of letting it wait for ever.
class Deadline {
public:
    Deadline() { alarm(60); }
    ~Deadline() { alarm(0); }
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;
};

class Umask {
public:
    explicit Umask(mode_t mask) : m_before(umask(mask)) {}
    ~Umask() { umask(m_before); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t m_before;
};

} // namespace VornTest

#endif
