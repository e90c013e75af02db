// SPDX-License-Identifier: MIT
// Concerns: named mutexes, semaphores and events are the platform's named semaphores, one post
// for one waiter, shared with other processes until any of them closes its object; a limited wait
// is a single try. The second process of these tests is a real one.
#include <Bases/Thread.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <semaphore.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <Bases/Impl/Sem_mac.h>

#include "fault/Platform.h"
#include "support/BlockedThreads.h"
#include "support/Child.h"
#include "support/Peer.h"

namespace {

using Vorn::Event;
namespace EventKind = Vorn::EventKind;
namespace EventState = Vorn::EventState;
using Vorn::Mutex;
using Vorn::MutexLocker;
using Vorn::VornEvent;
using Vorn::VornSemaphore;
using Vorn::WaitForever;
namespace Platform = VornTest::Platform;
using VornTest::Child;
using VornTest::Peer;

// What sem_open was asked last.
struct OpenCall {
    std::string name;
    int flags = 0;
    mode_t mode = 0;
    unsigned int value = 0;
};

OpenCall LastOpen() {
    const auto calls = Platform::sem_open.Calls();
    if (calls.empty())
        return {};
    const auto& [name, flags, mode, value] = calls.back();
    return {name, flags, mode, value};
}

class Named : public testing::Test {
protected:
    Named() : m_name("/vorn-test-" + std::to_string(getpid())) {
        sem_unlink(Name()); // what a killed run with the same number may have left
        Platform::sem_open.Record();
        Platform::sem_close.Record();
    }

    void TearDown() override { sem_unlink(m_name.c_str()); }

    const char* Name() const { return m_name.c_str(); }

    bool NameExists() const {
        const Platform::Bypass bypass;
        sem_t* sem = sem_open(Name(), 0);
        if (sem == nullptr)
            return false;
        sem_close(sem);
        return true;
    }

