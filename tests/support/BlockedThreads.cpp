// SPDX-License-Identifier: MIT
// Threads that block, watched through what the kernel says of them.

#include "BlockedThreads.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string_view>

#include <sched.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace VornTest {

namespace {

std::atomic<int> g_interruptions{0};

// Ends the test: a thread that is not where the test expects it might not be joined either.
[[noreturn]] void GiveUp(const char* expected) {
    std::fprintf(stderr, "This did not come true: %s\n", expected);
    std::abort();
}

// What the kernel says of a thread: asleep or not, and how often it has gone to sleep so far.
struct Sleep {
    bool asleep = false;
    std::string count;
};

// What follows the name in its line of the kernel's report; empty when there is no such line.
std::string_view Find(std::string_view report, std::string_view name) {
    const std::size_t begin = report.find(name);
    if (begin == std::string_view::npos)
        return {};
    const std::string_view rest = report.substr(begin + name.size());
    return rest.substr(0, rest.find('\n'));
}

// With a single read: under an emulator, reading line by line takes longer than some threads sleep.
Sleep LookAt(const std::string& process, pid_t id) {
    std::ifstream status("/proc/" + process + "/task/" + std::to_string(id) + "/status");
    if (!status.is_open())
        GiveUp("the thread has not ended");
    std::array<char, 8192> buffer{};
    status.read(buffer.data(), buffer.size());
    const std::string_view report(buffer.data(), static_cast<std::size_t>(status.gcount()));
    return {Find(report, "\nState:\t").starts_with('S'),
            std::string(Find(report, "\nvoluntary_ctxt_switches:"))};
}

// One pass that finds all asleep could have caught them one after another; a second pass that finds
// none to have woken meanwhile shows that they slept together.
bool AreAllBlocked(const std::vector<const PosixThread*>& threads) {
    std::vector<std::string> counts;
    for (const PosixThread* pThread : threads) {
        const Sleep sleep = LookAt("self", pThread->Id());
        if (!sleep.asleep)
            return false;
        counts.push_back(sleep.count);
    }
    for (std::size_t i = 0; i < threads.size(); ++i) {
        const Sleep sleep = LookAt("self", threads[i]->Id());
        if (!sleep.asleep || sleep.count != counts[i])
            return false;
    }
    return true;
}

// Waits for the condition, within a bound that only a broken program exceeds.
template <typename Condition>
void Until(Condition condition, const char* expected) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            GiveUp(expected);
        usleep(200);
    }
}

} // namespace

PosixThread::PosixThread(std::function<void()> body) : m_body(std::move(body)) {
    if (pthread_create(&m_thread, nullptr, Run, this) != 0)
        throw std::runtime_error("pthread_create failed");
    while (Id() == 0)
        sched_yield();
}

PosixThread::~PosixThread() {
    if (!m_bJoined)
        Join();
}

void PosixThread::Cancel() { pthread_cancel(m_thread); }

void PosixThread::Interrupt() {
    struct sigaction action = {};
    action.sa_handler = [](int) { ++g_interruptions; };
    sigaction(SIGUSR1, &action, nullptr);
    const int before = g_interruptions;
    pthread_kill(m_thread, SIGUSR1);
    Until([&] { return g_interruptions != before; }, "the signal is handled");
}

bool PosixThread::Join() {
    void* pResult = nullptr;
    pthread_join(m_thread, &pResult);
    m_bJoined = true;
    return pResult == PTHREAD_CANCELED;
}

pid_t PosixThread::Id() const { return m_id.load(); }

void* PosixThread::Run(void* self) {
    auto& thread = *static_cast<PosixThread*>(self);
    thread.m_id.store(static_cast<pid_t>(syscall(SYS_gettid)));
    thread.m_body();
    return nullptr;
}

void WaitUntilBlocked(const std::vector<const PosixThread*>& threads) {
    Until([&] { return AreAllBlocked(threads); }, "all threads are blocked");
}

void Waiters::Add(std::function<bool()> wait) {
    m_threads.push_back(std::make_unique<PosixThread>([this, wait = std::move(wait)] {
        if (wait())
            ++m_passed;
    }));
    std::vector<const PosixThread*> views;
    for (const std::unique_ptr<PosixThread>& pThread : m_threads)
        views.push_back(pThread.get());
    WaitUntilBlocked(views);
}

bool Waiters::Cancel(std::size_t n) {
    const auto place = m_threads.begin() + static_cast<std::ptrdiff_t>(n);
    (*place)->Cancel();
    const bool cancelled = (*place)->Join();
    m_threads.erase(place);
    return cancelled;
}

int Waiters::PassedInTheEnd() {
    m_threads.clear();
    return m_passed;
}

std::string WaitUntilProcessSleeps(pid_t process, const std::string& lastSleep) {
    Sleep sleep;
    const auto sleepsAnew = [&] {
        sleep = LookAt(std::to_string(process), process);
        return sleep.asleep && sleep.count != lastSleep;
    };
    Until(sleepsAnew, "the process sleeps");
    return sleep.count;
}

} // namespace VornTest
