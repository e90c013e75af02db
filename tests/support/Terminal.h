// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_TERMINAL_H
#define VORN_BASES_TESTS_SUPPORT_TERMINAL_H

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace VornTest {

/// A terminal of 60 columns whose other end is the test's.
class Terminal {
public:
    Terminal() : m_own(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        const winsize size{24, 60, 0, 0};
        if (m_own < 0 || grantpt(m_own) != 0 || unlockpt(m_own) != 0 ||
            ioctl(m_own, TIOCSWINSZ, &size) != 0)
            throw std::system_error(errno, std::generic_category(), "posix_openpt");
        m_programs = open(ptsname(m_own), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    ~Terminal() {
        LeaveToProgram();
        close(m_own);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    int ProgramsEnd() const { return m_programs; }

    /// From now on reading ends with the program.
    void LeaveToProgram() {
        if (m_programs >= 0)
            close(std::exchange(m_programs, -1));
    }

    /// Returns what is written until a text is in it, or the program ends.
    std::string ReadUntil(const std::string& text) const {
        std::string all;
        std::array<char, 1024> part{};
        while (all.find(text) == std::string::npos) {
            const ssize_t size = read(m_own, part.data(), part.size());
            if (size <= 0)
                break;
            all.append(part.data(), static_cast<std::size_t>(size));
        }
        return all;
    }

private:
    int m_own = -1;
    int m_programs = -1;
};

} // namespace VornTest

#endif
