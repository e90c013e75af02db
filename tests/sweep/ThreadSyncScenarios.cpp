// SPDX-License-Identifier: MIT
// Critical sections, mutexes, semaphores and events, of this process and named.
#include <string>

#include <fcntl.h>
#include <semaphore.h>

#include <Bases/Impl/Sem_mac.h>
#include <Bases/Thread.h>

#include "sweep/Holdings.h"
#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

using Vorn::Cs;
using Vorn::Event;
using Vorn::Mutex;
using Vorn::TryOnce;
using Vorn::VornSemaphore;
using Vorn::WaitForever;
namespace EventKind = Vorn::EventKind;
namespace EventState = Vorn::EventState;

// The name of a scenario's object, or none. Afterwards nothing has the name, and the semaphores are
// closed that the library leaves mapped on purpose.
class Naming {
public:
    explicit Naming(bool isNamed) : m_isNamed(isNamed) { sem_unlink(m_name.c_str()); }
    ~Naming() {
        const Platform::Bypass bypass;
        sem_unlink(m_name.c_str());
        for (sem_t* const semaphore : Platform::sem_open.Results())
            if (semaphore != SEM_FAILED)
                sem_close(semaphore);
    }
    Naming(const Naming&) = delete;
    Naming& operator=(const Naming&) = delete;

    const char* Name() const { return m_isNamed ? m_name.c_str() : nullptr; }

private:
    const bool m_isNamed;
    const std::string m_name = "/" + NamePrefix();
};

// --- Critical sections ---------------------------------------------------------------------------

void LocksASection(Trial& trial) {
    const bool locked = trial.Works([] {
        const Cs cs;
        cs.Lock();
        const bool again = cs.TryLock();
        if (again)
            cs.Unlock();
        cs.Unlock();
        return again;
    });
    trial.Require(locked || trial.MetFault(), "locks a section twice");
}

// --- Mutexes -------------------------------------------------------------------------------------

void CreatesAMutex(Trial& trial, bool isNamed) {
    const Naming naming(isNamed);
    Mutex mutex;
    const bool created = trial.WorksOrThrows([&] { return mutex.Create(naming.Name()); });
    trial.Require(created || trial.HasThrown() ||
                      trial.HasPrinted("[ThreadSync] Mutex create failure.\r\n"),
                  "prints that it was not created");
    trial.Require(mutex.IsOpened() || trial.HasThrown(), "counts as opened");
    trial.Require(mutex.Lock(TryOnce) == created, "can be locked exactly when Create says so");
    trial.Require(trial.Try([&] { return mutex.Close(); }), "is closed");
    trial.Require(!mutex.IsOpened(), "counts as closed");
    trial.Require(mutex.Create(naming.Name()), "is created then");
}

void OpensAMutex(Trial& trial, bool isNamed) {
    const Naming naming(isNamed);
    Mutex mutex;
    const bool opened = trial.WorksOrThrows([&] { return mutex.Open(naming.Name()); });
    trial.Require(opened || trial.HasThrown() ||
                      trial.HasPrinted("[ThreadSync] Mutex open failure.\r\n"),
                  "prints that it was not opened");
    mutex.Close();
    trial.Require(mutex.Open(naming.Name()), "is opened then");
}

void LocksAMutex(Trial& trial, bool isNamed) {
    const Naming naming(isNamed);
    Mutex mutex;
    mutex.Create(naming.Name());
    for (const unsigned int timeOut : {TryOnce, 1U, WaitForever}) {
        const bool locked = trial.Works([&] { return mutex.Lock(timeOut); });
        trial.Require(mutex.Lock(TryOnce) != locked, "is held exactly when Lock says so");
        trial.Try([&] { mutex.Unlock(); });
        if (!mutex.Lock(TryOnce))
            trial.Require(Trial::HasFailed(Platform::sem_post), "is free after Unlock");
        mutex.Unlock();
    }
}

