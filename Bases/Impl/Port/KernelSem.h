#ifndef VORN_BASES_IMPL_PORT_KERNEL_SEM_H
#define VORN_BASES_IMPL_PORT_KERNEL_SEM_H

// What a platform supplies for unnamed semaphores. KernelSem_mac.cpp maps it to the kernel's own
// semaphores, KernelSem_linux.cpp builds it from a lock and a condition variable.

#include <memory>
#include <mutex>

namespace Vorn {

enum class KernelWait {
    Success,
    TimedOut,
    Aborted, // the kernel gave up early; the caller may try again
    Failed,
};

class KernelSem {
public:
    KernelSem();
    ~KernelSem();
    KernelSem(const KernelSem&) = delete;
    KernelSem& operator=(const KernelSem&) = delete;

    /// Makes the semaphore with `initialCount` waits free. Returns false when the platform refuses.
    bool Create(int initialCount);

    /// Frees the semaphore. Returns false when there is none. Nobody may be waiting.
    bool Destroy();

    /// Waits without limit. When `pGuard` is not null and the thread has to block, it joins the
    /// waiters before it unlocks the guard: a post made by whoever locks that next finds this
    /// thread waiting. A cancellation point; a thread that is cancelled holds neither lock.
    KernelWait Wait(std::unique_lock<std::mutex>* pGuard);

    /// The same for at most the given time, measured on the monotonic clock. With a time of zero it
    /// takes a free wait or returns TimedOut; it then never blocks and is no cancellation point.
    KernelWait TimedWait(unsigned int seconds, unsigned int nanoseconds,
                         std::unique_lock<std::mutex>* pGuard);

    /// Releases every thread that has joined the waiters. With nobody waiting, leaves one wait
    /// free; a second such post adds nothing.
    void PostAll();

    /// Takes back the wait that a post left free. Threads already released stay released.
    void DiscardFree();

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

} // namespace Vorn

#endif
