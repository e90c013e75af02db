// SPDX-License-Identifier: MIT
// The example programs, killed before each of their system calls.
//
// Concerns: a program that is killed at any moment leaves the old output or the new one, never a
// part, and at most its own temporary file beside it; the next run works. Plan: a traced child,
// killed before its call n, for every n up to its end; ./dev soak does so, the tests take a sample.

#include "support/Program.h"
#include "support/TempDir.h"

#include "soak/Soak.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/ptrace.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

using VornTest::Program;

enum class End { Killed, OwnWay };

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

// A run that is killed between making its lock and saying so leaves the lock, which nobody uses.
void RemoveLocksOf(pid_t process) {
    const std::string begin = "sem.manifest-" + std::to_string(process) + "-";
    for (const auto& entry : fs::directory_iterator("/dev/shm"))
        if (entry.path().filename().string().rfind(begin, 0) == 0)
            fs::remove(entry.path());
}

// Every thread stops once more before it ends. The program itself stays to be waited for.
void WaitForEnd(Program& program) {
    siginfo_t info{};
    while (waitid(P_ALL, 0, &info, WEXITED | WSTOPPED | WNOWAIT | __WALL) == 0) {
        const bool hasEnded = info.si_code != CLD_TRAPPED && info.si_code != CLD_STOPPED;
        if (hasEnded && info.si_pid == program.Pid())
            break;
        waitpid(info.si_pid, nullptr, __WALL);
        if (!hasEnded)
            ptrace(PTRACE_CONT, info.si_pid, nullptr, nullptr);
    }
    program.Wait();
}

// Runs the program until one of its threads is about to make its call `count`; there it is killed.
End RunAndKill(const std::vector<std::string>& arguments, unsigned long count) {
    VornTest::Surroundings surroundings;
    surroundings.environment = {{"ASAN_OPTIONS", "detect_leaks=0"}}; // which needs to trace, too
    surroundings.prepare = [] { ptrace(PTRACE_TRACEME, 0, nullptr, nullptr); };
    Program program(arguments, surroundings);
    int status = 0;
    if (waitpid(program.Pid(), &status, 0) != program.Pid() || !WIFSTOPPED(status))
        throw std::runtime_error("the program cannot be traced");
    ptrace(PTRACE_SETOPTIONS, program.Pid(), nullptr,
           PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    Continue(program.Pid(), 0);
    for (unsigned long stops = 0; stops < 2 * count;) {
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread == program.Pid() && IsEvent(status, PTRACE_EVENT_EXIT)) {
            ptrace(PTRACE_CONT, thread, nullptr, nullptr);
            WaitForEnd(program);
            return End::OwnWay;
        }
        if (!WIFSTOPPED(status))
            continue; // another thread has ended
        if (WSTOPSIG(status) == (SIGTRAP | 0x80))
            ++stops;
        Continue(thread, SignalOf(status));
    }
    program.Kill(SIGKILL);
    WaitForEnd(program);
    RemoveLocksOf(program.Pid());
    return End::Killed;
}

std::string Content(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// What a file may hold besides what it held before.
using IsComplete = bool (*)(const std::string&);

class Killed : public testing::Test {
protected:
    void SetUp() override {
        std::ofstream(In()) << std::string(16, 'k');
        std::ofstream(Key()) << std::string(16, 'k');
    }

    std::string In() const { return m_dir.File("in"); }
    std::string Key() const { return m_dir.File("key"); }
    fs::path Out() const { return m_dir.File("out/file"); }

    void KillEverywhere(const std::vector<std::string>& arguments, const std::string& program,
                        IsComplete isComplete) {
        const unsigned long stride = VornTest::IsWholeSoak() ? 1 : 41;
        unsigned long kills = 0;
        for (unsigned long n = 1;; n += stride, ++kills) {
            fs::remove_all(Out().parent_path());
            fs::create_directory(Out().parent_path());
            std::ofstream(Out()) << "old";
            if (RunAndKill(arguments, n) == End::OwnWay)
                break;
            const std::string content = Content(Out());
            ASSERT_TRUE(content == "old" || isComplete(content)) << n << content;
            ExpectOnlyATemporaryFileBesides(program, n);
            ASSERT_EQ(0, VornTest::RunProgram(arguments).status) << n;
            ASSERT_TRUE(isComplete(Content(Out()))) << n;
        }
        EXPECT_GT(kills, 3U);
        ASSERT_TRUE(isComplete(Content(Out())));
        if (VornTest::IsWholeSoak())
            std::printf("%-44s killed before each of %lu calls\n", program.c_str(), kills);
    }

private:
    void ExpectOnlyATemporaryFileBesides(const std::string& program, unsigned long n) const {
        int others = 0;
        for (const auto& entry : fs::directory_iterator(Out().parent_path())) {
            const std::string name = entry.path().filename();
            if (name == "file")
                continue;
            ++others;
            EXPECT_EQ(0U, name.find("." + program + "-")) << n;
        }
        EXPECT_LE(others, 1) << n;
    }

    VornTest::TempDir m_dir;
};

TEST_F(Killed, SealLeavesTheOldFileOrTheNewOne) {
    KillEverywhere({VORN_SEAL, "encipher", Key(), In(), Out()}, "seal",
                   [](const std::string& text) {
                       return text.rfind("Sealed file", 0) == 0 &&
                              text.find("End of sealed file\n") != std::string::npos;
                   });
}

TEST_F(Killed, ManifestLeavesTheOldFileOrTheNewOne) {
    KillEverywhere(
        {VORN_MANIFEST, "create", Out(), In(), Key()}, "manifest", [](const std::string& text) {
            return text.rfind("<?xml", 0) == 0 && text.find("</manifest>") != std::string::npos;
        });
}

} // namespace
