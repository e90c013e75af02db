// SPDX-License-Identifier: MIT
// The semaphores of macOS's kernel, simulated.

#include "SimulatedKernel.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <mach/mach.h>

#include <Bases/Impl/CancelShield.h>

#include "fault/Platform.h"
#include "fault/WaitHooks.h"

namespace VornTest {

namespace {

constexpr mach_port_t Task = 0x103;

// A sleep of this length that ends by time is not the end of a wait of the library, which goes on.
constexpr std::chrono::milliseconds WholeSleep(100);

// A thread whose wake a test has scripted is to be met asleep by the next post, and not between two
// sleeps.
constexpr std::chrono::hours UntilWoken(1);

struct Semaphore {
    explicit Semaphore(int value) : count(value) {}

    int count;
    int waiting = 0;
    unsigned long signals = 0; // how often all that waited were released
    std::condition_variable signalled;
};

struct Kernel {
    std::mutex lock;
    std::map<semaphore_t, std::unique_ptr<Semaphore>> semaphores;
    semaphore_t last = 0x1000;
    SimulatedKernel::Creation creation{-1, -1};
    int signals = 0;
    std::chrono::nanoseconds limit{};
    int waitsToEnd = 0;
    kern_return_t endStatus = KERN_SUCCESS;
};

// Never destroyed: a static object of the library may outlive the tests.
Kernel& TheKernel() {
    static auto* const pKernel = new Kernel;
    return *pKernel;
}

// Holds the kernel for a scope, unnoticed by the scripts for the library's locks.
class KernelLock {
public:
    KernelLock() : m_guard(TheKernel().lock) {}
    std::unique_lock<std::mutex>& Guard() { return m_guard; }

private:
    const Platform::Bypass m_bypass; // first made, last destroyed
    std::unique_lock<std::mutex> m_guard;
};

thread_local std::function<void()> g_beforeWait;

Semaphore* Find(semaphore_t name) {
    const auto found = TheKernel().semaphores.find(name);
    return found != TheKernel().semaphores.end() ? found->second.get() : nullptr;
}

bool IsEndedAtOnce(Kernel& kernel) {
    if (kernel.waitsToEnd == 0)
        return false;
    --kernel.waitsToEnd;
    return true;
}

kern_return_t Wait(semaphore_t name, std::chrono::nanoseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    Kernel& kernel = TheKernel();
    KernelLock lock;
    kernel.limit = limit;
    Semaphore* const pSemaphore = Find(name);
    if (pSemaphore == nullptr)
        return KERN_INVALID_ARGUMENT;
    if (IsEndedAtOnce(kernel))
        return kernel.endStatus;
    if (pSemaphore->count > 0) {
        --pSemaphore->count;
        return KERN_SUCCESS;
    }
    // A signal is for those who wait by then: one who comes later must not take it from a thread
    // that has not got to run yet.
    ++pSemaphore->waiting;
    const bool passed = pSemaphore->signalled.wait_until(
        lock.Guard(), end,
        [pSemaphore, before = pSemaphore->signals] { return pSemaphore->signals != before; });
    if (!passed)
        --pSemaphore->waiting;
    return passed ? KERN_SUCCESS : KERN_OPERATION_TIMED_OUT;
}

void SignalNobody(Semaphore& semaphore) {
    switch (SimulatedKernel::OnLonelySignal()) {
    case LonelySignal::IsForgotten:
        break;
    case LonelySignal::LeavesOneCount:
        semaphore.count = 1;
        break;
    case LonelySignal::LeavesEachCount:
        ++semaphore.count;
        break;
    }
}

} // namespace

LonelySignal SimulatedKernel::OnLonelySignal() {
    const char* const choice = std::getenv("VORN_SIMULATED_KERNEL");
    const std::string name = choice != nullptr ? choice : "forgets";
    if (name == "keeps")
        return LonelySignal::LeavesOneCount;
    if (name == "counts")
        return LonelySignal::LeavesEachCount;
    if (name != "forgets")
        std::abort();
    return LonelySignal::IsForgotten;
}

void SimulatedKernel::EndWaits(int count, int status) {
    const KernelLock lock;
    TheKernel().waitsToEnd = count;
    TheKernel().endStatus = status;
}

int SimulatedKernel::WaitsToEnd() {
    const KernelLock lock;
    return TheKernel().waitsToEnd;
}

void SimulatedKernel::BeforeNextWait(std::function<void()> action) {
    g_beforeWait = std::move(action);
}

SimulatedKernel::Creation SimulatedKernel::LastCreation() {
    const KernelLock lock;
    return TheKernel().creation;
}

int SimulatedKernel::Semaphores() {
    const KernelLock lock;
    return static_cast<int>(TheKernel().semaphores.size());
}

std::chrono::nanoseconds SimulatedKernel::LastLimit() {
    const KernelLock lock;
    return TheKernel().limit;
}

int SimulatedKernel::Signals() {
    const KernelLock lock;
    return TheKernel().signals;
}

} // namespace VornTest

