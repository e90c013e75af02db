// SPDX-License-Identifier: MIT
// Looking on for a moment before a thread blocks.
#include <Bases/Thread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <Bases/Impl/Port/Processors.h>
#include <Bases/Impl/Sem_mac.h>

#include "fault/Platform.h"
#include "support/BlockedThreads.h"
#include "support/OneProcessor.h"
#include "support/Program.h"

// Concerns: what comes within the spin is taken without sleeping, unless somebody else takes it or
// the thread was cancelled before; the spin ends by the clock, and also when that stands still;
// spins in vain become rare, and frequent again when they pay; there is none on one processor, nor
// where nobody has to wait or wants to. Plan: the clock is scripted, and tells by being read that a
// thread looks on; nobody sleeps but where two threads contend.

namespace {

namespace Platform = VornTest::Platform;
using namespace std::chrono_literals;

class Spin : public testing::Test {
protected:
    void SetUp() override {
        m_event.Create(Vorn::EventKind::AutoReset, Vorn::EventState::NotSet, nullptr);
        ScriptThisThread();
    }

    void ScriptThisThread() {
        Platform::clock_gettime.Do([this](clockid_t clock, timespec* now) {
            EXPECT_EQ(CLOCK_MONOTONIC, clock);
            if (++m_nRead == m_nSetAt) {
                if (m_bCancelBeforeSet)
                    pthread_cancel(pthread_self());
                m_event.Set();
            }
            *now = {1000 + m_ns / 1000000000, m_ns % 1000000000};
            m_ns += m_nsStep;
            return 0;
        });
        Platform::pthread_cond_timedwait.Answer(ETIMEDOUT);
    }

    // How often the clock is read by a wait in vain; once is for its deadline.
    int ReadingsOfAWait() {
        m_nRead = 0;
        EXPECT_FALSE(m_event.Wait(1));
        return m_nRead;
    }

    int WaitsUntilTheNextSpin() {
        int waits = 0;
        while (ReadingsOfAWait() == 1 && waits < 1000)
            ++waits;
        return waits;
    }

    void SpinUntilSet() {
        m_nRead = 0;
        m_nSetAt = 2;
        EXPECT_TRUE(m_event.Wait(1));
        m_nSetAt = 0;
    }

