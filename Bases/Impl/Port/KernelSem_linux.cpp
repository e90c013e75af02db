// SPDX-License-Identifier: MIT
// Linux: a condition variable in place of a kernel semaphore, which Linux lacks. It unlocks the
// lock and falls asleep in one step, so no post is missed, and it never gives up.

#include <Bases/Impl/Port/KernelSem.h>

namespace Vorn {

// Plain pthread calls: cancelling a thread inside std::condition_variable::wait ends the process.
struct KernelSem::State {
    pthread_cond_t posted;
};

KernelSem::KernelSem() = default;

KernelSem::~KernelSem() { Destroy(); }

bool KernelSem::Create(int /*initialCount*/) {
    auto pState = std::make_unique<State>();
    pthread_condattr_t attributes;
    if (pthread_condattr_init(&attributes) != 0)
        return false;
    const bool made = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC) == 0 &&
                      pthread_cond_init(&pState->posted, &attributes) == 0;
    pthread_condattr_destroy(&attributes);
    if (made)
        m_pState = std::move(pState);
    return made;
}

bool KernelSem::Destroy() {
    if (m_pState == nullptr)
        return false;
    pthread_cond_destroy(&m_pState->posted);
    m_pState.reset();
    return true;
}

KernelWait KernelSem::Wait(Lock& lock, const timespec* pDeadline) {
    const int status = pDeadline != nullptr
                           ? pthread_cond_timedwait(&m_pState->posted, &lock.Native(), pDeadline)
                           : pthread_cond_wait(&m_pState->posted, &lock.Native());
    pthread_testcancel(); // the C library does not act on a cancellation when a post comes first
    return status == 0 ? KernelWait::Success : KernelWait::TimedOut;
}

void KernelSem::PostAll() { pthread_cond_broadcast(&m_pState->posted); }

} // namespace Vorn
