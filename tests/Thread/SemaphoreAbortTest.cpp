// Concern: a kernel that gives a timed wait up early is asked once more with the full time, and no
// third time. Linux never gives up, so the kernel's answer is replaced here.
#include <Bases/Impl/Port/KernelSem.h>
#include <Bases/Impl/Sem_mac.h>

#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Vorn::KernelWait;
using Vorn::VornSemaphore;

std::vector<KernelWait> g_answers;                          // given one after another
std::vector<std::pair<unsigned int, unsigned int>> g_asked; // seconds and nanoseconds

} // namespace

extern "C" KernelWait __wrap__ZN4Vorn9KernelSem9TimedWaitEjjPSt11unique_lockISt5mutexE(
    Vorn::KernelSem* /*self*/, unsigned int seconds, unsigned int nanoseconds,
    std::unique_lock<std::mutex>* pGuard) {
    if (pGuard != nullptr)
        pGuard->unlock(); // throws when the guard is handed over twice
    g_asked.emplace_back(seconds, nanoseconds);
    return g_answers.at(g_asked.size() - 1);
}

namespace {

class AbortedWait : public testing::Test {
protected:
    void SetUp() override {
        g_asked.clear();
        ASSERT_TRUE(m_sem.Create(VornSemaphore::SemLocked, nullptr, 1));
    }

    VornSemaphore m_sem;
};

TEST_F(AbortedWait, IsTriedOnceMoreWithTheFullTime) {
    g_answers = {KernelWait::Aborted, KernelWait::Success};
    EXPECT_TRUE(m_sem.Wait(1500));
    const std::vector<std::pair<unsigned int, unsigned int>> twice(2, {1, 500000000});
    EXPECT_EQ(twice, g_asked);
}

TEST_F(AbortedWait, FailsWhenItIsAbortedTwiceAndCountsOnce) {
    g_answers = {KernelWait::Aborted, KernelWait::Aborted, KernelWait::Success};
    EXPECT_FALSE(m_sem.Wait(4294967294));
    const std::vector<std::pair<unsigned int, unsigned int>> twice(2, {4294967, 294000000});
    EXPECT_EQ(twice, g_asked);
    int count = 0;
    EXPECT_TRUE(m_sem.GetSemCounts(count));
    EXPECT_EQ(-1, count);
}

TEST_F(AbortedWait, IsNotTriedAgainAfterATimeOut) {
    g_answers = {KernelWait::TimedOut, KernelWait::Success};
    EXPECT_FALSE(m_sem.Wait(20));
    EXPECT_EQ(1U, g_asked.size());
}

TEST_F(AbortedWait, IsTriedAgainByASingleTryToo) {
    g_answers = {KernelWait::Aborted, KernelWait::Success};
    EXPECT_TRUE(m_sem.Wait(0));
    const std::vector<std::pair<unsigned int, unsigned int>> twice(2, {0, 0});
    EXPECT_EQ(twice, g_asked);
}

TEST_F(AbortedWait, OfAnEventUnlocksTheEventOnce) {
    Vorn::VornEvent event;
    ASSERT_TRUE(event.Create(1, 0, nullptr));
    g_answers = {KernelWait::Aborted, KernelWait::TimedOut};
    EXPECT_FALSE(event.Wait(20));
    EXPECT_EQ(2U, g_asked.size());
    EXPECT_TRUE(event.Set());
}

} // namespace
