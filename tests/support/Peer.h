// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_PEER_H
#define VORN_BASES_TESTS_SUPPORT_PEER_H

#include "BlockedThreads.h"

#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace VornTest {

/// The process of NamedPeer.cpp, for tests that are built with its path. Its answers are read in
/// the order of the commands.
class Peer {
public:
    Peer() {
        std::array<int, 2> commands{};
        std::array<int, 2> answers{};
        EXPECT_EQ(0, pipe2(commands.data(), O_CLOEXEC));
        EXPECT_EQ(0, pipe2(answers.data(), O_CLOEXEC));
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, commands[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, answers[1], STDOUT_FILENO);
        std::string program = VORN_NAMED_PEER;
        std::array<char*, 2> arguments{program.data(), nullptr};
        EXPECT_EQ(
            0, posix_spawn(&m_pid, program.c_str(), &actions, nullptr, arguments.data(), environ));
        posix_spawn_file_actions_destroy(&actions);
        close(commands[0]);
        close(answers[1]);
        m_pCommands.reset(fdopen(commands[1], "w"));
        m_pAnswers.reset(fdopen(answers[0], "r"));
    }

    ~Peer() {
        m_pCommands.reset(); // the end of its commands ends it
        int status = 0;
        waitpid(m_pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }

    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void Start(const std::string& command) {
        std::fputs((command + "\n").c_str(), m_pCommands.get());
        std::fflush(m_pCommands.get());
    }

    bool Answer() {
        std::array<char, 16> line{};
        EXPECT_NE(nullptr, std::fgets(line.data(), line.size(), m_pAnswers.get()));
        return line[0] == '1';
    }

    bool HasAnswer(int timeoutMs) const {
        pollfd ready{fileno(m_pAnswers.get()), POLLIN, 0};
        return poll(&ready, 1, timeoutMs) == 1;
    }

    bool Do(const std::string& command) {
        Start(command);
        return Answer();
    }

    /// Starts a command and waits until it blocks. The process must have answered one before: then
    /// it sleeps in the read of the next command, and the sleep that follows is the new command's.
    void StartAndBlock(const std::string& command) {
        const std::string reading = WaitUntilProcessSleeps(m_pid, "");
        Start(command);
        m_blocked = WaitUntilProcessSleeps(m_pid, reading);
    }

    /// A process that was woken is running, or in another sleep.
    bool IsStillBlocked() const { return WaitUntilProcessSleeps(m_pid, "") == m_blocked; }

private:
    struct CloseFile {
        void operator()(std::FILE* pFile) const { std::fclose(pFile); }
    };

    pid_t m_pid = 0;
    std::string m_blocked;
    std::unique_ptr<std::FILE, CloseFile> m_pCommands;
    std::unique_ptr<std::FILE, CloseFile> m_pAnswers;
};

} // namespace VornTest

#endif
