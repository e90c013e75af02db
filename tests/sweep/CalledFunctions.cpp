// SPDX-License-Identifier: MIT
// Concerns: the scenarios meet every function of the platform that can fail.
#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "sweep/Sweep.h"

namespace {

using namespace VornTest::Sweep;
namespace Platform = VornTest::Platform;

// Whether the function fails in a way that is not left out.
bool CanFail(const Platform::Call& call) {
    return std::any_of(call.Errors().begin(), call.Errors().end(), [&call](int error) {
        return WhyLeftOut({const_cast<Platform::Call*>(&call), error}) == nullptr;
    });
}

// No unit allocates by the first three today. The last one only tells of what has failed.
const std::set<const Platform::Call*> g_uncalled{&Platform::malloc, &Platform::calloc,
                                                 &Platform::realloc, &Platform::printf};

TEST(Operations, CallEveryFunctionThatCanFail) {
    std::set<const Platform::Call*> called;
    for (const Scenario& scenario : AllScenarios())
        for (const Platform::Call* const call : CallsOf(scenario))
            called.insert(call);
    for (const Platform::Call* const call : Platform::All())
        EXPECT_EQ(CanFail(*call) && !g_uncalled.contains(call),
                  CanFail(*call) && called.contains(call))
            << call->Name();
}

} // namespace
