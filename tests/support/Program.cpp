// SPDX-License-Identifier: MIT
// Running a program, with a limit of time.

#include "Program.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include <sys/wait.h>
#include <unistd.h>

namespace VornTest {

namespace {

constexpr unsigned int LimitSeconds = 60;

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// Whoever started the tests may ignore some, as nohup does, and a shell for what it runs beside
// itself.
void MeetSignalsAsUsual() {
    for (const int signal : {SIGALRM, SIGHUP, SIGINT, SIGPIPE, SIGQUIT, SIGTERM})
        std::signal(signal, SIG_DFL);
}

[[noreturn]] void Become(const std::vector<std::string>& arguments,
                         const Surroundings& surroundings) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    for (const auto& [name, value] : surroundings.environment)
        setenv(name.c_str(), value.c_str(), 1);
    if (!surroundings.directory.empty() && chdir(surroundings.directory.c_str()) != 0)
        _exit(127);
    MeetSignalsAsUsual();
    alarm(LimitSeconds);
    if (surroundings.prepare)
        surroundings.prepare();
    execv(argv[0], argv.data());
    _exit(127);
}

} // namespace

Program::Program(const std::vector<std::string>& arguments, const Surroundings& surroundings)
    : m_out(OpenTemporary()), m_err(OpenTemporary()), m_pid(fork()) {
    if (m_pid < 0)
        Fail("fork");
    if (m_pid > 0)
        return;
    dup2(fileno(m_out.get()), STDOUT_FILENO);
    dup2(fileno(m_err.get()), STDERR_FILENO);
    Become(arguments, surroundings);
}

Program::~Program() {
    if (m_pid < 0)
        return;
    Kill(SIGKILL);
    waitpid(m_pid, nullptr, 0);
}

void Program::Kill(int signal) const { kill(m_pid, signal); }

Outcome Program::Wait() {
    int status = 0;
    while (waitpid(m_pid, &status, 0) < 0)
        if (errno != EINTR)
            Fail("waitpid");
    m_pid = -1;
    Outcome outcome;
    if (WIFEXITED(status))
        outcome.status = WEXITSTATUS(status);
    else
        outcome.signal = WTERMSIG(status);
    outcome.out = ReadAll(m_out.get());
    outcome.err = ReadAll(m_err.get());
    return outcome;
}

Program::File Program::OpenTemporary() {
    File file(std::tmpfile());
    if (!file)
        Fail("tmpfile");
    return file;
}

std::string Program::ReadAll(std::FILE* file) {
    std::string text;
    std::array<char, 4096> part{};
    std::rewind(file);
    for (std::size_t size = 1; size > 0;) {
        size = std::fread(part.data(), 1, part.size(), file);
        text.append(part.data(), size);
    }
    return text;
}

Outcome RunProgram(const std::vector<std::string>& arguments, const Surroundings& surroundings) {
    return Program(arguments, surroundings).Wait();
}

} // namespace VornTest
