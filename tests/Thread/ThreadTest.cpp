// Concerns: the start and its four failures, message by message, and what each leaves behind; every
// way a stop can go (asked, timed out, forced, from the body itself) in every state of the thread;
// what a start on top of a running thread does; that no way of ending a thread leaks or hangs; the
// small queries with and without a thread.
#include <Bases/Thread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <Bases/Impl/Sem_mac.h>

#include "support/BlockedThreads.h"
#include "support/Slot.h"
#include "support/StdoutCapture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Vorn::Event;
using Vorn::Thread;
using Vorn::ThreadHandler;
using Vorn::WaitForever;
using VornTest::Slot;
using namespace std::chrono_literals;

constexpr unsigned int Patience = 30000; // a wait that fails only when the test has failed

using StartRoutine = void* (*)(void*);

// What the library asks of the platform, and how the platform is made to answer.
class Platform {
public:
    void FailCondInit(int nth) { m_nUntilFailure = nth; }
    bool FailsCondInit() { return m_nUntilFailure > 0 && --m_nUntilFailure == 0; }

    void Log(std::string call) {
        const std::lock_guard lock(m_lock);
        m_calls.push_back(std::move(call));
    }
    std::vector<std::string> TakeLog() {
        const std::lock_guard lock(m_lock);
        return std::exchange(m_calls, {});
    }

    void Reset() {
        m_nUntilFailure = 0;
        createResult = 0;
        disableCancelFirst = false;
        skipSleep = false;
        yieldResult = 0;
        waits = 0;
        TakeLog();
    }

    std::atomic<int> createResult{0};            // not 0: the answer, and no thread is made
    std::atomic<bool> disableCancelFirst{false}; // new threads begin with cancellation off
    std::atomic<bool> skipSleep{false};
    std::atomic<int> yieldResult{0};
    std::atomic<int> waits{0}; // without limit, begun so that the next post wakes them

private:
    std::atomic<int> m_nUntilFailure{0};
    std::mutex m_lock;
    std::vector<std::string> m_calls;
};

Platform& ThePlatform() {
    static Platform platform;
    return platform;
}

// Run once by this thread when it is about to wake threads that wait.
thread_local std::function<void()> g_onBroadcast;

// Lets every test begin with a platform that behaves, also when one process runs them all.
class PlatformReset : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override {
        ThePlatform().Reset();
        g_onBroadcast = nullptr;
    }
};

[[maybe_unused]] const bool g_resetIsSet = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new PlatformReset);
    return true;
}();

// The allocation of this thread, counted from 1, that finds no memory; 0: none does.
thread_local int g_nUntilNoMemory = 0;

std::atomic<StartRoutine> g_startRoutine{nullptr};

void* StartWithCancelDisabled(void* pArgs) {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    return g_startRoutine.load()(pArgs);
}

} // namespace

extern "C" {
int __real_pthread_cond_init(pthread_cond_t* cond, const pthread_condattr_t* attributes);
int __wrap_pthread_cond_init(pthread_cond_t* cond, const pthread_condattr_t* attributes) {
    return ThePlatform().FailsCondInit() ? ENOMEM : __real_pthread_cond_init(cond, attributes);
}

int __real_pthread_cond_wait(pthread_cond_t* cond, pthread_mutex_t* lock);
int __wrap_pthread_cond_wait(pthread_cond_t* cond, pthread_mutex_t* lock) {
    ++ThePlatform().waits;
    return __real_pthread_cond_wait(cond, lock);
}

int __real_pthread_cond_broadcast(pthread_cond_t* cond);
int __wrap_pthread_cond_broadcast(pthread_cond_t* cond) {
    if (g_onBroadcast)
        std::exchange(g_onBroadcast, nullptr)();
    return __real_pthread_cond_broadcast(cond);
}

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, StartRoutine routine,
                          void* args);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, StartRoutine routine,
                          void* args) {
    g_nUntilNoMemory = 0; // the platform's own matter from here on
    ThePlatform().Log(attributes == nullptr ? "create" : "create with attributes");
    if (ThePlatform().createResult != 0)
        return ThePlatform().createResult;
    if (ThePlatform().disableCancelFirst) {
        g_startRoutine = routine;
        routine = StartWithCancelDisabled;
    }
    return __real_pthread_create(thread, attributes, routine, args);
}

int __real_pthread_cancel(pthread_t thread);
int __wrap_pthread_cancel(pthread_t thread) {
    ThePlatform().Log("cancel");
    return __real_pthread_cancel(thread);
}

int __real_pthread_join(pthread_t thread, void** result);
int __wrap_pthread_join(pthread_t thread, void** result) {
    ThePlatform().Log("join");
    return __real_pthread_join(thread, result);
}

int __real_usleep(useconds_t us);
int __wrap_usleep(useconds_t us) {
    ThePlatform().Log("usleep " + std::to_string(us));
    return ThePlatform().skipSleep ? 0 : __real_usleep(us);
}

