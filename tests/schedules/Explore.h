// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SCHEDULES_EXPLORE_H
#define VORN_BASES_TESTS_SCHEDULES_EXPLORE_H

// What a scenario is written with. It runs once for every schedule, always from the start, so it
// must do the same each time; and it must not use GoogleTest, whose objects outlive a schedule.

#include <functional>
#include <utility>

#include <pthread.h>

namespace VornTest::Schedules {

/// How far the explorer goes, for one schedule.
struct Limits {
    int preemptions = 2;     // switches away from a thread that could have gone on
    int timeOuts = 2;        // while a thread could run; when none can, the time always moves on
    int causelessWakes = 0;  // of condition variables
    int weakFailures = 0;    // of exchanges that may fail without a cause
    bool mayBeStuck = false; // whether a schedule in which nobody can go on is a good one
};

struct Scenario {
    const char* suite;
    const char* name;
    void (*body)();
    Limits limits;
    const char* failure = nullptr; // what the explorer has to find, in its own checks
    unsigned long schedules = 0;   // how many there are, if that is known
};

/// Makes a test of it. Returns true.
bool Register(const Scenario& scenario);

/// Ends the schedule as failed.
[[noreturn]] void Fail(const char* what, const char* file, int line);

/// Begins a thread, without a switch to it here. It has to be joined.
pthread_t Begin(void* (*start)(void*), void* argument);

/// Waits until every thread that was begun so has ended; no cancellation point.
void AwaitActors();

/// Waits until no other thread can go on: all have ended, or sleep.
void AwaitQuiet();

/// The virtual time in nanoseconds, 0 at the start. It moves with time-outs and sleeps only.
long long Now();

/// A thread of a scenario. Its destructor joins it when all of them have ended: in between, the
/// turns of the joining thread would only multiply the schedules.
class Actor {
public:
    explicit Actor(std::function<void()> body) : m_body(std::move(body)) {
        m_thread = Begin(Run, this);
    }
    ~Actor() {
        AwaitActors();
        Join();
    }
    Actor(const Actor&) = delete;
    Actor& operator=(const Actor&) = delete;

    void Cancel() { pthread_cancel(m_thread); }

    /// Returns whether the thread was cancelled.
    bool Join() {
        void* result = nullptr;
        if (!std::exchange(m_joined, true))
            pthread_join(m_thread, &result);
        return result == PTHREAD_CANCELED;
    }

private:
    static void* Run(void* actor) {
        static_cast<Actor*>(actor)->m_body();
        return nullptr;
    }

    std::function<void()> m_body;
    pthread_t m_thread{};
    bool m_joined = false;
};

} // namespace VornTest::Schedules

// Macros, for the text and the place of what has failed and the name of the test.
#define CHECK(condition)                                                                           \
    ((condition) ? static_cast<void>(0)                                                            \
                 : VornTest::Schedules::Fail("check: " #condition, __FILE__, __LINE__))

/// SCENARIO(Suite, Name, limits...) { body }: the limits are designated initialisers of Limits.
#define SCENARIO(Suite, Name, ...)                                                                 \
    static void Suite##Name();                                                                     \
    [[maybe_unused]] static const bool g_is##Suite##Name =                                         \
        VornTest::Schedules::Register({#Suite, #Name, Suite##Name, {__VA_ARGS__}});                \
    static void Suite##Name()

#endif
