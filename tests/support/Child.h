// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_CHILD_H
#define VORN_BASES_TESTS_SUPPORT_CHILD_H

#include <array>
#include <cerrno>
#include <csignal>
#include <functional>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace VornTest {

/// A copy of this process that does something and then sleeps until it is killed.
class Child {
public:
    explicit Child(const std::function<void()>& body) {
        std::array<int, 2> ready{};
        if (pipe(ready.data()) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe");
        m_pid = fork();
        if (m_pid == 0) {
            alarm(60);
            body();
            if (write(ready[1], "r", 1) == 1)
                for (;;)
                    pause();
            _exit(1);
        }
        close(ready[1]);
        char byte = 0;
        EXPECT_EQ(1, read(ready[0], &byte, 1));
        close(ready[0]);
    }
    ~Child() { Kill(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t Pid() const { return m_pid; }

    void Kill() {
        if (m_pid <= 0)
            return;
        kill(m_pid, SIGKILL);
        waitpid(std::exchange(m_pid, -1), nullptr, 0);
    }

private:
    pid_t m_pid = -1;
};

/// Does something in a process of its own when this object is destroyed or its process ends in
/// whatever way.
class LastWill {
public:
    explicit LastWill(const std::function<void()>& body) {
        std::array<int, 2> alive{};
        if (pipe2(alive.data(), O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe2");
        m_pid = fork();
        if (m_pid == 0) {
            signal(SIGINT, SIG_IGN);  // which comes from a terminal to all,
            signal(SIGTERM, SIG_IGN); // and this from who waits no longer
            close(alive[1]);
            char byte = 0;
            while (read(alive[0], &byte, 1) < 0) {
            }
            body();
            _exit(0);
        }
        close(alive[0]);
        m_alive = alive[1];
    }
    ~LastWill() {
        close(m_alive);
        waitpid(m_pid, nullptr, 0);
    }
    LastWill(const LastWill&) = delete;
    LastWill& operator=(const LastWill&) = delete;

private:
    pid_t m_pid = -1;
    int m_alive = -1;
};

} // namespace VornTest

#endif