int __real_sched_yield();
int __wrap_sched_yield() {
    const int result = ThePlatform().yieldResult;
    return result != 0 ? result : __real_sched_yield();
}

// operator new
void* __real__Znwm(std::size_t size);
void* __wrap__Znwm(std::size_t size) {
    if (g_nUntilNoMemory > 0 && --g_nUntilNoMemory == 0)
        throw std::bad_alloc();
    return __real__Znwm(size);
}
}

namespace {

using RunBody = std::function<void(Thread&)>;

// A body, and how often it ran.
class Body : public ThreadHandler {
public:
    Body() = default;
    explicit Body(RunBody run) : m_run(std::move(run)) {}

    int OnPreThreadStart(Thread* pThread) override {
        pAsked = pThread;
        askedOn = pthread_self();
        return allow ? allow(*pThread) : 1;
    }

    int OnThreadEntry(Thread* pThread) override {
        ++nRuns;
        pRun = pThread;
        if (m_run)
            m_run(*pThread);
        return 7;
    }

    std::function<int(Thread&)> allow;
    Thread* pAsked = nullptr;
    pthread_t askedOn{};
    Thread* pRun = nullptr;
    std::atomic<int> nRuns{0};

private:
    RunBody m_run;
};

class ManualEvent : public Event {
public:
    ManualEvent() { EXPECT_TRUE(Create(1, 0, nullptr)); }
};

// A body that says when it has begun and then waits for its own event, whatever the owner asks.
class DeafBody : public Body {
public:
    DeafBody()
        : Body([this](Thread&) {
              entered.Set();
              release.Wait(WaitForever);
          }) {}

    ManualEvent entered;
    ManualEvent release;
};

// A body that says when it has begun and then obeys.
class ObedientBody : public Body {
public:
    ObedientBody()
        : Body([this](Thread& thread) {
              entered.Set();
              thread.IsStopThread(WaitForever);
          }) {}

    ManualEvent entered;
};

struct StopCall {
    unsigned int timeoutMs;
    int bForce;
    bool operator==(const StopCall&) const = default;
};

class RecordingThread : public Thread {
public:
    explicit RecordingThread(std::vector<StopCall>& calls) : m_calls(calls) {}

