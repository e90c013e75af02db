// SPDX-License-Identifier: MIT
// Tracing a program up to one of its system calls.
#include "KillAtCall.h"

#include <csignal>
#include <fstream>
#include <stdexcept>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace VornTest {

namespace {

// Lets the stopped thread go on to its next system call.
void Continue(pid_t thread, int signal) {
    ptrace(PTRACE_SYSCALL, thread, nullptr, static_cast<long>(signal));
}

bool IsEvent(int status, int event) { return status >> 8 == (SIGTRAP | event << 8); }

// What a stop was for, so that it is passed on: no signal unless one was on its way.
int SignalOf(int status) {
    const int signal = WSTOPSIG(status);
    const bool isTracing = signal == (SIGTRAP | 0x80) || signal == SIGTRAP || signal == SIGSTOP;
    return isTracing ? 0 : signal;
}

// Every thread stops once more before it ends. The program itself stays to be waited for.
std::string WaitForEnd(Program& program) {
    siginfo_t info{};
    while (waitid(P_ALL, 0, &info, WEXITED | WSTOPPED | WNOWAIT | __WALL) == 0) {
        const bool hasEnded = info.si_code != CLD_TRAPPED && info.si_code != CLD_STOPPED;
        if (hasEnded && info.si_pid == program.Pid())
            break;
        waitpid(info.si_pid, nullptr, __WALL);
        if (!hasEnded)
            ptrace(PTRACE_CONT, info.si_pid, nullptr, nullptr);
    }
    return program.Wait().out;
}

// Each call stops its thread twice: when it begins and when it ends. Returns false if the program
// comes to its end before.
bool RunToCall(const Program& program, unsigned long count) {
    int status = 0;
    for (unsigned long stops = 0;;) {
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread == -1)
            throw std::runtime_error("there is nothing to be traced any more");
        if (thread == program.Pid() && IsEvent(status, PTRACE_EVENT_EXIT)) {
            ptrace(PTRACE_CONT, thread, nullptr, nullptr);
            return false;
        }
        if (!WIFSTOPPED(status))
            continue; // another thread has ended
        if (WSTOPSIG(status) == (SIGTRAP | 0x80) && ++stops == 2 * count - 1)
            return true;
        Continue(thread, SignalOf(status));
    }
}

void Write(const char* path, const std::string& text) {
    if (!(std::ofstream(path) << text << std::flush))
        throw std::runtime_error(std::string("cannot write ") + path);
}

// Whoever is not the superuser may be it in a world of its own.
bool UnshareMounts() {
    if (unshare(CLONE_NEWNS) == 0)
        return true;
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    Write("/proc/self/uid_map", user + " " + user + " 1");
    Write("/proc/self/setgroups", "deny");
    Write("/proc/self/gid_map", group + " " + group + " 1");
    return true;
}

} // namespace

KilledAtCall::KilledAtCall(const std::vector<std::string>& arguments, unsigned long count,
                           CallsCount from) {
    Surroundings surroundings;
    surroundings.environment = {{"ASAN_OPTIONS", "detect_leaks=0"}}; // which needs to trace, too
    if (from == CallsCount::FromTheStart)
        surroundings.prepare = [] { ptrace(PTRACE_TRACEME, 0, nullptr, nullptr); };
    Program program(arguments, surroundings);
    m_pid = program.Pid();
    int status = 0;
    if (waitpid(m_pid, &status, 0) != m_pid || !WIFSTOPPED(status))
        throw std::runtime_error("the program cannot be traced");
    ptrace(PTRACE_SETOPTIONS, m_pid, nullptr,
           PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    Continue(m_pid, 0);
    m_endedBefore = !RunToCall(program, count);
    if (!m_endedBefore)
        program.Kill(SIGKILL);
    m_printed = WaitForEnd(program);
}

bool TakeOwnSemaphoreFiles() {
    return UnshareMounts() && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", "/dev/shm", "tmpfs", 0, "mode=1777") == 0;
}

} // namespace VornTest
