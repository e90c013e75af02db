#ifndef VORN_TESTS_SUPPORT_BLOCKED_THREADS_H
#define VORN_TESTS_SUPPORT_BLOCKED_THREADS_H

// Threads that tests let block, watch from outside and cancel.

#include <atomic>
#include <functional>
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
/// can then hold a short lock that another one of the set waits for.
void WaitUntilBlocked(const std::vector<const PosixThread*>& threads);

} // namespace VornTest

#endif
