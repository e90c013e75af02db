// SPDX-License-Identifier: MIT
// Concerns: every short program of two threads with one event, in every schedule. What it observes
// is what a small model of the event allows, and the model allows nothing that is never observed.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "schedules/Core.h"
#include "schedules/Programs.h"

namespace VornTest::Schedules {

namespace {

enum class Phase { Ready, Joined, Released };

// The event and the two threads. Every operation is one step, but for waits that block: they join,
// and later pass or give up.
struct Model {
    bool isSet = false;
    bool isFree = false;
    int count = 0;
    std::array<std::size_t, 2> next{};
    std::array<Phase, 2> phase{};
    Observed observed;
    // NOLINTNEXTLINE(modernize-use-nullptr): it blames what the compiler generates
    auto operator<=>(const Model&) const = default;

    void Reset() {
        isSet = isFree = false;
        count = std::min(count, 0);
    }

    void Set() {
        if (isSet)
            return;
        isSet = true;
        count = 0;
        isFree = phase[0] != Phase::Joined && phase[1] != Phase::Joined;
        for (Phase& each : phase)
            if (each == Phase::Joined)
                each = Phase::Released;
    }

    // A pass by the flag is no attempt that counts.
    bool Try() {
        if (isSet)
            return true;
        --count;
        const bool passes = isFree;
        isFree = false;
        return passes;
    }
};

class Explored {
public:
    explicit Explored(const Program& program) : m_program(program) {
        Model start;
        start.isSet = start.isFree = program.isSet;
        start.count = program.isSet ? 1 : 0;
        Visit(start);
    }

    const std::set<Observed>& All() const { return m_all; }

private:
    void Visit(const Model& model) {
        if (!m_seen.insert(model).second)
            return;
        bool moved = false;
        for (std::size_t thread = 0; thread < 2; ++thread)
            moved = Step(model, thread) || moved;
        if (!moved)
            m_all.insert(Final(model));
    }

    Observed Final(Model model) const {
        if (model.next[0] < m_program.threads[0].size() ||
            model.next[1] < m_program.threads[1].size())
            return model.observed; // blocked for ever
        model.observed.ended = true;
        model.observed.count = model.count;
        model.observed.isSet = model.Try();
        return model.observed;
    }

    void Answered(Model model, std::size_t thread, bool answer) {
        const std::size_t i = model.next[thread]++;
        model.observed.answers[thread][i] = answer ? Answer::True : Answer::False;
        model.phase[thread] = Phase::Ready;
        Visit(model);
    }

    void Pass(Model model, std::size_t thread) {
        if (!m_program.isManual)
            model.Reset();
        Answered(model, thread, true);
    }

    // Goes on with everything that the thread may do next. Returns false if it can do nothing.
    bool Step(Model model, std::size_t thread) {
        if (model.next[thread] == m_program.threads[thread].size())
            return false;
        const Operation operation = m_program.threads[thread][model.next[thread]];
        if (model.phase[thread] == Phase::Released) {
            Pass(model, thread);
            return true;
        }
        if (model.phase[thread] == Phase::Joined) {
            if (operation != Operation::TimedWait)
                return false;
            Answered(model, thread, false);
            return true;
        }
        Begin(model, thread, operation);
        return true;
    }

    void Begin(Model model, std::size_t thread, Operation operation) {
        if (operation == Operation::Set || operation == Operation::Reset) {
            operation == Operation::Set ? model.Set() : model.Reset();
            Answered(model, thread, true);
        } else if (model.Try()) {
            Pass(model, thread);
        } else if (operation == Operation::Try) {
            Answered(model, thread, false);
        } else {
            model.phase[thread] = Phase::Joined;
            Visit(model);
        }
    }

    const Program& m_program;
    std::set<Model> m_seen;
    std::set<Observed> m_all;
};

std::string Print(const Program& program) {
    static const char* const names[] = {"Set", "Reset", "Wait(0)", "Wait(10)", "Wait(for ever)"};
    std::ostringstream text;
    text << (program.isManual ? "manual" : "auto") << (program.isSet ? ", set" : ", not set");
    for (const auto& thread : program.threads) {
        text << " |";
        for (const Operation operation : thread)
            text << ' ' << names[static_cast<int>(operation)];
    }
    return text.str();
}

std::string Print(const Observed& observed) {
    std::ostringstream text;
    for (const auto& answers : observed.answers)
        for (const Answer answer : answers)
            text << "-ft"[static_cast<int>(answer)];
    if (observed.ended)
        text << " count " << observed.count << (observed.isSet ? " set" : " not set");
    else
        text << " blocked";
    return text.str();
}

std::set<Observed> g_allObserved;

void Collect() { g_allObserved.insert(g_observed); }

// Returns how many schedules there were.
unsigned long Compare(const Program& program, int preemptions) {
    g_program = program;
    g_allObserved.clear();
    const Result result = ExploreAll(
        RunProgram, {.preemptions = preemptions, .timeOuts = 6, .mayBeStuck = true}, Collect);
    EXPECT_EQ("", result.failure) << Print(program) << ' ' << result.replay;
    const std::set<Observed> allowed = Explored(program).All();
    for (const Observed& observed : g_allObserved) {
        EXPECT_EQ(1U, allowed.count(observed)) << Print(program) << ": " << Print(observed);
    }
    if (!result.complete)
        return result.schedules;
    for (const Observed& observed : allowed) {
        EXPECT_EQ(1U, g_allObserved.count(observed))
            << Print(program) << " is never: " << Print(observed);
    }
    return result.schedules;
}

// Every sequence of one to `most` operations.
std::vector<std::vector<Operation>> Sequences(std::size_t most) {
    std::vector<std::vector<Operation>> all{{}};
    for (std::size_t i = 0; i < all.size(); ++i)
        if (all[i].size() < most)
            for (int operation = 0; operation < Operations; ++operation) {
                all.push_back(all[i]);
                all.back().push_back(static_cast<Operation>(operation));
            }
    all.erase(all.begin());
    return all;
}

// Every program but for those that differ only in which thread is which.
void CompareAll(std::size_t most, int preemptions) {
    const auto sequences = Sequences(most);
    unsigned long programs = 0;
    unsigned long schedules = 0;
    for (const bool isManual : {false, true})
        for (const bool isSet : {false, true})
            for (std::size_t i = 0; i < sequences.size(); ++i)
                for (std::size_t j = i; j < sequences.size() && !testing::Test::HasFailure(); ++j) {
                    ++programs;
                    schedules +=
                        Compare({isManual, isSet, {sequences[i], sequences[j]}}, preemptions);
                }
    std::printf("%lu programs, %lu schedules\n", programs, schedules);
}

bool IsLong() {
    return std::getenv("VORN_SCHEDULES_MORE") != nullptr;
} // NOLINT(concurrency-mt-unsafe)

TEST(ShortPrograms, OfOneOperationEachObserveWhatTheModelAllowsAndAllOfIt) { CompareAll(1, 100); }

TEST(ShortPrograms, OfTwoOperationsEachObserveWhatTheModelAllows) {
    CompareAll(2, IsLong() ? 100 : 2);
}

TEST(ShortPrograms, OfThreeOperationsEachObserveWhatTheModelAllows) {
    if (!IsLong())
        GTEST_SKIP() << "takes minutes: ./dev schedules runs it";
    CompareAll(3, 2);
}

} // namespace

} // namespace VornTest::Schedules
