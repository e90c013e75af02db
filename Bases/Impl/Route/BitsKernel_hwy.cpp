// SPDX-License-Identifier: MIT
// The kernels of bit-sets for every instruction set of Highway.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Bases/Impl/Route/BitsKernel_hwy.cpp"
#include <Bases/Impl/Route/Highway.h>

#include <bit>
#include <cstdint>
#include <cstring>

#include <Bases/Impl/Route/BitsKernel.h>

HWY_BEFORE_NAMESPACE();

namespace Vorn::HWY_NAMESPACE {

namespace {

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

namespace hn = hwy::HWY_NAMESPACE;

using WordTag = hn::CappedTag<std::uint64_t, 8>;
using Words = hn::Vec<WordTag>;

constexpr WordTag InWords;
constexpr std::size_t VectorSize = HWY_MAX_BYTES;

HWY_INLINE Words Load(const unsigned char* bytes) {
    return hn::LoadU(InWords, reinterpret_cast<const std::uint64_t*>(bytes));
}

#if HWY_TARGET == HWY_SSE4

// One instruction counts the bits of 64; four sums, so that none waits for the one before.
std::size_t Count(const unsigned char* bytes, std::size_t size, std::size_t& count) {
    std::uint64_t words[4] = {};
    std::size_t sums[4] = {};
    std::size_t done = 0;
    for (; done + sizeof words <= size; done += sizeof words) {
        std::memcpy(words, bytes + done, sizeof words);
        for (std::size_t i = 0; i < 4; ++i)
            sums[i] += static_cast<std::size_t>(std::popcount(words[i]));
    }
    count += sums[0] + sums[1] + sums[2] + sums[3];
    return done;
}

#elif HWY_TARGET == HWY_AVX3_DL

// One instruction counts the bits of every word of a vector.
std::size_t Count(const unsigned char* bytes, std::size_t size, std::size_t& count) {
    Words a = hn::Zero(InWords);
    Words b = a, c = a, d = a;
    std::size_t done = 0;
    for (; done + 4 * VectorSize <= size; done += 4 * VectorSize, bytes += 4 * VectorSize) {
        a = hn::Add(a, hn::PopulationCount(Load(bytes)));
        b = hn::Add(b, hn::PopulationCount(Load(bytes + VectorSize)));
        c = hn::Add(c, hn::PopulationCount(Load(bytes + 2 * VectorSize)));
        d = hn::Add(d, hn::PopulationCount(Load(bytes + 3 * VectorSize)));
    }
    count += hn::GetLane(hn::SumOfLanes(InWords, hn::Add(hn::Add(a, b), hn::Add(c, d))));
    return done;
}

#else

// Adds, at each place, the bits of two vectors to the bit of `sum`, which keeps the lower bit of
// the result. Returns the higher one, of twice the value.
HWY_INLINE Words Add(Words& sum, Words a, Words b) {
    const Words half = hn::Xor(a, b);
    const Words carry = hn::Or(hn::And(a, b), hn::And(half, sum));
    sum = hn::Xor(half, sum);
    return carry;
}

// The number of bits that are 1, of every word.
HWY_INLINE Words CountOf(Words bits) {
    constexpr hn::Repartition<std::uint8_t, WordTag> InOctets;
    return hn::SumsOf8(hn::PopulationCount(hn::BitCast(InOctets, bits)));
}

// To count the bits of a vector takes several instructions. It is cheaper to add up four vectors
// place by place, and to count only the fours that this gives.
std::size_t Count(const unsigned char* bytes, std::size_t size, std::size_t& count) {
    Words ones = hn::Zero(InWords);
    Words twos = ones, sum = ones;
    std::size_t done = 0;
    for (; done + 4 * VectorSize <= size; done += 4 * VectorSize, bytes += 4 * VectorSize) {
        const Words twosOfFirst = Add(ones, Load(bytes), Load(bytes + VectorSize));
        const Words twosOfLast =
            Add(ones, Load(bytes + 2 * VectorSize), Load(bytes + 3 * VectorSize));
        sum = hn::Add(sum, CountOf(Add(twos, twosOfFirst, twosOfLast)));
    }
    sum = hn::Add(hn::Add(sum, sum), CountOf(twos));
    sum = hn::Add(hn::Add(sum, sum), CountOf(ones));
    count += hn::GetLane(hn::SumOfLanes(InWords, sum));
    return done;
}

#endif

struct And {
    HWY_INLINE Words operator()(Words left, Words right) const { return hn::And(left, right); }
};
struct Or {
    HWY_INLINE Words operator()(Words left, Words right) const { return hn::Or(left, right); }
};
struct Xor {
    HWY_INLINE Words operator()(Words left, Words right) const { return hn::Xor(left, right); }
};

template <typename Operation>
std::size_t Combine(const unsigned char* left, const unsigned char* right, std::size_t size,
                    unsigned char* result) {
    std::size_t done = 0;
    for (; done + VectorSize <= size; done += VectorSize)
        hn::StoreU(Operation()(Load(left + done), Load(right + done)), InWords,
                   reinterpret_cast<std::uint64_t*>(result + done));
    return done;
}

constexpr BitsKernels Kernels = {Count, Combine<And>, Combine<Or>, Combine<Xor>};

#endif

} // namespace

} // namespace Vorn::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace Vorn {

namespace {

// Null stands for a set of instructions that Highway was not built for.
[[maybe_unused]] BitsKernels Chosen(const BitsKernels* kernels) {
    return kernels != nullptr ? *kernels : BitsKernels{}; // GCOVR_EXCL_BR_LINE compiler
}

} // namespace

BitsKernels FindBitsKernelsOfHighway(Route route) {
    switch (route) {
#if HWY_ARCH_X86
    case Route::Sse4:
        return Chosen(HWY_CHOOSE_SSE4(Kernels));
    case Route::Avx2:
        return Chosen(HWY_CHOOSE_AVX2(Kernels));
    case Route::Avx512:
    case Route::Avx512Gfni:
        return Chosen(HWY_CHOOSE_AVX3_DL(Kernels));
#elif HWY_ARCH_ARM
    case Route::Neon:
        return Chosen(HWY_CHOOSE_NEON(Kernels));
#endif
    default:
        return {};
    }
}

} // namespace Vorn

#endif