// Nobody unlocks it.
void WaitsForAMutexInVain(Trial& trial) {
    Mutex mutex;
    mutex.Create(nullptr);
    mutex.Lock(TryOnce);
    trial.Require(!trial.Try([&] { return mutex.Lock(1); }), "does not take what is held");
    mutex.Unlock();
    trial.Require(mutex.Lock(TryOnce), "takes it when it is free");
}

void MakesAMutex(Trial& trial) {
    trial.TryOrThrow([] {
        Mutex mutex(nullptr);
        const Vorn::MutexLocker locker(mutex);
        return mutex.IsOpened();
    });
}

// --- Semaphores ----------------------------------------------------------------------------------

void CountsWithASemaphore(Trial& trial, bool isNamed) {
    const Naming naming(isNamed);
    VornSemaphore semaphore;
    const bool created = trial.WorksOrThrows(
        [&] { return semaphore.Create(VornSemaphore::SemLocked, naming.Name(), 0); });
    int count = 77;
    const bool counted = trial.Works([&] { return semaphore.GetSemCounts(count); });
    trial.Require(count == (counted ? 0 : 77), "tells the count exactly when it says so");
    trial.Require(!trial.Try([&] { return semaphore.Wait(TryOnce); }), "takes nothing from none");
    trial.Try([&] { semaphore.Post(); });
    const bool posted = created && !Trial::HasFailed(Platform::sem_post);
    const bool taken = trial.Works([&] { return semaphore.Wait(TryOnce); });
    trial.Require(!taken || posted, "takes what was posted");
    trial.Require(semaphore.Wait(TryOnce) == (posted && !taken), "takes it once");
    trial.Require(trial.Try([&] { return semaphore.Destroy(); }), "is destroyed");
    trial.Require(!semaphore.IsCreated(), "is no longer there");
}

// --- Events --------------------------------------------------------------------------------------

void CreatesAnEvent(Trial& trial, bool isNamed) {
    const Naming naming(isNamed);
    Event event;
    const bool created = trial.WorksOrThrows(
        [&] { return event.Create(EventKind::ManualReset, EventState::Set, naming.Name()); });
    trial.Require(event.IsOpened() || trial.HasThrown(), "counts as opened");
    trial.Require(event.Wait(TryOnce) == created, "is set exactly when Create says so");
    trial.Try([&] { event.Close(); });
    trial.Require(!event.IsOpened(), "counts as closed");
    trial.Require(event.Create(EventKind::AutoReset, EventState::NotSet, naming.Name()),
                  "is created then");
}

void OpensAnEvent(Trial& trial, bool isNamed) {
    const Naming naming(isNamed);
    Event event;
    const bool opened = trial.WorksOrThrows([&] { return event.Open(naming.Name()); });
    trial.Require(event.Wait(TryOnce) == opened, "has a free wait exactly when Open says so");
    event.Close();
    trial.Require(event.Open(naming.Name()), "is opened then");
}

// A platform that does not tell the count of a named semaphore cannot be reset.
void SetsAndResetsAnEvent(Trial& trial, bool isNamed) {
    const Naming naming(isNamed);
    Event event;
    event.Create(EventKind::ManualReset, EventState::NotSet, naming.Name());
    trial.Require(trial.Try([&] { return event.Set(); }), "is set");
    trial.Require(event.Wait(TryOnce), "stays set");
    const bool reset = trial.Works([&] { return event.Reset(); });
    if (!Trial::HasFailed(Platform::sem_trywait))
        trial.Require(event.Wait(TryOnce) != reset, "is reset exactly when Reset says so");
    event.Set();
    trial.Require(event.Wait(TryOnce) && event.Reset(), "is set and reset then");
}