    void StopThread(unsigned int timeoutMs, int bForce) override {
        m_calls.push_back({timeoutMs, bForce});
        Thread::StopThread(timeoutMs, bForce);
    }

private:
    std::vector<StopCall>& m_calls;
};

struct Started {
    bool result;
    std::string printed;
    bool operator==(const Started&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Started& started) {
    return out << started.result << ", printed \"" << started.printed << '"';
}

Started Start(Thread& thread, int bSuspended = 0) {
    const VornTest::StdoutCapture capture;
    const bool result = thread.StartThread(bSuspended);
    return {result, capture.Text()};
}

const Started Success{true, ""};
const Started StopEventFailure{false, "[Thread] Create stop event failure.\r\n"};
const Started ExitEventFailure{false, "[Thread] Create exit event failure.\r\n"};
const Started SuspendEventFailure{false, "[Thread] Create suspend event failure.\r\n"};
const Started ThreadFailure{false, "[Thread] Create thread failure.\r\n"};

void ExpectNoThread(Thread& thread) {
    EXPECT_FALSE(thread.IsThreadRunning());
    EXPECT_EQ(nullptr, thread.GetHandle());
    EXPECT_EQ(0, thread.GetThreadId());
    EXPECT_TRUE(thread.IsStopThread(0));
    EXPECT_TRUE(thread.IsStopThread(WaitForever));
    EXPECT_FALSE(thread.StopThreadEvent());
    EXPECT_FALSE(thread.ResumeThread());
}

int LowBits(pthread_t thread) { return static_cast<int>(static_cast<unsigned int>(thread)); }

std::chrono::steady_clock::duration TimeOf(const std::function<void()>& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::steady_clock::now() - start;
}

TEST(ThreadLayout, VirtualOperationsKeepTheirSlots) {
    EXPECT_EQ(2u, Slot(&Thread::StopThread)); // the destructor has two
    EXPECT_EQ(3u, Slot(&Thread::OnPreThreadStart));
    EXPECT_EQ(4u, Slot(&Thread::OnThreadEntry));
    EXPECT_EQ(0u, Slot(&ThreadHandler::OnPreThreadStart));
    EXPECT_EQ(1u, Slot(&ThreadHandler::OnThreadEntry));
}

TEST(ThreadWithoutStart, HasNoThreadAndAnswersSo) {
    Thread thread;
    ExpectNoThread(thread);
    EXPECT_EQ(15, thread.GetThreadPriority());
    ASSERT_NE(nullptr, thread.GetStopThreadEvent());
    EXPECT_FALSE(thread.GetStopThreadEvent()->IsOpened());
}

TEST(ThreadWithoutStart, StopDoesNothing) {
    Thread thread;
    thread.StopThread(WaitForever, 0);
    thread.StopThread(WaitForever, 1);
    ExpectNoThread(thread);
    EXPECT_FALSE(thread.GetStopThreadEvent()->Wait(0));
    EXPECT_THAT(ThePlatform().TakeLog(), IsEmpty());
}

TEST(ThreadWithoutStart, DefaultsLetTheStartGoOnAndEndAtOnce) {
    Thread thread;
    EXPECT_EQ(1, thread.OnPreThreadStart());
    EXPECT_EQ(0, thread.OnThreadEntry());
}

TEST(ThreadWithoutStart, AsksTheHandlerAndReturnsItsResults) {
    Thread thread;
    Body body;
    body.allow = [](Thread&) { return 5; };
    thread.SetThreadHandler(&body);
    EXPECT_EQ(5, thread.OnPreThreadStart());
    EXPECT_EQ(&thread, body.pAsked);
    EXPECT_EQ(7, thread.OnThreadEntry());
    EXPECT_EQ(&thread, body.pRun);

    thread.SetThreadHandler(nullptr);
    EXPECT_EQ(1, thread.OnPreThreadStart());
    EXPECT_EQ(0, thread.OnThreadEntry());
    EXPECT_EQ(1, body.nRuns);
}

TEST(ThreadWithoutStart, EntryRoutineWithoutRecordReturnsNull) {
    EXPECT_EQ(nullptr, Thread::ThreadEntryProc(nullptr));
}

TEST(ThreadWithoutStart, ObjectsWithoutThreadAreEqual) {
    const Thread one;
    const Thread other;
    EXPECT_TRUE(one == other);
    EXPECT_FALSE(one != other);
}

TEST(ThreadPriority, IsStoredAndNeverApplied) {
    Body body([](Thread& self) {
        int policy = -1;
        sched_param parameter{};
        pthread_getschedparam(pthread_self(), &policy, &parameter);
        EXPECT_EQ(0, parameter.sched_priority);
        EXPECT_EQ(-3, self.GetThreadPriority());
    });
    Thread thread;
    thread.SetThreadHandler(&body);
    thread.SetThreadPriority(-3);
    EXPECT_EQ(-3, thread.GetThreadPriority());
    EXPECT_EQ(Success, Start(thread));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, body.nRuns);
    EXPECT_EQ(-3, thread.GetThreadPriority());
}

TEST(ThreadSleep, TakesMilliseconds) {
    Thread thread;
    EXPECT_GE(TimeOf([&] { thread.SleepThread(20); }), 20ms);
    EXPECT_THAT(ThePlatform().TakeLog(), ElementsAre("usleep 20000"));
}

TEST(ThreadSleep, ComputesMicrosecondsIn32Bits) {
    Thread thread;
    ThePlatform().skipSleep = true;
    thread.SleepThread(0);
    thread.SleepThread(4294967);
    thread.SleepThread(4294968);
    thread.SleepThread(5000000);
    EXPECT_THAT(ThePlatform().TakeLog(),
                ElementsAre("usleep 0", "usleep 4294967000", "usleep 704", "usleep 705032704"));
}

TEST(ThreadYield, ReportsWhatThePlatformSays) {
    Thread thread;
    EXPECT_TRUE(thread.YieldThread());
    ThePlatform().yieldResult = -1;
    EXPECT_FALSE(thread.YieldThread());
}

TEST(ThreadStart, RunsTheHandlersBodyOnAThreadOfItsOwn) {
    pthread_t inside{};
    Body body([&](Thread&) { inside = pthread_self(); });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    thread.StopThread(WaitForever, 0);

    EXPECT_EQ(1, body.nRuns);
    EXPECT_EQ(&thread, body.pRun);
    EXPECT_FALSE(pthread_equal(pthread_self(), inside));
    EXPECT_EQ(&thread, body.pAsked);
    EXPECT_TRUE(pthread_equal(pthread_self(), body.askedOn));
}

TEST(ThreadStart, RunsTheBodyOfASubclass) {
    class Counting : public Thread {
    public:
        int OnThreadEntry() override {
            ++nRuns;
            return 0;
        }
        std::atomic<int> nRuns{0};
    };
    Counting thread;
    EXPECT_EQ(Success, Start(thread));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, thread.nRuns);
}

TEST(ThreadStart, WithoutHandlerTheBodyEndsAtOnce) {
    Thread thread;
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(thread.IsThreadRunning());
    thread.StopThread(Patience, 0);
    ExpectNoThread(thread);
}

TEST(ThreadStart, ThenPausesForAHundredMicroseconds) {
    ObedientBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_THAT(ThePlatform().TakeLog(), ElementsAre("create", "usleep 100"));
}

