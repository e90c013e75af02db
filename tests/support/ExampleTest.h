#ifndef VORN_TESTS_SUPPORT_EXAMPLETEST_H
#define VORN_TESTS_SUPPORT_EXAMPLETEST_H

#include "Program.h"
#include "TempDir.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

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
