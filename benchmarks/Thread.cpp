// SPDX-License-Identifier: MIT
// Events, locks and the task pool beside the standard library's and Boost.Asio's.

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <sched.h>
#include <semaphore.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include <Bases/Thread.h>
#include <support/Row.h>

namespace Bench {

namespace {

namespace asio = boost::asio;

// --- Events and locks on one thread --------------------------------------------------------------

// The C library leaves locked instructions out until a process has had a second thread.
void HaveHadASecondThread() {
    std::thread([] {}).join();
}

std::unique_ptr<Vorn::Event> OurEvent(int kind) {
    auto event = std::make_unique<Vorn::Event>();
    event->Create(kind, Vorn::EventState::NotSet, nullptr);
    return event;
}

class TheirEvent {
public:
    explicit TheirEvent(bool isManual) : m_isManual(isManual) {}

    void Set() {
        {
            const std::lock_guard lock(m_mutex);
            m_isSet = true;
        }
        m_changed.notify_all();
    }

    void Reset() {
        const std::lock_guard lock(m_mutex);
        m_isSet = false;
    }

    bool Wait() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_isSet; });
        m_isSet = m_isManual;
        return true;
    }

private:
    const bool m_isManual;
    bool m_isSet = false;
    std::mutex m_mutex;
    std::condition_variable m_changed;
};

const std::vector<std::string> MutexAndCondition = {"std::mutex and condition variable"};

const Row SetWaitReset("Event set, wait, reset", {One()}, MutexAndCondition, [](Run& run) {
    HaveHadASecondThread();
    const auto ours = OurEvent(Vorn::EventKind::ManualReset);
    TheirEvent theirs(true);
    run.Ours([&] {
        ours->Set();
        const bool result = ours->Wait(Vorn::WaitForever);
        ours->Reset();
        return result;
    });
    run.Peer([&] {
        theirs.Set();
        const bool result = theirs.Wait();
        theirs.Reset();
        return result;
    });
});

const Row SetWait("Event automatic set, wait", {One()}, MutexAndCondition, [](Run& run) {
    HaveHadASecondThread();
    const auto ours = OurEvent(Vorn::EventKind::AutoReset);
    TheirEvent theirs(false);
    run.Ours([&] {
        ours->Set();
        return ours->Wait(Vorn::WaitForever);
    });
    run.Peer([&] {
        theirs.Set();
        return theirs.Wait();
    });
});

const Row WaitOnSet("Event wait on set", {One()}, MutexAndCondition, [](Run& run) {
    HaveHadASecondThread();
    const auto ours = OurEvent(Vorn::EventKind::ManualReset);
    ours->Set();
    TheirEvent theirs(true);
    theirs.Set();
    run.Ours([&] { return ours->Wait(Vorn::WaitForever); });
    run.Peer([&] { return theirs.Wait(); });
});

const Row TryUnset("Event Wait(0) on unset", {One()}, {"sem_trywait"}, [](Run& run) {
    HaveHadASecondThread();
    const auto ours = OurEvent(Vorn::EventKind::ManualReset);
    sem_t theirs;
    sem_init(&theirs, 0, 0);
    run.Ours([&] { return ours->Wait(Vorn::TryOnce); });
    run.Peer([&] { return sem_trywait(&theirs) == 0; });
});

const Row MutexPair("Mutex lock, unlock", {One()}, {"std::mutex"}, [](Run& run) {
    HaveHadASecondThread();
    Vorn::Mutex ours(nullptr);
    std::mutex theirs;
    run.Ours([&] {
        const bool result = ours.Lock(Vorn::WaitForever);
        ours.Unlock();
        return result;
    });
    run.Peer([&] {
        theirs.lock();
        theirs.unlock();
        return true;
    });
});

const Row CsPair("Cs lock, unlock", {One()}, {"std::recursive_mutex"}, [](Run& run) {
    HaveHadASecondThread();
    const Vorn::Cs ours;
    std::recursive_mutex theirs;
    run.Ours([&] {
        ours.Lock();
        ours.Unlock();
        return true;
    });
    run.Peer([&] {
        theirs.lock();
        theirs.unlock();
        return true;
    });
});

// --- Hand-over between threads -------------------------------------------------------------------

class OurSignal {
public:
    OurSignal() { m_event.Create(Vorn::EventKind::AutoReset, Vorn::EventState::NotSet, nullptr); }
    void Post() { m_event.Set(); }
    void Wait() { m_event.Wait(Vorn::WaitForever); }

private:
    Vorn::Event m_event;
};

