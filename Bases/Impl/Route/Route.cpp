// SPDX-License-Identifier: MIT
// The detection of the machine's vector instructions, once for each process.

#include <Bases/Impl/Route/Route.h>

#include <algorithm>
#include <cstdint>

#include <Bases/Impl/Port/CpuFeatures.h>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace Vorn {

namespace {

constexpr bool IsInOrder() {
    for (std::size_t i = 0; i < std::size(AllRoutes); ++i) {
        if (AllRoutes[i].route != static_cast<Route>(i))
            return false;
    }
    return true;
}
static_assert(IsInOrder(), "a route's place in AllRoutes is its value");

#if defined(__x86_64__)

struct CpuId {
    unsigned int a = 0, b = 0, c = 0, d = 0;

    CpuId(unsigned int leaf, unsigned int subleaf) {
        __get_cpuid_count(leaf, subleaf, &a, &b, &c, &d);
    }
};

bool HasAll(unsigned int word, unsigned int bits) { return (word & bits) == bits; }

// Which registers the system saves when it switches threads; without OSXSAVE, those of SSE.
std::uint32_t SavedRegisters(const CpuId& features) {
    constexpr std::uint32_t Sse = 0x2;
    if (!HasAll(features.c, bit_OSXSAVE)) // GCOVR_EXCL_BR_LINE processor
        return Sse;                       // GCOVR_EXCL_LINE processor
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

constexpr bool IsOfThisMachine(Route route) { return route != Route::Neon; }

Route DetectRoute() { return RouteOf(WordsOfThisMachine()); }

#else

constexpr bool IsOfThisMachine(Route route) { return route == Route::Neon; }

Route DetectRoute() { return HasArmAes() ? Route::Neon : Route::Portable; }

#endif

} // namespace

#if defined(__x86_64__)

ProcessorWords WordsOfThisMachine() {
    const CpuId features(1, 0);
    const CpuId structured(7, 0);
    return {features.c, CpuId(0x80000001, 0).c, structured.b, structured.c,
            SavedRegisters(features)};
}

Route RouteOf(const ProcessorWords& words) {
    constexpr unsigned int YmmState = 0x6;
    constexpr unsigned int ZmmState = 0xE6;

    if (!HasAll(words.c1,
                bit_SSE3 | bit_SSSE3 | bit_SSE4_1 | bit_SSE4_2 | bit_POPCNT | bit_AES | bit_PCLMUL))
        return Route::Portable;
    if (!HasAll(words.c1, bit_AVX | bit_FMA | bit_F16C) || !HasAll(words.c80000001, bit_LZCNT) ||
        !HasAll(words.b7, bit_AVX2 | bit_BMI | bit_BMI2) || !HasAll(words.saved, YmmState))
        return Route::Sse4;
    if (!HasAll(words.b7,
                bit_AVX512F | bit_AVX512VL | bit_AVX512DQ | bit_AVX512BW | bit_AVX512CD) ||
        !HasAll(words.c7, bit_AVX512VBMI | bit_AVX512VBMI2 | bit_VAES | bit_VPCLMULQDQ |
                              bit_AVX512VNNI | bit_AVX512BITALG | bit_AVX512VPOPCNTDQ) ||
        !HasAll(words.saved, ZmmState))
        return Route::Avx2;
    return HasAll(words.c7, bit_GFNI) ? Route::Avx512Gfni : Route::Avx512;
}

#endif

Route BestRoute() {
    static const Route best = DetectRoute(); // GCOVR_EXCL_BR_LINE race
    return best;
}

void LimitRoute(Route limit) {
    const Route allowed = std::min(BestRoute(), limit);
    const Route taken = IsOfThisMachine(allowed) ? allowed : Route::Portable;
    g_takenRoute.store(static_cast<int>(taken), std::memory_order_relaxed);
}

Route TakeBestRoute() {
    int taken = -1;
    if (g_takenRoute.compare_exchange_strong(taken, static_cast<int>(BestRoute()),
                                             std::memory_order_relaxed))
        return BestRoute();
    return static_cast<Route>(taken);
}

} // namespace Vorn
