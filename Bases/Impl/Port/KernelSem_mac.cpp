// Built on macOS only; written, but not exercised by this project's own tests.
#include <Bases/Impl/Port/KernelSem.h>

#include <mach/mach.h>
#include <mach/semaphore.h>
#include <mach/task.h>

namespace Vorn {

namespace {

KernelWait Translate(kern_return_t status) {
    switch (status) {
    case KERN_SUCCESS:
        return KernelWait::Success;
    case KERN_OPERATION_TIMED_OUT:
        return KernelWait::TimedOut;
    case KERN_ABORTED:
        return KernelWait::Aborted;
    default:
        return KernelWait::Failed;
    }
}

} // namespace

struct KernelSem::State {
    mach_port_t task;
    semaphore_t sem;
};

KernelSem::KernelSem() = default;

KernelSem::~KernelSem() { Destroy(); }

bool KernelSem::Create(int initialCount) {
    auto pState = std::make_unique<State>();
    pState->task = mach_task_self();
    if (semaphore_create(pState->task, &pState->sem, SYNC_POLICY_FIFO, initialCount) !=
        KERN_SUCCESS)
        return false;
    m_pState = std::move(pState);
    return true;
}

bool KernelSem::Destroy() {
    if (m_pState == nullptr || semaphore_destroy(m_pState->task, m_pState->sem) != KERN_SUCCESS)
        return false;
    m_pState.reset();
    return true;
}

// The kernel has no call that joins the waiters without blocking, so the guard is unlocked just
// before the wait. What becomes of a post in between is not known: whether the kernel keeps a
// signal to all that finds nobody waiting has not been tried here, and if it does not, a Set in
// that gap leaves the thread asleep, since the event's flag is looked at only before.
KernelWait KernelSem::Wait(std::unique_lock<std::mutex>* pGuard) {
    if (pGuard != nullptr)
        pGuard->unlock();
    return Translate(semaphore_wait(m_pState->sem));
}

KernelWait KernelSem::TimedWait(unsigned int seconds, unsigned int nanoseconds,
                                std::unique_lock<std::mutex>* pGuard) {
    if (pGuard != nullptr)
        pGuard->unlock();
    const mach_timespec_t limit{seconds, static_cast<clock_res_t>(nanoseconds)};
    return Translate(semaphore_timedwait(m_pState->sem, limit));
}

void KernelSem::PostAll() { semaphore_signal_all(m_pState->sem); }

// What a post leaves free, if it does, is a count of the kernel's own; one try takes it.
void KernelSem::DiscardFree() { TimedWait(0, 0, nullptr); }

} // namespace Vorn
