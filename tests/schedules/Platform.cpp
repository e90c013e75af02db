// SPDX-License-Identifier: MIT
// The platform as the units and scenarios see it: threads, locks, condition variables,
// cancellation, named semaphores and time. Outside of schedules everything goes to the real one.
#include <Bases/Impl/Port/Processors.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <ctime>
#include <exception>
#include <fcntl.h>
#include <string>

#include <sched.h>
#include <sys/time.h>
#include <unistd.h>

#include "schedules/Core.h"

namespace VornTest::Schedules {

namespace {

constexpr long long NanosecondsPerSecond = 1000000000;

// At the start of the memory of a mutex, all zero after PTHREAD_MUTEX_INITIALIZER.
struct PlayedMutex {
    int owner; // the thread's number and 1; 0: nobody
    int depth;
    int isRecursive;
};
static_assert(sizeof(PlayedMutex) <= sizeof(pthread_mutex_t));

PlayedMutex& Played(pthread_mutex_t* mutex) { return *reinterpret_cast<PlayedMutex*>(mutex); }

struct Semaphore {
    sem_t handle; // its address is what the units have
    std::string name;
    unsigned int count;
    Clock released;
};

std::array<Semaphore, 4> g_semaphores;
std::size_t g_semaphoreCount = 0;

Semaphore& Played(const sem_t* handle) {
    for (std::size_t i = 0; i < g_semaphoreCount; ++i)
        if (&g_semaphores[i].handle == handle)
            return g_semaphores[i];
    FailWith("not a semaphore");
}

void TouchObject(const void* object, Access access, const void* code) {
    Touch(object, sizeof(void*), access, code);
}

// Nobody uses it from now on, as before it is made.
void Replace(const void* object, std::size_t size, const void* code) {
    Touch(object, size, Access::Write, code);
}

// The thread's turn has come, so the mutex is free or its own.
void TakeLock(pthread_mutex_t* mutex) {
    Me().state = State::Ready;
    PlayedMutex& played = Played(mutex);
    played.owner = MyNumber() + 1;
    ++played.depth;
    Acquire(Released(mutex));
}

void GiveLock(pthread_mutex_t* mutex) {
    PlayedMutex& played = Played(mutex);
    if (played.owner != MyNumber() + 1)
        FailWith("unlocks what it has not locked");
    if (--played.depth > 0)
        return;
    played.owner = 0;
    Release(Released(mutex), true);
}

void Lock(pthread_mutex_t* mutex, const void* code) {
    Me().mutex = mutex;
    Me().state = State::Locking;
    TakeTurns("lock", mutex, code);
    TouchObject(mutex, Access::AtomicWrite, code);
    TakeLock(mutex);
}

_Unwind_Reason_Code Stop(int /*version*/, _Unwind_Action actions, _Unwind_Exception_Class /*kind*/,
                         _Unwind_Exception* /*exception*/, _Unwind_Context* /*context*/,
                         void* /*parameter*/) {
    if ((actions & _UA_END_OF_STACK) == 0)
        return _URC_NO_REASON;
    g_inside = false;
    EndThread(PTHREAD_CANCELED);
}

void Swallowed(_Unwind_Reason_Code /*reason*/, _Unwind_Exception* /*exception*/) {
    const Outside outside;
    FailWith("a cancellation ended in catch (...)");
}

bool IsCancelDue() { return Me().cancelled && !Me().uncancellable; }

// Unwinds the thread's stack as the platform does.
[[noreturn]] void BeCancelled() {
    Me().state = State::Ready;
    Me().uncancellable = true;
    Me().unwinding = {};
    Me().unwinding.exception_cleanup = Swallowed;
    g_inside = true;
    _Unwind_ForcedUnwind(&Me().unwinding, Stop, nullptr);
    std::terminate();
}

// At a cancellation point that does not block.
void TestCancel() {
    if (IsCancelDue())
        BeCancelled();
}

// A thread that is cancelled when it has been woken already may return first; so may one that is
// woken when it has been cancelled, since it need not sleep by then.
int Wait(pthread_cond_t* condition, pthread_mutex_t* mutex, long long limit, const void* code) {
    Thread& me = Me();
    TraceStep("wait", condition, code);
    TouchObject(condition, Access::AtomicWrite, code);
    if (Played(mutex).depth != 1)
        FailWith("waits with a mutex that it has not locked once");
    GiveLock(mutex);
    me.condition = condition;
    me.mutex = mutex;
    me.limit = limit;
    me.woken = IsCancelDue() ? Woken::ByCancel : Woken::NotYet;
    me.state = IsCancelDue() ? State::Locking : State::Waiting;
    TakeTurns("return from the wait", condition, code);
    TakeLock(mutex);
    me.condition = nullptr;
    me.limit = -1;
    if (me.woken == Woken::ByCancel || (IsCancelDue() && MayHappen()))
        BeCancelled();
    return me.woken == Woken::ByTime ? ETIMEDOUT : 0;
}

// Wakes all threads that wait, or any one of them.
void Wake(pthread_cond_t* condition, bool one, const void* code) {
    TakeTurns("wake", condition, code);
    TouchObject(condition, Access::AtomicWrite, code);
    Thread* last = nullptr;
    for (int i = 0; i < ThreadCount(); ++i) {
        Thread& thread = ThreadAt(i);
        if (thread.condition != condition)
            continue;
        if (thread.state == State::Locking && thread.woken == Woken::ByCancel)
            thread.woken = Woken::ByWake;
        if (thread.state != State::Waiting)
            continue;
        if (one && last != nullptr && MayHappen())
            break;
        if (one && last != nullptr)
            last->state = State::Waiting;
        thread.state = State::Locking;
        thread.woken = Woken::ByWake;
        last = &thread;
    }
}

int NumberOf(pthread_t handle) {
    const auto number = static_cast<long long>(handle) - 1;
    if (number < 0 || number >= ThreadCount() || ThreadAt(static_cast<int>(number)).wasJoined)
        FailWith("not the handle of a thread that is to be joined");
    return static_cast<int>(number);
}

// Others go first, if there are any; going on at once would count as a pre-emption.
void YieldTurn(const char* operation, const void* code) {
    Me().state = State::Yielding;
    TakeTurns(operation, nullptr, code);
    Me().state = State::Ready;
}

} // namespace

bool CanLock(const pthread_mutex_t* mutex, int thread) {
    const PlayedMutex& played = *reinterpret_cast<const PlayedMutex*>(mutex);
    return played.owner == 0 || (played.isRecursive != 0 && played.owner == thread + 1);
}

bool CanTake(const sem_t* semaphore) { return Played(semaphore).count > 0; }

void ForgetSemaphores() { g_semaphoreCount = 0; }

} // namespace VornTest::Schedules

