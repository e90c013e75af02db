// SPDX-License-Identifier: MIT
// Cs, Mutex and their guards, and Event.

#include <Bases/Thread.h>

#include <cstdio>

#include <Bases/Impl/Sem_mac.h>

namespace Vorn {

// Without attributes, a lock of the default kind remains: there is no way to report it.
Cs::Cs() : m_mutex() {
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) {
        pthread_mutex_init(&m_mutex, nullptr);
        return;
    }
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

Cs::~Cs() { pthread_mutex_destroy(&m_mutex); }

void Cs::Lock() const { pthread_mutex_lock(&m_mutex); }

bool Cs::TryLock() const { return pthread_mutex_trylock(&m_mutex) == 0; }

void Cs::Unlock() const { pthread_mutex_unlock(&m_mutex); }

CsLocker::CsLocker(const Cs& cs) : m_cs(cs) { m_cs.Lock(); }

CsLocker::~CsLocker() { m_cs.Unlock(); }

Mutex::Mutex() : m_pSem(std::make_unique<VornSemaphore>()) {}

Mutex::Mutex(const char* name) : Mutex() { Create(name); }

Mutex::~Mutex() { Close(); }

bool Mutex::Create(const char* name) {
    if (m_pSem->IsCreated())
        return false;
    if (m_pSem->Create(VornSemaphore::SemFree, name, 1))
        return true;
    std::puts("[ThreadSync] Mutex create failure.\r");
    return false;
}

// Creates a mutex that does not exist, as Create does, so that it does not matter which of two
// processes comes first.
bool Mutex::Open(const char* name) {
    if (m_pSem->IsCreated())
        return false;
    if (m_pSem->Create(VornSemaphore::SemFree, name, 0))
        return true;
    std::puts("[ThreadSync] Mutex open failure.\r");
    return false;
}

bool Mutex::Lock(unsigned int timeoutMs) { return m_pSem->Wait(timeoutMs); }

void Mutex::Unlock() { m_pSem->Post(); }

bool Mutex::Close() { return m_pSem->Destroy(); }

bool Mutex::IsOpened() { return m_pSem->IsCreated(); }

VornSemaphore* Mutex::GetHandle() { return m_pSem.get(); }

MutexLocker::MutexLocker(Mutex& mutex) : m_mutex(mutex) { m_mutex.Lock(WaitForever); }

MutexLocker::~MutexLocker() { m_mutex.Unlock(); }

Event::Event() : m_pEvent(std::make_unique<VornEvent>()) {}

Event::~Event() = default;

bool Event::Create(int bManualReset, int bInitialState, const char* name) {
    return m_pEvent->Create(bManualReset, bInitialState, name);
}

bool Event::Open(const char* name) { return m_pEvent->Open(name); }

bool Event::Set() { return m_pEvent->Set(); }

bool Event::Reset() { return m_pEvent->Reset(); }

bool Event::Wait(unsigned int timeoutMs) { return m_pEvent->Wait(timeoutMs); }

void Event::Close() { m_pEvent->Close(); }

bool Event::IsOpened() { return m_pEvent->IsOpened(); }

VornEvent* Event::GetHandle() { return m_pEvent.get(); }

} // namespace Vorn
