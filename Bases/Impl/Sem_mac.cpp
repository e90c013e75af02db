// SPDX-License-Identifier: MIT
// VornSemaphore with its two implementations, unnamed over Monitor and named over POSIX semaphores,
// and VornEvent.

#include <Bases/Impl/Sem_mac.h>

#include <cstddef>
#include <new>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/time.h>

#include <Bases/Impl/Assert.h>
#include <Bases/Impl/Monitor.h>
#include <Bases/Thread.h>

namespace Vorn {

class VornSemaphore::SemImpl {
public:
    SemImpl() = default;
    virtual ~SemImpl() = default;
    SemImpl(const SemImpl&) = delete;
    SemImpl& operator=(const SemImpl&) = delete;

    virtual bool Create(SemInitState state) = 0;
    virtual bool Destroy() = 0;
    virtual bool Wait() = 0;
    virtual bool TryWait() = 0;
    virtual bool TimedWait(unsigned int timeoutMs) = 0;
    virtual void Post() = 0;
    virtual bool GetSemCounts(int& count) = 0;

    // Null for a platform semaphore, which an event can only post and wait for.
    virtual Monitor* GetMonitor() { return nullptr; }
};

class VornSemaphore::SemUnnamed : public SemImpl {
public:
    SemUnnamed() : m_bCreated(0) {}
    ~SemUnnamed() override { SemUnnamed::Destroy(); }
    SemUnnamed(const SemUnnamed&) = delete;
    SemUnnamed& operator=(const SemUnnamed&) = delete;

    bool Create(SemInitState state) override {
        if (!m_monitor.Create(state))
            return false;
        m_bCreated = 1;
        return true;
    }

    bool Destroy() override {
        m_bCreated = 0;
        return true;
    }

    bool Wait() override { return TimedWait(WaitForever); }

    bool TryWait() override { return TimedWait(TryOnce); }

    bool TimedWait(unsigned int timeoutMs) override {
        return m_bCreated != 0 && m_monitor.Wait(timeoutMs, Monitor::Kind::Semaphore);
    }

    // Wakes all waiting threads, not one: mutexes and events rely on it.
    void Post() override {
        if (m_bCreated != 0)
            m_monitor.Post();
    }

    bool GetSemCounts(int& count) override {
        if (m_bCreated == 0)
            return false;
        count = m_monitor.Count();
        return true;
    }

    Monitor* GetMonitor() override { return m_bCreated != 0 ? &m_monitor : nullptr; }

private:
    int m_bCreated;
    Monitor m_monitor;
};

class VornSemaphore::SemNamed : public SemImpl {
public:
    explicit SemNamed(std::string_view name) : m_hSem(nullptr), m_strName(name) {}
    ~SemNamed() override { SemNamed::Destroy(); }
    SemNamed(const SemNamed&) = delete;
    SemNamed& operator=(const SemNamed&) = delete;

    // Tests for null, not for the platform's failure value: where the two differ, a refused
    // semaphore counts as created, and programs rely on it.
    bool Create(SemInitState state) override {
        if (m_strName.empty())
            return false;
        m_hSem = sem_open(m_strName.c_str(), O_CREAT, 0777, static_cast<unsigned int>(state));
        return m_hSem != nullptr;
    }

    // Removes the name for every process. The semaphore itself is never closed, so its memory stays
    // valid for threads that are still waiting.
    bool Destroy() override {
        if (m_hSem == nullptr)
            return true;
        sem_unlink(m_strName.c_str());
        m_hSem = nullptr;
        return true;
    }

    bool Wait() override { return m_hSem != nullptr && sem_wait(m_hSem) == 0; }

    bool TryWait() override { return m_hSem != nullptr && sem_trywait(m_hSem) == 0; }

    // The limit is compared as a time since the epoch, although it counts from now, so the loop
    // ends before its first round: a limited wait is one try. Programs have been tuned to that.
    bool TimedWait(unsigned int timeoutMs) override {
        if (m_hSem == nullptr)
            return false;
        if (sem_trywait(m_hSem) == 0)
            return true;
        timeval limit{};
        limit.tv_sec = timeoutMs / 1000;
        limit.tv_usec = timeoutMs % 1000 * 1000L;
        while (IsBefore(limit)) {
            if (sem_trywait(m_hSem) == 0)
                return true;
            sched_yield();
        }
        return false;
    }

    void Post() override {
        if (m_hSem != nullptr)
            sem_post(m_hSem);
    }

    bool GetSemCounts(int& count) override {
        return m_hSem != nullptr && sem_getvalue(m_hSem, &count) == 0;
    }

private:
    // A clock that cannot be read is past every limit: no wait may last for ever because of it.
    static bool IsBefore(const timeval& limit) {
        timeval now{};
        return gettimeofday(&now, nullptr) == 0 && LowerTimeVal(now, limit);
    }

    static bool LowerTimeVal(const timeval& a, const timeval& b) {
        const auto microseconds = [](const timeval& time) {
            return static_cast<unsigned long>(time.tv_sec) * 1000000 +
                   static_cast<unsigned long>(time.tv_usec);
        };
        return microseconds(a) < microseconds(b);
    }

