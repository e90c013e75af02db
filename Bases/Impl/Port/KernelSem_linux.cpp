// A condition variable stands in for the kernel's semaphore, which Linux does not have: it joins
// the waiters and unlocks the lock in one step, so that no post is missed, and never gives up.
#include <Bases/Impl/Port/KernelSem.h>

namespace Vorn {

// Waiting threads are cancelled on it, so it is handled with the plain calls: the standard
// library's condition variable ends the process when a thread is cancelled in its wait.
struct KernelSem::State {
    pthread_cond_t posted;
};

KernelSem::KernelSem() = default;

KernelSem::~KernelSem() { Destroy(); }

bool KernelSem::Create(int /*initialCount*/) {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    auto pState = std::make_unique<State>();
    const bool made = pthread_cond_init(&pState->posted, &attributes) == 0;
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
    return status == 0 ? KernelWait::Success : KernelWait::TimedOut;
}

void KernelSem::PostAll() { pthread_cond_broadcast(&m_pState->posted); }

} // namespace Vorn
