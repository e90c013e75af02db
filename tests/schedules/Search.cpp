// SPDX-License-Identifier: MIT
// Which schedules are run: depth first with ever more pre-emptions, or by random priorities.
#include <array>
#include <cstdio>
#include <random>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "schedules/Core.h"

namespace VornTest::Schedules {

namespace {

constexpr int NoBound = 1000000;

struct Choice {
    int options; // 0: unknown
    int chosen;
};

// Repeats what it has been given or has chosen before and goes the first way from there on.
class Path : public Choices {
public:
    int Choose(int options) override {
        if (m_next == m_choices.size())
            m_choices.push_back({options, First(options)});
        Choice& choice = m_choices[m_next++];
        if (choice.options == 0)
            choice.options = options;
        if (choice.options != options || choice.chosen >= options)
            FailWith("the scenario is not deterministic, or the schedule is another program's");
        return choice.chosen;
    }

    int ChooseThread(std::span<const int> threads, int others) override {
        return Choose(static_cast<int>(threads.size()) + others);
    }

    void Restart() { m_next = 0; }

    // To the next path that goes another way as late as possible; false if there is none.
    bool Advance() {
        while (!m_choices.empty() && m_choices.back().chosen + 1 == m_choices.back().options)
            m_choices.pop_back();
        if (m_choices.empty())
            return false;
        ++m_choices.back().chosen;
        return true;
    }

    // Pairs: so many times the first way, then way n.
    std::string Print() const {
        std::ostringstream text;
        int firsts = 0;
        for (const Choice& choice : m_choices) {
            if (choice.chosen == 0) {
                ++firsts;
                continue;
            }
            text << firsts << '.' << choice.chosen << ',';
            firsts = 0;
        }
        return text.str();
    }

    void Parse(std::istream& text) {
        int firsts = 0;
        int chosen = 0;
        char dot = 0;
        char comma = 0;
        while (text >> firsts >> dot >> chosen >> comma) {
            m_choices.insert(m_choices.end(), static_cast<std::size_t>(firsts), {0, 0});
            m_choices.push_back({0, chosen});
        }
    }

protected:
    virtual int First(int /*options*/) { return 0; }
    std::size_t Length() const { return m_choices.size(); }

private:
    std::vector<Choice> m_choices;
    std::size_t m_next = 0;
};

// Every thread has a random priority, and the one with the highest goes on. At a few random points
// the running thread falls below all others; so does one that yields.
class RandomPath : public Path {
public:
    RandomPath(std::mt19937& random, int depth, std::size_t length) : m_random(random) {
        for (int i = 1; i < depth; ++i)
            m_changes.push_back(random() % (length + 1));
    }

    int ChooseThread(std::span<const int> threads, int others) override {
        m_suggestion = Suggest(threads, others);
        return Path::ChooseThread(threads, others);
    }

    void Begin(int thread) override { Priority(thread) = 1 + static_cast<int>(m_random() % 1000); }
    void Yield(int thread) override { Priority(thread) = --m_lowest; }

    std::size_t Steps() const { return Length(); }

protected:
    int First(int options) override {
        if (m_suggestion < 0)
            return static_cast<int>(m_random() % static_cast<unsigned int>(options));
        const int suggestion = m_suggestion;
        m_suggestion = -1;
        return suggestion;
    }

private:
    int& Priority(int thread) { return m_priorities[static_cast<std::size_t>(thread)]; }

    int Suggest(std::span<const int> threads, int others) {
        const int count = static_cast<int>(threads.size());
        if (others > 0 && (count == 0 || m_random() % 8 == 0))
            return count + static_cast<int>(m_random() % static_cast<unsigned int>(others));
        for (const std::size_t change : m_changes)
            if (change == Length())
                Yield(MyNumber());
        int best = 0;
        for (int i = 1; i < count; ++i)
            if (Priority(threads[static_cast<std::size_t>(i)]) >
                Priority(threads[static_cast<std::size_t>(best)]))
                best = i;
        return best;
    }

    std::mt19937& m_random;
    std::vector<std::size_t> m_changes;
    std::array<int, MostThreads> m_priorities{};
    int m_lowest = 0;
    int m_suggestion = -1;
};

std::string PrintLimits(const Limits& limits) {
    std::ostringstream text;
    text << 'p' << limits.preemptions << 't' << limits.timeOuts << 'w' << limits.causelessWakes
         << 'f' << limits.weakFailures << ':';
    return text.str();
}

// A failure counts when it comes again. The trace shows who used the memory that it is about.
void Confirm(void (*body)(), const Limits& limits, Path& path, Result& result) {
    result.replay = PrintLimits(limits) + path.Print();
    path.Restart();
    Watch(LastFailedAddress());
    const Outcome again = RunOnce(body, limits, path, false);
    if (again.failure != result.failure)
        result.failure = "the scenario is not deterministic: first " + result.failure + ", then " +
                         (again.failure.empty() ? "nothing" : again.failure);
}

} // namespace

Result ExploreAll(void (*body)(), const Limits& limits, void (*after)()) {
    Result result;
    Limits bounded = limits;
    for (int bound = 0; bound <= limits.preemptions; ++bound) {
        bounded.preemptions = bound;
        result.complete = true;
        Path path;
        do {
            path.Restart();
            const Outcome outcome = RunOnce(body, bounded, path, false);
            ++result.schedules;
            result.failure = outcome.failure;
            if (!result.failure.empty()) {
                Confirm(body, bounded, path, result);
                return result;
            }
            after();
            result.complete = result.complete && !outcome.wasCut;
        } while (path.Advance());
        if (result.complete)
            break;
    }
    return result;
}

Result ExploreRandomly(void (*body)(), const Limits& limits, unsigned long count, int depth,
                       unsigned int seed) {
    Result result;
    result.complete = false;
    Limits unbounded = limits;
    unbounded.preemptions = NoBound;
    std::mt19937 random(seed);
    std::size_t length = 100;
    while (result.schedules < count && result.failure.empty()) {
        RandomPath path(random, depth, length);
        result.failure = RunOnce(body, unbounded, path, false).failure;
        ++result.schedules;
        length = path.Steps();
        if (!result.failure.empty())
            Confirm(body, unbounded, path, result);
    }
    return result;
}

Result Replay(void (*body)(), Limits limits, const std::string& replay) {
    std::istringstream text(replay);
    char p = 0;
    char t = 0;
    char w = 0;
    char f = 0;
    char colon = 0;
    text >> p >> limits.preemptions >> t >> limits.timeOuts >> w >> limits.causelessWakes >> f >>
        limits.weakFailures >> colon;
    if (p != 'p' || t != 't' || w != 'w' || f != 'f' || colon != ':')
        return {0, false, "not a schedule: " + replay, replay};
    Path path;
    path.Parse(text);
    const Outcome outcome = RunOnce(body, limits, path, true);
    return {1, false, outcome.failure, replay};
}

} // namespace VornTest::Schedules