    std::string m_name;
};

using NamedMutex = Named;
using NamedEvent = Named;
using NamedSemaphore = Named;

TEST_F(NamedMutex, IsOneLockForTwoProcesses) {
    Mutex mutex;
    ASSERT_TRUE(mutex.Create(Name()));
    Peer peer;
    ASSERT_TRUE(peer.Do("mutex-open " + m_name));
    EXPECT_TRUE(mutex.Lock(0));
    EXPECT_FALSE(peer.Do("mutex-lock 0"));
    mutex.Unlock();
    EXPECT_TRUE(peer.Do("mutex-lock 0"));
    EXPECT_FALSE(mutex.Lock(0));
    peer.Do("mutex-unlock");
    EXPECT_TRUE(mutex.Lock(WaitForever));
}

TEST_F(NamedMutex, UnlockReleasesOneWaiterOnly) {
    Mutex mutex;
    ASSERT_TRUE(mutex.Create(Name()));
    ASSERT_TRUE(mutex.Lock(0));
    Peer first;
    Peer second;
    first.Do("mutex-open " + m_name);
    second.Do("mutex-open " + m_name);
    first.StartAndBlock("mutex-lock 4294967295");
    second.StartAndBlock("mutex-lock 4294967295");

    mutex.Unlock();
    while (!first.HasAnswer(10) && !second.HasAnswer(10)) {
    }
    Peer& released = first.HasAnswer(0) ? first : second;
    Peer& waiting = first.HasAnswer(0) ? second : first;
    EXPECT_TRUE(released.Answer());
    EXPECT_TRUE(waiting.IsStillBlocked());

    mutex.Unlock();
    EXPECT_TRUE(waiting.Answer());
    EXPECT_FALSE(mutex.Lock(0));
}

TEST_F(NamedMutex, OpenCreatesWhatDoesNotExistYet) {
    EXPECT_FALSE(NameExists());
    Mutex mutex;
    EXPECT_TRUE(mutex.Open(Name()));
    EXPECT_TRUE(NameExists());
    EXPECT_TRUE(mutex.Lock(0));
    EXPECT_FALSE(mutex.Lock(0));
}

TEST_F(NamedMutex, CreateTakesTheCountOfTheOneThatExists) {
    Mutex first;
    ASSERT_TRUE(first.Create(Name()));
    ASSERT_TRUE(first.Lock(0));
    Mutex second;
    ASSERT_TRUE(second.Create(Name()));
    EXPECT_FALSE(second.Lock(0));
}

TEST_F(NamedMutex, IsOpenedWithTheNameUnchangedAndNeverExclusively) {
    Mutex mutex;
    ASSERT_TRUE(mutex.Create(Name()));
    EXPECT_EQ(m_name, LastOpen().name);
    EXPECT_EQ(O_CREAT, LastOpen().flags);
    EXPECT_EQ(static_cast<mode_t>(0777), LastOpen().mode);
    EXPECT_EQ(1U, LastOpen().value);
    mutex.Close();
    Platform::sem_open.Forget();
    ASSERT_TRUE(mutex.Open(Name()));
    EXPECT_EQ(m_name, LastOpen().name);
    EXPECT_EQ(O_CREAT, LastOpen().flags);
    EXPECT_EQ(static_cast<mode_t>(0777), LastOpen().mode);
    EXPECT_EQ(1U, LastOpen().value);
}

TEST_F(NamedMutex, CloseRemovesTheNameForEveryProcess) {
    Peer peer;
    ASSERT_TRUE(peer.Do("mutex-create " + m_name));
    ASSERT_TRUE(peer.Do("mutex-lock 0"));
    Mutex mutex;
    ASSERT_TRUE(mutex.Open(Name()));
    EXPECT_TRUE(mutex.Close());
    EXPECT_FALSE(NameExists());

    // The peer goes on with the object it has; whoever opens the name now gets a new one.
    ASSERT_TRUE(mutex.Open(Name()));
    EXPECT_TRUE(mutex.Lock(0));
    EXPECT_FALSE(peer.Do("mutex-lock 0"));
    peer.Do("mutex-unlock");
    EXPECT_FALSE(mutex.Lock(0));
    EXPECT_TRUE(peer.Do("mutex-close"));
    EXPECT_FALSE(NameExists()); // this time the new object's name
}

TEST_F(NamedMutex, DestructorRemovesTheName) {
    { const Mutex mutex(Name()); }
    EXPECT_FALSE(NameExists());
}

TEST_F(NamedMutex, StaysLockedWhenItsHolderIsKilled) {
    Mutex mutex;
    ASSERT_TRUE(mutex.Create(Name()));
    Child holder([&mutex] { EXPECT_TRUE(mutex.Lock(0)); });
    EXPECT_FALSE(mutex.Lock(0));
    holder.Kill();
    EXPECT_FALSE(mutex.Lock(0));
    EXPECT_TRUE(NameExists());
}

TEST_F(NamedMutex, NeverClosesTheSemaphoreItself) {
    Mutex mutex;
    ASSERT_TRUE(mutex.Create(Name()));
    mutex.Close();
    mutex.Close();
    EXPECT_EQ(0U, Platform::sem_close.Count());
}

TEST_F(NamedMutex, EmptyNameIsRefusedWithoutAskingThePlatform) {
    testing::internal::CaptureStdout();
    Mutex mutex;
    Platform::sem_open.Forget();
    EXPECT_FALSE(mutex.Open(""));
    EXPECT_EQ(0U, Platform::sem_open.Count());
    EXPECT_TRUE(mutex.IsOpened());
    EXPECT_EQ("[ThreadSync] Mutex open failure.\r\n", testing::internal::GetCapturedStdout());
}

TEST_F(NamedMutex, InterruptedLockerGuardsNothingAndFreesTheLockOfTheHolder) {
    Mutex mutex;
    ASSERT_TRUE(mutex.Create(Name()));
    ASSERT_TRUE(mutex.Lock(0));
    bool heldInside = false;
    VornTest::PosixThread waiter([&] {
        const MutexLocker locker(mutex);
        heldInside = !mutex.Lock(0);
    });
    VornTest::WaitUntilBlocked({&waiter});
    waiter.Interrupt();
    EXPECT_FALSE(waiter.Join());
    EXPECT_TRUE(heldInside); // by the thread of this test all the time
    EXPECT_TRUE(mutex.Lock(0));
    EXPECT_FALSE(mutex.Lock(0));
}

TEST_F(NamedSemaphore, ReportsThePlatformsCount) {
    VornSemaphore sem;
    ASSERT_TRUE(sem.Create(VornSemaphore::SemLocked, Name(), 1));
    EXPECT_EQ(0U, LastOpen().value);
    int count = 77;
    EXPECT_TRUE(sem.GetSemCounts(count));
    EXPECT_EQ(0, count);
    EXPECT_FALSE(sem.Wait(0));
    EXPECT_TRUE(sem.GetSemCounts(count));
    EXPECT_EQ(0, count); // a failed try is no bookkeeping of ours here
    sem.Post();
    sem.Post();
    EXPECT_TRUE(sem.GetSemCounts(count));
    EXPECT_EQ(2, count);

    Platform::sem_getvalue.Fail(ENOSYS);
    count = 77;
    EXPECT_FALSE(sem.GetSemCounts(count));
    EXPECT_EQ(77, count);
}

TEST_F(NamedSemaphore, DoesNotWaitForEverWhenTheClockCannotBeRead) {
    VornSemaphore sem;
    ASSERT_TRUE(sem.Create(VornSemaphore::SemLocked, Name(), 0));
    Platform::gettimeofday.Fail(EFAULT);
    EXPECT_FALSE(sem.Wait(1000));
    EXPECT_EQ(1U, Platform::gettimeofday.Failed());
}

TEST_F(NamedSemaphore, LosesItsNameWhenDestroyedAndCanBeCreatedAgain) {
    VornSemaphore sem;
    ASSERT_TRUE(sem.Create(VornSemaphore::SemFree, Name(), 0));
    EXPECT_FALSE(sem.Create(VornSemaphore::SemFree, Name(), 0));
    EXPECT_TRUE(sem.Destroy());
    EXPECT_FALSE(NameExists());
    ASSERT_TRUE(sem.Create(VornSemaphore::SemFree, Name(), 1));
    EXPECT_TRUE(sem.Wait(0));
}

// The time of a limited wait is a time since the epoch to it, which shows on a clock that has just
// begun to count.
TEST_F(NamedSemaphore, LimitedWaitTriesAndYieldsUntilTheClockItselfShowsItsTime) {
    VornSemaphore sem;
    ASSERT_TRUE(sem.Create(VornSemaphore::SemLocked, Name(), 1));
    std::vector<timeval> clock = {{1, 500000}, {1, 499999}, {0, 0}}; // read from its end
    Platform::gettimeofday.Do([&](timeval* now, void*) {
        *now = clock.back();
        clock.pop_back();
        return 0;
    });
    Platform::sem_trywait.Record();
    Platform::sched_yield.Record();
    EXPECT_FALSE(sem.Wait(1500));
    EXPECT_THAT(clock, testing::IsEmpty());
    EXPECT_EQ(3U, Platform::sem_trywait.Count());
    EXPECT_EQ(2U, Platform::sched_yield.Count());

    clock = {{0, 0}, {0, 0}};
    Platform::sched_yield.At(1).Do([&] {
        sem.Post();
        return 0;
    });
    EXPECT_TRUE(sem.Wait(1500));

    clock = {{4000, 1000}, {4000, 999}};
    EXPECT_FALSE(sem.Wait(4000001));
    EXPECT_THAT(clock, testing::IsEmpty());

    clock = {{1, 0}, {0, 999999}};
    EXPECT_FALSE(sem.Wait(1000));
    EXPECT_THAT(clock, testing::IsEmpty());
}

TEST_F(NamedMutex, CountsWhatAnotherProcessAnnouncesAlsoWhileALockFails) {
    Mutex mutex;
    ASSERT_TRUE(mutex.Create(Name()));
    ASSERT_TRUE(mutex.Lock(0));
    Peer peer;
    ASSERT_TRUE(peer.Do("mutex-open " + m_name));
    Platform::sem_trywait.At(1).Do([&](sem_t* sem) {
        EXPECT_EQ(-1, Platform::sem_trywait.Real(sem));
        peer.Do("mutex-unlock");
        return -1;
    });
    EXPECT_FALSE(mutex.Lock(0));
    peer.Do("mutex-unlock");
    EXPECT_TRUE(mutex.Lock(0));
    EXPECT_TRUE(mutex.Lock(0));
    EXPECT_FALSE(mutex.Lock(0));
}

TEST_F(NamedEvent, ReachesAnotherProcess) {
    Event event;
    ASSERT_TRUE(event.Create(1, 0, Name()));
    EXPECT_EQ(0U, LastOpen().value);
    Peer peer;
    ASSERT_TRUE(peer.Do("event-open " + m_name));
    peer.StartAndBlock("event-wait 4294967295");
    EXPECT_TRUE(event.Set());
    EXPECT_TRUE(peer.Answer());
    EXPECT_TRUE(event.Wait(0)); // this object's own flag
    EXPECT_FALSE(peer.Do("event-wait 0"));
}

TEST_F(NamedEvent, OpenedIsAutoResetAlthoughItsCreatorMadeItManualReset) {
    Event event;
    ASSERT_TRUE(event.Create(1, 1, Name()));
    EXPECT_EQ(1U, LastOpen().value);
    Peer peer;
    ASSERT_TRUE(peer.Do("event-open " + m_name));
    EXPECT_TRUE(peer.Do("event-wait 0"));
    EXPECT_FALSE(peer.Do("event-wait 0"));
    EXPECT_TRUE(event.Wait(0));
    EXPECT_TRUE(event.Wait(0));
}

TEST_F(NamedEvent, OpenOfANewNameHasOneWaitFree) {
    Event event;
    ASSERT_TRUE(event.Open(Name()));
    EXPECT_EQ(O_CREAT, LastOpen().flags);
    EXPECT_EQ(1U, LastOpen().value);
    EXPECT_TRUE(event.Wait(0));
    EXPECT_FALSE(event.Wait(0));
}

TEST_F(NamedEvent, ResetDrainsEveryCountThatTheSemaphoreReports) {
    VornEvent event;
    ASSERT_TRUE(event.Create(1, 0, Name()));
    for (int i = 0; i < 5; ++i)
        event.GetSemaphore()->Post();
    Platform::sem_trywait.Record();
    EXPECT_TRUE(event.Reset());
    EXPECT_EQ(5U, Platform::sem_trywait.Count());
    int count = 77;
    EXPECT_TRUE(event.GetSemaphore()->GetSemCounts(count));
    EXPECT_EQ(0, count);
    EXPECT_FALSE(event.Wait(0));
}

TEST_F(NamedEvent, FailedWaitDrainsWhatAnotherProcessSetsMeanwhile) {
    Event event;
    ASSERT_TRUE(event.Create(EventKind::AutoReset, EventState::NotSet, Name()));
    Peer peer;
    ASSERT_TRUE(peer.Do("event-open " + m_name));
    Platform::sem_trywait.At(1).Do([&](sem_t* sem) {
        EXPECT_EQ(-1, Platform::sem_trywait.Real(sem));
        EXPECT_TRUE(peer.Do("event-set"));
        return -1;
    });
    EXPECT_FALSE(event.Wait(0));
    EXPECT_FALSE(event.Wait(0));
}

TEST_F(NamedEvent, SetAfterTheWaitHasFailedIsNotLostInItsReset) {
    Event event;
    ASSERT_TRUE(event.Create(EventKind::AutoReset, EventState::NotSet, Name()));
    Platform::sem_trywait.At(1).Do([&](sem_t* sem) {
        EXPECT_EQ(-1, Platform::sem_trywait.Real(sem));
        EXPECT_TRUE(event.Set());
        return -1;
    });
    EXPECT_TRUE(event.Wait(10));
    EXPECT_FALSE(event.Wait(0));
}

TEST_F(NamedEvent, ResetFailsAndLeavesTheFlagWhereCountsAreNotReported) {
    Event event;
    ASSERT_TRUE(event.Create(0, 1, Name()));
    Platform::sem_getvalue.Fail(ENOSYS);
    EXPECT_FALSE(event.Reset());
    EXPECT_TRUE(event.Wait(0));
    EXPECT_TRUE(event.Wait(0)); // its own reset fails too
    Platform::sem_getvalue.Reset();
    EXPECT_TRUE(event.Wait(0));
    EXPECT_FALSE(event.Wait(0));
}

TEST_F(NamedEvent, OpenKeepsTheFlagThatWasSetBefore) {
    VornSemaphore other;
    ASSERT_TRUE(other.Create(VornSemaphore::SemLocked, Name(), 1));
    Event event;
    event.Set();
    ASSERT_TRUE(event.Open(Name()));
    EXPECT_TRUE(event.Wait(0)); // the semaphore has no count to take
    EXPECT_FALSE(event.Wait(0));
}

TEST_F(NamedEvent, SecondSetDoesNothingAlthoughAnotherObjectTookTheFirst) {
    Event event;
    ASSERT_TRUE(event.Create(1, 0, Name()));
    VornSemaphore other;
    ASSERT_TRUE(other.Create(VornSemaphore::SemLocked, Name(), 1));
    EXPECT_TRUE(event.Set());
    EXPECT_TRUE(other.Wait(0));
    EXPECT_TRUE(event.Set());
    EXPECT_FALSE(other.Wait(0));
    EXPECT_TRUE(event.Reset());
    EXPECT_TRUE(event.Set());
    EXPECT_TRUE(other.Wait(0));
}

TEST_F(NamedEvent, CloseInOneProcessRemovesTheName) {
    Event event;
    ASSERT_TRUE(event.Create(1, 0, Name()));
    Peer peer;
    ASSERT_TRUE(peer.Do("event-open " + m_name));
    EXPECT_TRUE(peer.Do("event-close"));
    EXPECT_FALSE(NameExists());
}

} // namespace
