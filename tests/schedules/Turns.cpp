// SPDX-License-Identifier: MIT
// One schedule: threads on stacks of their own, of which one runs until it comes to an operation
// that others can see, and there another one may go first.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include <dlfcn.h>

#include "schedules/Core.h"

// Saves the registers that a call preserves and the stack in *`from`, and goes on on the stack
// `to`.
extern "C" void VornSwitchStack(void** from, void* to);
asm(R"(
    .text
    .globl VornSwitchStack
    .type VornSwitchStack, @function
VornSwitchStack:
    pushq %rbp
    pushq %rbx
    pushq %r12
    pushq %r13
    pushq %r14
    pushq %r15
    movq %rsp, (%rdi)
    movq %rsi, %rsp
    popq %r15
    popq %r14
    popq %r13
    popq %r12
    popq %rbx
    popq %rbp
    ret
    .size VornSwitchStack, .-VornSwitchStack
)");

namespace VornTest::Schedules {

bool g_inside = false;
std::array<Thread, MostThreads> g_threads;
int g_current = 0;

namespace {

constexpr int MostSteps = 5000;
constexpr int AllActors = -1;
constexpr int AllOthers = -2;

enum class What { Go, TimeOut, Wake };

struct Option {
    What what;
    int thread;
    int cost; // in pre-emptions
};

// All there is in one schedule.
struct Run {
    void (*body)() = nullptr;
    Choices* choices = nullptr;
    Limits left;
    int count = 0;
    int steps = 0;
    long long now = 0;
    bool traced = false;
    bool wasCut = false;
    std::string failure;
    void* home = nullptr;
};

Run g_run;

void* CxxGlobals() { return abi::__cxa_get_globals(); }

void Leave(Thread& thread) {
    thread.savedErrno = errno;
    std::memcpy(thread.exceptions.data(), CxxGlobals(), sizeof thread.exceptions);
}

void ComeBack(const Thread& thread) {
    errno = thread.savedErrno;
    std::memcpy(CxxGlobals(), thread.exceptions.data(), sizeof thread.exceptions);
}

void SwitchTo(int number) {
    Leave(Me());
    void** const from = &Me().stackPointer;
    g_current = number;
    VornSwitchStack(from, Me().stackPointer);
    ComeBack(Me());
}

// To the explorer; the thread does not go on.
[[noreturn]] void GoHome() {
    void* nowhere = nullptr;
    VornSwitchStack(&nowhere, g_run.home);
    std::abort();
}

void Enter() {
    ComeBack(Me());
    g_inside = true;
    void* const result = Me().start(Me().argument);
    g_inside = false;
    EndThread(result);
}

void* Main(void* /*argument*/) {
    g_run.body();
    return nullptr;
}

// As VornSwitchStack leaves a stack: six registers and where to return to. The unwinder stops at
// the null above.
void* FreshStack(int number) {
    void** top = reinterpret_cast<void**>(StackOf(number) + StackSize - 64);
    *--top = nullptr;
    *--top = reinterpret_cast<void*>(Enter);
    for (int i = 0; i < 6; ++i)
        *--top = nullptr;
    return top;
}

int NumberOf(const Thread& thread) { return static_cast<int>(&thread - g_threads.data()); }

bool IsCancelDue(const Thread& thread) { return thread.cancelled && !thread.uncancellable; }

bool CanGo(const Thread& thread);

bool AreOthersQuiet(const Thread& thread) {
    for (int i = 0; i < g_run.count; ++i)
        if (i != NumberOf(thread) && CanGo(ThreadAt(i)))
            return false;
    return true;
}

bool HasEnded(int number) {
    if (number != AllActors)
        return ThreadAt(number).state == State::Ended;
    for (int i = 0; i < g_run.count; ++i)
        if (ThreadAt(i).isActor && ThreadAt(i).state != State::Ended)
            return false;
    return true;
}

bool CanGo(const Thread& thread) {
    switch (thread.state) {
    case State::Ready:
    case State::Yielding:
        return true;
    case State::Locking:
        return CanLock(thread.mutex, NumberOf(thread));
    case State::Joining:
        return thread.joined == AllOthers ? AreOthersQuiet(thread)
                                          : HasEnded(thread.joined) || IsCancelDue(thread);
    case State::Taking:
        return CanTake(thread.semaphore) || IsCancelDue(thread);
    default:
        return false;
    }
}

std::string Describe(int number) {
    static const char* const states[] = {"can go on", "yields", "waits for a lock",
                                         "waits",     "joins",  "waits for a semaphore",
                                         "has ended"};
    return "thread " + std::to_string(number) + " " +
           states[static_cast<int>(ThreadAt(number).state)];
}

[[noreturn]] void EndStuck() {
    if (g_run.left.mayBeStuck)
        GoHome();
    std::string all;
    for (int i = 0; i < g_run.count; ++i)
        all += (i > 0 ? ", " : ": ") + Describe(i);
    FailWith("no progress" + all);
}

// What may come next: first the threads that can go on, then what time and chance may do.
class Turn {
public:
    Turn() {
        const bool goesOn = CanGo(Me());
        m_isFree = !goesOn || Me().state == State::Yielding;
        bool canOther = false;
        if (!m_isFree)
            Add({What::Go, g_current, 0});
        for (int i = 0; i < g_run.count; ++i) {
            if (i == g_current || !CanGo(ThreadAt(i)))
                continue;
            canOther = true;
            Add({What::Go, i, m_isFree ? 0 : 1});
        }
        if (goesOn && m_isFree)
            Add({What::Go, g_current, canOther ? 1 : 0});
        m_goes = m_count;
        AddWakes(goesOn || canOther);
    }

