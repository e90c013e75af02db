// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_CLOSED_INPUT_H
#define VORN_BASES_TESTS_SUPPORT_CLOSED_INPUT_H

// Standard input, closed for a while: the next file that is opened gets descriptor 0.

#include <fcntl.h>
#include <unistd.h>

namespace VornTest {

class ClosedInput {
public:
    ClosedInput() : m_saved(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 100)) { close(STDIN_FILENO); }
    ~ClosedInput() {
        if (m_saved < 0)
            return;
        dup2(m_saved, STDIN_FILENO);
        close(m_saved);
    }
    ClosedInput(const ClosedInput&) = delete;
    ClosedInput& operator=(const ClosedInput&) = delete;

private:
    int m_saved;
};

} // namespace VornTest

#endif
