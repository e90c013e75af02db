// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_KILL_AT_CALL_H
#define VORN_BASES_TESTS_SUPPORT_KILL_AT_CALL_H

#include "Program.h"

#include <string>
#include <vector>

namespace VornTest {

/// A run of a program that is killed when one of its threads is about to make its system call
/// `count`, the first one being 1, unless the program ends before. With several threads that is
/// about that call, since the beginnings and the ends of all calls are counted together.
/// OnceItStops leaves it to the program from where on its calls count: it asks to be traced, and
/// stops itself with SIGSTOP.
class KilledAtCall {
public:
    enum class CallsCount { FromTheStart, OnceItStops };

    KilledAtCall(const std::vector<std::string>& arguments, unsigned long count,
                 CallsCount from = CallsCount::FromTheStart);

    /// Whether the program ended by itself, before it made so many calls.
    bool HasEndedBefore() const { return m_endedBefore; }

    pid_t Pid() const { return m_pid; }

    /// What the program wrote to its standard output.
    const std::string& Printed() const { return m_printed; }

private:
    pid_t m_pid = -1;
    bool m_endedBefore = false;
    std::string m_printed;
};

/// Gives this process and those that it starts files of shared memory of their own, in which the C
/// library keeps semaphores with names, so that nobody else's are seen, nor theirs left behind.
/// Returns false where the system does not allow it.
bool TakeOwnSemaphoreFiles();

} // namespace VornTest

#endif