    int Count() const { return m_count; }
    int Goes() const { return m_goes; }
    const Option& operator[](int i) const { return m_options[static_cast<std::size_t>(i)]; }

    int Choose() const {
        std::array<int, MostThreads> threads{};
        for (int i = 0; i < m_goes; ++i)
            threads[static_cast<std::size_t>(i)] = (*this)[i].thread;
        return g_run.choices->ChooseThread({threads.data(), static_cast<std::size_t>(m_goes)},
                                           m_count - m_goes);
    }

private:
    void Add(const Option& option) {
        if (option.cost <= g_run.left.preemptions)
            m_options[static_cast<std::size_t>(m_count++)] = option;
        else
            g_run.wasCut = true;
    }

    // While no thread can go on, time passes, but nothing wakes for no reason.
    void AddWakes(bool canGo) {
        for (int i = 0; i < g_run.count; ++i) {
            const Thread& thread = ThreadAt(i);
            if (thread.state != State::Waiting)
                continue;
            const int cost = m_isFree || !CanLock(thread.mutex, i) ? 0 : 1;
            if (thread.limit >= 0 && (!canGo || g_run.left.timeOuts > 0))
                Add({What::TimeOut, i, cost});
            if (canGo && g_run.left.causelessWakes > 0)
                Add({What::Wake, i, cost});
        }
    }

    bool m_isFree = false; // to switch away from the thread
    int m_count = 0;
    int m_goes = 0;
    std::array<Option, std::size_t{3} * MostThreads> m_options{};
};

// Returns the thread that goes on now; -1 if another choice comes first.
int Take(const Option& option, bool canGo) {
    Thread& thread = ThreadAt(option.thread);
    g_run.left.preemptions -= option.cost;
    if (option.what == What::Go)
        return option.thread;
    if (option.what == What::TimeOut)
        AdvanceTime(thread.limit);
    if (canGo)
        --(option.what == What::TimeOut ? g_run.left.timeOuts : g_run.left.causelessWakes);
    thread.woken = option.what == What::TimeOut ? Woken::ByTime : Woken::ByWake;
    thread.state = State::Locking;
    if (g_run.traced)
        Trace(Describe(option.thread) +
              (option.what == What::TimeOut ? ", its time is up" : ", woken for no reason"));
    return CanLock(thread.mutex, option.thread) ? option.thread : -1;
}

int NextThread() {
    for (;;) {
        const Turn turn;
        if (turn.Count() == 0)
            EndStuck();
        const int chosen = turn.Count() == 1 ? 0 : turn.Choose();
        const int next = Take(turn[chosen], turn.Goes() > 0);
        if (next >= 0)
            return next;
    }
}

} // namespace

int ThreadCount() { return g_run.count; }

int AddThread(void* (*start)(void*), void* argument) {
    if (g_run.count == MostThreads)
        FailWith("too many threads");
    const int number = g_run.count++;
    Thread& thread = ThreadAt(number);
    thread = Thread{};
    thread.start = start;
    thread.argument = argument;
    thread.limit = -1;
    thread.isFresh = number > 0; // the first one is not chosen: it creates the others
    thread.stackPointer = FreshStack(number);
    if (number > 0)
        Release(thread.clock, true);
    thread.clock[static_cast<std::size_t>(number)] = 1;
    g_run.choices->Begin(number);
    return number;
}

void TakeTurns(const char* operation, const void* object, const void* code) {
    if (++g_run.steps > MostSteps)
        FailWith("goes on for ever");
    const int number = g_current;
    if (Me().state == State::Yielding)
        g_run.choices->Yield(number);
    // A thread that has just begun was chosen for its first operation.
    const bool isFirst = std::exchange(Me().isFresh, false) && CanGo(Me());
    const int next = isFirst ? number : NextThread();
    if (next != number)
        SwitchTo(next);
    TraceStep(operation, object, code);
}

void TraceStep(const char* operation, const void* object, const void* code) {
    if (!g_run.traced)
        return;
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "thread %d: %s %p in ", MyNumber(), operation, object);
    Trace(text.data() + CodeAt(code));
}