TEST(ThreadStart, RefusedByTheHandlerPrintsAndMakesNothing) {
    Body body;
    bool madeBefore = true;
    body.allow = [&](Thread& self) {
        madeBefore = self.IsThreadRunning() || self.GetStopThreadEvent()->IsOpened();
        return 0;
    };
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ((Started{false, ""}), Start(thread));
    EXPECT_FALSE(madeBefore);
    ExpectNoThread(thread);
    EXPECT_FALSE(thread.GetStopThreadEvent()->IsOpened());
    EXPECT_THAT(ThePlatform().TakeLog(), IsEmpty());
    EXPECT_EQ(0, body.nRuns);

    body.allow = nullptr;
    EXPECT_EQ(Success, Start(thread));
}

TEST(ThreadStart, RefusedByASubclassDoesNotAskTheHandler) {
    class Refusing : public Thread {
    public:
        int OnPreThreadStart() override { return 0; }
    };
    Body body;
    Refusing thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ((Started{false, ""}), Start(thread));
    EXPECT_EQ(nullptr, body.pAsked);
}

TEST(ThreadStart, AnyAnswerButZeroLetsItGoOn) {
    Body body;
    body.allow = [](Thread&) { return -1; };
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
}

TEST(ThreadStart, TellsTheThreadApartByItsHandle) {
    std::atomic<bool> sameHandle{false};
    std::atomic<int> idInside{0};
    std::atomic<int> expectedId{0};
    Body body([&](Thread& self) {
        sameHandle = pthread_equal(pthread_self(), *self.GetHandle()) != 0;
        idInside = self.GetThreadId();
        expectedId = LowBits(pthread_self());
        self.IsStopThread(WaitForever);
    });
    Thread thread;
    const Thread none;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_EQ(LowBits(*thread.GetHandle()), thread.GetThreadId());
    EXPECT_TRUE(thread != none);
    EXPECT_FALSE(thread == none);
    EXPECT_TRUE(thread == thread);
    EXPECT_FALSE(thread != thread);

    Thread other;
    EXPECT_EQ(Success, Start(other));
    EXPECT_FALSE(thread == other);
    EXPECT_TRUE(thread != other);

    thread.StopThread(WaitForever, 0);
    EXPECT_TRUE(sameHandle);
    EXPECT_EQ(expectedId, idInside);
    EXPECT_NE(0, expectedId);
    EXPECT_TRUE(thread == none);
}

TEST(ThreadStart, BodyBeginsWithCancellationEnabled) {
    int state = -1;
    Body body([&](Thread&) { pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state); });
    Thread thread;
    thread.SetThreadHandler(&body);
    ThePlatform().disableCancelFirst = true;
    EXPECT_EQ(Success, Start(thread));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(PTHREAD_CANCEL_ENABLE, state);
}

TEST(ThreadStart, MayBeRepeatedAfterEveryStop) {
    Body body;
    Thread thread;
    thread.SetThreadHandler(&body);
    for (int i = 1; i <= 20; ++i) {
        EXPECT_EQ(Success, Start(thread, i % 2));
        thread.StopThread(WaitForever, 0);
        ExpectNoThread(thread);
        EXPECT_EQ(i, body.nRuns);
    }
}

TEST(ThreadStart, EndedBodyStaysAThreadUntilStopJoinsIt) {
    ManualEvent ended;
    Body body([&](Thread&) { ended.Set(); });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(ended.Wait(Patience));
    EXPECT_TRUE(thread.IsThreadRunning());
    EXPECT_NE(nullptr, thread.GetHandle());
    EXPECT_FALSE(thread.IsStopThread(0));
    EXPECT_TRUE(thread.ResumeThread());
    EXPECT_TRUE(thread.StopThreadEvent());
    EXPECT_TRUE(thread.IsStopThread(0));
    thread.StopThread(WaitForever, 0);
    ExpectNoThread(thread);
    EXPECT_FALSE(thread.GetStopThreadEvent()->IsOpened());
}

TEST(ThreadSuspended, HoldsTheBodyUntilResume) {
    ManualEvent entered;
    std::atomic<bool> stopAsked{true};
    Body body([&](Thread& self) {
        stopAsked = self.IsStopThread(0);
        entered.Set();
    });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread, 1));
    EXPECT_FALSE(entered.Wait(50));
    EXPECT_TRUE(thread.IsThreadRunning());
    EXPECT_TRUE(thread.ResumeThread());
    EXPECT_TRUE(entered.Wait(Patience));
    EXPECT_FALSE(stopAsked);
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, body.nRuns);
}

// Returns false when fewer waits without limit have begun within the test's patience.
bool BegunWaits(int count) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(Patience);
    while (ThePlatform().waits < count && std::chrono::steady_clock::now() < end)
        sched_yield();
    return ThePlatform().waits >= count;
}

