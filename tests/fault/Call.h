// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_FAULT_CALL_H
#define VORN_BASES_TESTS_FAULT_CALL_H

// How a call to the platform is scripted and recorded. Platform.h explains it and lists the calls.

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "fault/Bypass.h"

namespace VornTest::Platform {

/// Stands for an errno: the call does half of its work and returns the short count.
inline constexpr int ShortCount = -1;

class Call;

/// Which calls a script is for. They are counted from 1, from the moment the script was given.
struct When {
    std::size_t first = 1;
    bool once = false;            // only that one; otherwise the later ones too
    bool anyThread = false;       // of all threads; otherwise of the one that gave the script
    bool inWindow = false;        // only those made while there is a Window; others are not counted
    const Call* pAfter = nullptr; // only those made after this function was made to fail
};

/// While there is one, scripts hold that are for calls in a window, and over all others. For
/// generic code that makes every call of an operation fail, and none of what a test does before and
/// after it.
class Window {
public:
    Window() { ++s_open; }
    ~Window() { --s_open; }
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    static bool IsOpen() { return s_open != 0; }

private:
    static inline std::atomic<int> s_open{0};
};

/// Whether a call that reports an error has not done its work, or has: close gives its descriptor
/// back in any case.
enum class OnError { WorkIsNotDone, WorkIsDone };

/// A function of the platform, whatever its type.
class Call {
public:
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// The function's name, such as "open" or "operator new".
    const char* Name() const { return m_name; }

    /// The plausible ways in which it fails: errno values and ShortCount. Empty: it cannot fail.
    std::span<const int> Errors() const { return m_errors; }

    /// Whether calls of this thread are scripted or recorded.
    bool IsWatched() const { return m_watched.load(std::memory_order_relaxed) && !Bypass::IsOn(); }

    /// Makes calls fail with this error.
    virtual void Fail(int error, const When& when) = 0;

    /// Writes down the calls of this thread, or of all threads, from now on.
    void Record(bool anyThread = false);

    /// How many calls were recorded.
    std::size_t Count() const;

    /// How many calls were answered by a script.
    std::size_t Scripted() const;

    /// How many of these were made to fail.
    std::size_t Failed() const;

    /// Forgets the recorded calls; goes on recording if it did.
    void Forget();

    /// Forgets all scripts and records of this function.
    void Reset();

protected:
    constexpr Call(const char* name, std::span<const int> errors)
        : m_name(name), m_errors(errors) {}
    ~Call() = default;

    /// What is scripted and recorded.
    struct State {
        State() = default;
        virtual ~State() = default;
        State(const State&) = delete;
        State& operator=(const State&) = delete;

        virtual void ForgetCalls() { moments = {}; }

        bool records = false;
        const void* pRecorded = nullptr;  // the thread; null: all
        std::vector<std::size_t> moments; // of the recorded calls, among those of all functions
        std::size_t scripted = 0;
        std::size_t failed = 0;
    };

    bool Records() const;
    void NoteMoment();

    State* GetState() const { return m_pState; }
    static bool HasFailed(const Call& call) {
        return call.m_pState != nullptr && call.m_pState->failed != 0;
    }
    State& KeepState();
    virtual std::unique_ptr<State> MakeState() const = 0;

private:
    friend std::vector<std::string> Order();