class TheirSignal {
public:
    TheirSignal() { sem_init(&m_sem, 0, 0); }
    void Post() { sem_post(&m_sem); }
    void Wait() { sem_wait(&m_sem); }

private:
    sem_t m_sem;
};

// Keeps a thread on one of the processors that the program may run on.
class OnProcessor {
public:
    explicit OnProcessor(unsigned int index) {
        sched_getaffinity(0, sizeof m_before, &m_before);
        cpu_set_t one;
        CPU_ZERO(&one);
        unsigned int seen = 0;
        for (std::size_t i = 0; i < CPU_SETSIZE; ++i)
            if (CPU_ISSET(i, &m_before) && seen++ == index)
                CPU_SET(i, &one);
        sched_setaffinity(0, sizeof one, &one); // refused, and without effect, where there is none
    }
    ~OnProcessor() { sched_setaffinity(0, sizeof m_before, &m_before); }
    OnProcessor(const OnProcessor&) = delete;
    OnProcessor& operator=(const OnProcessor&) = delete;

private:
    cpu_set_t m_before{};
};

// A partner thread that answers every signal with one.
template <typename Signal>
class PingPong {
public:
    PingPong() : m_partner([this] { Answer(); }) {}
    explicit PingPong(unsigned int processor)
        : m_partner([this, processor] {
              const OnProcessor its(processor);
              Answer();
          }) {}
    ~PingPong() {
        m_isOver = true;
        m_ping.Post();
        m_partner.join();
    }
    PingPong(const PingPong&) = delete;
    PingPong& operator=(const PingPong&) = delete;

    int RoundTrip() {
        m_ping.Post();
        m_pong.Wait();
        return ++m_trips;
    }

private:
    void Answer() {
        for (m_ping.Wait(); !m_isOver; m_ping.Wait())
            m_pong.Post();
    }

    Signal m_ping;
    Signal m_pong;
    std::atomic<bool> m_isOver = false;
    int m_trips = 0;
    std::thread m_partner;
};

// Threads that use up every processor.
class Load {
public:
    Load() {
        for (unsigned i = 0; i < std::thread::hardware_concurrency(); ++i)
            m_threads.emplace_back([this] {
                while (!m_isOver) {
                }
            });
    }
    ~Load() {
        m_isOver = true;
        for (std::thread& thread : m_threads)
            thread.join();
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

private:
    std::atomic<bool> m_isOver = false;
    std::vector<std::thread> m_threads;
};

void HandOver(Run& run) {
    PingPong<OurSignal> ours;
    PingPong<TheirSignal> theirs;
    run.Ours([&] { return ours.RoundTrip(); });
    run.Peer([&] { return theirs.RoundTrip(); });
}

const WallRow FreeHandOver("hand-over between threads", {One()}, {"sem_t"}, HandOver);
const WallRow BoundHandOver("hand-over between processors", {One()}, {"sem_t"}, [](Run& run) {
    PingPong<OurSignal> ours(1);
    PingPong<TheirSignal> theirs(1);
    const OnProcessor first(0);
    run.Ours([&] { return ours.RoundTrip(); });
    run.Peer([&] { return theirs.RoundTrip(); });
});
const WallRow LoadedHandOver("hand-over between threads, loaded", {One()}, {"sem_t"}, [](Run& run) {
    const Load load;
    HandOver(run);
});

// --- The task pool -------------------------------------------------------------------------------

constexpr std::size_t TasksOnOneThread = 1000;

// A pool whose worker is held at the gate, so that the thread at hand can take its place. It leaves
// by an exception of a task that the last one posts: by then the loop has come round and given the
// list nodes of the others back, as a worker does.
class OwnPool {
public:
    OwnPool() { m_pool.StartThread(Vorn::ThreadStart::Suspended); }

    Vorn::ThreadTaskPool& Queue() { return m_pool; }

    void Drain() {
        m_pool.Post([this] { m_pool.Post([] { throw Drained(); }); });
        try {
            m_pool.OnThreadEntry();
        } catch (const Drained&) {
        }
    }

private:
    struct Drained {};

