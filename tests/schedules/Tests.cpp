// SPDX-License-Identifier: MIT
// Makes tests of GoogleTest out of scenarios. What is explored is chosen by the environment:
// VORN_SCHEDULES_MORE, pre-emptions on top of the scenario's; VORN_SCHEDULES_RANDOM, so many random
// schedules instead, from VORN_SCHEDULES_SEED; VORN_SCHEDULES_REPLAY, one schedule.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "schedules/Core.h"

namespace VornTest::Schedules {

namespace {

constexpr int Depth = 5; // of the random schedules

const char* Setting(const char* name) {
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
    return value != nullptr ? value : "";
}

unsigned long Number(const char* name, unsigned long otherwise) {
    const char* const value = Setting(name);
    return *value != '\0' ? std::strtoul(value, nullptr, 10) : otherwise;
}

Result Explore(const Scenario& scenario) {
    Limits limits = scenario.limits;
    if (*Setting("VORN_SCHEDULES_REPLAY") != '\0')
        return Replay(scenario.body, limits, Setting("VORN_SCHEDULES_REPLAY"));
    if (scenario.failure != nullptr || scenario.schedules != 0)
        return ExploreAll(scenario.body, limits); // the explorer's own checks are always the same
    if (const unsigned long count = Number("VORN_SCHEDULES_RANDOM", 0))
        return ExploreRandomly(scenario.body, limits, count, Depth,
                               static_cast<unsigned int>(Number("VORN_SCHEDULES_SEED", 1)));
    limits.preemptions += static_cast<int>(Number("VORN_SCHEDULES_MORE", 0));
    return ExploreAll(scenario.body, limits);
}

class Test : public testing::Test {
public:
    explicit Test(const Scenario& scenario) : m_scenario(scenario) {}

    void TestBody() override {
        const Result result = Explore(m_scenario);
        std::printf("%lu schedules%s\n", result.schedules,
                    result.complete ? ", which are all there are" : "");
        if (m_scenario.failure == nullptr)
            ExpectNone(result);
        else
            ExpectFailure(result);
    }

private:
    void ExpectNone(const Result& result) const {
        if (m_scenario.schedules != 0) {
            EXPECT_EQ(m_scenario.schedules, result.schedules);
        }
        if (result.failure.empty())
            return;
        if (*Setting("VORN_SCHEDULES_REPLAY") == '\0')
            Replay(m_scenario.body, m_scenario.limits, result.replay);
        ADD_FAILURE() << "schedule " << result.schedules << " fails: " << result.failure
                      << "\nto run it again: VORN_SCHEDULES_REPLAY=" << result.replay
                      << " SchedulesTest --gtest_filter=" << m_scenario.suite << '.'
                      << m_scenario.name;
    }

    // The same schedule fails again, in the same way.
    void ExpectFailure(const Result& result) const {
        EXPECT_NE(std::string::npos, result.failure.find(m_scenario.failure)) << result.failure;
        testing::internal::CaptureStdout();
        EXPECT_EQ(result.failure,
                  Replay(m_scenario.body, m_scenario.limits, result.replay).failure);
        EXPECT_NE("", testing::internal::GetCapturedStdout());
    }

    const Scenario m_scenario;
};

} // namespace

bool Register(const Scenario& scenario) {
    testing::RegisterTest(scenario.suite, scenario.name, nullptr, nullptr, __FILE__, __LINE__,
                          [scenario]() -> testing::Test* { return new Test(scenario); });
    return true;
}

} // namespace VornTest::Schedules
