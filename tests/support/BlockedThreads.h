// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_BLOCKED_THREADS_H
#define VORN_BASES_TESTS_SUPPORT_BLOCKED_THREADS_H

// Threads that tests let block, watch from outside, cancel and interrupt.

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <pthread.h>
#include <sys/types.h>

namespace VornTest {

/// One POSIX thread that runs `body`. Unlike std::thread it may be cancelled.
class PosixThread {
public:
    explicit PosixThread(std::function<void()> body);
    ~PosixThread();
    PosixThread(const PosixThread&) = delete;
    PosixThread& operator=(const PosixThread&) = delete;

    void Cancel();

    /// Makes this thread, which must not have ended, run a handler of SIGUSR1 that was installed
    /// without SA_RESTART. Returns when the handler has run.
    void Interrupt();

    /// Joins the thread. Returns true when it was cancelled, false when its body returned.
    bool Join();

    /// Returns the kernel's number of the thread, once it runs.
    pid_t Id() const;

private:
    static void* Run(void* self);

    std::function<void()> m_body;
    std::atomic<pid_t> m_id{0};
    pthread_t m_thread{};
    bool m_bJoined = false;
};

/// Waits until all these threads are asleep in the kernel at the same moment. No thread of the set
/// can then hold a short lock that another one of the set waits for. Ends the test program when it
/// takes longer than a minute, and when one of them has ended.
void WaitUntilBlocked(const std::vector<const PosixThread*>& threads);

/// The same for the first thread of another process, which must have fallen asleep anew since
/// `lastSleep`, an earlier result; empty for a sleep of any age. Returns what identifies the sleep.
std::string WaitUntilProcessSleeps(pid_t process, const std::string& lastSleep);

/// Threads that are asleep in a wait, in the order in which they were added.
class Waiters {
public:
    /// Adds a thread that calls `wait`, which says whether it has passed. Returns when all are
    /// asleep at the same moment.
    void Add(std::function<bool()> wait);

    /// Cancels the nth thread and takes it out. Returns false when its wait had ended before.
    bool Cancel(std::size_t n);

    /// How many have passed so far.
    int Passed() const { return m_passed; }

    /// Joins all threads. Returns how many have passed.
    int PassedInTheEnd();

private:
    std::atomic<int> m_passed{0};
    std::vector<std::unique_ptr<PosixThread>> m_threads;
};

} // namespace VornTest

#endif
