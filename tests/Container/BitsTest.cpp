// SPDX-License-Identifier: MIT
// Concerns: every operation on its own, at every size where that is small enough; what the bytes
// beyond the bits hold, and when that comes back; sets with more or fewer bytes than their capacity
// says; failing allocations.
#include <Bases/Container.h>

#include <array>
#include <climits>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Container/Bits.h"
#include "Container/FilledArrays.h"
#include "support/DeletedAsBase.h"
#include "support/NoMemory.h"
#include "support/Slot.h"

namespace {

using testing::ElementsAre;
using Vorn::Bits;
using VornTest::BytesOf;
using VornTest::CapacityOf;
using VornTest::Fields;
using VornTest::FieldsOf;
using VornTest::FromText;
using VornTest::g_arrayNew;
using VornTest::LastArraySize;
using VornTest::NoMemory;
using VornTest::Ones;
using VornTest::OnesShrunkTo;
using VornTest::RandomText;
using VornTest::SmallSizes;

static_assert(std::has_virtual_destructor_v<Bits>);
static_assert(std::is_same_v<int, decltype(std::declval<Bits&>().SetSize(1, 1))>);
static_assert(std::is_same_v<int, decltype(std::declval<Bits&>().SetData(nullptr, 1))>);
static_assert(std::is_same_v<int, decltype(std::declval<Bits&>().Set(1))>);
static_assert(std::is_same_v<int, decltype(std::declval<Bits&>().Reset(1))>);
static_assert(std::is_same_v<int, decltype(std::declval<const Bits&>().Test(1))>);
static_assert(std::is_same_v<int, decltype(std::declval<const Bits&>().Any())>);
static_assert(std::is_same_v<int, decltype(std::declval<const Bits&>().None())>);
static_assert(std::is_same_v<Bits, decltype(std::declval<const Bits&>() & Bits())>);
static_assert(std::is_same_v<Bits&, decltype(~std::declval<Bits&>())>);
static_assert(std::is_same_v<unsigned long, decltype(std::declval<Bits&>().GetSetCount())>);

// Concerns: what the constructors leave, the position helpers at their ends, and the layout.

TEST(BitsConstruction, IsEmptyWithoutASize) {
    Bits bits;
    EXPECT_EQ(0UL, bits.GetSize());
    EXPECT_EQ(0UL, bits.GetBytes());
    EXPECT_EQ(nullptr, bits.GetData());
    EXPECT_EQ(0UL, CapacityOf(bits));
}

TEST(BitsConstruction, HasClearBitsForEverySize) {
    for (unsigned long size = 0; size <= SmallSizes; ++size) {
        Bits bits(size);
        ASSERT_EQ(size, bits.GetSize());
        ASSERT_EQ((size + 7) / 8, bits.GetBytes());
        ASSERT_EQ((size + 7) / 8 * 8, CapacityOf(bits));
        ASSERT_EQ(std::vector<int>((size + 7) / 8, 0), BytesOf(bits));
        ASSERT_EQ(size == 0, bits.GetData() == nullptr);
    }
}

TEST(BitsConstruction, KeepsItsFieldsInOrderAfterTheVirtualTable) {
    Bits bits(10);
    const Fields fields = FieldsOf(bits);
    EXPECT_EQ(bits.GetData(), fields.data);
    EXPECT_EQ(16UL, fields.capacity);
    EXPECT_EQ(10UL, fields.size);
}

TEST(BitsConstruction, ComputesBytesAndPositionsUpToTheLargest) {
    EXPECT_EQ(0UL, Bits::PosToBytePos(0));
    EXPECT_EQ(0UL, Bits::PosToBytePos(7));
    EXPECT_EQ(1UL, Bits::PosToBytePos(8));
    EXPECT_EQ(ULONG_MAX / 8, Bits::PosToBytePos(ULONG_MAX));
    EXPECT_EQ(0UL, Bits::SizeToBytes(0));
    EXPECT_EQ(1UL, Bits::SizeToBytes(1));
    EXPECT_EQ(1UL, Bits::SizeToBytes(8));
    EXPECT_EQ(2UL, Bits::SizeToBytes(9));
    EXPECT_EQ(1UL << 61, Bits::SizeToBytes(ULONG_MAX));
    EXPECT_EQ(1UL << 61, Bits::SizeToBytes(ULONG_MAX - 6));
    EXPECT_EQ((1UL << 61) - 1, Bits::SizeToBytes(ULONG_MAX - 7));
    EXPECT_EQ(1UL, Bits::PosToSize(0));
    EXPECT_EQ(ULONG_MAX, Bits::PosToSize(ULONG_MAX - 1));
}

TEST(BitsConstruction, CanBeDestroyedThroughItsBase) {
    EXPECT_TRUE(VornTest::IsWhollyDeletedAsBase<Bits>());
}

TEST(BitsConstruction, HasNoVirtualOperationBesideTheDestructor) {
    EXPECT_EQ(2U, VornTest::Slots<Bits>());
}

TEST(BitsConstruction, CannotBeAskedForSizeDataOrCountsWhenConst) {
    EXPECT_FALSE((std::is_invocable_v<decltype(&Bits::GetSize), const Bits&>));
    EXPECT_FALSE((std::is_invocable_v<decltype(&Bits::GetData), const Bits&>));
    EXPECT_FALSE((std::is_invocable_v<decltype(&Bits::GetBytes), const Bits&>));
    EXPECT_FALSE((std::is_invocable_v<decltype(&Bits::GetSetCount), const Bits&>));
    EXPECT_FALSE((std::is_invocable_v<decltype(&Bits::GetUnsetCount), const Bits&>));
}

// Concerns: the refusal of 0; exact capacity; what is cleared, kept, lost and brought back when the
// size changes, within the capacity and beyond it; the flag that has no effect.

TEST(BitsSize, RefusesZeroAndKeepsTheBits) {
    Bits bits = FromText("1100110011");
    EXPECT_EQ(0, bits.SetSize(0));
    EXPECT_EQ(0, bits.SetSize(0, 0));
    EXPECT_EQ("1100110011", bits.ToString());
    Bits empty;
    EXPECT_EQ(0, empty.SetSize(0, 1));
    EXPECT_EQ(nullptr, empty.GetData());
}

TEST(BitsSize, AllocatesExactlyTheBytesNeededWhateverTheFlag) {
    for (const int flag : {0, 1, -1, 77}) {
        Bits bits;
        EXPECT_EQ(1, bits.SetSize(10, flag));
        EXPECT_EQ(2UL, LastArraySize());
        EXPECT_EQ(2UL, bits.GetBytes());
        EXPECT_EQ(16UL, CapacityOf(bits));
        EXPECT_THAT(BytesOf(bits), ElementsAre(0, 0));
        EXPECT_EQ(1, bits.SetSize(17, flag));
        EXPECT_EQ(3UL, LastArraySize());
        EXPECT_EQ(24UL, CapacityOf(bits));
        EXPECT_EQ(17UL, bits.GetSize());
    }
}

TEST(BitsSize, TreatsTheBitsAlikeWhateverTheFlag) {
    for (const int flag : {0, 1, -1, 77}) {
        Bits bits;
        bits.SetSize(10, flag);
        EXPECT_THAT(BytesOf(bits), ElementsAre(0, 0)) << flag;
        bits.SetAll();
        bits.SetSize(17, flag);
        EXPECT_THAT(BytesOf(bits), ElementsAre(0xFF, 0x03, 0)) << flag;
        bits.SetAll();
        bits.SetSize(3, flag);
        EXPECT_THAT(BytesOf(bits), ElementsAre(0xFF)) << flag;
        bits.SetSize(24, flag);
        EXPECT_THAT(BytesOf(bits), ElementsAre(0xFF, 0xFF, 0x01)) << flag;
    }
}

TEST(BitsSize, KeepsTheArrayWhileItsCapacityIsEnough) {
    Bits bits(24);
    const unsigned char* data = bits.GetData();
    const std::size_t allocations = g_arrayNew.Count();
    for (const unsigned long size : {1UL, 24UL, 8UL, 17UL, 9UL}) {
        EXPECT_EQ(1, bits.SetSize(size));
        EXPECT_EQ(size, bits.GetSize());
        EXPECT_EQ(data, bits.GetData());
        EXPECT_EQ(24UL, CapacityOf(bits));
    }
    EXPECT_EQ(allocations, g_arrayNew.Count());
}

TEST(BitsSize, BringsBackOldBitsWhenItGrowsWithinTheCapacity) {
    Bits bits = FromText("101100111000111100001");
    bits.SetSize(3);
    EXPECT_EQ("001", bits.ToString());
    bits.SetSize(21);
    EXPECT_EQ("101100111000111100001", bits.ToString());
}

TEST(BitsSize, LosesBytesBeyondTheSizeWhenItGrowsBeyondTheCapacity) {
    Bits bits = OnesShrunkTo(3, 24);
    EXPECT_EQ(1, bits.SetSize(25));
    EXPECT_THAT(BytesOf(bits), ElementsAre(0xFF, 0, 0, 0)) << "the last byte in use comes along";
}

TEST(BitsSize, ClearsNoBitsOfTheLastByte) {
    Bits bits = Ones(16);
    bits.SetSize(10);
    EXPECT_THAT(BytesOf(bits), ElementsAre(0xFF, 0xFF));
    EXPECT_EQ(10UL, bits.GetSetCount());
}

// Concerns: whole bytes copied; refusals; the capacity that stays and what it does to later sizes;
// bytes of the set's own.

TEST(BitsData, CopiesWholeBytes) {
    unsigned char source[] = {0xA5, 0xFF, 0x77};
    Bits bits;
    EXPECT_EQ(1, bits.SetData(source, 10));
    source[0] = 0;
    EXPECT_EQ(10UL, bits.GetSize());
    EXPECT_NE(source, bits.GetData());
    EXPECT_THAT(BytesOf(bits), ElementsAre(0xA5, 0xFF));
    EXPECT_EQ("1110100101", bits.ToString());
}

TEST(BitsData, RefusesNullAndNoBits) {
    unsigned char source[] = {0xFF};
    Bits bits = FromText("0110");
    const unsigned char* data = bits.GetData();
    EXPECT_EQ(0, bits.SetData(nullptr, 8));
    EXPECT_EQ(0, bits.SetData(source, 0));
    EXPECT_EQ(0, bits.SetData(nullptr, 0));
    EXPECT_EQ("0110", bits.ToString());
    EXPECT_EQ(data, bits.GetData());
}

TEST(BitsData, KeepsTheOldCapacity) {
    unsigned char source[] = {1, 2, 3, 4, 5};
    Bits bits;
    bits.SetData(source, 40);
    EXPECT_EQ(0UL, CapacityOf(bits));
    Bits roomy(64);
    roomy.SetData(source, 8);
    EXPECT_EQ(64UL, CapacityOf(roomy));
    roomy.SetData(source, 40);
    EXPECT_EQ(64UL, CapacityOf(roomy));
}

TEST(BitsData, GrowsWithinTheOldCapacityOverZeros) {
    unsigned char source[] = {0x5A};
    Bits bits = Ones(32);
    bits.SetData(source, 8);
    const std::size_t allocations = g_arrayNew.Count();
    EXPECT_EQ(1, bits.SetSize(32));
    EXPECT_EQ(allocations, g_arrayNew.Count());
    EXPECT_THAT(BytesOf(bits), ElementsAre(0x5A, 0, 0, 0));
}

TEST(BitsData, ReallocatesEvenToShrinkWhenTheOldCapacityWasSmaller) {
    unsigned char source[] = {1, 2, 3, 4};
    Bits bits(8);
    bits.SetData(source, 32);
    EXPECT_EQ(1, bits.SetSize(9));
    EXPECT_EQ(2UL, LastArraySize());
    EXPECT_EQ(16UL, CapacityOf(bits));
    EXPECT_THAT(BytesOf(bits), ElementsAre(1, 2));
    bits.SetSize(32);
    EXPECT_THAT(BytesOf(bits), ElementsAre(1, 2, 0, 0));
}

TEST(BitsData, ShrinksInPlaceToWhatTheOldCapacityHolds) {
    unsigned char source[] = {1, 2, 3, 4};
    Bits bits(8);
    bits.SetData(source, 32);
    const unsigned char* data = bits.GetData();
    EXPECT_EQ(1, bits.SetSize(8));
    EXPECT_EQ(data, bits.GetData());
    EXPECT_THAT(BytesOf(bits), ElementsAre(1));
    bits.SetSize(16);
    EXPECT_THAT(BytesOf(bits), ElementsAre(1, 0)) << "only the byte in use was copied";
}

TEST(BitsData, TakesBytesOfItsOwn) {
    unsigned char source[] = {1, 2, 3, 4};
    Bits bits(32);
    bits.SetData(source, 32);
    EXPECT_EQ(1, bits.SetData(bits.GetData() + 1, 20));
    EXPECT_EQ(20UL, bits.GetSize());
    EXPECT_THAT(BytesOf(bits), ElementsAre(2, 3, 4));
    EXPECT_EQ(1, bits.SetData(bits.GetData(), 20));
    EXPECT_THAT(BytesOf(bits), ElementsAre(2, 3, 4));
}

// Concerns: each position and no other; positions that there are not.

TEST(BitsAccess, ReachesEachPositionAndNoOther) {
    for (unsigned long size = 1; size <= 40; ++size) {
        for (unsigned long pos = 0; pos < size; ++pos) {
            Bits bits(size);
            std::vector<int> bytes((size + 7) / 8, 0);
            bytes[pos / 8] = std::array{1, 2, 4, 8, 16, 32, 64, 128}[pos % 8];
            ASSERT_EQ(1, bits.Set(pos));
            ASSERT_EQ(1, bits.Set(pos)) << "again";
            ASSERT_EQ(bytes, BytesOf(bits));
            for (unsigned long other = 0; other < size; ++other)
                ASSERT_EQ(other == pos ? 1 : 0, bits.Test(other));
            bits.SetAll();
            ASSERT_EQ(1, bits.Reset(pos));
            ASSERT_EQ(1, bits.Reset(pos)) << "again";
            ASSERT_EQ(size - 1, bits.GetSetCount());
            ASSERT_EQ(0, bits.Test(pos));
        }
    }
}

TEST(BitsAccess, EndsAtTheSize) {
    Bits bits = OnesShrunkTo(10, 32);
    for (const unsigned long pos : {10UL, 11UL, 15UL, 16UL, 31UL, 32UL, 1000000UL, ULONG_MAX}) {
        EXPECT_EQ(0, bits.Test(pos)) << pos;
        EXPECT_EQ(0, bits.Reset(pos)) << pos;
    }
    EXPECT_THAT(BytesOf(bits), ElementsAre(0xFF, 0xFF));
    bits.ResetAll();
    for (const unsigned long pos : {10UL, 15UL, 16UL, 31UL, ULONG_MAX})
        EXPECT_EQ(0, bits.Set(pos)) << pos;
    EXPECT_THAT(BytesOf(bits), ElementsAre(0, 0));
}

TEST(BitsAccess, FindsNothingInAnEmptySet) {
    Bits bits;
    EXPECT_EQ(0, bits.Set(0));
    EXPECT_EQ(0, bits.Reset(0));
    EXPECT_EQ(0, bits.Test(0));
}

// Concerns: all bits at once for every size, the unused bits, the bytes beyond the last one.

TEST(BitsWhole, SetsClearsAndInvertsEverySizeWithUnusedBitsOfZero) {
    for (unsigned long size = 1; size <= 70; ++size) {
        Bits bits = OnesShrunkTo(size, 80);
        std::vector<int> ones((size + 7) / 8, 0xFF);
        if (size % 8 != 0)
            ones.back() = std::array{0, 1, 3, 7, 15, 31, 63, 127}[size % 8];
        bits.SetAll();
        ASSERT_EQ(ones, BytesOf(bits));
        ASSERT_EQ(&bits, &~bits);
        ASSERT_EQ(std::vector<int>((size + 7) / 8, 0), BytesOf(bits));
        ~bits;
        ASSERT_EQ(ones, BytesOf(bits));
        bits = OnesShrunkTo(size, 80);
        bits.ResetAll();
        ASSERT_EQ(std::vector<int>((size + 7) / 8, 0), BytesOf(bits));
    }
}

TEST(BitsWhole, SetsTenBitsAsOneByteAndTheLowTwoBitsOfTheNext) {
    EXPECT_THAT(BytesOf(Ones(10)), ElementsAre(0xFF, 0x03));
}

TEST(BitsWhole, InvertsEachBit) {
    Bits bits = FromText("1001110100");
    EXPECT_EQ("0110001011", (~bits).ToString());
    EXPECT_EQ("0110001011", bits.ToString()) << "in place";
}

TEST(BitsWhole, LeavesTheBytesBeyondTheLastOneAlone) {
    Bits bits = OnesShrunkTo(5, 24);
    bits.ResetAll();
    bits.SetSize(24);
    EXPECT_THAT(BytesOf(bits), ElementsAre(0, 0xFF, 0xFF));
    bits.ResetAll();
    bits.SetSize(5);
    bits.SetAll();
    bits.SetSize(24);
    EXPECT_THAT(BytesOf(bits), ElementsAre(0x1F, 0, 0));
    bits.SetSize(9);
    ~bits;
    bits.SetSize(24);
    EXPECT_THAT(BytesOf(bits), ElementsAre(0xE0, 0x01, 0));
}

TEST(BitsWhole, DoesNothingToAnEmptySet) {
    Bits bits;
    bits.SetAll();
    bits.ResetAll();
    EXPECT_EQ(&bits, &~bits);
    bits.Clear();
    EXPECT_EQ(0UL, bits.GetSize());
    EXPECT_EQ(nullptr, bits.GetData());
}

TEST(BitsWhole, ReleasesTheCapacityWhenCleared) {
    Bits bits = Ones(100);
    bits.Clear();
    EXPECT_EQ(0UL, bits.GetSize());
    EXPECT_EQ(nullptr, bits.GetData());
    EXPECT_EQ(0UL, CapacityOf(bits));
    EXPECT_EQ(1, bits.SetSize(100));
    EXPECT_EQ(0UL, bits.GetSetCount()) << "nothing comes back";
}

// Concerns: counts by position, None and Any by whole bytes.

TEST(BitsCount, CountsThePositionsBelowTheSizeOnly) {
    for (unsigned long size = 1; size <= 40; ++size) {
        Bits bits = OnesShrunkTo(size, 40);
        ASSERT_EQ(size, bits.GetSetCount());
        ASSERT_EQ(0UL, bits.GetUnsetCount());
        bits.Reset(size - 1);
        ASSERT_EQ(size - 1, bits.GetSetCount());
        ASSERT_EQ(1UL, bits.GetUnsetCount());
    }
    EXPECT_EQ(0UL, Bits().GetSetCount());
    EXPECT_EQ(0UL, Bits().GetUnsetCount());
}

TEST(BitsCount, LooksForAnyBitInWholeBytes) {
    Bits bits = OnesShrunkTo(3, 16);
    for (unsigned long pos = 0; pos < 3; ++pos)
        bits.Reset(pos);
    EXPECT_EQ(0UL, bits.GetSetCount());
    EXPECT_EQ(1, bits.Any());
    EXPECT_EQ(0, bits.None());
    bits.ResetAll();
    EXPECT_EQ(0, bits.Any()) << "the second byte is not in use";
    EXPECT_EQ(1, bits.None());
}

// Each of these is a set of three clear bits.
TEST(BitsCount, LooksAtUnusedBitsWhereverTheyComeFrom) {
    unsigned char source[] = {0xF8};
    const Bits eight = FromText("11111000");
    Bits set;
    set.SetData(source, 3);
    Bits shrunk = eight;
    shrunk.SetSize(3);
    for (const Bits& bits : {set, shrunk, eight | Bits(3), eight ^ Bits(3)}) {
        EXPECT_EQ("000", bits.ToString());
        EXPECT_EQ(1, bits.Any()) << "cloned";
        EXPECT_EQ(0, bits == Bits(3));
        EXPECT_EQ(1, bits != Bits(3));
        EXPECT_EQ(1, bits == shrunk);
    }
}

TEST(BitsCount, FindsASingleBitAnywhere) {
    for (unsigned long pos = 0; pos < 70; ++pos) {
        Bits bits(70);
        ASSERT_EQ(1, bits.None());
        bits.Set(pos);
        ASSERT_EQ(1, bits.Any());
        ASSERT_EQ(0, bits.None());
    }
}

TEST(BitsCount, FindsNoBitInAnEmptySet) {
    EXPECT_EQ(1, Bits().None());
    EXPECT_EQ(0, Bits().Any());
}

// Concerns: the order of the characters; where reading stops; the remaining capacity; round trips.

TEST(BitsText, HasTheHighestPositionFirst) {
    Bits bits(3);
    bits.Set(0);
    EXPECT_EQ("001", bits.ToString());
    std::string out = "something longer";
    bits.ToString(out);
    EXPECT_EQ("001", out);
    EXPECT_EQ("", Bits().ToString());
    Bits().ToString(out);
    EXPECT_EQ("", out);
}

TEST(BitsText, HasTheBitsBelowTheSizeOnly) { EXPECT_EQ("111", OnesShrunkTo(3, 16).ToString()); }

TEST(BitsText, IsReadFromItsEnd) {
    Bits bits = FromText("1101");
    EXPECT_EQ(4UL, bits.GetSize());
    EXPECT_EQ(1, bits.Test(0));
    EXPECT_EQ(0, bits.Test(1));
    EXPECT_EQ(1, bits.Test(2));
    EXPECT_EQ(1, bits.Test(3));
}

TEST(BitsText, IsReadUpToTheFirstOtherCharacterFromTheEnd) {
    for (const char other : {'x', '2', '/', ' ', '\n', '\0', '\xFF', '\xB0'}) {
        Bits bits = FromText(std::string("10") + other + "1");
        EXPECT_EQ("1", bits.ToString()) << int(other);
        bits.FromString(std::string("1") + other + "1" + other + other + "001");
        EXPECT_EQ("001", bits.ToString()) << int(other);
        bits.FromString(std::string(1, other) + "0110");
        EXPECT_EQ("0110", bits.ToString()) << int(other);
        bits.FromString(std::string("0110") + other);
        EXPECT_EQ(0UL, bits.GetSize()) << int(other);
        EXPECT_EQ(nullptr, bits.GetData()) << int(other);
    }
}

TEST(BitsText, ReplacesTheBitsEvenByAnEmptySet) {
    Bits bits = Ones(40);
    bits.FromString("");
    EXPECT_EQ(0UL, bits.GetSize());
    EXPECT_EQ(nullptr, bits.GetData());
    EXPECT_EQ(0UL, CapacityOf(bits));
}

TEST(BitsText, ReleasesTheCapacityAndItsBytes) {
    Bits bits = Ones(40);
    bits.FromString("010");
    EXPECT_EQ(8UL, CapacityOf(bits));
    EXPECT_THAT(BytesOf(bits), ElementsAre(0x02));
    bits.SetSize(40);
    EXPECT_THAT(BytesOf(bits), ElementsAre(0x02, 0, 0, 0, 0));
}

TEST(BitsText, OfEverySizeIsReadBackWithExactCapacity) {
    constexpr unsigned int Seed = 20240701;
    std::mt19937 random(Seed);
    for (unsigned long size = 0; size <= SmallSizes; ++size) {
        const std::string text = RandomText(random, size);
        Bits bits = FromText(text);
        ASSERT_EQ(text, bits.ToString()) << "seed " << Seed;
        ASSERT_EQ(size, bits.GetSize());
        ASSERT_EQ((size + 7) / 8 * 8, CapacityOf(bits));
        for (unsigned long pos = 0; pos < size; ++pos)
            ASSERT_EQ(text[size - 1 - pos] == '1' ? 1 : 0, bits.Test(pos)) << "seed " << Seed;
    }
}

TEST(BitsText, IsReadWithOneAllocation) {
    const std::string text(100000, '1');
    const std::size_t allocations = g_arrayNew.Count();
    Bits bits;
    bits.FromString(text);
    EXPECT_EQ(allocations + 1, g_arrayNew.Count());
    EXPECT_EQ(100000UL, bits.GetSetCount());
}

// Concerns: bits, unused bits and capacity of the copy; empty and identical sources.

TEST(BitsClone, CopiesSizeAndWholeBytes) {
    const Bits source = OnesShrunkTo(11, 24);
    Bits clone;
    clone.Clone(source);
    EXPECT_EQ(11UL, clone.GetSize());
    EXPECT_THAT(BytesOf(clone), ElementsAre(0xFF, 0xFF));
    EXPECT_EQ(16UL, CapacityOf(clone)) << "capacity as needed";
    clone.ResetAll();
    EXPECT_EQ(11UL, Bits(source).GetSetCount()) << "a copy of its own";
}

TEST(BitsClone, IsWhatCopyingAndAssigningDo) {
    const Bits source = FromText("1011001110");
    Bits copy(source);
    EXPECT_EQ("1011001110", copy.ToString());
    EXPECT_NE(FieldsOf(source).data, copy.GetData());
    Bits assigned = Ones(77);
    EXPECT_EQ(&assigned, &(assigned = source));
    EXPECT_EQ("1011001110", assigned.ToString());
    EXPECT_NE(FieldsOf(source).data, FieldsOf(assigned).data);
}

TEST(BitsClone, KeepsALargerCapacityAndItsBytes) {
    Bits bits = Ones(24);
    bits = Bits(8);
    EXPECT_EQ(24UL, CapacityOf(bits));
    EXPECT_THAT(BytesOf(bits), ElementsAre(0));
    bits.SetSize(24);
    EXPECT_THAT(BytesOf(bits), ElementsAre(0, 0xFF, 0xFF));
}

TEST(BitsClone, OfAnEmptySetChangesNothing) {
    const Bits empty;
    Bits bits = FromText("10110");
    bits.Clone(empty);
    EXPECT_EQ("10110", bits.ToString());
    bits = empty;
    EXPECT_EQ("10110", bits.ToString());
    Bits copy(empty);
    EXPECT_EQ(nullptr, copy.GetData());
    Bits none;
    none = empty;
    EXPECT_EQ(nullptr, none.GetData());
}

TEST(BitsClone, OfTheSetItselfKeepsTheBits) {
    Bits bits = FromText("1011001110");
    bits = *&bits;
    EXPECT_EQ("1011001110", bits.ToString());
    unsigned char source[] = {0xA5, 0xFF, 0x77};
    bits.Clear();
    bits.SetData(source, 20);
    bits.Clone(bits);
    EXPECT_EQ(20UL, bits.GetSize());
    EXPECT_EQ(24UL, CapacityOf(bits)) << "the size was set, so there is new capacity";
    EXPECT_THAT(BytesOf(bits), ElementsAre(0xA5, 0xFF, 0x77));
}

// Concerns: every operation that allocates, without memory; sizes that no machine has; the set as
// it was, or combined with and made like another as far as its bytes go, and usable afterwards.

TEST(BitsMemory, FailsEveryGrowthAndLeavesTheSetAsItWas) {
    unsigned char source[] = {1, 2, 3};
    Bits bits = FromText("10110");
    {
        const NoMemory none(g_arrayNew);
        EXPECT_EQ(0, bits.SetSize(9));
        EXPECT_EQ(0, bits.SetData(source, 24));
        EXPECT_EQ(0, bits.SetData(source, 1));
        EXPECT_EQ(1, bits.SetSize(8)) << "no growth";
        EXPECT_EQ(1, bits.SetSize(5));
        EXPECT_EQ("10110", bits.ToString());
        EXPECT_EQ(8UL, CapacityOf(bits));
    }
    EXPECT_EQ(1, bits.SetSize(9));
    EXPECT_EQ("000010110", bits.ToString());
}

TEST(BitsMemory, LeavesNewSetsEmpty) {
    const Bits source = Ones(20);
    const Bits other = Ones(9);
    const NoMemory none(g_arrayNew);
    EXPECT_EQ(0UL, Bits(10).GetSize());
    EXPECT_EQ(0UL, Bits(source).GetSize());
    EXPECT_EQ(nullptr, Bits(source).GetData());
    EXPECT_EQ(0UL, (source & other).GetSize());
    EXPECT_EQ(0UL, (source | other).GetSize());
    EXPECT_EQ(0UL, (source ^ other).GetSize());
}

TEST(BitsMemory, CombinesInPlaceWithTheOldSizeWhenItRunsOut) {
    Bits ored = FromText("00110011");
    Bits xored = FromText("00110011");
    const Bits other = Ones(16);
    const NoMemory none(g_arrayNew);
    ored |= other;
    EXPECT_EQ("11111111", ored.ToString());
    xored ^= other;
    EXPECT_EQ("11001100", xored.ToString());
}

TEST(BitsMemory, ClonesTheBytesThatBothHaveWhenItRunsOut) {
    unsigned char source[] = {1, 2, 3};
    Bits shorter = FromText("10110");
    Bits assigned = shorter;
    Bits longer;
    longer.SetData(source, 24);
    Bits empty;
    const Bits other = Ones(100);
    const Bits nine = Ones(9);
    const NoMemory none(g_arrayNew);
    shorter.Clone(other);
    EXPECT_EQ(5UL, shorter.GetSize());
    EXPECT_THAT(BytesOf(shorter), ElementsAre(0xFF)) << "whole";
    EXPECT_EQ(&assigned, &(assigned = other));
    EXPECT_EQ("11111", assigned.ToString());
    longer = nine;
    EXPECT_EQ(24UL, longer.GetSize()) << "the array could not be replaced, not even to shrink";
    EXPECT_THAT(BytesOf(longer), ElementsAre(0xFF, 0x01, 3));
    longer.Clone(longer);
    longer.Clone(Bits());
    EXPECT_THAT(BytesOf(longer), ElementsAre(0xFF, 0x01, 3));
    empty.Clone(other);
    EXPECT_EQ(nullptr, empty.GetData());
}

TEST(BitsMemory, KeepsTheLowPositionsOfATextThatThereIsMemoryFor) {
    const std::string text = "101100111000111100001111100000";
    Bits bits;
    {
        const NoMemory none(g_arrayNew, 3);
        bits.FromString(text);
    }
    EXPECT_EQ(text.substr(text.size() - 16), bits.ToString());
    {
        const NoMemory none(g_arrayNew);
        bits.FromString(text);
    }
    EXPECT_EQ(0UL, bits.GetSize());
}

TEST(BitsMemory, RunsOutForImpossibleSizes) {
    unsigned char source[] = {0xFF};
    Bits bits = FromText("101");
    for (const unsigned long size : {ULONG_MAX, ULONG_MAX - 7, ULONG_MAX - 8, 1UL << 63}) {
        EXPECT_EQ(0, bits.SetSize(size)) << size;
        EXPECT_EQ(0, bits.SetData(source, size)) << size;
        EXPECT_EQ(0UL, Bits(size).GetSize()) << size;
    }
    EXPECT_EQ("101", bits.ToString());
}

} // namespace