using namespace VornTest::Schedules; // NOLINT: the names below are those of Names.h

#define CODE __builtin_return_address(0)

extern "C" {

[[noreturn]] void PlayAssertFail(const char* text, const char* file, unsigned int line,
                                 const char* /*function*/) {
    Fail(text, file, static_cast<int>(line));
}

int PlayMutexInit(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    if (!g_inside)
        return pthread_mutex_init(mutex, attributes);
    const Outside outside;
    Replace(mutex, sizeof *mutex, CODE);
    int kind = PTHREAD_MUTEX_DEFAULT;
    if (attributes != nullptr)
        pthread_mutexattr_gettype(attributes, &kind);
    Played(mutex) = {0, 0, kind == PTHREAD_MUTEX_RECURSIVE ? 1 : 0};
    return 0;
}

int PlayMutexDestroy(pthread_mutex_t* mutex) {
    if (!g_inside)
        return pthread_mutex_destroy(mutex);
    const Outside outside;
    if (Played(mutex).owner != 0)
        FailWith("destroys a locked mutex");
    Replace(mutex, sizeof *mutex, CODE);
    return 0;
}

int PlayMutexLock(pthread_mutex_t* mutex) {
    if (!g_inside)
        return pthread_mutex_lock(mutex);
    const Outside outside;
    Lock(mutex, CODE);
    return 0;
}

int PlayMutexTryLock(pthread_mutex_t* mutex) {
    if (!g_inside)
        return pthread_mutex_trylock(mutex);
    const Outside outside;
    TakeTurns("try to lock", mutex, CODE);
    TouchObject(mutex, Access::AtomicWrite, CODE);
    if (!CanLock(mutex, MyNumber()))
        return EBUSY;
    TakeLock(mutex);
    return 0;
}

// No turns before it: what another thread could do here it could do after the operation before.
int PlayMutexUnlock(pthread_mutex_t* mutex) {
    if (!g_inside)
        return pthread_mutex_unlock(mutex);
    const Outside outside;
    TraceStep("unlock", mutex, CODE);
    TouchObject(mutex, Access::AtomicWrite, CODE);
    GiveLock(mutex);
    return 0;
}

int PlayCondInit(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
    if (!g_inside)
        return pthread_cond_init(condition, attributes);
    const Outside outside;
    Replace(condition, sizeof *condition, CODE);
    return 0;
}

int PlayCondDestroy(pthread_cond_t* condition) {
    if (!g_inside)
        return pthread_cond_destroy(condition);
    const Outside outside;
    for (int i = 0; i < ThreadCount(); ++i)
        if (ThreadAt(i).condition == condition)
            FailWith("destroys a condition variable with waiters");
    Replace(condition, sizeof *condition, CODE);
    return 0;
}

int PlayCondWait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    if (!g_inside)
        return pthread_cond_wait(condition, mutex);
    const Outside outside;
    return Wait(condition, mutex, -1, CODE);
}

