// SPDX-License-Identifier: MIT
// Concerns: the explorer itself. It finds what is wrong in small programs, and nothing in those
// that are right, and runs exactly the schedules that there are.
#include <atomic>
#include <memory>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include "schedules/Explore.h"

using VornTest::Schedules::Actor;

namespace {

// A mutex that unlocks at the end of its scope, also when the thread is cancelled.
class Held {
public:
    explicit Held(pthread_mutex_t& mutex) : m_mutex(mutex) { pthread_mutex_lock(&m_mutex); }
    ~Held() { pthread_mutex_unlock(&m_mutex); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

private:
    pthread_mutex_t& m_mutex;
};

} // namespace

// FAILS_WITH(text, Name, limits...) { body }: the explorer fails it with that text, and again when
// it replays it.
#define FAILS_WITH(text, Name, ...)                                                                \
    static void Explorer##Name();                                                                  \
    [[maybe_unused]] static const bool g_isExplorer##Name =                                        \
        VornTest::Schedules::Register({"Explorer", #Name, Explorer##Name, {__VA_ARGS__}, text});   \
    static void Explorer##Name()

#define HAS_SCHEDULES(count, Name, ...)                                                            \
    static void Explorer##Name();                                                                  \
    [[maybe_unused]] static const bool g_isExplorer##Name = VornTest::Schedules::Register(         \
        {"Explorer", #Name, Explorer##Name, {__VA_ARGS__}, nullptr, count});                       \
    static void Explorer##Name()

FAILS_WITH("race with thread 0: thread 1, write at", FindsPlainAccessesThatNothingOrders) {
    int shared = 0;
    Actor writer([&] { shared = 1; });
    CHECK(shared >= 0);
}

FAILS_WITH("race", FindsThatARelaxedFlagPublishesNothing) {
    int item = 0;
    std::atomic<bool> ready{false};
    Actor writer([&] {
        item = 7;
        ready.store(true, std::memory_order_relaxed);
    });
    CHECK(!ready.load(std::memory_order_acquire) || item == 7);
}

SCENARIO(Explorer, AcceptsThatAReleasedFlagPublishes) {
    int item = 0;
    std::atomic<bool> ready{false};
    Actor writer([&] {
        item = 7;
        ready.store(true, std::memory_order_release);
    });
    CHECK(!ready.load(std::memory_order_acquire) || item == 7);
}

// Loads and stores of two threads, two each: 6 orders, of which 2 need no pre-emption (and run
// again with one allowed), 2 need one, and 2 need two.
HAS_SCHEDULES(2 + 4 + 6, RunsEveryOrderOnce, .preemptions = 9) {
    std::atomic<int> number{0};
    Actor first([&] {
        number.load();
        number.load();
    });
    Actor second([&] {
        number.load();
        number.load();
    });
}

FAILS_WITH("check: number == 2", FindsALostUpdate) {
    std::atomic<int> number{0};
    Actor other([&] { number.store(number.load() + 1); });
    number.store(number.load() + 1);
    other.Join();
    CHECK(number == 2);
}

FAILS_WITH("no progress: thread 0 joins, thread 1 waits for a lock, thread 2 waits for a lock",
           FindsADeadlock) {
    pthread_mutex_t a = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_t b = PTHREAD_MUTEX_INITIALIZER;
    Actor first([&] {
        const Held one(a);
        const Held two(b);
    });
    Actor second([&] {
        const Held one(b);
        const Held two(a);
    });
}

FAILS_WITH("no progress", FindsAWakeUpThatComesTooEarly) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    Actor waiter([&] {
        const Held held(mutex);
        pthread_cond_wait(&condition, &mutex);
    });
    pthread_cond_broadcast(&condition);
}

FAILS_WITH("use of freed memory", FindsUseAfterFree) {
    auto number = std::make_unique<std::atomic<int>>(0);
    std::atomic<int>* const address = number.get();
    number.reset();
    CHECK(address->load() == 0);
}

FAILS_WITH("race", FindsThatMemoryIsFreedTooEarlyInWhateverOrder, .preemptions = 0) {
    auto number = std::make_unique<std::atomic<int>>(0);
    Actor user([address = number.get()] { address->store(1); });
    Actor owner([&] { number.reset(); });
}

FAILS_WITH("leak of 4 bytes", FindsLeaks) {
    sched_yield();
    int* volatile left = std::make_unique<int>(1).release();
    CHECK(left != nullptr);
}

FAILS_WITH("use beyond a block", FindsUseBeyondTheEnd) {
    const auto numbers = std::make_unique<int[]>(3);
    const volatile std::size_t three = 3;
    CHECK(numbers[three] != 5);
}

FAILS_WITH("goes on for ever", FindsALoopWithoutEnd) {
    std::atomic<bool> never{false};
    while (!never)
        sched_yield();
}

FAILS_WITH("check: !woken", TriesCauselessWakes, .causelessWakes = 1) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    bool set = false;
    Actor waiter([&] {
        const Held held(mutex);
        const bool before = set;
        if (!before)
            pthread_cond_wait(&condition, &mutex);
        const bool woken = !set;
        CHECK(!woken);
    });
    const Held held(mutex);
    set = true;
    pthread_cond_broadcast(&condition);
}

FAILS_WITH("check: replaced", TriesWeakExchangesThatFail, .weakFailures = 1) {
    std::atomic<int> number{0};
    int expected = 0;
    const bool replaced = number.compare_exchange_weak(expected, 1);
    CHECK(replaced);
}

FAILS_WITH("check: status == 0", TriesTimeOutsWhileOthersCanGoOn) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    bool set = false;
    const timespec limit{1, 0};
    Actor waiter([&] {
        const Held held(mutex);
        int status = 0;
        while (!set && status == 0)
            status = pthread_cond_timedwait(&condition, &mutex, &limit);
        CHECK(status == 0);
    });
    const Held held(mutex);
    set = true;
    pthread_cond_broadcast(&condition);
}

FAILS_WITH("check: VornTest::Schedules::Now() == 0", LetsTimePassWhenNobodyCanGoOn, .timeOuts = 0) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    const timespec limit{1, 0};
    const Held held(mutex);
    CHECK(pthread_cond_timedwait(&condition, &mutex, &limit) != 0);
    CHECK(VornTest::Schedules::Now() == 0);
}

SCENARIO(Explorer, UnwindsCancelledThreadsWithTheLockHeld) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    Actor waiter([&] {
        const auto block = std::make_unique<int>(1);
        const Held held(mutex);
        for (;;)
            pthread_cond_wait(&condition, &mutex);
    });
    waiter.Cancel();
    CHECK(waiter.Join());
    const Held held(mutex);
}

FAILS_WITH("ended in catch (...)", FindsACancellationThatIsSwallowed) {
    Actor sleeper([] {
        try {
            usleep(1);
        } catch (...) { // NOLINT(bugprone-empty-catch)
        }
    });
    sleeper.Cancel();
}

FAILS_WITH("unlocks what it has not locked", FindsAnUnlockWithoutALock) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_unlock(&mutex);
}

FAILS_WITH("was not joined", FindsThreadsThatAreLeftBehind) {
    pthread_t thread{};
    pthread_create(
        &thread, nullptr, [](void* argument) { return argument; }, nullptr);
}