    const char* m_name;
    std::span<const int> m_errors;
    std::atomic<bool> m_watched{false}; // scripted or recorded
    State* m_pState = nullptr; // no smart pointer: calls still come when objects are destroyed
};

/// All functions, and the one of that name (null: there is none).
const std::vector<Call*>& All();
Call* Find(const std::string& name);

/// Records the calls of all functions.
void RecordAll(bool anyThread = false);

/// The names of all recorded calls, in their order.
std::vector<std::string> Order();

/// Forgets every script and record. It runs by itself after each test.
void Reset();

/// Lists functions in All.
struct Family {
    Family(std::initializer_list<Call*> calls);
};

namespace Detail {

/// Identifies the calling thread.
const void* ThisThread();

/// Access to the notes: for one thread at a time, without effect on its calls and its errno.
class Notes {
public:
    Notes();
    ~Notes();
    Notes(const Notes&) = delete;
    Notes& operator=(const Notes&) = delete;

private:
    const Bypass m_bypass;
    const int m_errno = errno;
};

/// How an argument is written down: text by its characters, for it is gone later.
template <typename T>
struct Written {
    using Type = T;
    static T Of(T value) { return value; }
};

template <>
struct Written<const char*> {
    using Type = std::string;
    static std::string Of(const char* text) { return text == nullptr ? "(null)" : text; }
};

/// All arguments of a call: a tuple, but a single one is itself.
template <typename... Args>
struct Arguments {
    using Type = std::tuple<typename Written<Args>::Type...>;
    static Type Of(Args... args) { return Type(Written<Args>::Of(args)...); }
};

template <typename Arg>
struct Arguments<Arg> : Written<Arg> {};

/// Fails by the common convention: sets errno and returns -1 or null.
template <typename R>
R FailByErrno(int error) {
    errno = error;
    if constexpr (std::is_pointer_v<R>)
        return nullptr;
    else
        return static_cast<R>(-1);
}

/// Fails as functions do whose result is the error number itself.
inline int FailByResult(int error) { return error; }

/// How a function fails by default.
template <typename R>
constexpr auto Usual() -> R (*)(int) {
    if constexpr (std::is_void_v<R>)
        return nullptr;
    else
        return FailByErrno<R>;
}

} // namespace Detail

/// A list of errors for a function's declaration.
template <int... Error>
inline constexpr std::array<int, sizeof...(Error)> Errors{Error...};

template <typename Signature>
class Function;

/// A function of the platform with its scripts and records. Calling it is what the library does.
template <typename R, typename... Args>
class Function<R(Args...)> final : public Call {
public:
    using Pointer = R (*)(Args...);
    using Failing = R (*)(int error);
    using Hook = std::function<R(Args...)>;
    using Arguments = typename Detail::Arguments<Args...>::Type;
    using Result = std::conditional_t<std::is_void_v<R>, std::nullptr_t, R>;

    /// What the calls that `when` selects do.
    class Script {
    public:
        explicit Script(Function& function, When when = {}) : m_function(function), m_when(when) {}

        /// The nth call only.
        Script At(std::size_t n) const { return For({n, true, m_when.anyThread}); }
        /// The nth call and all after it.
        Script From(std::size_t n) const { return For({n, false, m_when.anyThread}); }
        /// Calls of all threads.
        Script OnAnyThread() const { return For({m_when.first, m_when.once, true}); }

        void Fail(int error) const { m_function.Fail(error, m_when); }
        void Answer(Result value) const {
            Do([value](Args...) -> R { return R(value); });
        }
        void Do(Hook hook) const { m_function.Do(std::move(hook), m_when); }

    private:
        Script For(const When& when) const { return Script(m_function, when); }

        Function& m_function;
        When m_when;
    };

    /// `failing` sets errno and returns the result that means failure; null: the function cannot
    /// fail. `cut` is the call with a short count.
    constexpr Function(const char* name, Pointer real, std::span<const int> errors = {},
                       Failing failing = Detail::Usual<R>(), Pointer cut = nullptr,
                       OnError onError = OnError::WorkIsNotDone)
        : Call(name, errors), m_real(real), m_failing(failing), m_cut(cut), m_onError(onError) {}

    R operator()(Args... args) { return IsWatched() ? Watched(args...) : m_real(args...); }

    /// The system's own function.
    R Real(Args... args) const { return m_real(args...); }

    /// Fails as the function does: returns the result that means failure, or throws.
    R Failure(int error) const { return m_failing(error); }

    Script At(std::size_t n) { return Script(*this).At(n); }
    Script From(std::size_t n) { return Script(*this).From(n); }
    Script OnAnyThread() { return Script(*this).OnAnyThread(); }

    /// Every call of this thread fails.
    void Fail(int error) { Fail(error, When{}); }
    /// Every call of this thread returns this, and does nothing else.
    void Answer(Result value) { Script(*this).Answer(value); }
    /// Every call of this thread is this. What the hook calls itself goes to the system.
    void Do(Hook hook) { Do(std::move(hook), When{}); }

    void Fail(int error, const When& when) override {
        const bool isCut = error == ShortCount;
        if (isCut ? m_cut == nullptr : m_failing == nullptr)
            throw std::logic_error(std::string(Name()) + " does not fail this way");
        if (isCut)
            Add(m_cut, when, true);
        else
            Add([this, error](Args... args) { return FailWith(error, args...); }, when, true);
    }
    void Do(Hook hook, const When& when) { Add(std::move(hook), when, false); }