int PlayCondTimedWait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* limit) {
    if (!g_inside)
        return pthread_cond_timedwait(condition, mutex, limit);
    const Outside outside;
    return Wait(condition, mutex, limit->tv_sec * NanosecondsPerSecond + limit->tv_nsec, CODE);
}

int PlayCondBroadcast(pthread_cond_t* condition) {
    if (!g_inside)
        return pthread_cond_broadcast(condition);
    const Outside outside;
    Wake(condition, false, CODE);
    return 0;
}

int PlayCondSignal(pthread_cond_t* condition) {
    if (!g_inside)
        return pthread_cond_signal(condition);
    const Outside outside;
    Wake(condition, true, CODE);
    return 0;
}

int PlayCreate(pthread_t* handle, const pthread_attr_t* attributes, void* (*start)(void*),
               void* argument) {
    if (!g_inside)
        return pthread_create(handle, attributes, start, argument);
    const Outside outside;
    TakeTurns("create", handle, CODE);
    Touch(handle, sizeof *handle, Access::Write, CODE);
    *handle = static_cast<pthread_t>(AddThread(start, argument)) + 1;
    return 0;
}

int PlayJoin(pthread_t handle, void** result) {
    if (!g_inside)
        return pthread_join(handle, result);
    const Outside outside;
    const int number = NumberOf(handle);
    Me().joined = number;
    Me().state = State::Joining;
    TakeTurns("join", &ThreadAt(number), CODE);
    Me().state = State::Ready;
    Thread& thread = ThreadAt(number);
    if (IsCancelDue() && (thread.state != State::Ended || MayHappen()))
        BeCancelled();
    thread.wasJoined = true;
    Acquire(thread.clock);
    if (result != nullptr)
        *result = thread.result;
    return 0;
}

int PlayCancel(pthread_t handle) {
    if (!g_inside)
        return pthread_cancel(handle);
    const Outside outside;
    const int number = NumberOf(handle);
    TakeTurns("cancel", &ThreadAt(number), CODE);
    Thread& thread = ThreadAt(number);
    thread.cancelled = true;
    if (thread.state == State::Waiting && !thread.uncancellable) {
        thread.state = State::Locking;
        thread.woken = Woken::ByCancel;
    }
    return 0;
}

