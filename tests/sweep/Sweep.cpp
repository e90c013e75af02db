// SPDX-License-Identifier: MIT
// The order of the faults, and the judgement after each.
#include "sweep/Sweep.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <exception>
#include <string_view>

#include <unistd.h>

#include "sweep/Holdings.h"

namespace VornTest::Sweep {

namespace {

constexpr std::size_t MostBroken = 50; // promises that are reported of a scenario

std::vector<Scenario>& List() {
    static std::vector<Scenario> scenarios;
    return scenarios;
}

// What a crash is to be blamed on.
class Blame {
public:
    Blame(const Scenario& scenario, const Fault& fault) {
        s_text =
            std::string("\nthe sweep was at ") + scenario.name + " with " + fault.Text() + "\n";
        for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGTERM})
            std::signal(signal, Print);
    }
    ~Blame() {
        for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGTERM})
            std::signal(signal, SIG_DFL);
    }
    Blame(const Blame&) = delete;
    Blame& operator=(const Blame&) = delete;

private:
    static void Print(int signal) {
        [[maybe_unused]] const auto written = ::write(STDERR_FILENO, s_text.c_str(), s_text.size());
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }

    static inline std::string s_text;
};

void RunScenario(const Scenario& scenario, Trial& trial) {
    try {
        scenario.run(trial);
    } catch (const std::exception& exception) {
        const Platform::Bypass bypass;
        trial.Require(false, (std::string("throws no ") + exception.what()).c_str());
    }
}

// The sweep of one scenario.
class Sweeper {
public:
    Sweeper(const Scenario& scenario, Extent extent) : m_scenario(scenario), m_extent(extent) {}

    Report Run() {
        Try({}, false); // what the process keeps for ever is made here
        Try({});
        for (Platform::Call* const call : std::vector(m_called))
            FailEvery(*call);
        return m_report;
    }

    std::vector<Platform::Call*> Calls() {
        Try({});
        return m_called;
    }

private:
    void FailEvery(Platform::Call& call) {
        for (const int error : call.Errors())
            for (const Then then :
                 {Then::AllWorks, Then::ItFailsOnceMore, Then::ItFails, Then::AllFails}) {
                const Fault fault{&call, error, 1, then, m_scenario.anyThread};
                if (WhyLeftOut(fault) == nullptr)
                    FailFrom(fault);
            }
        Try({}); // and the process is as it was
    }

    void FailFrom(Fault fault) {
        while (Try(fault)) {
            ++m_report.faults;
            fault.first = m_extent == Extent::Whole ? fault.first + 1 : fault.first * 2;
        }
    }

    // Returns whether all of the fault was met.
    bool Try(const Fault& fault, bool isJudged = true) {
        const Blame blame(m_scenario, fault);
        const Holdings holdings;
        Trial trial(fault);
        RunScenario(m_scenario, trial);
        const bool isMet = trial.MetFault();
        const bool isAllMet = trial.MetAllOfTheFault();
        if (fault.pCall == nullptr)
            NoteCalls();
        if (!isJudged)
            return isAllMet;
        for (const std::string& line : trial.Broken())
            Note(isMet ? fault : Fault{}, line);
        for (const std::string& line : holdings.Left())
            Note(isMet ? fault : Fault{}, line);
        return isAllMet;
    }

    void NoteCalls() {
        const Platform::Bypass bypass;
        m_called.clear();
        for (Platform::Call* const call : Platform::All())
            if (call->Count() != 0)
                m_called.push_back(call);
    }

    void Note(const Fault& fault, const std::string& line) {
        const Platform::Bypass bypass;
        if (m_report.broken.size() < MostBroken)
            m_report.broken.push_back(fault.Text() + ": broken: " + line);
    }

    const Scenario& m_scenario;
    const Extent m_extent;
    Report m_report;
    std::vector<Platform::Call*> m_called; // when nothing failed
};

} // namespace

Scenarios::Scenarios(std::initializer_list<Scenario> scenarios) {
    List().insert(List().end(), scenarios.begin(), scenarios.end());
}

std::vector<Scenario> AllScenarios() {
    std::vector<Scenario> all = List();
    std::sort(all.begin(), all.end(), [](const Scenario& left, const Scenario& right) {
        return std::string_view(left.name) < right.name;
    });
    return all;
}

Report SweepOver(const Scenario& scenario, Extent extent) {
    return Sweeper(scenario, extent).Run();
}

std::vector<Platform::Call*> CallsOf(const Scenario& scenario) {
    return Sweeper(scenario, Extent::Sample).Calls();
}

} // namespace VornTest::Sweep
