// SPDX-License-Identifier: MIT
// macOS: a Mach semaphore. The tests build this over a simulation of the kernel.
//
// The kernel has no call that unlocks a lock and falls asleep in one step, and whether it keeps a
// signal to all that finds nobody waiting is unknown. So each sleep is short: a post between the
// unlocking and the sleep is noticed at the end of that sleep at the latest.

#include <Bases/Impl/Port/KernelSem.h>

#include <mach/mach.h>
#include <mach/semaphore.h>
#include <mach/task.h>

namespace Vorn {

namespace {

constexpr long LongestSleepNs = 100'000'000;
constexpr long NsPerSecond = 1'000'000'000;

// The end of one sleep is not the end of the wait; the next call finds the deadline passed.
KernelWait Translate(kern_return_t status) {
    switch (status) {
    case KERN_SUCCESS:
    case KERN_OPERATION_TIMED_OUT:
        return KernelWait::Success;
    case KERN_ABORTED:
        return KernelWait::Aborted;
    default:
        return KernelWait::Failed;
    }
}

// The nanoseconds until the deadline, 0 or less when it has passed, but at most LongestSleepNs.
long SleepUntil(const timespec& deadline) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto seconds = deadline.tv_sec - now.tv_sec;
    if (seconds > 1)
        return LongestSleepNs;
    const long left = seconds * NsPerSecond + deadline.tv_nsec - now.tv_nsec;
    return left < LongestSleepNs ? left : LongestSleepNs;
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

KernelWait KernelSem::Wait(Lock& lock, const timespec* pDeadline) {
    const long sleepNs = pDeadline != nullptr ? SleepUntil(*pDeadline) : LongestSleepNs;
    if (sleepNs <= 0)
        return KernelWait::TimedOut;

    lock.Release();
    const mach_timespec_t limit{0, static_cast<clock_res_t>(sleepNs)};
    const KernelWait result = Translate(semaphore_timedwait(m_pState->sem, limit));
    lock.Acquire();
    pthread_testcancel(); // the kernel's wait is no cancellation point
    return result;
}

void KernelSem::PostAll() { semaphore_signal_all(m_pState->sem); }

} // namespace Vorn