TEST(ThreadSuspended, StopOpensTheGateAndTheBodySeesTheRequest) {
    std::atomic<bool> stopAsked{false};
    Body body([&](Thread& self) { stopAsked = self.IsStopThread(0); });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread, -1));
    ASSERT_TRUE(BegunWaits(1)); // at the gate
    bool askedFirst = false;
    g_onBroadcast = [&] { askedFirst = thread.GetStopThreadEvent()->Wait(0); };
    thread.StopThread(WaitForever, 0);
    EXPECT_TRUE(askedFirst);
    EXPECT_EQ(1, body.nRuns);
    EXPECT_TRUE(stopAsked);
    ExpectNoThread(thread);
}

TEST(ThreadSuspended, StopRequestAloneDoesNotOpenTheGate) {
    ManualEvent entered;
    Body body([&](Thread&) { entered.Set(); });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread, 1));
    EXPECT_TRUE(thread.StopThreadEvent());
    EXPECT_FALSE(entered.Wait(50));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, body.nRuns);
}

TEST(ThreadSuspended, DestructionOpensTheGate) {
    Body body;
    {
        Thread thread;
        thread.SetThreadHandler(&body);
        EXPECT_EQ(Success, Start(thread, 1));
    }
    EXPECT_EQ(1, body.nRuns);
}

TEST(ThreadSuspended, CancelledAtTheGateNeverRunsItsBody) {
    Body body;
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread, 1));
    pthread_cancel(*thread.GetHandle());
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(0, body.nRuns);
    EXPECT_EQ(Success, Start(thread, 1));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, body.nRuns);
}

TEST(ThreadStop, AsksTheBodyAndJoinsIt) {
    ObedientBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(body.entered.Wait(Patience));
    ThePlatform().TakeLog();
    thread.StopThread(WaitForever, 0);
    EXPECT_THAT(ThePlatform().TakeLog(), ElementsAre("join"));
    ExpectNoThread(thread);
}

TEST(ThreadStop, ForcedDoesNotCancelABodyThatEndsInTime) {
    ObedientBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(body.entered.Wait(Patience));
    ThePlatform().TakeLog();
    thread.StopThread(Patience, 1);
    EXPECT_THAT(ThePlatform().TakeLog(), ElementsAre("join"));
    ExpectNoThread(thread);
}

TEST(ThreadStop, NotForcedLeavesADeafBodyRunningWithTheRequestStanding) {
    DeafBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(body.entered.Wait(Patience));
    EXPECT_FALSE(thread.IsStopThread(0));
    pthread_t* const pHandle = thread.GetHandle();
    ThePlatform().TakeLog();

    thread.StopThread(0, 0);
    EXPECT_TRUE(thread.IsThreadRunning());
    EXPECT_EQ(pHandle, thread.GetHandle());
    EXPECT_TRUE(thread.IsStopThread(0));
    EXPECT_TRUE(thread.GetStopThreadEvent()->IsOpened());
    EXPECT_THAT(ThePlatform().TakeLog(), IsEmpty());

    body.release.Set();
    thread.StopThread(WaitForever, 0);
    EXPECT_THAT(ThePlatform().TakeLog(), ElementsAre("join"));
    ExpectNoThread(thread);
}

TEST(ThreadStop, WaitsForTheGivenTime) {
    DeafBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_GE(TimeOf([&] { thread.StopThread(60, 0); }), 60ms);
    EXPECT_TRUE(thread.IsThreadRunning());
    body.release.Set();
}

TEST(ThreadStop, ForcedCancelsADeafBodyAndJoinsIt) {
    DeafBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(body.entered.Wait(Patience));
    thread.StopThread(0, 0);
    EXPECT_TRUE(thread.IsThreadRunning());
    ThePlatform().TakeLog();
    thread.StopThread(0, 1);
    EXPECT_THAT(ThePlatform().TakeLog(), ElementsAre("cancel", "join"));
    ExpectNoThread(thread);
    EXPECT_FALSE(thread.GetStopThreadEvent()->IsOpened());
}

TEST(ThreadStop, CancelUnwindsTheBody) {
    std::atomic<bool> destroyed{false};
    DeafBody deaf;
    Body body([&](Thread& self) {
        const std::unique_ptr<int, std::function<void(int*)>> local(new int(0), [&](int* pInt) {
            destroyed = true;
            delete pInt;
        });
        deaf.OnThreadEntry(&self);
    });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(deaf.entered.Wait(Patience));
    EXPECT_FALSE(destroyed);
    thread.StopThread(0, 1);
    EXPECT_TRUE(destroyed);
}

TEST(ThreadStop, ForcedCancelsABodyThatSleeps) {
    ManualEvent entered;
    Body body([&](Thread& self) {
        entered.Set();
        self.SleepThread(4000000);
    });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(entered.Wait(Patience));
    thread.StopThread(0, 1);
    ExpectNoThread(thread);
}

TEST(ThreadStop, AfterACancelInAWaitTheEventAndTheThreadWorkOn) {
    DeafBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(body.entered.Wait(Patience));
    thread.StopThread(0, 1);

    body.entered.Reset();
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(body.entered.Wait(Patience));
    EXPECT_FALSE(thread.IsStopThread(0));
    EXPECT_TRUE(body.release.Set());
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(2, body.nRuns);
    ExpectNoThread(thread);
}