    Vorn::ThreadTaskPool m_pool;
};

const Row OneThread("pool post and run, one thread", {One()}, {"Boost.Asio"}, [](Run& run) {
    HaveHadASecondThread();
    run.Items(TasksOnOneThread);
    std::size_t ran = 0;
    OwnPool ours;
    run.Ours([&] {
        for (std::size_t i = 0; i < TasksOnOneThread; ++i)
            ours.Queue().Post([&ran] { ++ran; });
        ours.Drain();
        return std::exchange(ran, 0);
    });
    asio::io_context theirs;
    run.Peer([&] {
        for (std::size_t i = 0; i < TasksOnOneThread; ++i)
            asio::post(theirs, [&ran] { ++ran; });
        theirs.run();
        theirs.restart();
        return std::exchange(ran, 0);
    });
});

class OurPool {
public:
    OurPool() { m_pool.StartThread(Vorn::ThreadStart::Running); }
    template <typename Task>
    void Post(Task task) {
        m_pool.Post(task);
    }

private:
    Vorn::ThreadTaskPool m_pool;
};

class TheirPool {
public:
    template <typename Task>
    void Post(Task task) {
        asio::post(m_pool, task);
    }

private:
    asio::thread_pool m_pool{1};
};

constexpr std::size_t Producers = 4;
constexpr std::size_t TasksOfEach = 5000;

template <typename Pool>
std::size_t Produce(Pool& pool) {
    std::atomic<std::size_t> ran = 0;
    std::vector<std::thread> producers;
    for (std::size_t i = 0; i < Producers; ++i)
        producers.emplace_back([&] {
            for (std::size_t task = 0; task < TasksOfEach; ++task)
                pool.Post([&ran] {
                    if (++ran == Producers * TasksOfEach)
                        ran.notify_all();
                });
        });
    for (std::thread& producer : producers)
        producer.join();
    for (std::size_t seen = ran; seen < Producers * TasksOfEach; seen = ran)
        ran.wait(seen);
    // The last task may still be about to notify.
    pool.Post([&ran] { ran = 0; });
    while (ran != 0)
        std::this_thread::yield();
    return Producers * TasksOfEach;
}

const WallRow FourProducers("pool, four producers", {One()}, {"Boost.Asio"}, [](Run& run) {
    run.Items(Producers * TasksOfEach);
    OurPool ours;
    TheirPool theirs;
    run.Ours([&] { return Produce(ours); });
    run.Peer([&] { return Produce(theirs); });
});

const WallRow StartStop("pool start and stop, idle", {One()}, {"Boost.Asio"}, [](Run& run) {
    run.Ours([] {
        Vorn::ThreadTaskPool pool;
        const bool result = pool.StartThread(Vorn::ThreadStart::Running);
        pool.StopThread(Vorn::WaitForever, Vorn::ThreadStop::LeaveRunning);
        return result;
    });
    run.Peer([] {
        asio::thread_pool pool(1);
        pool.join();
        return true;
    });
});

std::size_t PostTo(Vorn::ThreadTaskPool& pool, std::size_t tasks) {
    for (std::size_t i = 0; i < tasks; ++i)
        pool.Post([] {});
    return tasks;
}

std::size_t PostTo(asio::io_context& context, std::size_t tasks) {
    for (std::size_t i = 0; i < tasks; ++i)
        asio::post(context, [] {});
    return tasks;
}

const Curve PostCurve("pool post, per task", Decades(7), {"Boost.Asio"}, [](Run& run) {
    HaveHadASecondThread();
    run.Items(run.Size());
    std::unique_ptr<Vorn::ThreadTaskPool> ours;
    run.Before([&] { ours = std::make_unique<Vorn::ThreadTaskPool>(); });
    run.Ours([&] { return PostTo(*ours, run.Size()); });
    std::unique_ptr<asio::io_context> theirs;
    run.Before([&] { theirs = std::make_unique<asio::io_context>(); });
    run.Peer([&] { return PostTo(*theirs, run.Size()); });
});

const Curve RunCurve("pool run, per task", Decades(7), {"Boost.Asio"}, [](Run& run) {
    HaveHadASecondThread();
    run.Items(run.Size());
    OwnPool ours;
    run.Before([&] { PostTo(ours.Queue(), run.Size()); });
    run.Ours([&] {
        ours.Drain();
        return true;
    });
    asio::io_context theirs;
    run.Before([&] { PostTo(theirs, run.Size()); });
    run.Peer([&] {
        theirs.run();
        theirs.restart();
        return true;
    });
});

const HeapCurve TaskHeap("queued task", Decades(7), {"Boost.Asio"}, [](Run& run) {
    Vorn::ThreadTaskPool ours;
    asio::io_context theirs;
    run.Ours([&] { return PostTo(ours, run.Size()); });
    run.Peer([&] { return PostTo(theirs, run.Size()); });
});

} // namespace

} // namespace Bench
