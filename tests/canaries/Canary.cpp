// SPDX-License-Identifier: MIT
// Defects, one in each test, which canary.sh wants to be noticed. Where it can, the library makes
// the wrong access, so that a library that was built without the sanitizer is noticed, too.
#include <cstdlib>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <Bases/Container.h>

namespace {

// Known to nobody before the program runs.
volatile std::size_t g_two = 2;

TEST(Canary, FailsAnExpectation) { EXPECT_EQ(3U, g_two); }

TEST(Canary, LeaksWhatTheLibraryHasAllocated) {
    for (int i = 0; i < 10; ++i) {
        alignas(Vorn::Bits) unsigned char place[sizeof(Vorn::Bits)];
        EXPECT_EQ(1000U, (new (place) Vorn::Bits(1000))->GetSize()); // and is never destroyed
    }
}

TEST(Canary, LetsTheLibraryReadBehindAnArray) {
    std::vector<unsigned char> bytes(g_two);
    Vorn::SerialBuffer buffer;
    buffer.AddBuffer(bytes.data(), bytes.size() + 1, 1);
}

TEST(Canary, ReadsBehindAVector) {
    const std::vector<unsigned char> bytes(g_two);
    EXPECT_EQ(0, bytes[g_two]);
}

TEST(Canary, ShiftsTooFar) {
    const auto places = static_cast<unsigned>(20 * g_two);
    EXPECT_NE(7U, 1U << places);
}

TEST(Canary, LetsTheLibraryRace) {
    Vorn::SerialBuffer buffer(1000);
    const auto append = [&buffer] {
        unsigned char byte = 1;
        for (int i = 0; i < 100; ++i)
            buffer.AddBuffer(&byte, 1, 0);
    };
    std::thread other(append);
    append();
    other.join();
}

} // namespace
