// SPDX-License-Identifier: MIT
// The guide's program of which one instance may run, in processes that are refused and killed.

#include "support/Program.h"
#include "support/TempDir.h"

#include <array>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using VornTest::Program;
using VornTest::Surroundings;

// An instance that runs until its input ends.
class Instance {
public:
    explicit Instance(const std::string& lock) {
        EXPECT_EQ(0, pipe2(m_input.data(), O_CLOEXEC));
        EXPECT_EQ(0, pipe2(m_output.data(), O_CLOEXEC));
        const Surroundings surroundings{{}, {}, [this] {
                                            dup2(m_input[0], STDIN_FILENO);
                                            dup2(m_output[1], STDOUT_FILENO);
                                        }};
        m_pProgram = std::make_unique<Program>(std::vector<std::string>{VORN_SINGLE_INSTANCE, lock},
                                               surroundings);
        close(m_input[0]);
        close(m_output[1]);
    }
    ~Instance() {
        EndInput();
        close(m_output[0]);
    }
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    // What it prints first, which is when it has decided.
    std::string Answer() const {
        std::string line;
        for (char c = 0; read(m_output[0], &c, 1) == 1 && c != '\n';)
            line += c;
        return line;
    }

    int End() {
        EndInput();
        return m_pProgram->Wait().status;
    }

    int Kill() const {
        m_pProgram->Kill(SIGKILL);
        return m_pProgram->Wait().signal;
    }

private:
    void EndInput() {
        if (m_input[1] >= 0)
            close(m_input[1]);
        m_input[1] = -1;
    }

    std::array<int, 2> m_input{};
    std::array<int, 2> m_output{};
    std::unique_ptr<Program> m_pProgram;
};

class SingleInstance : public testing::Test {
protected:
    std::string Lock() const { return m_dir.File("lock"); }

    VornTest::TempDir m_dir;
};

constexpr const char* Only = "the only one";
constexpr const char* Refused = "there is one already";

TEST_F(SingleInstance, StaysTheOnlyOneHoweverManyAreRefused) {
    Instance first(Lock());
    ASSERT_EQ(Only, first.Answer());
    for (int i = 0; i < 3; ++i) {
        Instance other(Lock());
        EXPECT_EQ(Refused, other.Answer());
        EXPECT_EQ(1, other.End());
    }
    EXPECT_EQ(0, first.End());
}

TEST_F(SingleInstance, IsFollowedByAnotherAfterItsEnd) {
    for (int i = 0; i < 2; ++i) {
        Instance instance(Lock());
        EXPECT_EQ(Only, instance.Answer());
        EXPECT_EQ(0, instance.End());
    }
}

TEST_F(SingleInstance, IsFollowedByAnotherAfterItWasKilled) {
    const Instance killed(Lock());
    ASSERT_EQ(Only, killed.Answer());
    EXPECT_EQ(SIGKILL, killed.Kill());
    Instance next(Lock());
    EXPECT_EQ(Only, next.Answer());
    Instance other(Lock());
    EXPECT_EQ(Refused, other.Answer());
    EXPECT_EQ(1, other.End());
    EXPECT_EQ(0, next.End());
}

} // namespace
