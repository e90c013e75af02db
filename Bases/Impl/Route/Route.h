// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_ROUTE_ROUTE_H
#define VORN_BASES_IMPL_ROUTE_ROUTE_H

// Which vector instructions the kernels may use.
//
// A fast route is a kernel: a function that does the same work as the portable code beside it, many
// items at a time. A kernel processes whole vectors only and returns how much it did; the rest, and
// every unusual input, goes to the portable code, so that each rule is implemented once. A family
// of kernels has a function that chooses among them by CurrentRoute().

#include <atomic>
#include <cstddef>
#include <iterator>

namespace Vorn {

/// From the portable code up; a machine that has one also has those before it, of its own kind.
enum class Route {
    Portable,   ///< no kernel: plain C++
    Neon,       ///< 128 bits of Arm, with AES
    Sse4,       ///< 128 bits of x86, with AES
    Avx2,       ///< 256 bits
    Avx512,     ///< 512 bits, as of Ice Lake and Zen 4: with VAES, VBMI and POPCNT
    Avx512Gfni, ///< the same with GFNI
};

struct NamedRoute {
    Route route;
    const char* name;
};

/// Every route, in its order, with the name by which tests and benchmarks know it.
inline constexpr NamedRoute AllRoutes[] = {
    {Route::Portable, "portable"}, {Route::Neon, "neon"},     {Route::Sse4, "sse4"},
    {Route::Avx2, "avx2"},         {Route::Avx512, "avx512"}, {Route::Avx512Gfni, "avx512gfni"},
};

/// What a processor for x86-64 says that it can do: words that it answers to CPUID with, by the
/// number of the question and the register, and which registers the system saves (XCR0).
struct ProcessorWords {
    unsigned int c1 = 0, c80000001 = 0, b7 = 0, c7 = 0;
    unsigned int saved = 0;
};

/// The best route of such a processor: that whose instructions it has all, as well as those of the
/// routes below, and whose registers are saved.
Route RouteOf(const ProcessorWords& words);

/// What the processor of this machine says.
ProcessorWords WordsOfThisMachine();

/// The limit that allows every route.
inline constexpr Route NoLimit = std::end(AllRoutes)[-1].route;

constexpr const char* NameOf(Route route) {
    return AllRoutes[static_cast<std::size_t>(route)].name;
}

/// The best route that the machine has.
Route BestRoute();

/// Lets CurrentRoute() go no higher than this, for tests and benchmarks.
void LimitRoute(Route limit);

/// Takes the best route, unless somebody has set a limit meanwhile; returns the one taken.
Route TakeBestRoute();

/// The route that is taken, as its number; negative until somebody asks. Relaxed: the value orders
/// nothing, and every route gives the same results.
inline constinit std::atomic<int> g_takenRoute{-1};

/// The best route that the machine has and the limit allows. One load, because encoding a short
/// text takes no longer than a call or two.
inline Route CurrentRoute() {
    const int taken = g_takenRoute.load(std::memory_order_relaxed);
    return taken >= 0 ? static_cast<Route>(taken) : TakeBestRoute();
}

} // namespace Vorn

#endif