using namespace VornTest;

extern "C" {

mach_port_t mach_task_self() { return Task; }

kern_return_t semaphore_create(task_t task, semaphore_t* semaphore, int policy, int value) {
    Kernel& kernel = TheKernel();
    const KernelLock lock;
    kernel.creation = {value, policy};
    if (WaitsRefused::IsOn())
        return KERN_RESOURCE_SHORTAGE;
    if (task != Task || policy != SYNC_POLICY_FIFO || value < 0)
        return KERN_INVALID_ARGUMENT;
    *semaphore = ++kernel.last;
    kernel.semaphores[*semaphore] = std::make_unique<Semaphore>(value);
    return KERN_SUCCESS;
}

// It is an error of the library to destroy a semaphore that has waiters, which would be freed, or
// that does not exist: its name may be another's by now.
kern_return_t semaphore_destroy(task_t task, semaphore_t semaphore) {
    const KernelLock lock;
    Semaphore* const pSemaphore = Find(semaphore);
    if (pSemaphore == nullptr || pSemaphore->waiting > 0)
        std::abort();
    if (task != Task || WaitsRefused::IsOn())
        return KERN_INVALID_ARGUMENT;
    TheKernel().semaphores.erase(semaphore);
    return KERN_SUCCESS;
}

// No cancellation point.
kern_return_t semaphore_timedwait(semaphore_t semaphore, mach_timespec_t waitTime) {
    if (waitTime.tv_nsec < 0 || waitTime.tv_nsec >= 1'000'000'000)
        return KERN_INVALID_VALUE;
    const std::chrono::nanoseconds limit =
        std::chrono::seconds(waitTime.tv_sec) + std::chrono::nanoseconds(waitTime.tv_nsec);
    kern_return_t status = KERN_SUCCESS;
    {
        const Vorn::CancelShield shield;
        if (g_beforeWait)
            std::exchange(g_beforeWait, nullptr)();
        FallAsleep();
        status = Wait(semaphore, IsWakeToCome() && limit == WholeSleep ? UntilWoken : limit);
    }
    if (status == KERN_OPERATION_TIMED_OUT && limit == WholeSleep)
        return status;
    if (Wake())
        status = KERN_OPERATION_TIMED_OUT;
    if (status == KERN_OPERATION_TIMED_OUT)
        TimedOut();
    return status;
}

kern_return_t semaphore_signal_all(semaphore_t semaphore) {
    const KernelLock lock;
    Semaphore* const pSemaphore = Find(semaphore);
    if (pSemaphore == nullptr)
        return KERN_INVALID_ARGUMENT;
    ++TheKernel().signals;
    if (pSemaphore->waiting == 0) {
        SignalNobody(*pSemaphore);
        return KERN_SUCCESS;
    }
    pSemaphore->waiting = 0;
    ++pSemaphore->signals;
    pSemaphore->signalled.notify_all();
    return KERN_SUCCESS;
}
}