void EndThread(void* result) {
    Me().result = result;
    Me().state = State::Ended;
    if (MyNumber() > 0)
        SwitchTo(NextThread());
    for (int i = 1; i < g_run.count; ++i)
        if (!ThreadAt(i).wasJoined)
            FailWith("thread " + std::to_string(i) + " was not joined");
    const std::string leaks = DescribeLeaks();
    if (!leaks.empty())
        FailWith(leaks);
    GoHome();
}

bool MayHappen() { return g_run.choices->Choose(2) == 1; }

bool MayFail() {
    if (g_run.left.weakFailures == 0 || !MayHappen())
        return false;
    --g_run.left.weakFailures;
    return true;
}

void AdvanceTime(long long to) { g_run.now = std::max(g_run.now, to); }

long long Now() { return g_run.now; }

bool IsTraced() { return g_run.traced; }

void Trace(const std::string& line) { std::printf("  %s\n", line.c_str()); }

std::string CodeAt(const void* address) {
    Dl_info info{};
    if (dladdr(address, &info) == 0 || info.dli_sname == nullptr)
        return "an unnamed function";
    const std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, nullptr), std::free);
    return (name != nullptr ? name.get() : info.dli_sname) + std::string("+") +
           std::to_string(static_cast<const char*>(address) -
                          static_cast<const char*>(info.dli_saddr));
}

void FailWith(const std::string& what) {
    g_run.failure = what;
    GoHome();
}

void Fail(const char* what, const char* file, int line) {
    const Outside outside;
    FailWith(std::string(what) + " (" + file + ":" + std::to_string(line) + ")");
}

pthread_t Begin(void* (*start)(void*), void* argument) {
    const Outside outside;
    const int number = AddThread(start, argument);
    ThreadAt(number).isActor = true;
    return static_cast<pthread_t>(number) + 1;
}

static void Await(int whom, const char* operation, const void* code) {
    const Outside outside;
    Me().joined = whom;
    Me().state = State::Joining;
    TakeTurns(operation, nullptr, code);
    Me().state = State::Ready;
}

void AwaitActors() { Await(AllActors, "await all", __builtin_return_address(0)); }

void AwaitQuiet() { Await(AllOthers, "await quiet", __builtin_return_address(0)); }

Outcome RunOnce(void (*body)(), const Limits& limits, Choices& choices, bool traced) {
    Run& run = g_run;
    run.body = body;
    run.choices = &choices;
    run.left = limits;
    run.count = run.steps = g_current = 0;
    run.now = 0;
    run.traced = traced;
    run.wasCut = false;
    run.failure.clear();
    ForgetMemory();
    ForgetSemaphores();

    const auto before = std::set_terminate([] {
        const Outside outside;
        FailWith("std::terminate");
    });
    std::array<void*, 2> exceptions{};
    std::memcpy(exceptions.data(), CxxGlobals(), sizeof exceptions);
    AddThread(Main, nullptr);
    VornSwitchStack(&run.home, Me().stackPointer);
    g_inside = false;
    std::memcpy(CxxGlobals(), exceptions.data(), sizeof exceptions);
    std::set_terminate(before);
    return {run.failure, run.wasCut};
}

} // namespace VornTest::Schedules
