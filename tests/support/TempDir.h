// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_TEMP_DIR_H
#define VORN_BASES_TESTS_SUPPORT_TEMP_DIR_H

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include <stdlib.h>

#include <gtest/gtest.h>

namespace VornTest {

/// A directory of this object's own below the system's temporary one, removed with everything in it
/// at the end, so that tests can run beside each other. Throws when it cannot be made; fails the
/// test when it cannot be removed.
class TempDir {
public:
    TempDir() : m_path(Make()) {}
    ~TempDir() { Remove(); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    /// The directory, absolute and without a trailing separator.
    std::string Path() const { return m_path.string(); }

    /// The path of `name` inside the directory. Nothing is made there.
    std::string File(const std::string& name) const { return (m_path / name).string(); }

private:
    static std::filesystem::path Make() {
        std::string pattern =
            std::filesystem::absolute(std::filesystem::temp_directory_path() / "vorn-XXXXXX")
                .string();
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), "mkdtemp " + pattern);
        return pattern;
    }

    void Remove() {
        std::error_code error;
        OpenUp(m_path);
        std::filesystem::remove_all(m_path, error);
        if (error)
            ADD_FAILURE() << m_path << " stays behind: " << error.message();
    }

    // A test may have taken the permissions away that removing needs.
    static void OpenUp(const std::filesystem::path& directory) {
        namespace fs = std::filesystem;
        std::error_code error;
        fs::permissions(directory, fs::perms::owner_all, fs::perm_options::add, error);
        for (fs::directory_iterator it(directory, error), end; !error && it != end;
             it.increment(error)) {
            if (it->symlink_status(error).type() == fs::file_type::directory)
                OpenUp(it->path());
        }
    }

    std::filesystem::path m_path;
};

} // namespace VornTest

#endif
