// SPDX-License-Identifier: MIT
// Concerns: what each kind of event remembers after every operation, failed ones included; no Set
// is lost, whichever wait it meets; waiters may be cancelled and events destroyed as soon as a wait
// returns.
#include <Bases/Thread.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <new>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>

#include <Bases/Impl/Sem_mac.h>

#include "fault/Platform.h"
#include "fault/WaitHooks.h"
#include "support/BlockedThreads.h"
#include "support/Thorough.h"

namespace {

using Vorn::Event;
namespace EventKind = Vorn::EventKind;
using Vorn::VornEvent;
using Vorn::WaitForever;
namespace Platform = VornTest::Platform;

int ReportedCount(const VornEvent& event) {
    int count = 12345;
    EXPECT_TRUE(event.GetSemaphore()->GetSemCounts(count));
    return count;
}

class UnsetEvent : public Event {
public:
    explicit UnsetEvent(int kind) { EXPECT_TRUE(Create(kind, 0, nullptr)); }
};

TEST(Event, IsNotOpenedAtFirst) {
    Event event;
    EXPECT_FALSE(event.IsOpened());
    EXPECT_NE(nullptr, event.GetHandle());
    EXPECT_FALSE(event.Wait(0));
    EXPECT_FALSE(event.Wait(20));
    EXPECT_FALSE(event.Wait(WaitForever));
    EXPECT_FALSE(event.Reset());
    event.Close();
    EXPECT_FALSE(event.IsOpened());
}

TEST(Event, SetBeforeCreateIsRememberedAndEveryWaitPasses) {
    Event event;
    EXPECT_TRUE(event.Set());
    EXPECT_TRUE(event.Wait(0));
    EXPECT_TRUE(event.Wait(WaitForever));
    EXPECT_FALSE(event.Reset()); // and leaves it set
    EXPECT_TRUE(event.Wait(0));
}

TEST(Event, CloseLeavesTheFlagAsItIs) {
    Event event;
    ASSERT_TRUE(event.Create(EventKind::AutoReset, 0, nullptr));
    event.Set();
    event.Close();
    EXPECT_TRUE(event.Wait(0));
    EXPECT_TRUE(event.Wait(0)); // no wait resets a closed event

    ASSERT_TRUE(event.Create(EventKind::AutoReset, 1, nullptr));
    event.Reset();
    event.Close();
    EXPECT_FALSE(event.Wait(0));
}

TEST(Event, ManualResetWaitsPassFromTheFlagWithoutTouchingTheSemaphore) {
    VornEvent event;
    ASSERT_TRUE(event.Create(EventKind::ManualReset, 1, nullptr));
    EXPECT_TRUE(event.Wait(0));
    EXPECT_TRUE(event.Wait(5));
    EXPECT_EQ(1, ReportedCount(event));
    EXPECT_TRUE(event.Reset());
    EXPECT_EQ(0, ReportedCount(event)); // one stated try took the initial count
}

TEST(Event, WaitWithoutTheFlagTakesAPostOfTheSemaphoreAndCounts) {
    for (const int kind : {EventKind::ManualReset, EventKind::AutoReset}) {
        VornEvent event;
        ASSERT_TRUE(event.Create(kind, 0, nullptr));
        event.GetSemaphore()->Post();
        EXPECT_TRUE(event.Wait(0));
        EXPECT_EQ(-1, ReportedCount(event));
        EXPECT_FALSE(event.Wait(0));
    }
}

// Every sequence of up to seven operations against a model of one flag.
TEST(Event, EverySequenceOfOperationsAgreesWithOneFlag) {
    for (const int kind : {EventKind::ManualReset, EventKind::AutoReset})
        for (const int initial : {0, 1})
            for (int sequence = 0; sequence < 4 * 4 * 4 * 4 * 4 * 4 * 4; ++sequence) {
                Event event;
                ASSERT_TRUE(event.Create(kind, initial, nullptr));
                bool flag = initial != 0;
                for (int rest = sequence, step = 0; step < 7; rest /= 4, ++step) {
                    switch (rest % 4) {
                    case 0:
                        ASSERT_TRUE(event.Set());
                        flag = true;
                        break;
                    case 1:
                        ASSERT_TRUE(event.Reset());
                        flag = false;
                        break;
                    default:
                        ASSERT_EQ(flag, event.Wait(0)) << "sequence " << sequence << " " << kind;
                        flag = flag && kind == EventKind::ManualReset;
                        break;
                    }
                }
            }
}

TEST(Event, SetPostsOnlyOnTheChangeToSet) {
    VornEvent event;
    ASSERT_TRUE(event.Create(EventKind::ManualReset, 0, nullptr));
    event.GetSemaphore()->Wait(0);
    event.GetSemaphore()->Wait(0);
    EXPECT_EQ(-2, ReportedCount(event));
    EXPECT_TRUE(event.Set());
    EXPECT_EQ(0, ReportedCount(event)); // a post reports 0
    event.GetSemaphore()->Wait(0);
    event.GetSemaphore()->Wait(0);
    EXPECT_TRUE(event.Set());
    EXPECT_EQ(-2, ReportedCount(event)); // no second post
}

TEST(Event, ResetAfterFailedWaitsLeavesTheNegativeCount) {
    VornEvent event;
    ASSERT_TRUE(event.Create(EventKind::AutoReset, 0, nullptr));
    EXPECT_FALSE(event.Wait(0));
    EXPECT_FALSE(event.Wait(0));
    EXPECT_EQ(-2, ReportedCount(event));
    EXPECT_TRUE(event.Reset());
    EXPECT_EQ(-2, ReportedCount(event));
}

TEST(Event, EveryBlockedWaitHasLoweredTheReportedCount) {
    VornEvent event;
    ASSERT_TRUE(event.Create(EventKind::ManualReset, 0, nullptr));
    VornTest::PosixThread unlimited([&] { event.Wait(WaitForever); });
    VornTest::PosixThread limited([&] { event.Wait(600000); });
    VornTest::WaitUntilBlocked({&unlimited, &limited});
    EXPECT_EQ(-2, ReportedCount(event));
    event.Set();
}

TEST(Event, OneSetReleasesEightBlockedThreads) {
    for (const int kind : {EventKind::ManualReset, EventKind::AutoReset}) {
        UnsetEvent event(kind);
        VornTest::Waiters waiters;
        for (int i = 0; i < 8; ++i)
            waiters.Add([&, i] { return event.Wait(i % 2 == 0 ? WaitForever : 600000); });
        EXPECT_TRUE(event.Set());
        EXPECT_EQ(8, waiters.PassedInTheEnd());
        EXPECT_EQ(kind == EventKind::ManualReset, event.Wait(0));
    }
}

// The reset runs while the released thread is held back: what a post has decided stays decided.
TEST(Event, ResetDoesNotRevokeASet) {
    UnsetEvent event(EventKind::ManualReset);
    VornTest::Gate gate;
    bool passed = false;
    VornTest::PosixThread waiter([&] {
        VornTest::SetGate(gate);
        passed = event.Wait(20000); // a Set that was revoked fails and does not hang
    });
    VornTest::WaitUntilBlocked({&waiter});
    event.Set();
    event.Reset();
    gate.open = true;
    EXPECT_FALSE(waiter.Join());
    EXPECT_TRUE(passed);
    EXPECT_FALSE(event.Wait(0));
}

TEST(Event, ResetOfALateWaiterTakesBackASetMadeAfterAnEarlierOneReturned) {
    UnsetEvent event(EventKind::AutoReset);
    VornTest::Gate gate;
    bool latePassed = false;
    VornTest::PosixThread early([&] { event.Wait(WaitForever); });
    VornTest::PosixThread late([&] {
        VornTest::SetGate(gate);
        latePassed = event.Wait(WaitForever);
    });
    VornTest::WaitUntilBlocked({&early, &late});
    event.Set();
    EXPECT_FALSE(early.Join());
    EXPECT_TRUE(event.Set());
    gate.open = true;
    EXPECT_FALSE(late.Join());
    EXPECT_TRUE(latePassed);
    EXPECT_FALSE(event.Wait(0));
}

TEST(Event, SetReleasesAThreadWhoseTimeRunsOutMeanwhile) {
    for (const int kind : {EventKind::ManualReset, EventKind::AutoReset}) {
        UnsetEvent event(kind);
        bool passed = false;
        VornTest::PosixThread waiter([&] {
            VornTest::SetOnWake(VornTest::OnWake::TimeOut);
            passed = event.Wait(600000);
        });
        VornTest::WaitUntilBlocked({&waiter});
        event.Set();
        EXPECT_FALSE(waiter.Join());
        EXPECT_TRUE(passed);
        EXPECT_EQ(kind == EventKind::ManualReset, event.Wait(0));
    }
}

// The failed wait of an auto-reset event does not reset it either: there was nothing to reset.
TEST(Event, SetAfterATimeOutStaysForTheNextWait) {
    for (const int kind : {EventKind::ManualReset, EventKind::AutoReset}) {
        UnsetEvent event(kind);
        VornTest::RunAfterTimeOut([&] { event.Set(); });
        VornTest::StopClockUntilSleep();
        EXPECT_FALSE(event.Wait(1));
        EXPECT_FALSE(VornTest::IsActionToCome());
        EXPECT_TRUE(event.Wait(0));
    }
}

TEST(Event, SetIsSeenByAThreadThatHasLookedButNotJoinedTheWaiters) {
    for (const int kind : {EventKind::ManualReset, EventKind::AutoReset}) {
        UnsetEvent event(kind);
        VornTest::RunBeforeLock([&] { event.Set(); });
        EXPECT_TRUE(event.Wait(20000));
        EXPECT_FALSE(VornTest::IsActionToCome());
        EXPECT_EQ(kind == EventKind::ManualReset, event.Wait(0));
    }
}

// A Set and a Reset come as soon as the waiter has joined the waiters, before it sleeps.
TEST(Event, ThreadThatFoundTheEventNotSetIsReleasedByTheNextSetWhateverFollows) {
    UnsetEvent event(EventKind::ManualReset);
    sem_t start;
    sem_t finish;
    ASSERT_EQ(0, sem_init(&start, 0, 0));
    ASSERT_EQ(0, sem_init(&finish, 0, 0));
    VornTest::PosixThread setter([&] {
        sem_wait(&start);
        event.Set();
        event.Reset();
        sem_wait(&finish);
    });

    VornTest::RunBeforeSleep([&] {
        sem_post(&start);
        VornTest::WaitUntilBlocked({&setter}); // done, or held up because this thread is joining
    });
    EXPECT_TRUE(event.Wait(2000));
    EXPECT_FALSE(VornTest::IsActionToCome());
    sem_post(&finish);
    EXPECT_FALSE(setter.Join());
    EXPECT_FALSE(event.Wait(0));
    sem_destroy(&start);
    sem_destroy(&finish);
}

// Whoever has waited may destroy the event, so the setter must be done with it by then.
TEST(Event, WaitReturnsOnlyWhenTheSetThatReleasedItHasUnlocked) {
    UnsetEvent event(EventKind::ManualReset);
    std::atomic<bool> returned{false};
    sem_t finish;
    ASSERT_EQ(0, sem_init(&finish, 0, 0));
    VornTest::PosixThread waiter([&] {
        event.Wait(WaitForever);
        returned = true;
        sem_wait(&finish);
    });
    VornTest::WaitUntilBlocked({&waiter});

    VornTest::RunBeforeUnlock([&] {
        EXPECT_TRUE(event.Wait(0));
        VornTest::WaitUntilBlocked({&waiter});
        EXPECT_FALSE(returned);
    });
    event.Set();
    EXPECT_FALSE(VornTest::IsActionToCome());
    sem_post(&finish);
    EXPECT_FALSE(waiter.Join());
    EXPECT_TRUE(returned);
    sem_destroy(&finish);
}

// A wait that sees the flag needs no lock, so a setter that has one would not be done yet.
TEST(Event, SetWhoseWaitersAreGoneWhenItHasTheLockRaisesTheFlagWithoutIt) {
    UnsetEvent event(EventKind::ManualReset);
    VornTest::PosixThread waiter([&] { event.Wait(WaitForever); });
    VornTest::WaitUntilBlocked({&waiter});

    VornTest::RunBeforeLock([&] {
        waiter.Cancel();
        EXPECT_TRUE(waiter.Join());
    });
    VornTest::RunBeforeUnlock([&] { EXPECT_FALSE(event.Wait(0)); });
    event.Set();
    EXPECT_FALSE(VornTest::IsActionToCome());
    EXPECT_TRUE(event.Wait(0));
}

TEST(Event, OfTwoSetsThatFindTheSameWaitersTheSecondDoesNothing) {
    VornEvent event;
    ASSERT_TRUE(event.Create(EventKind::ManualReset, 0, nullptr));
    VornTest::PosixThread waiter([&] { event.Wait(WaitForever); });
    VornTest::WaitUntilBlocked({&waiter});

    VornTest::RunBeforeLock([&] {
        event.Set();
        EXPECT_FALSE(event.GetSemaphore()->Wait(0)); // lowers the count, which a post would raise
    });
    event.Set();
    EXPECT_FALSE(VornTest::IsActionToCome());
    EXPECT_EQ(-1, ReportedCount(event));
    EXPECT_FALSE(waiter.Join());
}

TEST(Event, SetThatReleasedACancelledThreadIsSeenByTheNextWait) {
    UnsetEvent event(EventKind::AutoReset);
    VornTest::PosixThread waiter([&] {
        VornTest::SetOnWake(VornTest::OnWake::BeCancelled);
        event.Wait(WaitForever);
    });
    VornTest::WaitUntilBlocked({&waiter});
    event.Set();
    EXPECT_TRUE(waiter.Join());
    EXPECT_TRUE(event.Wait(0));
    EXPECT_FALSE(event.Wait(0));
}

TEST(Event, SetThatReleasedACancelledThreadDoesNotOutliveAReset) {
    UnsetEvent event(EventKind::ManualReset);
    VornTest::Gate gate;
    VornTest::PosixThread waiter([&] {
        VornTest::SetGate(gate);
        VornTest::SetOnWake(VornTest::OnWake::BeCancelled);
        event.Wait(WaitForever);
    });
    VornTest::WaitUntilBlocked({&waiter});
    event.Set();
    event.Reset();
    gate.open = true;
    EXPECT_TRUE(waiter.Join());
    EXPECT_FALSE(event.Wait(0));
    EXPECT_FALSE(event.Wait(1));
}

// The first look of a wait that may block finds nothing; the thread is cancelled after it has asked
// whether it was, and only then the event is set.
TEST(Event, SetAfterACancellationIsLeft) {
    for (const int kind : {EventKind::ManualReset, EventKind::AutoReset}) {
        UnsetEvent event(kind);
        const auto cancelThenSet = [&] {
            Platform::pthread_testcancel.Real();
            pthread_cancel(pthread_self());
            event.Set();
        };
        VornTest::PosixThread waiter([&] {
            Platform::pthread_testcancel.At(1).Do(cancelThenSet);
            event.Wait(WaitForever);
        });
        EXPECT_TRUE(waiter.Join()) << "the cancelled thread has passed";
        EXPECT_TRUE(event.Wait(0)) << "the event is not set any more";
    }
}

#ifndef NDEBUG
TEST(EventDeathTest, StopsWhenItsSemaphoreCannotBeAllocated) {
    EXPECT_DEATH(
        {
            Platform::operator_new_nothrow.Fail(ENOMEM);
            VornEvent event;
        },
        ": Bases/Impl/Sem_mac.cpp:352: .*VornEvent.*: Assertion `m_pSem != __null' failed");
}
#else
TEST(Event, GoesOnWithoutASemaphoreWhereAssertionsAreCompiledOut) {
    Platform::operator_new_nothrow.Fail(ENOMEM);
    VornEvent event;
    Platform::operator_new_nothrow.Reset();
    EXPECT_FALSE(event.Create(EventKind::ManualReset, 1, nullptr));
    EXPECT_FALSE(event.Open(nullptr));
    EXPECT_FALSE(event.Set());
    EXPECT_FALSE(event.Reset());
    EXPECT_FALSE(event.Wait(0));
    EXPECT_FALSE(event.Wait(WaitForever));
    EXPECT_FALSE(event.IsOpened());
    event.Close();
}
#endif

void HandOver(int rounds) {
    UnsetEvent ping(EventKind::AutoReset);
    UnsetEvent pong(EventKind::AutoReset);
    std::atomic<int> answered{0};
    std::thread partner([&] {
        for (int i = 0; i < rounds; ++i) {
            if (ping.Wait(WaitForever))
                ++answered;
            pong.Set();
        }
    });
    for (int i = 0; i < rounds; ++i) {
        ping.Set();
        ASSERT_TRUE(pong.Wait(WaitForever));
        ASSERT_EQ(i + 1, answered);
    }
    partner.join();
}

TEST(EventStress, HandOversOnOneProcessorLoseNothing) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    sched_setaffinity(0, sizeof one, &one); // without the right to it the test only takes longer
    HandOver(VornTest::IsThorough ? 500000 : 100000);
}