void WaitsForAnEventThatIsSet(Trial& trial, bool isNamed) {
    const Naming naming(isNamed);
    for (const int kind : {EventKind::AutoReset, EventKind::ManualReset})
        for (const unsigned int timeOut : {TryOnce, 1U, WaitForever}) {
            Event event;
            event.Create(kind, EventState::Set, naming.Name());
            trial.Require(trial.Try([&] { return event.Wait(timeOut); }),
                          "passes an event that is set");
        }
}

void WaitsForAnEventInVain(Trial& trial) {
    for (const int kind : {EventKind::AutoReset, EventKind::ManualReset}) {
        Event event;
        event.Create(kind, EventState::NotSet, nullptr);
        trial.Require(!trial.Try([&] { return event.Wait(1); }), "does not pass what is not set");
        event.Set();
        trial.Require(event.Wait(TryOnce), "passes when it is set");
    }
}

// Another thread sets the event as soon as this one sleeps.
void WaitsForAnEvent(Trial& trial) {
    Event event;
    event.Create(EventKind::AutoReset, EventState::NotSet, nullptr);
    const auto set = [&event](pthread_cond_t*, pthread_mutex_t* lock) {
        Platform::pthread_mutex_unlock.Real(lock);
        event.Set();
        return Platform::pthread_mutex_lock.Real(lock);
    };
    Platform::pthread_cond_wait.Do(set);
    Platform::pthread_cond_timedwait.Do([set](pthread_cond_t* posted, pthread_mutex_t* lock,
                                              const timespec*) { return set(posted, lock); });
    trial.Works([&] { return event.Wait(WaitForever); });
    trial.Works([&] { return event.Wait(60000); });
    trial.Require(!event.Wait(TryOnce), "was reset by each Wait");
}

void EventIsConstructed(Trial& trial) {
    trial.RunOrStop([] { const Vorn::VornEvent event; }, "m_pSem != ");
    const Vorn::VornEvent another;
}

const Scenarios g_scenarios{
    {"EventIsConstructed", EventIsConstructed},
    {"SectionIsLocked", LocksASection},
    {"MutexIsCreated", [](Trial& trial) { CreatesAMutex(trial, false); }},
    {"MutexIsCreatedWithAName", [](Trial& trial) { CreatesAMutex(trial, true); }},
    {"MutexIsOpened", [](Trial& trial) { OpensAMutex(trial, false); }},
    {"MutexIsOpenedByName", [](Trial& trial) { OpensAMutex(trial, true); }},
    {"MutexIsLocked", [](Trial& trial) { LocksAMutex(trial, false); }},
    {"MutexIsLockedByName", [](Trial& trial) { LocksAMutex(trial, true); }},
    {"MutexIsWaitedForInVain", WaitsForAMutexInVain},
    {"MutexIsMade", MakesAMutex},
    {"SemaphoreCounts", [](Trial& trial) { CountsWithASemaphore(trial, false); }},
    {"SemaphoreCountsByName", [](Trial& trial) { CountsWithASemaphore(trial, true); }},
    {"EventIsCreated", [](Trial& trial) { CreatesAnEvent(trial, false); }},
    {"EventIsCreatedWithAName", [](Trial& trial) { CreatesAnEvent(trial, true); }},
    {"EventIsOpened", [](Trial& trial) { OpensAnEvent(trial, false); }},
    {"EventIsOpenedByName", [](Trial& trial) { OpensAnEvent(trial, true); }},
    {"EventIsSetAndReset", [](Trial& trial) { SetsAndResetsAnEvent(trial, false); }},
    {"EventIsSetAndResetByName", [](Trial& trial) { SetsAndResetsAnEvent(trial, true); }},
    {"EventThatIsSetIsPassed", [](Trial& trial) { WaitsForAnEventThatIsSet(trial, false); }},
    {"EventThatIsSetIsPassedByName", [](Trial& trial) { WaitsForAnEventThatIsSet(trial, true); }},
    {"EventIsWaitedForInVain", WaitsForAnEventInVain},
    {"EventIsWaitedFor", WaitsForAnEvent},
};

} // namespace

} // namespace VornTest::Sweep
