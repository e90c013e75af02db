// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_PIPE_H
#define VORN_BASES_TESTS_SUPPORT_PIPE_H

#include <array>
#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace VornTest {

/// The program's standard output or error, read while it runs.
class Pipe {
public:
    Pipe() {
        if (pipe2(m_ends.data(), O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe2");
        // As small as can be: a program that writes much soon has to wait for its reader.
        fcntl(m_ends[1], F_SETPIPE_SZ, 4096);
    }
    ~Pipe() {
        close(m_ends[0]);
        CloseOwnWriter();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int Writer() const { return m_ends[1]; }

    void CloseOwnWriter() {
        if (m_ends[1] >= 0)
            close(std::exchange(m_ends[1], -1));
    }

    std::string ReadLine() const {
        std::string line;
        char c = 0;
        while (read(m_ends[0], &c, 1) == 1 && c != '\n')
            line += c;
        return line;
    }

    std::string ReadAll() const {
        std::string all;
        char c = 0;
        while (read(m_ends[0], &c, 1) == 1)
            all += c;
        return all;
    }

private:
    std::array<int, 2> m_ends{};
};

} // namespace VornTest

#endif
