// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_PROGRAM_H
#define VORN_BASES_TESTS_SUPPORT_PROGRAM_H

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace VornTest {

/// How a program ended and what it wrote.
struct Outcome {
    int status = -1; // the exit status; -1 when a signal ended it
    int signal = 0;  // that signal
    std::string out;
    std::string err;
};

/// What a program is started in.
struct Surroundings {
    std::string directory;                                        // the current one when empty
    std::vector<std::pair<std::string, std::string>> environment; // set beside the test's own
    std::function<void()> prepare; // called in the new process just before the program replaces it
};

/// A program started by a test. A program that runs for a minute is ended by SIGALRM. Throws when
/// it cannot be started; a program that does not exist ends with the status 127.
class Program {
public:
    /// Starts the program at the path `arguments` begins with.
    explicit Program(const std::vector<std::string>& arguments,
                     const Surroundings& surroundings = {});

    /// Kills the program unless its end has been waited for.
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t Pid() const { return m_pid; }

    void Kill(int signal) const;

    /// Waits for the program's end. To be called once.
    Outcome Wait();

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    using File = std::unique_ptr<std::FILE, CloseFile>;

    static File OpenTemporary();
    static std::string ReadAll(std::FILE* file);

    File m_out;
    File m_err;
    pid_t m_pid = -1;
};

/// Runs a program to its end.
Outcome RunProgram(const std::vector<std::string>& arguments,
                   const Surroundings& surroundings = {});

} // namespace VornTest

#endif
