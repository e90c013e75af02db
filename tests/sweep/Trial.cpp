// SPDX-License-Identifier: MIT
// Arming the fault, and what is printed meanwhile.
#include "sweep/Trial.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

#include <sys/wait.h>
#include <unistd.h>

#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

// How a process of its own ends that the assertion has not stopped; nothing else ends so.
constexpr int MetTheFault = 41;
constexpr int MetNoFault = 42;

std::string NameOf(int error) {
    if (error == Platform::ShortCount)
        return "a short count";
    const char* const name = strerrorname_np(error);
    return name == nullptr ? std::to_string(error) : name;
}

// Runs it in a process of its own. Returns how that has ended and what it has written to its
// standard error.
std::pair<int, std::string> RunApart(const std::function<int()>& body) {
    std::array<int, 2> errors{};
    if (pipe(errors.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    const pid_t child = fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) {
        alarm(60);
        std::signal(SIGABRT, SIG_DFL);
        dup2(errors[1], STDERR_FILENO);
        _exit(body());
    }
    close(errors[1]);
    std::string text;
    std::array<char, 256> piece{};
    for (ssize_t size = 0; (size = read(errors[0], piece.data(), piece.size())) > 0;)
        text.append(piece.data(), static_cast<std::size_t>(size));
    close(errors[0]);
    int status = 0;
    if (waitpid(child, &status, 0) != child)
        throw std::system_error(errno, std::generic_category(), "waitpid");
    return {status, text};
}

} // namespace

std::string Fault::Text() const {
    if (pCall == nullptr)
        return "no fault";
    return std::string(pCall->Name()) + ", call " + std::to_string(first) +
           (then == Then::ItFailsOnceMore ? " and the next one" : "") +
           (then == Then::ItFails ? " and all later ones" : "") + ": " + NameOf(error) +
           (then == Then::AllFails ? ", and then all others" : "");
}

// What is printed is caught, and the fault's own script comes last, so that it holds.
Trial::Trial(const Fault& fault) : m_fault(fault) {
    const Platform::Bypass bypass;
    Platform::puts.OnAnyThread().Do([this](const char* text) {
        m_printed.append(text).append("\n");
        return 1;
    });
    Platform::printf.OnAnyThread().Do([this](const char* format, std::va_list* values) {
        std::array<char, 1024> text{};
        const int length = std::vsnprintf(text.data(), text.size(), format, *values);
        m_printed.append(text.data());
        return length;
    });
    if (m_fault.pCall == nullptr)
        return;
    const bool once = m_fault.then == Then::AllWorks || m_fault.then == Then::ItFailsOnceMore;
    FailCall(m_fault.first, once);
    if (m_fault.then == Then::ItFailsOnceMore)
        FailCall(m_fault.first + 1, once);
    if (m_fault.then == Then::AllFails)
        FailAllLater();
}

void Trial::FailCall(std::size_t first, bool once) const {
    m_fault.pCall->Fail(
        m_fault.error,
        {.first = first, .once = once, .anyThread = m_fault.anyThread, .inWindow = true});
}

// Each fails in the first of its ways that the library can meet.
void Trial::FailAllLater() const {
    for (Platform::Call* const call : Platform::All()) {
        if (call == m_fault.pCall)
            continue;
        const auto errors = call->Errors();
        const auto error = std::find_if(errors.begin(), errors.end(), [call](int candidate) {
            return WhyLeftOut({call, candidate, 1, Then::ItFails}) == nullptr;
        });
        if (error != errors.end())
            call->Fail(*error,
                       {.anyThread = m_fault.anyThread, .inWindow = true, .pAfter = m_fault.pCall});
    }
}

bool Trial::MetAllOfTheFault() const {
    return MetFault() && (m_fault.then != Then::ItFailsOnceMore || m_fault.pCall->Failed() > 1);
}

Trial::~Trial() {
    const Platform::Bypass bypass;
    Platform::Reset();
}

void Trial::RunOrStop(const std::function<void()>& operation, const std::string& message) {
    const auto run = [&] {
        const Platform::Window window;
        operation();
        return 0;
    };
    if (m_fault.pCall == nullptr) {
        run();
        return;
    }
    const auto [status, text] = RunApart([&] {
        run();
        return MetFault() ? MetTheFault : MetNoFault;
    });
    const bool isStopped = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
    const bool works = code == MetTheFault || code == MetNoFault;
    if (!isStopped && !works)
        std::fputs(text.c_str(), stderr);
    Require(isStopped || works, "works or stops by an assertion");
    Require(!isStopped || text.find(message) != std::string::npos, "names the assertion");
    m_stopped = isStopped || code == MetTheFault;
}

void Trial::Require(bool holds, const char* promise) {
    if (holds)
        return;
    const Platform::Bypass bypass;
    m_broken.emplace_back(promise);
}

bool Trial::HasPrinted(const std::string& text) const {
    return HasFailed(Platform::puts) || HasFailed(Platform::printf) ||
           m_printed.find(text) != std::string::npos;
}

bool Trial::Judge(bool succeeded) {
    Require(succeeded || MetFault(), "succeeds while nothing fails");
    return succeeded;
}

} // namespace VornTest::Sweep
