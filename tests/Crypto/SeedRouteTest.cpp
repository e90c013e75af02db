// SPDX-License-Identifier: MIT
// SEED on every route, against the block functions.

#include <Bases/Crypto.h>
#include <Bases/Impl/Route/Route.h>
#include <Bases/Impl/Route/SeedKernel.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "support/GuardedBytes.h"
#include "support/RouteTest.h"

// Concerns: every kernel gives what the block functions give, for every number of blocks and at
// every address, in both directions; it takes whole vectors and touches nothing else; the cipher
// classes give the same on every route. Plan: each route that the machine has, against SeedEncrypt
// and SeedDecrypt, a block at a time.

namespace {

using Vorn::CryptoSize::SeedBlock;
using VornTest::GuardedBytes;

constexpr unsigned int Seed = 20261122;

using Bytes = std::vector<unsigned char>;

Bytes RandomBytes(std::mt19937& random, std::size_t size) {
    std::uniform_int_distribution<int> byte(0, 255);
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(),
                  [&] { return static_cast<unsigned char>(byte(random)); });
    return bytes;
}

struct RoundKeys {
    unsigned int words[Vorn::CryptoSize::SeedRoundKeyWords];

    explicit RoundKeys(const Bytes& key) { SeedRoundKey(words, key.data()); }
};

Bytes BlockByBlock(Bytes bytes, const RoundKeys& keys,
                   void (*pfnCipher)(unsigned char*, const unsigned int*)) {
    for (std::size_t done = 0; done < bytes.size(); done += SeedBlock)
        pfnCipher(bytes.data() + done, keys.words);
    return bytes;
}

class SeedRoute : public VornTest::RouteTest {
protected:
    std::mt19937 m_random{Seed};
    Bytes m_key = RandomBytes(m_random, Vorn::CryptoSize::SeedKey);
    RoundKeys m_keys{m_key};
};

// More blocks than any kernel takes at a time, and every remainder.
constexpr std::size_t MostBlocks = 140;

TEST_P(SeedRoute, KernelTakesWholeVectorsAndTouchesNothingElse) {
    const Vorn::SeedKernel kernel = Vorn::FindSeedKernel(GetParam());
    if (kernel == nullptr)
        GTEST_SKIP() << "this build has no kernel for the route";
    for (std::size_t count = 0; count <= MostBlocks; ++count) {
        const Bytes plain = RandomBytes(m_random, count * SeedBlock);
        GuardedBytes bytes(plain);
        const std::size_t done = kernel(bytes.Data(), count, {m_keys.words, 2});
        ASSERT_LE(done, count);
        ASSERT_LT(count - done, std::size_t{64}) << "a kernel leaves less than its vectors hold";
        Bytes expected = plain;
        const Bytes first(plain.begin(),
                          plain.begin() + static_cast<std::ptrdiff_t>(done * SeedBlock));
        const Bytes enciphered = BlockByBlock(first, m_keys, SeedEncrypt);
        std::copy(enciphered.begin(), enciphered.end(), expected.begin());
        ASSERT_EQ(expected, bytes.Copy()) << count << " blocks";
    }
}

TEST_P(SeedRoute, CipherGivesWhatTheBlockFunctionsGive) {
    Vorn::CryptoBlockCipherSeed cipher;
    cipher.Create();
    cipher.SetUserSecretKey(m_key.data());
    for (std::size_t count = 1; count <= MostBlocks; ++count) {
        GuardedBytes input(RandomBytes(m_random, count * SeedBlock));
        unsigned char* output = nullptr;
        unsigned long processed = 0;
        unsigned long size = 0;
        ASSERT_TRUE(cipher.Encrypt(input.Data(), count * SeedBlock, processed, output, size));
        std::unique_ptr<unsigned char[]> owner(output);
        ASSERT_EQ(BlockByBlock(input.Copy(), m_keys, SeedEncrypt), Bytes(output, output + size));
        ASSERT_TRUE(cipher.Decrypt(input.Data(), count * SeedBlock, processed, output, size));
        owner.reset(output);
        ASSERT_EQ(BlockByBlock(input.Copy(), m_keys, SeedDecrypt), Bytes(output, output + size));
    }
}

TEST(SeedKernels, AreNotLostOnAHigherRoute) {
    VornTest::ExpectNoKernelIsLostOnAHigherRoute(
        [](Vorn::Route route) { return Vorn::FindSeedKernel(route) != nullptr; });
}

// With fewer instructions the portable code is faster, and these kernels could not run.
TEST(SeedKernels, OfX86BeginWithAvx2) {
    EXPECT_EQ(nullptr, Vorn::FindSeedKernel(Vorn::Route::Portable));
    EXPECT_EQ(nullptr, Vorn::FindSeedKernel(Vorn::Route::Sse4));
    EXPECT_EQ(Vorn::FindSeedKernel(Vorn::Route::Avx512) != nullptr,
              Vorn::FindSeedKernel(Vorn::Route::Avx2) != nullptr);
}

#ifdef VORN_BASES_HIGHWAY
TEST(SeedKernels, OfHighwayAreThereForEveryRouteFromAvx2On) {
    for (const Vorn::Route route : VornTest::RoutesOfThisKind()) {
        const bool isForIt = route != Vorn::Route::Sse4;
        EXPECT_EQ(isForIt, Vorn::FindSeedKernelOfHighway(route) != nullptr) << Vorn::NameOf(route);
        EXPECT_EQ(isForIt, Vorn::FindSeedKernel(route) != nullptr) << Vorn::NameOf(route);
    }
}
#endif

#ifdef VORN_BASES_GFNI
// On other routes the processor need not have its instructions.
TEST(SeedKernels, OfGfniIsTakenOnItsRouteOnly) {
    for (const auto& [route, name] : Vorn::AllRoutes)
        EXPECT_EQ(route == Vorn::Route::Avx512Gfni,
                  Vorn::FindSeedKernel(route) == Vorn::SeedKernelOfGfni)
            << name;
}
#endif

INSTANTIATE_TEST_SUITE_P(Every, SeedRoute, VornTest::AllRoutes(), VornTest::RouteNameOf);

} // namespace
