// SPDX-License-Identifier: MIT
// Concerns: every operation, under every fault of the platform: it fails as stated or does all that
// it promises, leaves nothing, and works when nothing fails any more. A sample, or all of it when
// VORN_SWEEP is "whole".
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <string>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sweep/Sweep.h"

namespace {

using namespace VornTest::Sweep;
using testing::IsEmpty;

Extent ExtentOfThisRun() {
    const char* const extent = std::getenv("VORN_SWEEP");
    return extent != nullptr && std::string(extent) == "whole" ? Extent::Whole : Extent::Sample;
}

// How much was done, by all scenarios.
struct Totals {
    std::size_t scenarios = 0;
    std::size_t faults = 0;
};

Totals g_totals;

class PrintTotals : public testing::Environment {
    // The files are in memory where that is possible: there are thousands.
    void SetUp() override {
        if (access("/dev/shm", W_OK) == 0)
            setenv("TMPDIR", "/dev/shm", 0);
        m_begin = std::chrono::steady_clock::now();
    }

    void TearDown() override {
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - m_begin;
        std::cout << g_totals.faults << " faults in " << g_totals.scenarios << " scenarios, "
                  << std::lround(time.count()) << " s\n";
    }

    std::chrono::steady_clock::time_point m_begin;
};

[[maybe_unused]] const testing::Environment* const g_environment =
    testing::AddGlobalTestEnvironment(new PrintTotals);

class Operation : public testing::TestWithParam<Scenario> {};

TEST_P(Operation, KeepsItsPromiseWhateverFails) {
    const Report report = SweepOver(GetParam(), ExtentOfThisRun());
    EXPECT_THAT(report.broken, IsEmpty());
    ++g_totals.scenarios;
    g_totals.faults += report.faults;
}

INSTANTIATE_TEST_SUITE_P(Each, Operation, testing::ValuesIn(AllScenarios()),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace
