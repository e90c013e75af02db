// SPDX-License-Identifier: MIT
// Concerns: the size rules of the six logic operators, and operands that are the same set;
// comparison; the shifts.
#include <Bases/Container.h>

#include <climits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Container/Bits.h"

namespace {

using testing::ElementsAre;
using Vorn::Bits;
using VornTest::BytesOf;
using VornTest::CapacityOf;
using VornTest::FromText;
using VornTest::Ones;
using VornTest::OnesShrunkTo;

// Concerns: the size afterwards, the bytes of one operand alone, the rest of the last byte, empty
// operands, the same set twice.

TEST(BitsInPlace, CombinesEachBit) {
    const Bits right = FromText("0101010101");
    Bits bits = FromText("0011001100");
    EXPECT_EQ(&bits, &(bits &= right));
    EXPECT_EQ("0001000100", bits.ToString());
    bits = FromText("0011001100");
    EXPECT_EQ(&bits, &(bits |= right));
    EXPECT_EQ("0111011101", bits.ToString());
    bits = FromText("0011001100");
    EXPECT_EQ(&bits, &(bits ^= right));
    EXPECT_EQ("0110011001", bits.ToString());
    EXPECT_EQ("0101010101", right.ToString());
}

TEST(BitsInPlace, AndKeepsTheSizeAndTheBytesThatTheOtherLacks) {
    Bits bits = Ones(20);
    bits &= FromText("00001111");
    EXPECT_EQ(20UL, bits.GetSize());
    EXPECT_THAT(BytesOf(bits), ElementsAre(0x0F, 0xFF, 0x0F));
    bits &= Bits(100);
    EXPECT_EQ(20UL, bits.GetSize());
    EXPECT_THAT(BytesOf(bits), ElementsAre(0, 0, 0));
}

TEST(BitsInPlace, OrAndXorTakeALargerSizeWithoutTheBytesOfTheOther) {
    Bits ored = FromText("11110000");
    ored |= Ones(16);
    EXPECT_EQ(16UL, ored.GetSize());
    EXPECT_THAT(BytesOf(ored), ElementsAre(0xFF, 0));
    Bits xored = FromText("11110000");
    xored ^= Ones(16);
    EXPECT_EQ(16UL, xored.GetSize());
    EXPECT_THAT(BytesOf(xored), ElementsAre(0x0F, 0));
}

TEST(BitsInPlace, OrAndXorTakeASmallerSizeToo) {
    Bits ored = Ones(24);
    ored |= FromText("00001");
    EXPECT_EQ(5UL, ored.GetSize());
    EXPECT_THAT(BytesOf(ored), ElementsAre(0xFF)) << "not masked: three bytes met one";
    Bits xored = Ones(24);
    xored ^= FromText("00001");
    EXPECT_EQ(5UL, xored.GetSize());
    EXPECT_THAT(BytesOf(xored), ElementsAre(0xFE));
    xored.SetSize(24);
    EXPECT_THAT(BytesOf(xored), ElementsAre(0xFE, 0xFF, 0xFF));
}

TEST(BitsInPlace, OrAndXorBringBackOldBytesWhenTheyGrow) {
    Bits ored = OnesShrunkTo(8, 16);
    ored |= Bits(16);
    EXPECT_THAT(BytesOf(ored), ElementsAre(0xFF, 0xFF));
    Bits xored = OnesShrunkTo(8, 16);
    xored ^= Ones(16);
    EXPECT_THAT(BytesOf(xored), ElementsAre(0, 0xFF)) << "not combined: one byte was in use";
}

TEST(BitsInPlace, ClearsTheUnusedBitsForEquallyManyBytes) {
    Bits anded = OnesShrunkTo(13, 16);
    anded &= Ones(16);
    EXPECT_THAT(BytesOf(anded), ElementsAre(0xFF, 0x1F));
    Bits ored = OnesShrunkTo(13, 16);
    ored |= Bits(11);
    EXPECT_THAT(BytesOf(ored), ElementsAre(0xFF, 0x07));
    ored = OnesShrunkTo(11, 16);
    ored |= Bits(13);
    EXPECT_THAT(BytesOf(ored), ElementsAre(0xFF, 0x1F));
    Bits xored = OnesShrunkTo(13, 16);
    xored ^= Bits(11);
    EXPECT_THAT(BytesOf(xored), ElementsAre(0xFF, 0x07));
}

TEST(BitsInPlace, ClearsNothingWhenTheNewSizeFillsItsBytes) {
    Bits anded = Ones(16);
    anded &= OnesShrunkTo(13, 16);
    EXPECT_THAT(BytesOf(anded), ElementsAre(0xFF, 0xFF));
    Bits ored = OnesShrunkTo(13, 16);
    ored |= Bits(16);
    EXPECT_THAT(BytesOf(ored), ElementsAre(0xFF, 0xFF));
    Bits xored = OnesShrunkTo(13, 16);
    xored ^= Bits(16);
    EXPECT_THAT(BytesOf(xored), ElementsAre(0xFF, 0xFF));
}

TEST(BitsInPlace, ClearsNothingForDifferentlyManyBytes) {
    Bits bits = OnesShrunkTo(3, 8);
    bits &= Ones(16);
    EXPECT_THAT(BytesOf(bits), ElementsAre(0xFF));
    Bits longer = OnesShrunkTo(11, 16);
    longer &= Ones(8);
    EXPECT_THAT(BytesOf(longer), ElementsAre(0xFF, 0xFF));
}

TEST(BitsInPlace, StaysAsItIsForAnEmptyOther) {
    const Bits empty;
    Bits bits = OnesShrunkTo(5, 16);
    bits &= empty;
    bits |= empty;
    bits ^= empty;
    EXPECT_EQ(5UL, bits.GetSize());
    EXPECT_THAT(BytesOf(bits), ElementsAre(0xFF));
}

TEST(BitsInPlace, OfAnEmptySetTakesTheSizeOnly) {
    Bits anded;
    anded &= Ones(9);
    EXPECT_EQ(0UL, anded.GetSize());
    Bits ored;
    ored |= Ones(9);
    EXPECT_EQ("000000000", ored.ToString());
    Bits xored;
    xored ^= Ones(9);
    EXPECT_EQ("000000000", xored.ToString());
    Bits none;
    none |= Bits();
    none ^= Bits();
    none &= Bits();
    EXPECT_EQ(nullptr, none.GetData());
}

TEST(BitsInPlace, CombinesASetWithItself) {
    Bits bits = OnesShrunkTo(11, 16);
    bits &= *&bits;
    EXPECT_THAT(BytesOf(bits), ElementsAre(0xFF, 0x07));
    bits |= *&bits;
    EXPECT_THAT(BytesOf(bits), ElementsAre(0xFF, 0x07));
    bits ^= *&bits;
    EXPECT_EQ(11UL, bits.GetSize());
    EXPECT_THAT(BytesOf(bits), ElementsAre(0, 0));
}

TEST(BitsInPlace, CombinesASetWithItselfWhileItsArrayIsReplaced) {
    unsigned char source[] = {0xA5, 0xFF, 0x77};
    Bits bits;
    bits.SetData(source, 20);
    bits |= *&bits;
    EXPECT_EQ(24UL, CapacityOf(bits));
    EXPECT_THAT(BytesOf(bits), ElementsAre(0xA5, 0xFF, 0x07));
    bits.Clear();
    bits.SetData(source, 20);
    bits ^= *&bits;
    EXPECT_THAT(BytesOf(bits), ElementsAre(0, 0, 0));
}

// Concerns: the same for the operators that make a new set.

TEST(BitsCombined, CombinesEachBitAndLeavesTheOperandsAlone) {
    const Bits left = FromText("0011001100");
    const Bits right = FromText("0101010101");
    EXPECT_EQ("0001000100", (left & right).ToString());
    EXPECT_EQ("0111011101", (left | right).ToString());
    EXPECT_EQ("0110011001", (left ^ right).ToString());
    EXPECT_EQ("0011001100", left.ToString());
    EXPECT_EQ("0101010101", right.ToString());
}

TEST(BitsCombined, HasTheLeftSizeForAndButTheRightSizeForOrAndXor) {
    for (unsigned long left = 1; left <= 20; ++left) {
        for (unsigned long right = 1; right <= 20; ++right) {
            ASSERT_EQ(left, (Ones(left) & Ones(right)).GetSize());
            ASSERT_EQ(right, (Ones(left) | Ones(right)).GetSize());
            ASSERT_EQ(right, (Ones(left) ^ Ones(right)).GetSize());
        }
    }
}

TEST(BitsCombined, HasZerosBeyondTheBytesOfTheShorterSet) {
    const Bits shorter = FromText("11110000");
    const Bits longer = Ones(16);
    EXPECT_THAT(BytesOf(shorter & longer), ElementsAre(0xF0));
    EXPECT_THAT(BytesOf(shorter | longer), ElementsAre(0xFF, 0));
    EXPECT_THAT(BytesOf(shorter ^ longer), ElementsAre(0x0F, 0));
    EXPECT_THAT(BytesOf(longer & shorter), ElementsAre(0xF0, 0));
    EXPECT_THAT(BytesOf(longer | shorter), ElementsAre(0xFF));
    EXPECT_THAT(BytesOf(longer ^ shorter), ElementsAre(0x0F));
}

TEST(BitsCombined, KeepsTheBitsWithinTheLeftSizeOnly) {
    const Bits three = Ones(3);
    const Bits seven = Ones(7);
    EXPECT_THAT(BytesOf(three & seven), ElementsAre(0x07));
    EXPECT_THAT(BytesOf(three | seven), ElementsAre(0x07)) << "in a set of seven bits";
    EXPECT_THAT(BytesOf(three ^ seven), ElementsAre(0));
    EXPECT_THAT(BytesOf(seven | three), ElementsAre(0x7F)) << "in a set of three bits";
    EXPECT_THAT(BytesOf(seven ^ three), ElementsAre(0x78));
    EXPECT_THAT(BytesOf(OnesShrunkTo(3, 8) & OnesShrunkTo(7, 8)), ElementsAre(0x07));
}

TEST(BitsCombined, ClearsNothingWhenTheLeftSizeFillsItsBytes) {
    const Bits eight = Ones(8);
    const Bits three = OnesShrunkTo(3, 8);
    EXPECT_THAT(BytesOf(eight & three), ElementsAre(0xFF));
    EXPECT_THAT(BytesOf(eight | three), ElementsAre(0xFF));
    EXPECT_THAT(BytesOf(eight ^ Bits(3)), ElementsAre(0xFF));
}

TEST(BitsCombined, ClearsNothingForDifferentlyManyBytes) {
    const Bits three = OnesShrunkTo(3, 8);
    EXPECT_THAT(BytesOf(three & Ones(16)), ElementsAre(0xFF));
    EXPECT_THAT(BytesOf(three | Bits(16)), ElementsAre(0xFF, 0));
    EXPECT_THAT(BytesOf(three ^ Bits(16)), ElementsAre(0xFF, 0));
}

TEST(BitsCombined, HasNoBitsOfEmptySets) {
    const Bits empty;
    const Bits ones = Ones(9);
    EXPECT_EQ("000000000", (ones & empty).ToString());
    EXPECT_EQ(nullptr, (ones | empty).GetData());
    EXPECT_EQ(nullptr, (ones ^ empty).GetData());
    EXPECT_EQ(nullptr, (empty & ones).GetData());
    EXPECT_EQ("000000000", (empty | ones).ToString());
    EXPECT_EQ("000000000", (empty ^ ones).ToString());
    EXPECT_EQ(0UL, (empty & empty).GetSize());
    EXPECT_EQ(0UL, (empty | empty).GetSize());
}

TEST(BitsCombined, CombinesASetWithItself) {
    const Bits bits = FromText("1011001110");
    EXPECT_EQ("1011001110", (bits & bits).ToString());
    EXPECT_EQ("1011001110", (bits | bits).ToString());
    EXPECT_EQ("0000000000", (bits ^ bits).ToString());
}

// Concerns: whole bytes, one bit of difference anywhere, and different sizes for both operators.

TEST(BitsComparison, SeesADifferenceAnywhere) {
    for (unsigned long pos = 0; pos < 70; ++pos) {
        const Bits bits(70);
        Bits other(70);
        ASSERT_EQ(1, bits == other);
        ASSERT_EQ(0, bits != other);
        other.Set(pos);
        ASSERT_EQ(0, bits == other) << pos;
        ASSERT_EQ(1, bits != other) << pos;
    }
}

TEST(BitsComparison, IsNeitherEqualNorUnequalForDifferentSizes) {
    const Bits eight = Ones(8);
    const Bits nine = FromText("011111111");
    EXPECT_EQ(0, eight == nine);
    EXPECT_EQ(0, eight != nine);
    EXPECT_EQ(0, nine == eight);
    EXPECT_EQ(0, nine != eight);
    EXPECT_EQ(0, Ones(3) == OnesShrunkTo(4, 8));
    EXPECT_EQ(0, Ones(3) != OnesShrunkTo(4, 8));
    EXPECT_EQ(0, Bits() == eight);
    EXPECT_EQ(0, Bits() != eight);
}

TEST(BitsComparison, ComparesWholeBytes) {
    const Bits clean = Ones(3);
    const Bits shrunk = OnesShrunkTo(3, 8);
    EXPECT_EQ(clean.ToString(), shrunk.ToString());
    EXPECT_EQ(0, clean == shrunk);
    EXPECT_EQ(1, clean != shrunk);
    EXPECT_EQ(1, OnesShrunkTo(8, 16) == Ones(8)) << "a byte that is not in use";
    EXPECT_EQ(0, OnesShrunkTo(8, 16) != Ones(8));
}

TEST(BitsComparison, FindsEmptySetsAndASetItselfEqual) {
    const Bits bits = FromText("101");
    EXPECT_EQ(1, bits == *&bits);
    EXPECT_EQ(0, bits != *&bits);
    EXPECT_EQ(1, Bits() == Bits());
    EXPECT_EQ(0, Bits() != Bits());
}

// Concerns: nothing changes, whatever the count.

TEST(BitsShift, DoesNothing) {
    Bits bits = FromText("1011001110");
    for (const unsigned long count : {0UL, 1UL, 3UL, 9UL, 10UL, 64UL, ULONG_MAX}) {
        EXPECT_EQ(&bits, &(bits << count));
        EXPECT_EQ(&bits, &(bits >> count));
    }
    EXPECT_EQ("1011001110", bits.ToString());
    EXPECT_EQ(10UL, bits.GetSize());
}

} // namespace
