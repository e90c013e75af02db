// SPDX-License-Identifier: MIT
// The routes of the processor, and the limit that tests and benchmarks set.

#include <Bases/Impl/Route/Route.h>

#include <iterator>
#include <set>
#include <string>

#include <gtest/gtest.h>

// Concerns: the machine's best route is in the table; the limit is kept, and allows what the
// machine has; no route is mistaken for another by its name. Plan: each limit of the table in turn,
// compared with the best route.

namespace {

using Vorn::AllRoutes;
using Vorn::Route;

class Routes : public testing::Test {
protected:
    void TearDown() override { Vorn::LimitRoute(Vorn::NoLimit); }
};

TEST_F(Routes, TheBestOneOfTheMachineIsTakenWhereThereIsNoLimit) {
    EXPECT_EQ(Vorn::BestRoute(), Vorn::CurrentRoute());
    Vorn::LimitRoute(Route::Portable);
    EXPECT_EQ(Route::Portable, Vorn::CurrentRoute());
    Vorn::LimitRoute(Vorn::NoLimit);
    EXPECT_EQ(Vorn::BestRoute(), Vorn::CurrentRoute());
}

TEST_F(Routes, NoneAboveTheLimitOrOfAnotherMachineIsTaken) {
    for (const auto& [limit, name] : AllRoutes) {
        Vorn::LimitRoute(limit);
        const Route taken = Vorn::CurrentRoute();
        EXPECT_LE(taken, limit) << name;
        EXPECT_LE(taken, Vorn::BestRoute()) << name;
        EXPECT_EQ(taken == Route::Neon, limit >= Route::Neon && Vorn::BestRoute() == Route::Neon)
            << name;
    }
}

TEST_F(Routes, ABetterLimitNeverGivesALowerOne) {
    Route before = Route::Portable;
    for (const auto& [limit, name] : AllRoutes) {
        Vorn::LimitRoute(limit);
        EXPECT_GE(Vorn::CurrentRoute(), before) << name;
        before = Vorn::CurrentRoute();
    }
    EXPECT_EQ(Vorn::BestRoute(), before);
}

TEST_F(Routes, HaveNamesOfTheirOwn) {
    std::set<std::string> names;
    for (const auto& [route, name] : AllRoutes) {
        EXPECT_STREQ(name, Vorn::NameOf(route));
        names.insert(name);
    }
    EXPECT_EQ(std::size(AllRoutes), names.size());
}

} // namespace
