// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SOAK_SOAK_H
#define VORN_BASES_TESTS_SOAK_SOAK_H

// Checks of every value of a kind. With VORN_SOAK=whole in the environment they check all of them
// and print how many that were and how long it took; otherwise a sample.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <Bases/Impl/Route/Route.h>

#include "support/EachRoute.h"

#include <gtest/gtest.h>

namespace VornTest {

inline bool IsWholeSoak() {
    const char* const soak = std::getenv("VORN_SOAK");
    return soak != nullptr && std::string(soak) == "whole";
}

/// Calls `isRight`, from as many threads as there are processors, with the numbers below `count`:
/// with all of them, or with every `stride`th, an odd prime. Returns a number that is
/// wrong; nothing if there is none.
template <typename IsRight>
std::optional<unsigned long> FirstWrong(unsigned long count, unsigned long stride,
                                        IsRight isRight) {
    constexpr unsigned long Chunk = 1UL << 16;
    stride = IsWholeSoak() ? 1 : stride;
    std::atomic<unsigned long> next = 0;
    std::atomic<unsigned long> wrong = count;
    const auto work = [&] {
        for (unsigned long from = next.fetch_add(Chunk * stride); from < count && wrong == count;
             from = next.fetch_add(Chunk * stride))
            for (unsigned long n = from; n < std::min(count, from + Chunk * stride); n += stride)
                if (!isRight(n)) {
                    wrong = n;
                    return;
                }
    };
    std::vector<std::thread> threads(std::max(1U, std::thread::hardware_concurrency()));
    for (std::thread& thread : threads)
        thread = std::thread(work);
    for (std::thread& thread : threads)
        thread.join();
    return wrong < count ? std::optional<unsigned long>(wrong) : std::nullopt;
}

template <typename IsRight>
void Soak(const char* what, unsigned long count, unsigned long stride, IsRight isRight) {
    const auto begin = std::chrono::steady_clock::now();
    const std::optional<unsigned long> wrong = FirstWrong(count, stride, isRight);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(std::nullopt, wrong) << what << ", " << NameOf(Vorn::CurrentRoute());
    if (IsWholeSoak())
        std::printf("%-44s %-10s %11lu %5.0f s\n", what, NameOf(Vorn::CurrentRoute()), count,
                    time.count());
    std::fflush(stdout);
}

/// The same on each route that the machine has.
template <typename IsRight>
void SoakRoutes(const char* what, unsigned long count, unsigned long stride, IsRight isRight) {
    OnEachRoute([&] { Soak(what, count, stride, isRight); });
}

} // namespace VornTest

#endif