TEST(ThreadStop, ForcedAtAnyMomentOfAStartLeavesNothingBehind) {
    DeafBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    for (int i = 0; i < 300; ++i) {
        ASSERT_TRUE(thread.StartThread(i % 3 == 0));
        if (i % 2 == 0)
            thread.ResumeThread();
        thread.StopThread(0, 1);
        ASSERT_FALSE(thread.IsThreadRunning());
    }
}

TEST(ThreadStop, FinishesTheJoinWhenTheOwnerIsCancelledMeanwhile) {
    ManualEvent stopping;
    ManualEvent release;
    Body body([&](Thread&) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        stopping.Set();
        release.Wait(WaitForever);
    });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(stopping.Wait(Patience));
    std::atomic<bool> begun{false};
    std::atomic<bool> joined{false};
    VornTest::PosixThread owner([&] {
        begun = true;
        thread.StopThread(0, 1);
        joined = !thread.IsThreadRunning();
    });
    while (!begun)
        sched_yield();
    VornTest::WaitUntilBlocked({&owner});
    owner.Cancel();
    release.Set();
    owner.Join();
    EXPECT_TRUE(joined);
    ExpectNoThread(thread);
}

TEST(ThreadStop, FromTheBodyItselfReturnsWhenItsTimeIsUp) {
    std::atomic<bool> runningAfter{false};
    Body body([&](Thread& self) {
        self.StopThread(1, 0);
        runningAfter = self.IsThreadRunning() && self.IsStopThread(0);
    });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    thread.StopThread(WaitForever, 0);
    EXPECT_TRUE(runningAfter);
    ExpectNoThread(thread);
}

TEST(ThreadStop, ForcedFromTheBodyItselfEndsIt) {
    std::atomic<bool> goneOn{false};
    Body body([&](Thread& self) {
        self.StopThread(0, 1);
        goneOn = true;
    });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    thread.StopThread(WaitForever, 0);
    EXPECT_FALSE(goneOn);
    ExpectNoThread(thread);
}

TEST(ThreadStop, ForcedFromABodyThatPutCancellationOffLeavesItRunning) {
    std::atomic<bool> runningAfter{false};
    Body body([&](Thread& self) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        self.StopThread(0, 1);
        runningAfter = self.IsThreadRunning();
    });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    thread.StopThread(WaitForever, 0);
    EXPECT_TRUE(runningAfter);
    ExpectNoThread(thread);
}

TEST(ThreadStop, BodyLeftThroughPthreadExitCountsAsEnded) {
    Body body([](Thread&) { pthread_exit(nullptr); });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    thread.StopThread(WaitForever, 0);
    ExpectNoThread(thread);
    EXPECT_EQ(Success, Start(thread)); // and the destructor does not wait for ever either
}

TEST(ThreadStop, BodyCancelledThroughTheHandleCountsAsEnded) {
    DeafBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    pthread_cancel(*thread.GetHandle());
    thread.StopThread(WaitForever, 0);
    ExpectNoThread(thread);
}

TEST(ThreadStopRequest, IsSeenByABodyThatWaitsForIt) {
    ManualEvent seen;
    Body body([&](Thread& self) {
        if (self.IsStopThread(WaitForever))
            seen.Set();
    });
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_GE(TimeOf([&] { EXPECT_FALSE(thread.IsStopThread(40)); }), 40ms);
    EXPECT_TRUE(thread.StopThreadEvent());
    EXPECT_TRUE(seen.Wait(Patience));
    EXPECT_TRUE(thread.IsThreadRunning());
    EXPECT_TRUE(thread.GetStopThreadEvent()->Wait(0));
    EXPECT_TRUE(thread.IsStopThread(0)); // a request stands until the thread is gone
}

TEST(ThreadStopRequest, DoesNotOutliveTheStop) {
    ObedientBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(thread.StopThreadEvent());
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_FALSE(thread.IsStopThread(0));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(2, body.nRuns);
}

TEST(ThreadRestart, FirstCallsTheVirtualStopByForceAndWithoutLimit) {
    std::vector<StopCall> calls;
    ObedientBody body;
    RecordingThread thread(calls);
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_THAT(calls, IsEmpty());

    EXPECT_TRUE(body.entered.Wait(Patience));
    bool stoppedFirst = false;
    body.allow = [&](Thread& self) {
        stoppedFirst = !self.IsThreadRunning();
        return 1;
    };
    ThePlatform().TakeLog();
    EXPECT_EQ(Success, Start(thread));
    EXPECT_THAT(calls, ElementsAre(StopCall{WaitForever, 1}));
    EXPECT_TRUE(stoppedFirst);
    EXPECT_THAT(ThePlatform().TakeLog(), ElementsAre("join", "create", "usleep 100"));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(2, body.nRuns);
}