    /// What the recorded calls were given, and what they returned.
    std::vector<Arguments> Calls() const;
    std::vector<Result> Results() const;

private:
    struct Rule {
        When when;
        const void* pThread;
        std::shared_ptr<const Hook> hook;
        bool fails;
        std::size_t seen = 0;
    };

    void Add(Hook hook, const When& when, bool fails);
    R FailWith(int error, Args... args) const;
    R Watched(Args... args);
    std::shared_ptr<const Hook> Note(Args... args);
    std::shared_ptr<const Hook> Choose();
    R Run(const std::shared_ptr<const Hook>& hook, Args... args);
    void NoteResult(Result result);

    struct TypedState final : State {
        void ForgetCalls() override {
            State::ForgetCalls();
            calls = {};
            results = {};
        }

        std::vector<Rule> rules; // of several that are for a call, the last one holds
        std::vector<Arguments> calls;
        std::vector<Result> results;
    };

    std::unique_ptr<State> MakeState() const override { return std::make_unique<TypedState>(); }
    TypedState* Kept() const { return static_cast<TypedState*>(GetState()); }

    Pointer m_real;
    Failing m_failing;
    Pointer m_cut;
    OnError m_onError;
};

template <typename R, typename... Args>
R Function<R(Args...)>::Watched(Args... args) {
    const std::shared_ptr<const Hook> hook = Note(args...);
    if constexpr (std::is_void_v<R>) {
        Run(hook, args...);
    } else {
        const R result = Run(hook, args...);
        NoteResult(result);
        return result;
    }
}

template <typename R, typename... Args>
auto Function<R(Args...)>::Note(Args... args) -> std::shared_ptr<const Hook> {
    const Detail::Notes notes;
    if (Records()) {
        NoteMoment();
        Kept()->calls.push_back(Detail::Arguments<Args...>::Of(args...));
    }
    return Kept() == nullptr ? nullptr : Choose();
}

template <typename R, typename... Args>
auto Function<R(Args...)>::Choose() -> std::shared_ptr<const Hook> {
    const Rule* chosen = nullptr;
    for (Rule& rule : Kept()->rules) {
        if (!rule.when.anyThread && rule.pThread != Detail::ThisThread())
            continue;
        if (rule.when.inWindow && !Window::IsOpen())
            continue;
        if (rule.when.pAfter != nullptr && !HasFailed(*rule.when.pAfter))
            continue;
        ++rule.seen;
        if (rule.when.once ? rule.seen != rule.when.first : rule.seen < rule.when.first)
            continue;
        if (chosen == nullptr || rule.when.inWindow || !chosen->when.inWindow)
            chosen = &rule;
    }
    if (chosen == nullptr)
        return nullptr;
    ++Kept()->scripted;
    if (chosen->fails)
        ++Kept()->failed;
    return chosen->hook;
}

template <typename R, typename... Args>
R Function<R(Args...)>::Run(const std::shared_ptr<const Hook>& hook, Args... args) {
    if (hook == nullptr)
        return m_real(args...);
    const Bypass bypass;
    return (*hook)(args...);
}

template <typename R, typename... Args>
void Function<R(Args...)>::NoteResult(Result result) {
    const Detail::Notes notes;
    if (Records())
        Kept()->results.push_back(result);
}

template <typename R, typename... Args>
void Function<R(Args...)>::Add(Hook hook, const When& when, bool fails) {
    const Detail::Notes notes;
    static_cast<TypedState&>(KeepState())
        .rules.push_back(
            {when, Detail::ThisThread(), std::make_shared<const Hook>(std::move(hook)), fails});
}

template <typename R, typename... Args>
R Function<R(Args...)>::FailWith(int error, Args... args) const {
    if (m_onError == OnError::WorkIsDone)
        static_cast<void>(m_real(args...));
    return m_failing(error);
}

template <typename R, typename... Args>
auto Function<R(Args...)>::Calls() const -> std::vector<Arguments> {
    const Detail::Notes notes;
    return Kept() == nullptr ? std::vector<Arguments>() : Kept()->calls;
}

template <typename R, typename... Args>
auto Function<R(Args...)>::Results() const -> std::vector<Result> {
    const Detail::Notes notes;
    return Kept() == nullptr ? std::vector<Result>() : Kept()->results;
}

} // namespace VornTest::Platform

#endif
