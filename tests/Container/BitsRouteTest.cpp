// SPDX-License-Identifier: MIT
// Concerns: on every route and at every size, counting, logic and text give what the bits give one
// by one, unused bits that are set included; kernels touch nothing beside their operands. Plan:
// each route that the machine has, against single bits; the kernels themselves in front of pages
// that may not be touched.
#include <Bases/Container.h>
#include <Bases/Impl/Route/BitsKernel.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Container/Bits.h"
#include "support/GuardedBytes.h"
#include "support/RouteTest.h"

namespace {

using Vorn::Bits;
using VornTest::GuardedBytes;
using VornTest::OnesShrunkTo;
using VornTest::RandomText;

constexpr unsigned int Seed = 20261122;
constexpr std::size_t MostBytes = 600;   // more than any kernel takes at a time, twice
constexpr unsigned long ManyBits = 5000; // as many

using Bytes = std::vector<unsigned char>;

unsigned long CountByBits(const Bytes& bytes) {
    unsigned long count = 0;
    for (const unsigned char byte : bytes) {
        for (unsigned bit = 0; bit < 8; ++bit)
            count += byte >> bit & 1U;
    }
    return count;
}

class BitsRoute : public VornTest::RouteTest {
protected:
    Bytes RandomBytes(std::size_t size) {
        Bytes bytes(size);
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(m_random());
        return bytes;
    }

    // Random bits, with random unused ones in the last byte.
    Bits RandomBits(unsigned long size) {
        Bytes bytes = RandomBytes(Bits::SizeToBytes(size));
        Bits bits(size);
        bits.SetData(bytes.data(), size);
        return bits;
    }

    // Every small size, and some beyond what the kernels take at a time.
    std::vector<unsigned long> Sizes() {
        std::vector<unsigned long> sizes;
        for (unsigned long size = 1; size <= VornTest::SmallSizes; ++size)
            sizes.push_back(size);
        for (int i = 0; i < 200; ++i)
            sizes.push_back(1 + m_random() % ManyBits);
        return sizes;
    }

    std::mt19937 m_random{Seed};
};

TEST_P(BitsRoute, CountsTheBitsBelowTheSize) {
    for (const unsigned long size : Sizes()) {
        Bits bits = RandomBits(size);
        unsigned long count = 0;
        for (unsigned long pos = 0; pos < size; ++pos)
            count += static_cast<unsigned long>(bits.Test(pos));
        ASSERT_EQ(count, bits.GetSetCount()) << size;
        ASSERT_EQ(size - count, bits.GetUnsetCount()) << size;
    }
}

TEST_P(BitsRoute, CountsAllOnesAndNone) {
    for (const unsigned long size : Sizes()) {
        Bits bits = OnesShrunkTo(size, size + 7);
        ASSERT_EQ(size, bits.GetSetCount());
        ASSERT_EQ(0, bits.None());
        bits.ResetAll();
        ASSERT_EQ(0UL, bits.GetSetCount());
        ASSERT_EQ(1, bits.None());
    }
}

TEST_P(BitsRoute, NoticesASingleBitInAnyByte) {
    Bits bits(ManyBits);
    for (unsigned long pos = 0; pos < ManyBits; ++pos) {
        bits.Set(pos);
        ASSERT_EQ(1, bits.Any()) << pos;
        ASSERT_EQ(1UL, bits.GetSetCount()) << pos;
        bits.Reset(pos);
    }
}

TEST_P(BitsRoute, WritesEveryBitAsACharacter) {
    for (const unsigned long size : Sizes()) {
        const Bits bits = RandomBits(size);
        std::string expected;
        for (unsigned long pos = 0; pos < size; ++pos)
            expected.insert(expected.begin(), bits.Test(pos) != 0 ? '1' : '0');
        std::string text(size % 3 * size, 'x');
        bits.ToString(text);
        ASSERT_EQ(expected, text);
    }
}

TEST_P(BitsRoute, ReadsTheCharactersUpToTheFirstOtherFromTheEnd) {
    const std::string others = "/2\xB0\xB1 \x01x!p\x10q" + std::string(1, '\0');
    for (const unsigned long size : Sizes()) {
        std::string text = RandomText(m_random, size);
        if (size % 2 == 0) // unlike 1 in any of its bits, or like it in the lowest one
            text[m_random() % size] = others[m_random() % others.size()];
        Bits bits;
        bits.FromString(text);
        unsigned long pos = 0;
        for (auto c = text.rbegin(); c != text.rend() && (*c == '0' || *c == '1'); ++c, ++pos)
            ASSERT_EQ(*c == '1' ? 1 : 0, bits.Test(pos)) << text;
        ASSERT_EQ(pos, bits.GetSize()) << text;
        ASSERT_EQ(Bits::SizeToBytes(pos) * 8, VornTest::CapacityOf(bits)) << text;
        ASSERT_EQ(0, bits.Test(pos)) << text;
    }
}

TEST_P(BitsRoute, TakesNoOtherByteForADigit) {
    for (std::size_t place = 0; place < 24; ++place) {
        for (int value = 0; value < 256; ++value) {
            std::string text(24, '1');
            text[place] = static_cast<char>(value);
            Bits bits;
            bits.FromString(text);
            ASSERT_EQ(value == '0' || value == '1' ? 24 : 23 - place, bits.GetSize()) << value;
        }
    }
}

TEST_P(BitsRoute, CombinesEveryByteThatBothHave) {
    for (const unsigned long size : Sizes()) {
        const Bits left = RandomBits(size);
        const unsigned long rightSize = size % 2 == 0 ? size : 1 + m_random() % ManyBits;
        const Bits right = RandomBits(rightSize);
        Bits sum = left;
        Bits product = left;
        Bits difference = left;
        sum |= right;
        product &= right;
        difference ^= right;
        const Bits newSum = left | right;
        const Bits newProduct = left & right;
        const Bits newDifference = left ^ right;
        for (unsigned long pos = 0; pos < std::min(size, rightSize); ++pos) {
            const int a = left.Test(pos);
            const int b = right.Test(pos);
            ASSERT_EQ(a | b, sum.Test(pos));
            ASSERT_EQ(a & b, product.Test(pos));
            ASSERT_EQ(a ^ b, difference.Test(pos));
            ASSERT_EQ(a | b, newSum.Test(pos));
            ASSERT_EQ(a & b, newProduct.Test(pos));
            ASSERT_EQ(a ^ b, newDifference.Test(pos));
        }
    }
}

TEST_P(BitsRoute, CombinesASetWithItself) {
    for (const unsigned long size : Sizes()) {
        Bits bits = RandomBits(size);
        const Bits& same = bits;
        const std::string text = bits.ToString();
        bits |= same;
        bits &= same;
        ASSERT_EQ(text, bits.ToString());
        bits ^= same;
        ASSERT_EQ(std::string(size, '0'), bits.ToString());
    }
}

class BitsKernel : public BitsRoute {
protected:
    void SetUp() override {
        BitsRoute::SetUp();
        m_kernels = Vorn::FindBitsKernels(GetParam());
        if (m_kernels.count == nullptr)
            GTEST_SKIP() << "no kernels";
    }

