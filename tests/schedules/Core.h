// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SCHEDULES_CORE_H
#define VORN_BASES_TESTS_SCHEDULES_CORE_H

// The explorer's parts among themselves: the threads that it plays, how they take turns, what they
// may see of each other's memory, and the search.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include <pthread.h>
#include <semaphore.h>
#include <unwind.h>

#include "schedules/Explore.h"

namespace VornTest::Schedules {

constexpr int MostThreads = 8;
constexpr std::size_t StackSize = std::size_t{128} * 1024;

/// By thread: how much of it has been seen. A vector clock.
using Clock = std::array<std::uint16_t, MostThreads>;

enum class State {
    Ready,
    Yielding, // goes on when it is its turn again
    Locking,  // until the mutex is free
    Waiting,  // on the condition variable
    Joining,
    Taking, // a count of a semaphore
    Ended,
};

enum class Woken { NotYet, ByWake, ByTime, ByCancel };

/// A thread that the explorer plays: a stack of its own on the one real thread.
struct Thread {
    void* stackPointer;
    void* (*start)(void*);
    void* argument;
    void* result;

    State state;
    bool isFresh;              // has not come to its first operation
    pthread_mutex_t* mutex;    // to be locked, also again after a wait
    pthread_cond_t* condition; // null outside of waits
    sem_t* semaphore;
    int joined;      // the thread to join
    long long limit; // of a wait, in virtual time; below 0: none
    Woken woken;

    bool isActor;
    bool cancelled; // requested
    bool uncancellable;
    bool wasJoined;
    _Unwind_Exception unwinding;

    Clock clock;
    int savedErrno;
    std::array<void*, 2> exceptions; // the C++ runtime's two words about them
};

// Turns.cpp: whose turn it is.

/// Whether a thread of a scenario runs, and not the explorer or the framework.
extern bool g_inside;

/// For the length of a scope, the explorer's own work. Call-backs that come meanwhile are ignored.
class Outside {
public:
    Outside() { g_inside = false; }
    ~Outside() { g_inside = true; }
    Outside(const Outside&) = delete;
    Outside& operator=(const Outside&) = delete;
};

extern std::array<Thread, MostThreads> g_threads;
extern int g_current;

inline Thread& ThreadAt(int number) { return g_threads[static_cast<std::size_t>(number)]; }
inline int MyNumber() { return g_current; }
inline Thread& Me() { return ThreadAt(g_current); }
int ThreadCount();

/// Makes a thread that can run from now on.
int AddThread(void* (*start)(void*), void* argument);

/// Before an operation that other threads can see: lets any of them go first. Returns when the
/// calling thread, in whatever state it is, can go on and it is its turn.
void TakeTurns(const char* operation, const void* object, const void* code);

/// Ends the calling thread.
[[noreturn]] void EndThread(void* result);

/// Whether something happens that may or may not; either way in some schedule.
bool MayHappen();

/// The same for a weak exchange that fails without a cause, as often as the limits say.
bool MayFail();

void AdvanceTime(long long to);
bool IsTraced();
void Trace(const std::string& line);
void TraceStep(const char* operation, const void* object, const void* code);
std::string CodeAt(const void* address);
[[noreturn]] void FailWith(const std::string& what);

/// Which way to go where there are several.
class Choices {
public:
    Choices() = default;
    virtual ~Choices() = default;
    Choices(const Choices&) = delete;
    Choices& operator=(const Choices&) = delete;

    /// One of the numbers below `options`, which is at least 2.
    virtual int Choose(int options) = 0;

    /// The same among the threads that can go on; the first stands for no switch, if there is such.
    /// `others` is how many options there are besides, such as time-outs.
    virtual int ChooseThread(std::span<const int> threads, int others) = 0;

    virtual void Begin(int /*thread*/) {}
    virtual void Yield(int /*thread*/) {}
};

struct Outcome {
    std::string failure; // empty: none
    bool wasCut;         // an option was left out because of the pre-emptions it costs
};

/// Runs one schedule.
Outcome RunOnce(void (*body)(), const Limits& limits, Choices& choices, bool traced);

// Platform.cpp: what threads block on.

bool CanLock(const pthread_mutex_t* mutex, int thread);
bool CanTake(const sem_t* semaphore);
void ForgetSemaphores();

// Memory.cpp: who may see what.

enum class Access { Read, Write, AtomicRead, AtomicWrite, Free };

void ForgetMemory();
char* StackOf(int number);
bool IsPlayed(const void* address);

/// Notes an access of the calling thread and fails if another one may do something at the same
/// time that does not go together with it, or if the memory is not there.
void Touch(const void* address, std::size_t size, Access access, const void* code);

/// What has been released through an object, an atomic or a lock.
Clock& Released(const void* object);

/// The calling thread has now seen what was released.
void Acquire(const Clock& released);

/// Adds what the calling thread has done, or puts it in place of what was there.
void Release(Clock& released, bool inPlace);

/// Describes memory that was never freed; empty if there is none.
std::string DescribeLeaks();

/// Has every later access to the address traced.
void Watch(const void* address);
const void* LastFailedAddress();

// Search.cpp: which schedules are run.

struct Result {
    unsigned long schedules = 0;
    bool complete = true; // whether no schedule was left out because of the bound
    std::string failure;  // empty: none
    std::string replay;
};

/// Runs the body for every schedule within the limits, those with the fewest pre-emptions first,
/// until one fails. Calls `after` after each that does not.
Result ExploreAll(
    void (*body)(), const Limits& limits, void (*after)() = [] {});

/// Runs it `count` times by random priorities, with `depth` - 1 points where they change.
Result ExploreRandomly(void (*body)(), const Limits& limits, unsigned long count, int depth,
                       unsigned int seed);

/// Runs one schedule again, as a failure has printed it, with a trace on standard output.
Result Replay(void (*body)(), Limits limits, const std::string& replay);

} // namespace VornTest::Schedules

#endif