TEST(ThreadRestart, WaitsForABodyThatDoesNotObeyAndNeverCancelsIt) {
    DeafBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    ASSERT_TRUE(BegunWaits(1)); // the body
    VornTest::PosixThread releaser([&] {
        EXPECT_TRUE(BegunWaits(2)); // the owner
        body.release.Set();
    });
    ThePlatform().TakeLog();
    EXPECT_EQ(Success, Start(thread));
    EXPECT_THAT(ThePlatform().TakeLog(), ElementsAre("join", "create", "usleep 100"));
    releaser.Join();
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(2, body.nRuns);
}

TEST(ThreadRestart, RefusedLeavesTheOldThreadStopped) {
    ObedientBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    body.allow = [](Thread&) { return 0; };
    EXPECT_EQ((Started{false, ""}), Start(thread));
    ExpectNoThread(thread);
}

TEST(ThreadRestart, FailsAtTheStopEventWhenASubclassDoesNotStop) {
    class Unstoppable : public Thread {
    public:
        void StopThread(unsigned int, int) override {}
    };
    ObedientBody body;
    Unstoppable thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    pthread_t* const pHandle = thread.GetHandle();
    EXPECT_EQ(StopEventFailure, Start(thread));
    EXPECT_EQ(pHandle, thread.GetHandle());
    EXPECT_TRUE(body.entered.Wait(Patience));
    EXPECT_EQ(1, body.nRuns);
}

TEST(ThreadDestruction, WaitsWithoutLimitAndJoins) {
    ManualEvent release;
    std::atomic<bool> ended{false};
    Body body([&](Thread& self) {
        self.IsStopThread(WaitForever);
        release.Wait(WaitForever);
        ended = true;
    });
    {
        Thread thread;
        thread.SetThreadHandler(&body);
        EXPECT_EQ(Success, Start(thread));
        ThePlatform().TakeLog();
        release.Set();
    }
    EXPECT_TRUE(ended);
    EXPECT_THAT(ThePlatform().TakeLog(), ElementsAre("join"));
}

TEST(ThreadDestruction, DoesNotUseTheVirtualStop) {
    std::vector<StopCall> calls;
    ObedientBody body;
    {
        RecordingThread thread(calls);
        thread.SetThreadHandler(&body);
        EXPECT_EQ(Success, Start(thread));
        EXPECT_TRUE(body.entered.Wait(Patience));
    }
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(1, body.nRuns);
}

TEST(ThreadDestruction, FinishesAlsoWhenTheOwnerIsCancelledMeanwhile) {
    DeafBody body;
    ManualEvent destroying;
    std::atomic<bool> destroyed{false};
    VornTest::PosixThread owner([&] {
        {
            Thread thread;
            thread.SetThreadHandler(&body);
            EXPECT_TRUE(thread.StartThread(0));
            destroying.Set();
        }
        destroyed = true;
    });
    EXPECT_TRUE(destroying.Wait(Patience));
    VornTest::WaitUntilBlocked({&owner});
    owner.Cancel();
    body.release.Set();
    owner.Join();
    EXPECT_TRUE(destroyed);
}

class ThreadEventFailure : public testing::Test {
protected:
    void TearDown() override {
        ExpectNoThread(m_thread);
        EXPECT_THAT(ThePlatform().TakeLog(), IsEmpty());
        EXPECT_EQ(0, m_body.nRuns);

        Thread other;
        EXPECT_EQ(Success, Start(other));
    }

    Started StartFailing(int nth) {
        m_thread.SetThreadHandler(&m_body);
        ThePlatform().FailCondInit(nth);
        return Start(m_thread);
    }

    Body m_body;
    Thread m_thread;
};

TEST_F(ThreadEventFailure, AtTheStopEventBlocksEveryFurtherStartThere) {
    EXPECT_EQ(StopEventFailure, StartFailing(1));
    EXPECT_TRUE(m_thread.GetStopThreadEvent()->IsOpened());
    m_thread.StopThread(WaitForever, 1);
    EXPECT_EQ(StopEventFailure, Start(m_thread));
    EXPECT_EQ(StopEventFailure, Start(m_thread));
}

TEST_F(ThreadEventFailure, AtTheExitEventBlocksEveryFurtherStartAtTheStopEvent) {
    EXPECT_EQ(ExitEventFailure, StartFailing(2));
    EXPECT_TRUE(m_thread.GetStopThreadEvent()->IsOpened());
    EXPECT_EQ(StopEventFailure, Start(m_thread));
    m_thread.StopThread(WaitForever, 1); // without a thread it frees nothing
    EXPECT_EQ(StopEventFailure, Start(m_thread));
}

TEST_F(ThreadEventFailure, AtTheSuspendEventBlocksEveryFurtherStartThere) {
    EXPECT_EQ(SuspendEventFailure, StartFailing(3));
    EXPECT_FALSE(m_thread.GetStopThreadEvent()->IsOpened());
    EXPECT_EQ(SuspendEventFailure, Start(m_thread));
    m_thread.StopThread(WaitForever, 1);
    EXPECT_EQ(SuspendEventFailure, Start(m_thread));
}