    void ExpectCombined(Vorn::BitsLogicKernel kernel,
                        const std::function<unsigned(unsigned, unsigned)>& operation,
                        std::size_t size) {
        GuardedBytes left(RandomBytes(size));
        GuardedBytes right(RandomBytes(size));
        GuardedBytes result(Bytes(size, 0xEE));
        Bytes expected(size, 0xEE);
        const std::size_t done = kernel(left.Data(), right.Data(), size, result.Data());
        ASSERT_LE(done, size);
        ASSERT_LT(size - done, 64U);
        for (std::size_t i = 0; i < done; ++i)
            expected[i] = static_cast<unsigned char>(operation(left.Data()[i], right.Data()[i]));
        ASSERT_EQ(expected, result.Copy()) << size;
        kernel(left.Data(), right.Data(), size, left.Data());
        expected.resize(done);
        ASSERT_EQ(expected, Bytes(left.Data(), left.Data() + done)) << size;
    }

    Vorn::BitsKernels m_kernels;
};

TEST_P(BitsKernel, CountsWholeVectorsAndSaysHowMany) {
    for (std::size_t size = 0; size <= MostBytes; ++size) {
        GuardedBytes bytes(RandomBytes(size));
        std::size_t count = 7;
        const std::size_t done = m_kernels.count(bytes.Data(), size, count);
        ASSERT_LE(done, size);
        ASSERT_LT(size - done, 4 * 64U);
        ASSERT_EQ(7 + CountByBits(Bytes(bytes.Data(), bytes.Data() + done)), count) << size;
    }
}

TEST_P(BitsKernel, CombinesWholeVectorsAndSaysHowMany) {
    for (std::size_t size = 0; size <= MostBytes; ++size) {
        ExpectCombined(m_kernels.logicAnd, std::bit_and<unsigned>(), size);
        ExpectCombined(m_kernels.logicOr, std::bit_or<unsigned>(), size);
        ExpectCombined(m_kernels.logicXor, std::bit_xor<unsigned>(), size);
    }
}

#ifdef VORN_BASES_HIGHWAY
TEST(BitsKernels, AreThereForEveryRoute) {
    for (const Vorn::Route route : VornTest::RoutesOfThisKind()) {
        const Vorn::BitsKernels kernels = Vorn::FindBitsKernels(route);
        EXPECT_NE(nullptr, kernels.count) << Vorn::NameOf(route);
        EXPECT_NE(nullptr, kernels.logicAnd) << Vorn::NameOf(route);
        EXPECT_NE(nullptr, kernels.logicOr) << Vorn::NameOf(route);
        EXPECT_NE(nullptr, kernels.logicXor) << Vorn::NameOf(route);
    }
}
#endif

INSTANTIATE_TEST_SUITE_P(Every, BitsRoute, VornTest::AllRoutes(), VornTest::RouteNameOf);
INSTANTIATE_TEST_SUITE_P(Every, BitsKernel, VornTest::AllRoutes(), VornTest::RouteNameOf);

} // namespace
