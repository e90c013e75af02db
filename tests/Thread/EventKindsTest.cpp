// SPDX-License-Identifier: MIT
// Concerns: what an event without a name and one with a name have in common, and exactly how they
// differ: see Naming.h.
#include <Bases/Thread.h>

#include <atomic>
#include <chrono>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <Bases/Impl/Sem_mac.h>

#include "Thread/Naming.h"
#include "support/BlockedThreads.h"

namespace {

using Vorn::Event;
namespace EventKind = Vorn::EventKind;
using Vorn::VornEvent;
using Vorn::WaitForever;
using VornTest::PosixThread;
using namespace std::chrono_literals;

template <typename Naming>
class EventKinds : public VornTest::OfOneKind<Naming> {
protected:
    void Make(int kind, int initialState) {
        ASSERT_TRUE(m_event.Create(kind, initialState, this->Name()));
    }

    Event m_event;
};
TYPED_TEST_SUITE(EventKinds, VornTest::BothNamings, VornTest::NamingNames);

TYPED_TEST(EventKinds, ManualResetCreatedSetPassesUntilReset) {
    this->Make(EventKind::ManualReset, 1);
    EXPECT_TRUE(this->m_event.IsOpened());
    for (const unsigned int timeoutMs : {0U, 5U, WaitForever, 0U})
        EXPECT_TRUE(this->m_event.Wait(timeoutMs));
    EXPECT_TRUE(this->m_event.Reset());
    EXPECT_FALSE(this->m_event.Wait(0));
    EXPECT_FALSE(this->m_event.Wait(5));
}

TYPED_TEST(EventKinds, AutoResetCreatedSetPassesOnce) {
    this->Make(EventKind::AutoReset, 1);
    EXPECT_TRUE(this->m_event.Wait(0));
    EXPECT_FALSE(this->m_event.Wait(0));
    EXPECT_FALSE(this->m_event.Wait(5));
}

TYPED_TEST(EventKinds, AutoResetPassesOncePerSet) {
    this->Make(EventKind::AutoReset, 0);
    EXPECT_FALSE(this->m_event.Wait(0));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(this->m_event.Set());
        EXPECT_TRUE(this->m_event.Wait(i == 1 ? WaitForever : 0));
        EXPECT_FALSE(this->m_event.Wait(0));
    }
}

TYPED_TEST(EventKinds, AnyNonZeroKindIsManualResetAndAnyNonZeroStateIsSet) {
    this->Make(-7, 42);
    EXPECT_TRUE(this->m_event.Wait(0));
    EXPECT_TRUE(this->m_event.Wait(0));
    int count = 77;
    EXPECT_TRUE(this->m_event.GetHandle()->GetSemaphore()->GetSemCounts(count));
    EXPECT_EQ(1, count); // one wait is free for whoever has opened the name
}

TYPED_TEST(EventKinds, SetThenResetThenWaitFails) {
    for (const int kind : {EventKind::ManualReset, EventKind::AutoReset}) {
        this->Make(kind, 0);
        for (int i = 0; i < 3; ++i) {
            EXPECT_TRUE(this->m_event.Set());
            EXPECT_TRUE(this->m_event.Reset());
            EXPECT_FALSE(this->m_event.Wait(0));
            EXPECT_FALSE(this->m_event.Wait(1));
        }
        this->m_event.Close();
    }
}

TYPED_TEST(EventKinds, SetTwicePostsOnce) {
    VornEvent event;
    ASSERT_TRUE(event.Create(EventKind::ManualReset, 0, this->Name()));
    EXPECT_TRUE(event.Set());
    int before = 0;
    EXPECT_TRUE(event.GetSemaphore()->GetSemCounts(before));
    EXPECT_TRUE(event.GetSemaphore()->Wait(0)); // takes what was posted
    EXPECT_TRUE(event.Set());
    EXPECT_FALSE(event.GetSemaphore()->Wait(0));
    EXPECT_EQ(TypeParam::HasName ? 1 : 0, before);
}

TYPED_TEST(EventKinds, SecondCreateFailsAndChangesNothing) {
    this->Make(EventKind::ManualReset, 1);
    EXPECT_FALSE(this->m_event.Create(EventKind::AutoReset, 0, this->Name()));
    EXPECT_FALSE(this->m_event.Open(this->Name()));
    EXPECT_TRUE(this->m_event.Wait(0));
    EXPECT_TRUE(this->m_event.Wait(0)); // still manual-reset and set
}