// Returns whether the start threw because its nth allocation found no memory.
bool StartRunsOutOfMemory(Thread& thread, int nth) {
    try {
        g_nUntilNoMemory = nth;
        EXPECT_TRUE(thread.StartThread(0));
    } catch (const std::bad_alloc&) {
        return true;
    }
    g_nUntilNoMemory = 0;
    return false;
}

TEST(ThreadOutOfMemory, StartThrowsLeavesNoThreadAndMaySucceedLater) {
    Body body;
    Thread thread;
    thread.SetThreadHandler(&body);
    int nFailures = 0;
    while (StartRunsOutOfMemory(thread, nFailures + 1)) {
        ++nFailures;
        ASSERT_FALSE(thread.IsThreadRunning()) << "allocation " << nFailures;
        ExpectNoThread(thread);
        EXPECT_FALSE(thread.GetStopThreadEvent()->IsOpened());
        thread.StopThread(WaitForever, 1);
    }
    EXPECT_GE(nFailures, 2); // the handle and the record of the start, at least
    EXPECT_THAT(ThePlatform().TakeLog(), ElementsAre("create", "usleep 100"));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, body.nRuns);
}

class ThreadCreationFailure : public testing::Test {
protected:
    ThreadCreationFailure() { m_thread.SetThreadHandler(&m_body); }

    void StartWithoutThread(int bSuspended = 0) {
        ThePlatform().createResult = EAGAIN;
        EXPECT_EQ(Success, Start(m_thread, bSuspended));
        EXPECT_THAT(ThePlatform().TakeLog(), ElementsAre("create", "usleep 100"));
        ThePlatform().createResult = 0;
    }

    void ExpectStoppedWithoutJoin() {
        EXPECT_THAT(ThePlatform().TakeLog(), IsEmpty());
        ExpectNoThread(m_thread);
        EXPECT_FALSE(m_thread.GetStopThreadEvent()->IsOpened());
        EXPECT_EQ(0, m_body.nRuns);
    }

    Body m_body;
    Thread m_thread;
};

TEST_F(ThreadCreationFailure, CountsAsAStartedThreadThatNeverRuns) {
    StartWithoutThread();
    EXPECT_TRUE(m_thread.IsThreadRunning());
    EXPECT_NE(nullptr, m_thread.GetHandle());
    EXPECT_EQ(0, m_thread.GetThreadId());
    EXPECT_TRUE(m_thread.ResumeThread());
    EXPECT_FALSE(m_thread.IsStopThread(0));
    EXPECT_TRUE(m_thread.StopThreadEvent());
    EXPECT_TRUE(m_thread.IsStopThread(0));
    EXPECT_EQ(0, m_body.nRuns);
}

TEST_F(ThreadCreationFailure, EveryStopReturnsWithoutWaitingOrJoining) {
    for (const StopCall call :
         {StopCall{WaitForever, 0}, StopCall{WaitForever, 1}, StopCall{0, 0}, StopCall{0, 1}}) {
        StartWithoutThread(call.bForce);
        m_thread.StopThread(call.timeoutMs, call.bForce);
        ExpectStoppedWithoutJoin();
    }
    EXPECT_EQ(Success, Start(m_thread));
    m_thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, m_body.nRuns);
}

TEST_F(ThreadCreationFailure, DestructionReturnsWithoutWaitingOrJoining) {
    auto pThread = std::make_unique<Thread>();
    ThePlatform().createResult = EAGAIN;
    EXPECT_TRUE(pThread->StartThread(0));
    ThePlatform().TakeLog();
    pThread.reset();
    EXPECT_THAT(ThePlatform().TakeLog(), IsEmpty());
}

TEST_F(ThreadCreationFailure, CanBeStartedAgainAtOnce) {
    StartWithoutThread();
    EXPECT_EQ(Success, Start(m_thread));
    m_thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, m_body.nRuns);
}

TEST_F(ThreadCreationFailure, ReportedAsANegativeNumberFailsTheStart) {
    ThePlatform().createResult = -1;
    EXPECT_EQ(ThreadFailure, Start(m_thread));
    EXPECT_THAT(ThePlatform().TakeLog(), ElementsAre("create")); // and no pause
    ExpectStoppedWithoutJoin();

    ThePlatform().createResult = 0;
    EXPECT_EQ(Success, Start(m_thread));
    m_thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, m_body.nRuns);
}

TEST(ThreadDeathTest, ExceptionThatLeavesTheBodyEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            Body body([](Thread&) { throw std::runtime_error("left the body"); });
            Thread thread;
            thread.SetThreadHandler(&body);
            thread.StartThread(0);
            thread.StopThread(WaitForever, 0);
            _exit(0);
        },
        testing::KilledBySignal(SIGABRT), "left the body");
}

} // namespace
