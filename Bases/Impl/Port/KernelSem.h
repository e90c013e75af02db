// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_PORT_KERNEL_SEM_H
#define VORN_BASES_IMPL_PORT_KERNEL_SEM_H

// Where threads sleep that wait on an unnamed semaphore, mutex or event.

#include <ctime>
#include <memory>

#include <Bases/Impl/Lock.h>

namespace Vorn {

enum class KernelWait {
    Success, // woken, for whatever reason
    TimedOut,
    Aborted, // the kernel gave up early; the caller may try again
    Failed,
};

/// Puts threads to sleep and wakes them all. Monitor records under its lock who is released and
/// whether a wait is free, and checks that after every wait. So a wait may end without reason, and
/// a thread that is about to sleep may miss a post, provided that its sleep is short.
class KernelSem {
public:
    KernelSem();
    ~KernelSem();
    KernelSem(const KernelSem&) = delete;
    KernelSem& operator=(const KernelSem&) = delete;

    /// Creates the semaphore. Returns false when the platform refuses. `initialCount` is the
    /// initial value of the kernel's own count; nothing relies on it.
    bool Create(int initialCount);

    /// Frees the semaphore. Returns false when there is none or the platform refuses. Nobody may be
    /// waiting.
    bool Destroy();

    /// Unlocks `lock`, sleeps and locks it again: until a PostAll, until the deadline on the
    /// monotonic clock has passed (null: none), or for a while. A cancellation point, but not while
    /// the lock is unlocked: a thread that is cancelled holds it when its stack is unwound.
    KernelWait Wait(Lock& lock, const timespec* pDeadline) VORN_REQUIRES(lock);

    /// Wakes every thread that sleeps. The caller holds the lock that those threads passed to Wait.
    void PostAll();

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

} // namespace Vorn

#endif