TEST(EventStress, HandOversAcrossProcessorsLoseNothing) { HandOver(100000); }

// Waits of every kind fail again and again while Sets come at any moment. A Set swallowed by the
// reset of a failed wait would never be acknowledged.
TEST(EventStress, NoSetIsSwallowedByTheResetOfAFailedWait) {
    UnsetEvent event(EventKind::AutoReset);
    constexpr int Rounds = 20000;
    std::atomic<int> seen{0};
    std::thread waiter([&] {
        for (unsigned int i = 0; seen < Rounds; ++i)
            if (event.Wait(i % 64 == 0 ? 1 : 0))
                ++seen;
    });
    for (int i = 0; i < Rounds; ++i) {
        event.Set();
        while (seen <= i)
            sched_yield();
    }
    waiter.join();
    EXPECT_EQ(Rounds, seen);
}

TEST(EventStress, SetsAndResetsOfManyThreadsKeepTheEventWhole) {
    UnsetEvent event(EventKind::ManualReset);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 20000; ++i) {
                if (t % 2 == 0)
                    event.Set();
                else
                    event.Reset();
                event.Wait(0);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    event.Reset();
    EXPECT_FALSE(event.Wait(0));
    event.Set();
    EXPECT_TRUE(event.Wait(WaitForever));
}

// The waiter frees the event at once while the setter may still be on its way out of Set.
TEST(EventStress, MayBeDestroyedAsSoonAsAWaitHasReturned) {
    for (int i = 0; i < 3000; ++i) {
        auto event = std::make_unique<UnsetEvent>(i % 2);
        std::thread setter([pEvent = event.get()] { pEvent->Set(); });
        ASSERT_TRUE(event->Wait(WaitForever));
        event.reset();
        setter.join();
    }
}

TEST(EventStress, SurvivesCancellationAtAnyMoment) {
    UnsetEvent event(EventKind::AutoReset);
    for (int i = 0; i < 1500; ++i) {
        VornTest::PosixThread waiter([&] {
            for (;;)
                event.Wait(WaitForever);
        });
        std::thread setter([&] { event.Set(); });
        waiter.Cancel();
        EXPECT_TRUE(waiter.Join());
        setter.join();
    }
    event.Reset();
    EXPECT_FALSE(event.Wait(0));
    event.Set();
    EXPECT_TRUE(event.Wait(0));
    EXPECT_FALSE(event.Wait(0));
}

} // namespace