TYPED_TEST(EventKinds, FailedCreateCountsAsOpenedUntilClosed) {
    testing::internal::CaptureStdout();
    EXPECT_FALSE(this->Refused(
        [&](const char* name) { return this->m_event.Create(EventKind::AutoReset, 1, name); }));
    EXPECT_TRUE(this->m_event.IsOpened());
    EXPECT_FALSE(this->m_event.Create(EventKind::AutoReset, 1, this->Name()));
    EXPECT_FALSE(this->m_event.Wait(0));      // neither flag was taken over
    EXPECT_FALSE(this->m_event.Wait(600000)); // and there is nothing to wait on
    EXPECT_FALSE(this->m_event.Wait(WaitForever));
    EXPECT_FALSE(this->m_event.Reset());
    EXPECT_TRUE(this->m_event.Set());
    EXPECT_TRUE(this->m_event.Wait(0));
    EXPECT_TRUE(this->m_event.Wait(0)); // manual-reset, as before it is created
    this->m_event.Close();
    this->Make(EventKind::AutoReset, 0);
    EXPECT_FALSE(this->m_event.Wait(0));
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

TYPED_TEST(EventKinds, FailedOpenIsSilentAndCountsAsOpenedUntilClosed) {
    testing::internal::CaptureStdout();
    EXPECT_FALSE(this->Refused([&](const char* name) { return this->m_event.Open(name); }));
    EXPECT_FALSE(this->m_event.Create(EventKind::ManualReset, 1, this->Name()));
    EXPECT_TRUE(this->m_event.IsOpened());
    EXPECT_FALSE(this->m_event.Wait(0));
    this->m_event.Close();
    EXPECT_TRUE(this->m_event.Open(this->Name()));
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

TYPED_TEST(EventKinds, OpenCreatesAnAutoResetEventWithOneWaitFree) {
    ASSERT_TRUE(this->m_event.Open(this->Name()));
    EXPECT_TRUE(this->m_event.IsOpened());
    EXPECT_TRUE(this->m_event.Wait(0));
    EXPECT_FALSE(this->m_event.Wait(0));
    EXPECT_TRUE(this->m_event.Set());
    EXPECT_TRUE(this->m_event.Wait(0));
    EXPECT_FALSE(this->m_event.Wait(0));
}

TYPED_TEST(EventKinds, ClosedWhileSetGoesOnPassing) {
    this->Make(EventKind::AutoReset, 1);
    this->m_event.Close();
    EXPECT_FALSE(this->m_event.IsOpened());
    EXPECT_TRUE(this->m_event.Wait(0));
    EXPECT_TRUE(this->m_event.Wait(0)); // a closed event counts as manual-reset
    EXPECT_FALSE(this->m_event.Reset());
    EXPECT_TRUE(this->m_event.Wait(0));
    this->m_event.Close();
    this->Make(EventKind::ManualReset, 0);
    EXPECT_FALSE(this->m_event.Wait(0));
}

TYPED_TEST(EventKinds, ClosedWhileNotSetFails) {
    this->Make(EventKind::ManualReset, 0);
    this->m_event.Close();
    EXPECT_FALSE(this->m_event.Wait(0));
    EXPECT_FALSE(this->m_event.Wait(WaitForever));
}

TYPED_TEST(EventKinds, LimitedWaitLastsItsTimeOrIsASingleTry) {
    for (const int kind : {EventKind::ManualReset, EventKind::AutoReset}) {
        this->Make(kind, 0);
        const unsigned int timeoutMs = TypeParam::LimitedWaitBlocks ? 120 : 600000;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(this->m_event.Wait(timeoutMs));
        if (TypeParam::LimitedWaitBlocks) {
            EXPECT_GE(std::chrono::steady_clock::now() - start, 120ms);
        } else {
            EXPECT_LT(std::chrono::steady_clock::now() - start, 60s);
        }
        this->m_event.Close();
    }
}

// Waiters of a manual-reset event whom the Set has not released stay blocked: their look at the
// flag is over.
TYPED_TEST(EventKinds, SetReleasesEveryBlockedThreadOrOne) {
    this->Make(EventKind::ManualReset, 0);
    VornTest::Waiters waiters;
    for (int i = 0; i < 2; ++i)
        waiters.Add([this] { return this->m_event.Wait(WaitForever); });
    EXPECT_TRUE(this->m_event.Set());
    const int released = TypeParam::PostReleasesEveryWaiter ? 2 : 1;
    while (waiters.Passed() < released)
        sched_yield();
    EXPECT_EQ(released, waiters.Passed());
    EXPECT_TRUE(this->m_event.Wait(0)); // a wait that comes now passes
    this->m_event.Reset();
    this->m_event.Set();
    EXPECT_EQ(2, waiters.PassedInTheEnd());
}

TYPED_TEST(EventKinds, WaitInterruptedByASignalHandlerGoesOnOrFails) {
    for (const int kind : {EventKind::AutoReset, EventKind::ManualReset})
        for (const unsigned int timeoutMs : this->BlockingTimeOuts()) {
            this->Make(kind, 0);
            bool passed = !TypeParam::WaitOutlivesASignal;
            PosixThread waiter([&] { passed = this->m_event.Wait(timeoutMs); });
            VornTest::WaitUntilBlocked({&waiter});
            waiter.Interrupt();
            if (TypeParam::WaitOutlivesASignal) {
                VornTest::WaitUntilBlocked({&waiter});
                this->m_event.Set();
            }
            EXPECT_FALSE(waiter.Join());
            EXPECT_EQ(TypeParam::WaitOutlivesASignal, passed);
            if (kind == EventKind::AutoReset) {
                EXPECT_FALSE(this->m_event.Wait(0)); // the wait that went on has reset it
            }
            EXPECT_TRUE(this->m_event.Set());
            EXPECT_TRUE(this->m_event.Wait(WaitForever));
            this->m_event.Close();
        }
}

// The thread sanitizer looks on.
TYPED_TEST(EventKinds, MayBeSetResetAndWaitedForByAllThreadsAtOnce) {
    for (const int kind : {EventKind::ManualReset, EventKind::AutoReset}) {
        this->Make(kind, 0);
        const auto use = [this] {
            for (int i = 0; i < 300; ++i) {
                this->m_event.Set();
                this->m_event.Wait(0);
                this->m_event.Reset();
            }
        };
        PosixThread first(use);
        PosixThread second(use);
        use();
        EXPECT_FALSE(first.Join());
        EXPECT_FALSE(second.Join());
        EXPECT_FALSE(this->m_event.Wait(0));
        EXPECT_TRUE(this->m_event.Set());
        EXPECT_TRUE(this->m_event.Wait(0));
        this->m_event.Close();
    }
}

TYPED_TEST(EventKinds, IsUsableAfterAThreadWasCancelledInItsWait) {
    for (const int kind : {EventKind::ManualReset, EventKind::AutoReset})
        for (const unsigned int timeoutMs : this->BlockingTimeOuts()) {
            this->Make(kind, 0);
            PosixThread waiter([&] { this->m_event.Wait(timeoutMs); });
            VornTest::WaitUntilBlocked({&waiter});
            waiter.Cancel();
            EXPECT_TRUE(waiter.Join());
            EXPECT_FALSE(this->m_event.Wait(0));
            EXPECT_TRUE(this->m_event.Set());
            EXPECT_TRUE(this->m_event.Wait(0));
            EXPECT_TRUE(this->m_event.Reset());
            EXPECT_FALSE(this->m_event.Wait(0));
            this->m_event.Close();
        }
}

TYPED_TEST(EventKinds, WaitsThatMayBlockAreCancellationPointsAndAWaitOfZeroIsNot) {
    this->Make(EventKind::ManualReset, 1);
    for (const unsigned int timeoutMs : {WaitForever, 1U}) {
        std::atomic<bool> triedWithoutBlocking{false};
        PosixThread thread([&] {
            pthread_cancel(pthread_self());
            this->m_event.Wait(0);
            triedWithoutBlocking = true;
            this->m_event.Wait(timeoutMs); // the event is set: it would not block
        });
        EXPECT_TRUE(thread.Join());
        EXPECT_TRUE(triedWithoutBlocking);
    }
}

} // namespace
