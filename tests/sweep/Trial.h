// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SWEEP_TRIAL_H
#define VORN_BASES_TESTS_SWEEP_TRIAL_H

// One run of a scenario, under one fault or none.

#include <cstddef>
#include <functional>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "fault/Platform.h"

namespace VornTest::Sweep {

/// What happens after a call that fails.
enum class Then {
    AllWorks,
    ItFailsOnceMore, // the next call of the same function
    ItFails,         // every further call of the same function
    AllFails,        // every further call, whatever the function
};

/// Which call of the platform fails, and how.
struct Fault {
    Platform::Call* pCall = nullptr; // null: none does
    int error = 0;
    std::size_t first = 1; // counted from 1
    Then then = Then::AllWorks;
    bool anyThread = false;

    /// Such as "open, call 2 and all later ones: EMFILE".
    std::string Text() const;
};

/// What a scenario uses. It does its preparations as it likes, hands the operation to Works or Try,
/// which alone meet the fault, and requires what was promised. What it requires is looked up in the
/// public headers.
class Trial {
public:
    explicit Trial(const Fault& fault);
    ~Trial();
    Trial(const Trial&) = delete;
    Trial& operator=(const Trial&) = delete;

    /// Runs the operation under the fault. It throws nothing.
    template <typename Operation>
    auto Try(Operation operation) {
        return Run(operation, false);
    }

    /// The same, but the operation may throw std::bad_alloc when memory runs out. Returns a value
    /// of zero then.
    template <typename Operation>
    auto TryOrThrow(Operation operation) {
        return Run(operation, true);
    }

    /// Runs an operation that says whether it has succeeded, which it has unless something failed.
    template <typename Operation>
    bool Works(Operation operation) {
        return Judge(Try(operation));
    }
    template <typename Operation>
    bool WorksOrThrows(Operation operation) {
        return Judge(TryOrThrow(operation));
    }

    /// Runs an operation that may stop the process by an assertion whose message contains this, in
    /// builds that have assertions. It runs in a process of its own when something is to fail.
    void RunOrStop(const std::function<void()>& operation, const std::string& message);

    /// Notes that a promise was broken unless `holds`.
    void Require(bool holds, const char* promise);

    /// Whether a call has failed so far.
    bool MetFault() const {
        return m_stopped || (m_fault.pCall != nullptr && HasFailed(*m_fault.pCall));
    }

    /// Whether all calls have failed that were to.
    bool MetAllOfTheFault() const;

    /// Whether a call of this function has failed so far.
    static bool HasFailed(const Platform::Call& call) { return call.Failed() != 0; }

    /// Whether the last Try has thrown std::bad_alloc.
    bool HasThrown() const { return m_thrown; }

    /// Whether something was printed that contains this; also when printing is what fails.
    bool HasPrinted(const std::string& text) const;
    bool HasPrintedNothing() const { return m_printed.empty(); }

    /// The promises that were broken.
    const std::vector<std::string>& Broken() const { return m_broken; }

private:
    template <typename Operation>
    auto Run(Operation& operation, bool mayThrow) -> decltype(operation()) {
        using Result = decltype(operation());
        m_thrown = false;
        try {
            const Platform::Window window;
            return operation();
        } catch (const std::bad_alloc&) {
            m_thrown = true;
        }
        Require(mayThrow && MetFault(), "throws no std::bad_alloc");
        if constexpr (!std::is_void_v<Result>)
            return Result();
    }

    bool Judge(bool succeeded);
    void FailCall(std::size_t first, bool once) const;
    void FailAllLater() const;

    const Fault& m_fault;
    bool m_thrown = false;
    bool m_stopped = false; // a process of its own by an assertion
    std::string m_printed;
    std::vector<std::string> m_broken;
};

} // namespace VornTest::Sweep

#endif