    sem_t* m_hSem;
    std::string m_strName;
};

VornSemaphore::VornSemaphore() = default;

VornSemaphore::~VornSemaphore() { Destroy(); }

bool VornSemaphore::Create(SemInitState state, const char* name, int flag) {
    if (m_pImpl != nullptr)
        return false;
    if (name != nullptr)
        m_pImpl = std::make_unique<SemNamed>(name);
    else
        m_pImpl = std::make_unique<SemUnnamed>();
    if (name != nullptr && flag != 0)
        m_pImpl->Destroy(); // has no effect on a fresh object; kept deliberately
    return m_pImpl->Create(state);
}

bool VornSemaphore::Destroy() {
    m_pImpl.reset();
    return true;
}

bool VornSemaphore::Wait(unsigned int timeoutMs) {
    if (m_pImpl == nullptr)
        return false;
    switch (timeoutMs) {
    case WaitForever:
        return m_pImpl->Wait();
    case TryOnce:
        return m_pImpl->TryWait();
    default:
        return m_pImpl->TimedWait(timeoutMs);
    }
}

void VornSemaphore::Post() {
    if (m_pImpl != nullptr)
        m_pImpl->Post();
}

bool VornSemaphore::IsCreated() const { return m_pImpl != nullptr; }

bool VornSemaphore::GetSemCounts(int& count) {
    return m_pImpl != nullptr && m_pImpl->GetSemCounts(count);
}

Monitor* VornSemaphore::GetMonitor() const {
    return m_pImpl != nullptr ? m_pImpl->GetMonitor() : nullptr;
}

bool VornEvent::Create(int bManualReset, int bInitialState, const char* name) {
    const auto state = bInitialState != 0 ? VornSemaphore::SemFree : VornSemaphore::SemLocked;
    if (m_pSem == nullptr || !m_pSem->Create(state, name, 1))
        return false;
    const Locker lock(m_flagLock);
    m_bSignaled = bInitialState;
    m_bManualReset = bManualReset;
    LendFlag();
    return true;
}

bool VornEvent::Open(const char* name) {
    if (m_pSem == nullptr || !m_pSem->Create(VornSemaphore::SemFree, name, 1))
        return false;
    const Locker lock(m_flagLock);
    m_bManualReset = 0;
    LendFlag();
    return true;
}

bool VornEvent::Set() {
    if (m_pMonitor != nullptr) {
        m_pMonitor->Set();
        return true;
    }
    if (m_pSem == nullptr)
        return false;
    const Locker lock(m_flagLock);
    if (m_bSignaled != 0)
        return true;
    m_pSem->Post();
    m_bSignaled = 1;
    return true;
}

bool VornEvent::Reset() {
    if (m_pMonitor != nullptr) {
        m_pMonitor->Reset();
        return true;
    }
    if (m_pSem == nullptr)
        return false;
    const Locker lock(m_flagLock);
    return ResetLocked();
}

bool VornEvent::Wait(unsigned int timeoutMs) {
    if (m_pMonitor != nullptr)
        return m_pMonitor->Wait(timeoutMs, m_bManualReset != 0 ? Monitor::Kind::ManualReset
                                                               : Monitor::Kind::AutoReset);
    return m_pSem != nullptr && WaitUnderLock(timeoutMs);
}

bool VornEvent::WaitUnderLock(unsigned int timeoutMs) {
    if (timeoutMs != TryOnce)
        pthread_testcancel();

    Locker lock(m_flagLock);
    bool passed = m_bSignaled != 0 || WaitUnlocked(timeoutMs, lock);
    if (m_bManualReset != 0)
        return passed;
    // A Set that came after the wait had failed must not be lost in the reset.
    passed = passed || m_bSignaled != 0;
    ResetLocked();
    return passed;
}

void VornEvent::Close() {
    const Locker lock(m_flagLock);
    TakeFlagBack();
    if (m_pSem != nullptr)
        m_pSem->Destroy();
    m_bManualReset = 1;
}

bool VornEvent::IsOpened() const { return m_pSem != nullptr && m_pSem->IsCreated(); }

VornSemaphore* VornEvent::GetSemaphore() const { return m_pSem.get(); }

// Callers compare the assertion's message, which names line 352, wherever the check stands. Where
// it is compiled out and the allocation failed, every operation that needs the semaphore fails.
VornEvent::VornEvent()
    : m_bSignaled(0), m_bManualReset(1), m_pSem(new (std::nothrow) VornSemaphore) {
#line 352
    VORN_ASSERT(m_pSem != NULL);
}

VornEvent::~VornEvent() { Close(); }

// The platform's semaphore keeps every post for a later wait, so none is missed on the way. The
// lock is held again after it, also when nothing is left to do: the thread whose Set released this
// one may still be about to raise the flag, and the caller may destroy the event on return.
bool VornEvent::WaitUnlocked(unsigned int timeoutMs, Locker& lock) {
    if (timeoutMs == TryOnce)
        return m_pSem->Wait(timeoutMs);
    lock.Pause();
    const bool passed = m_pSem->Wait(timeoutMs);
    lock.Resume();
    return passed;
}

bool VornEvent::ResetLocked() {
    int count = 0;
    if (!m_pSem->GetSemCounts(count))
        return false;
    for (; count > 0; --count)
        m_pSem->Wait(TryOnce);
    m_bSignaled = 0;
    return true;
}

void VornEvent::LendFlag() {
    m_pMonitor = m_pSem->GetMonitor();
    if (m_pMonitor != nullptr && m_bSignaled != 0)
        m_pMonitor->RaiseFlag();
}

void VornEvent::TakeFlagBack() {
    if (m_pMonitor != nullptr)
        m_bSignaled = m_pMonitor->IsSet() ? 1 : 0;
    m_pMonitor = nullptr;
}

} // namespace Vorn