void PlayTestCancel() {
    if (!g_inside) {
        pthread_testcancel();
        return;
    }
    const Outside outside;
    TakeTurns("ask for a cancellation", &Me(), CODE);
    TestCancel();
}

int PlaySetCancelState(int state, int* before) {
    if (!g_inside)
        return pthread_setcancelstate(state, before);
    const Outside outside;
    if (before != nullptr)
        *before = Me().uncancellable ? PTHREAD_CANCEL_DISABLE : PTHREAD_CANCEL_ENABLE;
    Me().uncancellable = state == PTHREAD_CANCEL_DISABLE;
    return 0;
}

pthread_t PlaySelf() { return g_inside ? static_cast<pthread_t>(MyNumber()) + 1 : pthread_self(); }

int PlayYield() {
    if (!g_inside)
        return sched_yield();
    const Outside outside;
    YieldTurn("yield", CODE);
    return 0;
}

int PlaySleep(useconds_t microseconds) {
    if (!g_inside)
        return usleep(microseconds);
    const Outside outside;
    TestCancel();
    const long long end = Now() + microseconds * 1000LL;
    YieldTurn("sleep", CODE);
    AdvanceTime(end);
    TestCancel();
    return 0;
}

int PlayClockGetTime(clockid_t clock, timespec* time) {
    if (!g_inside)
        return clock_gettime(clock, time);
    *time = {Now() / NanosecondsPerSecond, Now() % NanosecondsPerSecond};
    return 0;
}

// Some time after 1970.
int PlayGetTimeOfDay(timeval* time, void* /*zone*/) {
    if (!g_inside)
        return gettimeofday(time, nullptr);
    *time = {1000000 + Now() / NanosecondsPerSecond, Now() % NanosecondsPerSecond / 1000};
    return 0;
}

sem_t* PlaySemOpen(const char* name, int /*flags*/, mode_t /*mode*/, unsigned int count) {
    const Outside outside;
    for (std::size_t i = 0; i < g_semaphoreCount; ++i)
        if (g_semaphores[i].name == name)
            return &g_semaphores[i].handle;
    if (g_semaphoreCount == g_semaphores.size())
        FailWith("too many semaphores");
    Semaphore& made = g_semaphores[g_semaphoreCount++];
    made.name = name;
    made.count = count;
    made.released.fill(0);
    return &made.handle;
}

// Those who have it open keep it.
int PlaySemUnlink(const char* name) {
    const Outside outside;
    for (std::size_t i = 0; i < g_semaphoreCount; ++i)
        if (g_semaphores[i].name == name)
            g_semaphores[i].name.clear();
    return 0;
}

int PlaySemWait(sem_t* semaphore) {
    const Outside outside;
    Me().semaphore = semaphore;
    Me().state = State::Taking;
    TakeTurns("take", semaphore, CODE);
    Me().state = State::Ready;
    Semaphore& played = Played(semaphore);
    if (IsCancelDue() && (played.count == 0 || MayHappen()))
        BeCancelled();
    --played.count;
    Acquire(played.released);
    return 0;
}

int PlaySemTryWait(sem_t* semaphore) {
    const Outside outside;
    TakeTurns("try to take", semaphore, CODE);
    Semaphore& played = Played(semaphore);
    if (played.count == 0) {
        errno = EAGAIN;
        return -1;
    }
    --played.count;
    Acquire(played.released);
    return 0;
}

int PlaySemPost(sem_t* semaphore) {
    const Outside outside;
    TakeTurns("post", semaphore, CODE);
    ++Played(semaphore).count;
    Release(Played(semaphore).released, false);
    return 0;
}

int PlaySemGetValue(sem_t* semaphore, int* count) {
    const Outside outside;
    TakeTurns("get the value", semaphore, CODE);
    *count = static_cast<int>(Played(semaphore).count);
    return 0;
}

} // extern "C"

// One, so that no thread looks on before it blocks: that would only double the schedules.
bool Vorn::HasSeveralProcessors() { return false; }
