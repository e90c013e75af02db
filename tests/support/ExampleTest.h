// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_EXAMPLE_TEST_H
#define VORN_BASES_TESTS_SUPPORT_EXAMPLE_TEST_H

#include "Program.h"
#include "TempDir.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace VornTest {

/// Every test works in a directory of its own, which an example program runs in.
class ExampleTest : public testing::Test {
protected:
    explicit ExampleTest(std::string program) : m_program(std::move(program)) {}

    Surroundings Here(const std::string& locale = "C.UTF-8") const {
        return {m_dir.Path(), {{"LC_ALL", locale}}, {}};
    }

    /// The program's path and what it is given.
    std::vector<std::string> Arguments(const std::vector<std::string>& arguments) const {
        std::vector<std::string> all{m_program};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    }

    Outcome Run(const std::vector<std::string>& arguments,
                const std::function<void()>& prepare = {},
                const std::string& locale = "C.UTF-8") const {
        Surroundings surroundings = Here(locale);
        surroundings.prepare = prepare;
        return RunProgram(Arguments(arguments), surroundings);
    }

    void Make(const std::string& name, const std::string& content = "") const {
        std::ofstream file(m_dir.File(name), std::ios::binary);
        file << content;
        ASSERT_TRUE(file.flush().good()) << name;
    }

    /// Makes the directories on the way, too.
    void MakeDirectory(const std::string& name) const {
        ASSERT_TRUE(std::filesystem::create_directories(m_dir.File(name))) << name;
    }

    void MakeLink(const std::string& to, const std::string& name) const {
        std::filesystem::create_symlink(to, m_dir.File(name));
    }

    void MakeFifo(const std::string& name) const {
        ASSERT_EQ(0, mkfifo(m_dir.File(name).c_str(), 0600)) << name;
    }

    void MakeSocket(const std::string& name) const {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = m_dir.File(name);
        ASSERT_LT(path.size(), sizeof address.sun_path);
        path.copy(address.sun_path, path.size());
        const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
        ASSERT_EQ(0, bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        close(socket);
    }

    /// A file of zeros, of which nothing is stored.
    void MakeHoles(const std::string& name, std::uintmax_t size) const {
        Make(name);
        std::filesystem::resize_file(m_dir.File(name), size);
    }

    /// One that nobody reads to its end.
    void MakeEndless(const std::string& name) const { MakeHoles(name, std::uintmax_t{1} << 40U); }

    void Remove(const std::string& name) const {
        ASSERT_NE(0U, std::filesystem::remove_all(m_dir.File(name))) << name;
    }

    void Permit(const std::string& name, std::filesystem::perms permissions) const {
        std::filesystem::permissions(m_dir.File(name), permissions);
    }

    std::filesystem::perms Permissions(const std::string& name) const {
        return std::filesystem::status(m_dir.File(name)).permissions();
    }

    std::string Content(const std::string& name) const {
        std::ifstream file(m_dir.File(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::set<std::string> Directory() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_dir.Path()))
            names.insert(entry.path().filename().string());
        return names;
    }

    TempDir m_dir;

private:
    std::string m_program;
};

} // namespace VornTest

#endif
