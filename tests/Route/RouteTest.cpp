// SPDX-License-Identifier: MIT
// The routes of the processor, and the limit that tests and benchmarks set.

#include <Bases/Impl/Route/Route.h>

#include <iterator>
#include <set>
#include <string>
#include <vector>

#if defined(__x86_64__)
#include <cpuid.h>
#endif
#include <gtest/gtest.h>

// Concerns: the machine's best route is in the table; the limit is kept, and allows what the
// machine has; no route is mistaken for another by its name; a processor that lacks any instruction
// of a route, or a system that does not save its registers, gets a lower one. Plan: each limit of
// the table in turn, compared with the best route; a processor that lacks one bit, for every bit;
// this machine, as the compiler's library sees it.

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

TEST_F(Routes, TheLimitStaysWhereAnotherThreadAsksForTheFirstTime) {
    Vorn::LimitRoute(Route::Portable);
    EXPECT_EQ(Route::Portable, Vorn::TakeBestRoute());
    EXPECT_EQ(Route::Portable, Vorn::CurrentRoute());
    Vorn::LimitRoute(Vorn::NoLimit);
    EXPECT_EQ(Vorn::BestRoute(), Vorn::TakeBestRoute());
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

#if defined(__x86_64__)

// The bits of a word that a route asks for besides those of the routes below, and the route of a
// processor that lacks one of them.
struct Needs {
    unsigned int Vorn::ProcessorWords::*word;
    std::vector<int> bits;
    Route without;
};

const Needs AllNeeds[] = {
    {&Vorn::ProcessorWords::c1, {0, 1, 9, 19, 20, 23, 25}, Route::Portable},
    {&Vorn::ProcessorWords::c1, {12, 28, 29}, Route::Sse4},
    {&Vorn::ProcessorWords::c80000001, {5}, Route::Sse4},
    {&Vorn::ProcessorWords::b7, {3, 5, 8}, Route::Sse4},
    {&Vorn::ProcessorWords::saved, {1, 2}, Route::Sse4},
    {&Vorn::ProcessorWords::b7, {16, 17, 28, 30, 31}, Route::Avx2},
    {&Vorn::ProcessorWords::c7, {1, 6, 9, 10, 11, 12, 14}, Route::Avx2},
    {&Vorn::ProcessorWords::saved, {5, 6, 7}, Route::Avx2},
    {&Vorn::ProcessorWords::c7, {8}, Route::Avx512},
};

// The numbers of the bits are those of the processors' manuals.
TEST(RouteOfAProcessor, IsALowerOneForEachInstructionAndRegisterThatIsMissing) {
    Vorn::ProcessorWords all;
    for (const Needs& needs : AllNeeds)
        for (const int bit : needs.bits)
            all.*needs.word |= 1U << bit;
    EXPECT_EQ(Route::Avx512Gfni, Vorn::RouteOf(all));
    EXPECT_EQ(Route::Portable, Vorn::RouteOf({}));

    for (const Needs& needs : AllNeeds)
        for (const int bit : needs.bits) {
            Vorn::ProcessorWords words = all;
            words.*needs.word &= ~(1U << bit);
            EXPECT_EQ(needs.without, Vorn::RouteOf(words)) << "bit " << bit;
        }
}

TEST(WordsOfThisMachine, AreWhatTheProcessorAnswers) {
    const auto c = [](unsigned int leaf) {
        unsigned int words[4] = {};
        __get_cpuid(leaf, &words[0], &words[1], &words[2], &words[3]);
        return words[2];
    };
    EXPECT_EQ(c(1), Vorn::WordsOfThisMachine().c1);
    EXPECT_EQ(c(0x80000001), Vorn::WordsOfThisMachine().c80000001);
}

TEST(BestRoute, IsTheOneForTheInstructionsOfThisMachine) {
    const bool hasSse4 =
        __builtin_cpu_supports("sse4.2") != 0 && __builtin_cpu_supports("popcnt") != 0 &&
        __builtin_cpu_supports("aes") != 0 && __builtin_cpu_supports("pclmul") != 0;
    const bool hasAvx2 = hasSse4 && __builtin_cpu_supports("avx2") != 0 &&
                         __builtin_cpu_supports("fma") != 0 && __builtin_cpu_supports("bmi") != 0 &&
                         __builtin_cpu_supports("bmi2") != 0;
    const bool hasAvx512 =
        hasAvx2 && __builtin_cpu_supports("avx512vl") != 0 &&
        __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vbmi2") != 0 &&
        __builtin_cpu_supports("avx512bitalg") != 0 && __builtin_cpu_supports("vpclmulqdq") != 0;
    const bool hasGfni = hasAvx512 && __builtin_cpu_supports("gfni") != 0;
    EXPECT_EQ(hasSse4, Vorn::BestRoute() >= Route::Sse4);
    EXPECT_EQ(hasAvx2, Vorn::BestRoute() >= Route::Avx2);
    EXPECT_EQ(hasAvx512, Vorn::BestRoute() >= Route::Avx512);
    EXPECT_EQ(hasGfni, Vorn::BestRoute() >= Route::Avx512Gfni);
}

#endif

} // namespace
