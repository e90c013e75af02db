// Concerns: every operation on its own, at every size where that is small enough; the size rules of
// the six logic operators; what stands in the bytes behind the bits, and when it comes back; sets
// that hold more or fewer bytes than their capacity says; operands that are the same set; failing
// allocations; then random sequences of all operations against a model that knows single bits only.
#include <Bases/Container.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/FailingNewArray.h"
#include "support/RandomSteps.h"
#include "support/Slot.h"

namespace {

using testing::ElementsAre;
using Vorn::Bits;
using VornTest::FailingNewArray;
using VornTest::NoMemory;

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

constexpr unsigned long SmallSizes = 300;

// The object as it lies in memory.
struct Fields {
    const void* table;
    unsigned char* data;
    unsigned long capacity;
    unsigned long size;
};
static_assert(sizeof(Bits) == sizeof(Fields));

Fields FieldsOf(const Bits& bits) {
    Fields fields;
    std::memcpy(&fields, static_cast<const void*>(&bits), sizeof fields);
    return fields;
}

unsigned long CapacityOf(const Bits& bits) { return FieldsOf(bits).capacity; }

std::vector<int> BytesOf(const Bits& bits) {
    const Fields fields = FieldsOf(bits);
    return {fields.data, fields.data + Bits::SizeToBytes(fields.size)};
}

Bits FromText(const std::string& text) {
    Bits bits;
    bits.FromString(text);
    return bits;
}

Bits Ones(unsigned long size) {
    Bits bits(size);
    bits.SetAll();
    return bits;
}

// `size` bits with ones in the whole last byte, and in as many bytes as `room` takes behind it.
Bits OnesShrunkTo(unsigned long size, unsigned long room) {
    Bits bits = Ones(room);
    bits.SetSize(size);
    return bits;
}

std::string RandomText(std::mt19937& random, unsigned long size) {
    std::string text(size, '0');
    for (char& c : text)
        c = random() % 2 != 0 ? '1' : '0';
    return text;
}

// Concerns: what the constructors leave, the position helpers at their ends, and the layout.

TEST(BitsMake, IsEmptyWithoutASize) {
    Bits bits;
    EXPECT_EQ(0UL, bits.GetSize());
    EXPECT_EQ(0UL, bits.GetBytes());
    EXPECT_EQ(nullptr, bits.GetData());
    EXPECT_EQ(0UL, CapacityOf(bits));
}

TEST(BitsMake, HasClearBitsForEverySize) {
    for (unsigned long size = 0; size <= SmallSizes; ++size) {
        Bits bits(size);
        ASSERT_EQ(size, bits.GetSize());
        ASSERT_EQ((size + 7) / 8, bits.GetBytes());
        ASSERT_EQ((size + 7) / 8 * 8, CapacityOf(bits));
        ASSERT_EQ(std::vector<int>((size + 7) / 8, 0), BytesOf(bits));
        ASSERT_EQ(size == 0, bits.GetData() == nullptr);
    }
}

TEST(BitsMake, KeepsItsFieldsInOrderBehindTheTable) {
    Bits bits(10);
    const Fields fields = FieldsOf(bits);
    EXPECT_EQ(bits.GetData(), fields.data);
    EXPECT_EQ(16UL, fields.capacity);
    EXPECT_EQ(10UL, fields.size);
}

TEST(BitsMake, ComputesBytesAndPositionsUpToTheLargest) {
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

TEST(BitsMake, CanBeDestroyedThroughItsBase) {
    struct Derived : Bits {
        explicit Derived(bool& gone) : m_gone(gone) {}
        Derived(const Derived&) = delete;
        Derived& operator=(const Derived&) = delete;
        ~Derived() override { m_gone = true; }
        bool& m_gone;
    };
    bool gone = false;
    std::unique_ptr<Bits>(new Derived(gone)).reset();
    EXPECT_TRUE(gone);
}

TEST(BitsMake, HasNoVirtualOperationBesideTheDestructor) { EXPECT_EQ(2U, VornTest::Slots<Bits>()); }

TEST(BitsMake, CannotBeAskedForSizeDataOrCountsWhenConst) {
    EXPECT_FALSE((std::is_invocable_v<decltype(&Bits::GetSize), const Bits&>));
    EXPECT_FALSE((std::is_invocable_v<decltype(&Bits::GetData), const Bits&>));
    EXPECT_FALSE((std::is_invocable_v<decltype(&Bits::GetBytes), const Bits&>));
    EXPECT_FALSE((std::is_invocable_v<decltype(&Bits::GetSetCount), const Bits&>));
    EXPECT_FALSE((std::is_invocable_v<decltype(&Bits::GetUnsetCount), const Bits&>));
}

// Concerns: the refusal of 0; exact room; what is cleared, kept, lost and brought back when the
// size changes, within the room and beyond it; the flag that means nothing.

TEST(BitsSize, RefusesZeroAndKeepsTheBits) {
    Bits bits = FromText("1100110011");
    EXPECT_EQ(0, bits.SetSize(0));
    EXPECT_EQ(0, bits.SetSize(0, 0));
    EXPECT_EQ("1100110011", bits.ToString());
    Bits empty;
    EXPECT_EQ(0, empty.SetSize(0, 1));
    EXPECT_EQ(nullptr, empty.GetData());
}

TEST(BitsSize, MakesRoomForExactlyTheBytesNeededWhateverTheFlag) {
    for (const int flag : {0, 1, -1, 77}) {
        Bits bits;
        EXPECT_EQ(1, bits.SetSize(10, flag));
        EXPECT_EQ(2UL, FailingNewArray::lastSize);
        EXPECT_EQ(2UL, bits.GetBytes());
        EXPECT_EQ(16UL, CapacityOf(bits));
        EXPECT_THAT(BytesOf(bits), ElementsAre(0, 0));
        EXPECT_EQ(1, bits.SetSize(17, flag));
        EXPECT_EQ(3UL, FailingNewArray::lastSize);
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

TEST(BitsSize, KeepsTheArrayWhileItsRoomIsEnough) {
    Bits bits(24);
    const unsigned char* data = bits.GetData();
    const int allocations = FailingNewArray::count;
    for (const unsigned long size : {1UL, 24UL, 8UL, 17UL, 9UL}) {
        EXPECT_EQ(1, bits.SetSize(size));
        EXPECT_EQ(size, bits.GetSize());
        EXPECT_EQ(data, bits.GetData());
        EXPECT_EQ(24UL, CapacityOf(bits));
    }
    EXPECT_EQ(allocations, FailingNewArray::count);
}

TEST(BitsSize, BringsBackOldBitsWhenItGrowsWithinTheRoom) {
    Bits bits = FromText("101100111000111100001");
    bits.SetSize(3);
    EXPECT_EQ("001", bits.ToString());
    bits.SetSize(21);
    EXPECT_EQ("101100111000111100001", bits.ToString());
}

TEST(BitsSize, LosesBytesBehindTheSizeWhenItGrowsBeyondTheRoom) {
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

TEST(BitsData, KeepsCountingWithTheOldRoom) {
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

TEST(BitsData, GrowsWithinTheOldRoomOverZeros) {
    unsigned char source[] = {0x5A};
    Bits bits = Ones(32);
    bits.SetData(source, 8);
    const int allocations = FailingNewArray::count;
    EXPECT_EQ(1, bits.SetSize(32));
    EXPECT_EQ(allocations, FailingNewArray::count);
    EXPECT_THAT(BytesOf(bits), ElementsAre(0x5A, 0, 0, 0));
}

TEST(BitsData, MakesNewRoomEvenToShrinkWhenTheOldRoomWasSmaller) {
    unsigned char source[] = {1, 2, 3, 4};
    Bits bits(8);
    bits.SetData(source, 32);
    EXPECT_EQ(1, bits.SetSize(9));
    EXPECT_EQ(2UL, FailingNewArray::lastSize);
    EXPECT_EQ(16UL, CapacityOf(bits));
    EXPECT_THAT(BytesOf(bits), ElementsAre(1, 2));
    bits.SetSize(32);
    EXPECT_THAT(BytesOf(bits), ElementsAre(1, 2, 0, 0));
}

TEST(BitsData, ShrinksInPlaceToWhatTheOldRoomHolds) {
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

// Concerns: all bits at once for every size, the rest of the last byte, the bytes behind it.

TEST(BitsWhole, SetsClearsAndInvertsEverySizeWithZerosBehindTheLastBit) {
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

TEST(BitsWhole, LeavesTheBytesBehindTheLastOneAlone) {
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

TEST(BitsWhole, GivesTheRoomBackWhenCleared) {
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
TEST(BitsCount, LooksAtTheBitsBehindTheLastOneWhereverTheyComeFrom) {
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

TEST(BitsInPlace, ClearsBehindTheNewSizeForEquallyManyBytes) {
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

TEST(BitsCombined, HasZerosBehindTheBytesOfTheShorterSet) {
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

// Concerns: the order of the characters; where reading stops; the room that is left; round trips.

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

TEST(BitsText, ReplacesTheBitsEvenByNone) {
    Bits bits = Ones(40);
    bits.FromString("");
    EXPECT_EQ(0UL, bits.GetSize());
    EXPECT_EQ(nullptr, bits.GetData());
    EXPECT_EQ(0UL, CapacityOf(bits));
}

TEST(BitsText, GivesBackTheRoomAndWhatWasInIt) {
    Bits bits = Ones(40);
    bits.FromString("010");
    EXPECT_EQ(8UL, CapacityOf(bits));
    EXPECT_THAT(BytesOf(bits), ElementsAre(0x02));
    bits.SetSize(40);
    EXPECT_THAT(BytesOf(bits), ElementsAre(0x02, 0, 0, 0, 0));
}

TEST(BitsText, OfEverySizeIsReadBackWithExactRoom) {
    constexpr unsigned int seed = 20240701;
    std::mt19937 random(seed);
    for (unsigned long size = 0; size <= SmallSizes; ++size) {
        const std::string text = RandomText(random, size);
        Bits bits = FromText(text);
        ASSERT_EQ(text, bits.ToString()) << "seed " << seed;
        ASSERT_EQ(size, bits.GetSize());
        ASSERT_EQ((size + 7) / 8 * 8, CapacityOf(bits));
        for (unsigned long pos = 0; pos < size; ++pos)
            ASSERT_EQ(text[size - 1 - pos] == '1' ? 1 : 0, bits.Test(pos)) << "seed " << seed;
    }
}

TEST(BitsText, IsReadWithOneAllocation) {
    const std::string text(100000, '1');
    const int allocations = FailingNewArray::count;
    Bits bits;
    bits.FromString(text);
    EXPECT_EQ(allocations + 1, FailingNewArray::count);
    EXPECT_EQ(100000UL, bits.GetSetCount());
}

// Concerns: bits, stray bits and room of the copy; empty and identical sources.

TEST(BitsClone, CopiesSizeAndWholeBytes) {
    const Bits source = OnesShrunkTo(11, 24);
    Bits clone;
    clone.Clone(source);
    EXPECT_EQ(11UL, clone.GetSize());
    EXPECT_THAT(BytesOf(clone), ElementsAre(0xFF, 0xFF));
    EXPECT_EQ(16UL, CapacityOf(clone)) << "room as needed";
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

TEST(BitsClone, KeepsALargerRoomAndWhatIsInIt) {
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
    EXPECT_EQ(24UL, CapacityOf(bits)) << "the size was set, so there is new room";
    EXPECT_THAT(BytesOf(bits), ElementsAre(0xA5, 0xFF, 0x77));
}

// Concerns: every operation that allocates, without memory; sizes that no machine has; the set as
// it was, or combined with and made like another as far as its bytes go, and usable afterwards.

TEST(BitsMemory, FailsEveryGrowthAndLeavesTheSetAsItWas) {
    unsigned char source[] = {1, 2, 3};
    Bits bits = FromText("10110");
    {
        const NoMemory none;
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
    const NoMemory none;
    EXPECT_EQ(0UL, Bits(10).GetSize());
    EXPECT_EQ(0UL, Bits(source).GetSize());
    EXPECT_EQ(nullptr, Bits(source).GetData());
    EXPECT_EQ(0UL, (source & other).GetSize());
    EXPECT_EQ(0UL, (source | other).GetSize());
    EXPECT_EQ(0UL, (source ^ other).GetSize());
}

TEST(BitsMemory, CombinesInPlaceWithTheOldSizeWhenThereIsNone) {
    Bits ored = FromText("00110011");
    Bits xored = FromText("00110011");
    const Bits other = Ones(16);
    const NoMemory none;
    ored |= other;
    EXPECT_EQ("11111111", ored.ToString());
    xored ^= other;
    EXPECT_EQ("11001100", xored.ToString());
}

TEST(BitsMemory, ClonesTheBytesThatBothHaveWhenThereIsNone) {
    unsigned char source[] = {1, 2, 3};
    Bits shorter = FromText("10110");
    Bits assigned = shorter;
    Bits longer;
    longer.SetData(source, 24);
    Bits empty;
    const Bits other = Ones(100);
    const Bits nine = Ones(9);
    const NoMemory none;
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
        const NoMemory none(3);
        bits.FromString(text);
    }
    EXPECT_EQ(text.substr(text.size() - 16), bits.ToString());
    {
        const NoMemory none;
        bits.FromString(text);
    }
    EXPECT_EQ(0UL, bits.GetSize());
}

TEST(BitsMemory, IsNotThereForImpossibleSizes) {
    unsigned char source[] = {0xFF};
    Bits bits = FromText("101");
    for (const unsigned long size : {ULONG_MAX, ULONG_MAX - 7, ULONG_MAX - 8, 1UL << 63}) {
        EXPECT_EQ(0, bits.SetSize(size)) << size;
        EXPECT_EQ(0, bits.SetData(source, size)) << size;
        EXPECT_EQ(0UL, Bits(size).GetSize()) << size;
    }
    EXPECT_EQ("101", bits.ToString());
}

// Concerns: everything above in any order. The model holds the array as single bits, each with the
// place it has in the set, and follows the rules one bit at a time.

struct Model {
    std::vector<char> array; // 0 or 1 each; of bool it would take four times as long
    unsigned long capacity = 0;
    unsigned long size = 0;

    static unsigned long Whole(unsigned long size) {
        while (size % 8 != 0)
            ++size;
        return size;
    }

    bool SetSize(unsigned long wanted) {
        if (wanted == 0)
            return false;
        if (capacity < Whole(wanted)) {
            std::vector<char> longer(Whole(wanted));
            for (unsigned long i = 0; i < longer.size() && i < Whole(size); ++i)
                longer[i] = array[i];
            array = longer;
            capacity = Whole(wanted);
        }
        size = wanted;
        return true;
    }

    bool SetData(const std::vector<char>& bits, unsigned long wanted) {
        if (wanted == 0)
            return false;
        array.assign(std::max(capacity, Whole(wanted)), false);
        for (unsigned long i = 0; i < Whole(wanted); ++i)
            array[i] = bits[i];
        size = wanted;
        return true;
    }

    bool Put(unsigned long pos, bool bit) {
        if (pos >= size)
            return false;
        array[pos] = bit;
        return true;
    }

    void Fill(bool bit) {
        for (unsigned long i = 0; i < Whole(size); ++i)
            array[i] = bit && i < size;
    }

    void Invert() {
        for (unsigned long i = 0; i < Whole(size); ++i)
            array[i] = i < size && !array[i];
    }

    unsigned long Count() const {
        return static_cast<unsigned long>(
            std::count(array.begin(), array.begin() + static_cast<long>(size), true));
    }

    bool HasAny() const {
        bool any = false;
        for (unsigned long i = 0; i < Whole(size); ++i)
            any = any || array[i];
        return any;
    }

    static bool Apply(char operation, bool left, bool right) {
        return operation == '&' ? left && right : operation == '|' ? left || right : left != right;
    }

    void CombineInPlace(char operation, const Model& right) {
        const Model left = *this;
        const Model other = right; // which may be this one
        if (operation != '&')
            SetSize(other.size);
        for (unsigned long i = 0; i < Whole(left.size) && i < Whole(other.size); ++i)
            array[i] = Apply(operation, left.array[i], other.array[i]);
        if (Whole(left.size) == Whole(other.size))
            Trim(size);
    }

    Model Combined(char operation, const Model& right) const {
        Model result;
        result.SetSize(operation == '&' ? size : right.size);
        for (unsigned long i = 0; i < Whole(size) && i < Whole(right.size); ++i)
            result.array[i] = Apply(operation, array[i], right.array[i]);
        if (Whole(size) == Whole(right.size))
            result.Trim(size);
        return result;
    }

    void Trim(unsigned long end) {
        for (unsigned long i = end; i % 8 != 0; ++i)
            array[i] = false;
    }

    bool SameBytes(const Model& other) const {
        bool same = true;
        for (unsigned long i = 0; i < Whole(size); ++i)
            same = same && array[i] == other.array[i];
        return same;
    }

    std::string Text() const {
        std::string text;
        for (unsigned long i = size; i > 0; --i)
            text += array[i - 1] ? '1' : '0';
        return text;
    }

    void Read(const std::string& text) {
        *this = Model();
        for (unsigned long i = 0; i < text.size(); ++i) {
            const char c = text[text.size() - 1 - i];
            if (c != '0' && c != '1')
                return;
            SetSize(i + 1);
            Put(i, c == '1');
        }
    }

    void Clone(const Model& other) {
        const Model source = other;
        if (!SetSize(source.size))
            return;
        for (unsigned long i = 0; i < Whole(size); ++i)
            array[i] = source.array[i];
    }
};

// A set with its model, and a random operation on both.
class Pair {
public:
    Bits bits;
    Model model;

    // All there is to know, the bytes that are not in use included.
    void Check() {
        ASSERT_EQ(model.size, bits.GetSize());
        ASSERT_EQ(model.capacity, CapacityOf(bits));
        ASSERT_EQ(Model::Whole(model.size) / 8, bits.GetBytes());
        ASSERT_EQ(model.array.empty(), bits.GetData() == nullptr);
        for (unsigned long i = 0; i < model.array.size(); ++i)
            ASSERT_EQ(model.array[i] != 0, bits.GetData()[i / 8] / (1 << i % 8) % 2 != 0) << i;
    }

    void CheckQueries(std::mt19937& random) {
        ASSERT_EQ(model.Count(), bits.GetSetCount());
        ASSERT_EQ(model.size - model.Count(), bits.GetUnsetCount());
        ASSERT_EQ(model.HasAny() ? 1 : 0, bits.Any());
        ASSERT_EQ(model.HasAny() ? 0 : 1, bits.None());
        ASSERT_EQ(model.Text(), bits.ToString());
        const unsigned long pos = random() % (model.size + 20);
        ASSERT_EQ(pos < model.size && model.array[pos] ? 1 : 0, bits.Test(pos));
    }
};

class Sequence {
public:
    explicit Sequence(unsigned int seed) : m_random(seed) {}

    void Step() {
        Pair& pair = m_pairs[Below(m_pairs.size())];
        Pair& other = m_pairs[Below(m_pairs.size())];
        const unsigned long operation = Below(16);
        SCOPED_TRACE("operation " + std::to_string(operation));
        if (operation < 6)
            Resize(pair, operation);
        else if (operation < 10)
            Change(pair);
        else
            Combine(pair, other, operation);
        pair.Check();
        other.Check();
        if (Below(4) == 0)
            pair.CheckQueries(m_random);
    }

private:
    std::mt19937 m_random;
    std::array<Pair, 4> m_pairs;

    unsigned long Below(unsigned long end) { return m_random() % end; }

    // Near a size that is in use more often than not, so that sizes meet.
    unsigned long Size() {
        if (Below(400) == 0)
            return 2000 + Below(3000);
        if (Below(2) == 0)
            return Below(SmallSizes + 1);
        const unsigned long near = m_pairs[Below(m_pairs.size())].model.size + Below(17);
        return near < 8 ? near : near - 8;
    }

    void Resize(Pair& pair, unsigned long operation) {
        if (operation < 3) {
            const unsigned long size = Size();
            const int flag = static_cast<int>(Below(4)) - 1;
            ASSERT_EQ(pair.model.SetSize(size) ? 1 : 0, pair.bits.SetSize(size, flag));
        } else if (operation == 3) {
            SetData(pair);
        } else if (operation == 4) {
            std::string text = RandomText(m_random, Size());
            for (unsigned long others = Below(3); others > 0 && !text.empty(); --others)
                text[Below(text.size())] = 'x';
            pair.model.Read(text);
            pair.bits.FromString(text);
        } else if (Below(4) == 0) {
            pair.model = Model();
            pair.bits.Clear();
        }
    }

    void SetData(Pair& pair) {
        const unsigned long bytes = pair.model.array.size() / 8;
        if (bytes > 0 && Below(3) == 0) { // some of the set's own
            const unsigned long first = Below(bytes);
            const unsigned long size = Below((bytes - first) * 8 + 1);
            const std::vector<char> own(pair.model.array.begin() + static_cast<long>(first * 8),
                                        pair.model.array.end());
            ASSERT_EQ(pair.model.SetData(own, size) ? 1 : 0,
                      pair.bits.SetData(pair.bits.GetData() + first, size));
            return;
        }
        const unsigned long size = Size();
        std::vector<unsigned char> source(size / 8 + 1);
        std::vector<char> single;
        for (unsigned char& byte : source) {
            byte = static_cast<unsigned char>(Below(256));
            for (int value = 1; value < 256; value *= 2)
                single.push_back(byte / value % 2 != 0);
        }
        ASSERT_EQ(pair.model.SetData(single, size) ? 1 : 0, pair.bits.SetData(source.data(), size));
    }

    void Change(Pair& pair) {
        const unsigned long pos = Below(pair.model.size + 10);
        const unsigned long kind = Below(8);
        if (kind < 2) {
            ASSERT_EQ(pair.model.Put(pos, true) ? 1 : 0, pair.bits.Set(pos));
        } else if (kind < 4) {
            ASSERT_EQ(pair.model.Put(pos, false) ? 1 : 0, pair.bits.Reset(pos));
        } else if (kind == 4) {
            pair.model.Fill(true);
            pair.bits.SetAll();
        } else if (kind == 5) {
            pair.model.Fill(false);
            pair.bits.ResetAll();
        } else if (kind == 6) {
            pair.model.Invert();
            ASSERT_EQ(&pair.bits, &~pair.bits);
        } else {
            ASSERT_EQ(&pair.bits, &(pair.bits << pos));
            ASSERT_EQ(&pair.bits, &(pair.bits >> pos));
        }
    }

    void Combine(Pair& pair, Pair& other, unsigned long operation) {
        const char kind = "&|^"[Below(3)];
        if (operation < 12) {
            pair.model.CombineInPlace(kind, other.model);
            Bits& result = kind == '&'   ? pair.bits &= other.bits
                           : kind == '|' ? pair.bits |= other.bits
                                         : pair.bits ^= other.bits;
            ASSERT_EQ(&pair.bits, &result);
        } else if (operation < 14) {
            Pair result{kind == '&'   ? pair.bits & other.bits
                        : kind == '|' ? pair.bits | other.bits
                                      : pair.bits ^ other.bits,
                        pair.model.Combined(kind, other.model)};
            result.Check();
        } else if (operation == 14) {
            pair.model.Clone(other.model);
            pair.bits = other.bits;
        } else {
            const bool sizes = pair.model.size == other.model.size;
            const bool same = sizes && pair.model.SameBytes(other.model);
            ASSERT_EQ(same ? 1 : 0, pair.bits == other.bits);
            ASSERT_EQ(sizes && !same ? 1 : 0, pair.bits != other.bits);
        }
    }
};

class BitsModel : public testing::TestWithParam<unsigned int> {};

TEST_P(BitsModel, AgreesAfterEveryOperation) { VornTest::TakeRandomSteps<Sequence>(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Seeds, BitsModel, testing::Range(20240801U, 20240811U));

} // namespace