    Vorn::Event m_event;
    long m_ns = 0;
    long m_nsStep = 10000;
    int m_nRead = 0;
    int m_nSetAt = 0;
    bool m_bCancelBeforeSet = false;
};

class SpinOnSeveralProcessors : public Spin {
protected:
    void SetUp() override {
        if (!Vorn::HasSeveralProcessors())
            GTEST_SKIP() << "this process may run on one processor only";
        Spin::SetUp();
    }
};

TEST_F(SpinOnSeveralProcessors, TakesWhatComesMeanwhileWithoutSleeping) {
    SpinUntilSet();
    EXPECT_EQ(2, m_nRead);
    EXPECT_EQ(0U, Platform::pthread_cond_timedwait.Scripted());
    EXPECT_FALSE(m_event.Wait(0)) << "the wait has not reset the event";
}

TEST_F(SpinOnSeveralProcessors, LeavesWhatComesAfterACancellation) {
    m_bCancelBeforeSet = true;
    m_nSetAt = 2;
    VornTest::PosixThread waiter([this] {
        ScriptThisThread();
        m_event.Wait(1);
    });
    EXPECT_TRUE(waiter.Join()) << "the cancelled thread has passed";
    EXPECT_TRUE(m_event.Wait(0)) << "the event is not set any more";
}

TEST_F(SpinOnSeveralProcessors, EndsAfterTwentyMicroseconds) {
    m_nsStep = 20000;
    EXPECT_EQ(2 + 1, ReadingsOfAWait());
    m_nsStep = 19999;
    EXPECT_EQ(1, WaitsUntilTheNextSpin());
    EXPECT_EQ(3 + 1, m_nRead);
}

TEST_F(SpinOnSeveralProcessors, EndsAfterAsLongOnAProcessorThatLooksFast) {
    m_nsStep = 100;
    EXPECT_EQ(1 + 200 + 1, ReadingsOfAWait());
}

TEST_F(SpinOnSeveralProcessors, EndsAlsoIfASecondBeginsMeanwhile) {
    m_ns = 999'999'999;
    EXPECT_EQ(3 + 1, ReadingsOfAWait());
}

TEST_F(SpinOnSeveralProcessors, EndsThoughTheClockStandsStill) {
    m_nsStep = 0;
    EXPECT_LT(2, ReadingsOfAWait());
}

TEST_F(SpinOnSeveralProcessors, IsHalfAsFrequentAfterEachInVain) {
    EXPECT_EQ(0, WaitsUntilTheNextSpin());
    for (const int expected : {1, 2, 4, 8, 16, 32, 64, 128, 256, 256, 256})
        EXPECT_EQ(expected, WaitsUntilTheNextSpin());
}

TEST_F(SpinOnSeveralProcessors, IsTwiceAsFrequentAfterEachThatPaid) {
    for (int i = 0; i < 4; ++i) // the next one in vain would make 16 waits block
        WaitsUntilTheNextSpin();
    for (int i = 0; i < 8; ++i)
        ASSERT_EQ(1, ReadingsOfAWait());
    SpinUntilSet();
    SpinUntilSet();
    EXPECT_EQ(0, WaitsUntilTheNextSpin());
    EXPECT_EQ(4, WaitsUntilTheNextSpin());
    for (int i = 0; i < 8; ++i)
        ASSERT_EQ(1, ReadingsOfAWait());
    for (int i = 0; i < 10; ++i)
        SpinUntilSet();
    EXPECT_EQ(0, WaitsUntilTheNextSpin());
    EXPECT_EQ(1, WaitsUntilTheNextSpin()) << "one wait blocks after a spin in vain at the least";
}

int LowestCount(Vorn::VornSemaphore& sem, int looks) {
    int lowest = 0;
    for (; looks > 0; --looks) {
        int count = 0;
        sem.GetSemCounts(count);
        lowest = std::min(lowest, count);
    }
    return lowest;
}

// One thread waits for one semaphore after the other, and therefore looks on at each. The other one
// posts and at once tries to take its post back: just when it cannot, the first one has it.
TEST_F(SpinOnSeveralProcessors, PassesByWhatNobodyElseTakes) {
    std::vector<Vorn::VornSemaphore> semaphores(10000);
    for (Vorn::VornSemaphore& sem : semaphores)
        ASSERT_TRUE(sem.Create(Vorn::VornSemaphore::SemLocked, nullptr, 1));
    std::atomic<int> passed = 0;
    std::thread waiter([&] {
        for (Vorn::VornSemaphore& sem : semaphores) {
            sem.Wait(Vorn::WaitForever);
            ++passed;
        }
    });
    int tried = 0;
    const auto end = std::chrono::steady_clock::now() + 2s; // a busy machine tries fewer
    for (Vorn::VornSemaphore& sem : semaphores) {
        if (std::chrono::steady_clock::now() > end)
            break;
        bool tookBack = true;
        while (tookBack && passed <= tried) {
            sem.Post();
            tookBack = sem.Wait(Vorn::TryOnce);
            const int lowest = tookBack ? LowestCount(sem, tried % 20) : 0;
            EXPECT_LE(-2, lowest) << "a wait has counted twice";
        }
        EXPECT_FALSE(tookBack) << "both have passed by one post";
        ++tried;
    }
    for (Vorn::VornSemaphore& sem : semaphores)
        sem.Post();
    waiter.join();
}

TEST_F(Spin, IsNotForAWaitThatPassesAtOnce) {
    m_event.Set();
    EXPECT_TRUE(m_event.Wait(1));
    EXPECT_EQ(0, m_nRead);
}

TEST_F(Spin, IsNotForAWaitThatOnlyTries) {
    EXPECT_FALSE(m_event.Wait(0));
    EXPECT_EQ(0, m_nRead);
}

TEST_F(Spin, IsLeftOutWhereThereIsOneProcessor) {
    const cpu_set_t allowed = VornTest::AllowedProcessors();
    if (CPU_COUNT(&allowed) == 1) {
        EXPECT_EQ(1, ReadingsOfAWait());
        return;
    }
    const VornTest::BoundToOneProcessor bound;
    const VornTest::Outcome outcome =
        VornTest::RunProgram({std::filesystem::read_symlink("/proc/self/exe"),
                              "--gtest_filter=Spin.IsLeftOutWhereThereIsOneProcessor"});
    EXPECT_EQ(0, outcome.status) << outcome.out;
    EXPECT_NE(std::string::npos, outcome.out.find("[  PASSED  ] 1 test.")) << outcome.out;
}

} // namespace
