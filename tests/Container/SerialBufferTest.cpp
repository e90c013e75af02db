// SPDX-License-Identifier: MIT
// Concerns: every operation on its own; exact growth; bytes of the buffer's own array in each of
// them; arrays that come from the caller and go to the caller; numbers that cannot be, and the sums
// of such; failing allocations; then random sequences of all operations against a plain model.
// Bytes that have never been written are looked at only to see that nothing was copied to them.
#include <Bases/Container.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Container/FilledArrays.h"
#include "support/DeletedAsBase.h"
#include "support/NoMemory.h"
#include "support/RandomSteps.h"
#include "support/Slot.h"

namespace {

using Vorn::SerialBuffer;
using VornTest::g_arrayNew;
using VornTest::LastArraySize;
using VornTest::NoMemory;
using VornTest::Unwritten;

static_assert(std::has_virtual_destructor_v<SerialBuffer>);
static_assert(!std::is_copy_constructible_v<SerialBuffer>);
static_assert(!std::is_copy_assignable_v<SerialBuffer>);
static_assert(std::is_same_v<int, decltype(std::declval<SerialBuffer&>().SetMaxSize(1, 1))>);
static_assert(std::is_same_v<int, decltype(std::declval<SerialBuffer&>().Shift(1))>);
static_assert(std::is_same_v<int, decltype(std::declval<SerialBuffer&>().AddBuffer({}, 1, 1))>);
static_assert(std::is_same_v<int, decltype(std::declval<SerialBuffer&>().SetBuffer({}, 1, 1))>);

// The object as it lies in memory.
struct Fields {
    const void* table;
    unsigned char* buffer;
    unsigned long maxSize;
    unsigned long size;
    unsigned long reserve;
};
static_assert(sizeof(SerialBuffer) == sizeof(Fields));

int Add(SerialBuffer& buffer, std::string bytes, int grow = 1) {
    return buffer.AddBuffer(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(), grow);
}

std::string TextOf(SerialBuffer& buffer) {
    const unsigned char* bytes = buffer.GetBuffer();
    return {bytes, bytes + buffer.GetSize()};
}

// An array of `length` bytes, a to z and again, for the buffer to take over.
std::unique_ptr<unsigned char[]> Letters(unsigned long length) {
    std::unique_ptr<unsigned char[]> array(new unsigned char[length]);
    for (unsigned long i = 0; i < length; ++i)
        array[i] = static_cast<unsigned char>('a' + i % 26);
    return array;
}

void ExpectNothing(SerialBuffer& buffer) {
    EXPECT_EQ(nullptr, buffer.GetBuffer());
    EXPECT_EQ(0UL, buffer.GetSize());
    EXPECT_EQ(0UL, buffer.GetMaxSize());
}

// Concerns: what the constructors leave, and the layout.

TEST(SerialBufferConstruction, HasNoArrayWithoutCapacity) {
    SerialBuffer buffer;
    ExpectNothing(buffer);
    SerialBuffer none(0);
    ExpectNothing(none);
}

TEST(SerialBufferConstruction, HasTheRequestedCapacityAndNoBytes) {
    SerialBuffer buffer(20);
    EXPECT_NE(nullptr, buffer.GetBuffer());
    EXPECT_EQ(20UL, buffer.GetMaxSize());
    EXPECT_EQ(20UL, LastArraySize());
    EXPECT_EQ(0UL, buffer.GetSize());
}

TEST(SerialBufferConstruction, KeepsItsFieldsInOrderAfterTheVirtualTable) {
    SerialBuffer buffer(20);
    buffer.SetSize(3);
    Fields fields;
    std::memcpy(&fields, static_cast<const void*>(&buffer), sizeof fields);
    EXPECT_EQ(buffer.GetBuffer(), fields.buffer);
    EXPECT_EQ(20UL, fields.maxSize);
    EXPECT_EQ(3UL, fields.size);
}

TEST(SerialBufferConstruction, CanBeDestroyedThroughItsBase) {
    EXPECT_TRUE(VornTest::IsWhollyDeletedAsBase<SerialBuffer>());
}

TEST(SerialBufferConstruction, HasNoVirtualOperationBesideTheDestructor) {
    EXPECT_EQ(2U, VornTest::Slots<SerialBuffer>());
}

TEST(SerialBufferConstruction, CannotBeAskedWhenConst) {
    EXPECT_FALSE((std::is_invocable_v<decltype(&SerialBuffer::GetBuffer), const SerialBuffer&>));
    EXPECT_FALSE((std::is_invocable_v<decltype(&SerialBuffer::GetSize), const SerialBuffer&>));
    EXPECT_FALSE((std::is_invocable_v<decltype(&SerialBuffer::GetMaxSize), const SerialBuffer&>));
}

// Concerns: the limits of the size in use, exact capacity, what is kept, and what a change of the
// capacity leaves unchanged.

TEST(SerialBufferCapacity, LimitsTheSize) {
    SerialBuffer buffer(20);
    buffer.SetSize(19);
    EXPECT_EQ(19UL, buffer.GetSize());
    buffer.SetSize(20);
    EXPECT_EQ(20UL, buffer.GetSize());
    buffer.SetSize(0);
    EXPECT_EQ(0UL, buffer.GetSize());
    for (const unsigned long size : {21UL, 50UL, ULONG_MAX}) {
        buffer.SetSize(size);
        EXPECT_EQ(20UL, buffer.GetSize());
    }
    SerialBuffer empty;
    empty.SetSize(1);
    EXPECT_EQ(0UL, empty.GetSize());
}

TEST(SerialBufferCapacity, KeepsTheBytesWhenTheSizeChanges) {
    SerialBuffer buffer;
    Add(buffer, "abcdef");
    buffer.SetSize(2);
    EXPECT_EQ("ab", TextOf(buffer));
    buffer.SetSize(6);
    EXPECT_EQ("abcdef", TextOf(buffer));
}

TEST(SerialBufferCapacity, NeverShrinks) {
    SerialBuffer buffer(16);
    Add(buffer, "abc");
    const unsigned char* array = buffer.GetBuffer();
    const std::size_t allocations = g_arrayNew.Count();
    for (const int keep : {0, 1}) {
        for (const unsigned long size : {0UL, 2UL, 8UL, 16UL})
            EXPECT_EQ(1, buffer.SetMaxSize(size, keep));
    }
    EXPECT_EQ(array, buffer.GetBuffer());
    EXPECT_EQ(16UL, buffer.GetMaxSize());
    EXPECT_EQ("abc", TextOf(buffer));
    EXPECT_EQ(allocations, g_arrayNew.Count());
}

TEST(SerialBufferCapacity, GrowsToExactlyTheSizeAndKeepsTheBytes) {
    for (const int keep : {1, -1, 256}) {
        SerialBuffer buffer;
        Add(buffer, "abc");
        EXPECT_EQ(1, buffer.SetMaxSize(17, keep));
        EXPECT_EQ(17UL, LastArraySize());
        EXPECT_EQ(17UL, buffer.GetMaxSize());
        EXPECT_EQ("abc", TextOf(buffer));
    }
}

TEST(SerialBufferCapacity, KeepsTheSizeWhenItDropsTheBytes) {
    SerialBuffer buffer;
    Add(buffer, "abc");
    const unsigned char* array = buffer.GetBuffer();
    EXPECT_EQ(1, buffer.SetMaxSize(17, 0));
    EXPECT_NE(array, buffer.GetBuffer());
    EXPECT_EQ(17UL, buffer.GetMaxSize());
    EXPECT_EQ(3UL, buffer.GetSize());
    EXPECT_EQ(std::string(3, static_cast<char>(Unwritten)), TextOf(buffer)) << "nothing was copied";
    std::memcpy(buffer.GetBuffer(), "xyz", 3);
    EXPECT_EQ(1, Add(buffer, "!"));
    EXPECT_EQ("xyz!", TextOf(buffer));
}

// Concerns: with and without growth, nothing to append, sums at the edge, and bytes that lie in the
// buffer's own array.

TEST(SerialBufferAdd, IsRefusedWithoutCapacityAndWithoutGrowth) {
    SerialBuffer buffer;
    EXPECT_EQ(0, Add(buffer, "0123456789", 0));
    ExpectNothing(buffer);
    EXPECT_EQ(1, Add(buffer, "0123456789", 1));
    EXPECT_EQ(10UL, buffer.GetMaxSize());
    EXPECT_EQ(0, Add(buffer, "x", 0));
    EXPECT_EQ(0, buffer.AddBuffer(nullptr, 1, 0));
    EXPECT_EQ("0123456789", TextOf(buffer));
    EXPECT_EQ(10UL, buffer.GetMaxSize());
}

TEST(SerialBufferAdd, FillsTheCapacityWithoutGrowth) {
    SerialBuffer buffer(6);
    const unsigned char* array = buffer.GetBuffer();
    EXPECT_EQ(1, Add(buffer, "abc", 0));
    EXPECT_EQ(1, Add(buffer, "def", 0));
    EXPECT_EQ("abcdef", TextOf(buffer));
    EXPECT_EQ(array, buffer.GetBuffer());
    EXPECT_EQ(0, Add(buffer, "g", 0));
}

TEST(SerialBufferAdd, GrowsToExactlyTheBytesNeeded) {
    for (const int grow : {1, -1, 256}) {
        SerialBuffer buffer(4);
        EXPECT_EQ(1, Add(buffer, "abc", grow));
        EXPECT_EQ(4UL, buffer.GetMaxSize()) << "the capacity suffices";
        EXPECT_EQ(1, Add(buffer, "defg", grow));
        EXPECT_EQ(7UL, buffer.GetMaxSize());
        EXPECT_EQ(7UL, LastArraySize());
        EXPECT_EQ(1, Add(buffer, "h", grow));
        EXPECT_EQ(8UL, buffer.GetMaxSize());
        EXPECT_EQ("abcdefgh", TextOf(buffer));
    }
}

TEST(SerialBufferAdd, GrowsForNullAndAppendsNothing) {
    SerialBuffer buffer;
    EXPECT_EQ(1, buffer.AddBuffer(nullptr, 5, 1));
    EXPECT_EQ(5UL, buffer.GetMaxSize());
    EXPECT_EQ(0UL, buffer.GetSize());
    Add(buffer, "abc");
    EXPECT_EQ(1, buffer.AddBuffer(nullptr, 2, 0)) << "the capacity suffices";
    EXPECT_EQ(1, buffer.AddBuffer(nullptr, 3, 1));
    EXPECT_EQ(6UL, buffer.GetMaxSize());
    EXPECT_EQ("abc", TextOf(buffer));
}

TEST(SerialBufferAdd, OfNoBytesDoesNothing) {
    SerialBuffer buffer;
    unsigned char byte = 0;
    for (const int grow : {0, 1}) {
        EXPECT_EQ(1, buffer.AddBuffer(&byte, 0, grow));
        EXPECT_EQ(1, buffer.AddBuffer(nullptr, 0, grow));
    }
    ExpectNothing(buffer);
}

TEST(SerialBufferAdd, RefusesSumsBeyondTheRange) {
    SerialBuffer buffer;
    Add(buffer, "abc");
    unsigned char byte = 0;
    for (const unsigned long len : {ULONG_MAX, ULONG_MAX - 1, ULONG_MAX - 2}) {
        EXPECT_EQ(0, buffer.AddBuffer(&byte, len, 1)) << len;
        EXPECT_EQ(0, buffer.AddBuffer(&byte, len, 0)) << len;
        EXPECT_EQ(0, buffer.AddBuffer(nullptr, len, 1)) << len;
    }
    EXPECT_EQ("abc", TextOf(buffer));
    EXPECT_EQ(3UL, buffer.GetMaxSize());
}

TEST(SerialBufferAdd, AcceptsTheLargestSumWhereTheCapacityIsSaidToHoldIt) {
    SerialBuffer buffer;
    EXPECT_EQ(1, buffer.SetBuffer(nullptr, 3, ULONG_MAX));
    EXPECT_EQ(1, buffer.AddBuffer(nullptr, ULONG_MAX - 3, 0));
    EXPECT_EQ(0, buffer.AddBuffer(nullptr, ULONG_MAX - 2, 0));
    EXPECT_EQ(3UL, buffer.GetSize());
}

TEST(SerialBufferAdd, TakesBytesOfItsOwnWhileTheArrayGrows) {
    SerialBuffer buffer;
    Add(buffer, "abcdefgh");
    EXPECT_EQ(1, buffer.AddBuffer(buffer.GetBuffer() + 2, 5, 1));
    EXPECT_EQ("abcdefghcdefg", TextOf(buffer));
    EXPECT_EQ(1, buffer.AddBuffer(buffer.GetBuffer(), 13, 1));
    EXPECT_EQ("abcdefghcdefgabcdefghcdefg", TextOf(buffer));
}

TEST(SerialBufferAdd, TakesBytesOfItsOwnThatAreNotInUse) {
    SerialBuffer buffer;
    Add(buffer, "abcdefgh");
    buffer.SetSize(3);
    EXPECT_EQ(1, buffer.AddBuffer(buffer.GetBuffer() + 2, 6, 1));
    EXPECT_EQ(9UL, buffer.GetMaxSize());
    EXPECT_EQ("abccdefgh", TextOf(buffer));
}

TEST(SerialBufferAdd, TakesBytesThatOverlapTheirNewPlace) {
    SerialBuffer buffer;
    Add(buffer, "abcdefgh");
    buffer.SetSize(3);
    EXPECT_EQ(1, buffer.AddBuffer(buffer.GetBuffer() + 1, 5, 0));
    EXPECT_EQ("abcbcdef", TextOf(buffer));
    buffer.SetSize(1);
    EXPECT_EQ(1, buffer.AddBuffer(buffer.GetBuffer() + 2, 6, 0));
    EXPECT_EQ("acbcdef", TextOf(buffer));
}

// Short pieces are copied by other means than long ones.
constexpr unsigned long PiecesUpTo = 140;

TEST(SerialBufferAdd, AppendsPiecesOfEveryLengthAndNoByteMore) {
    for (unsigned long length = 1; length <= PiecesUpTo; ++length) {
        const auto piece = Letters(length); // alone in its array, for the sanitizer
        const std::string expected(piece.get(), piece.get() + length);
        SerialBuffer buffer(3 + length + 1);
        Add(buffer, "abc", 0);
        ASSERT_EQ(1, buffer.AddBuffer(piece.get(), length, 0));
        ASSERT_EQ("abc" + expected, TextOf(buffer));
        ASSERT_EQ(Unwritten, buffer.GetBuffer()[3 + length]) << length;
    }
}

TEST(SerialBufferAdd, TakesPiecesOfEveryLengthThatOverlapTheirNewPlace) {
    for (unsigned long length = 1; length <= PiecesUpTo; ++length) {
        for (unsigned long from = 0; from <= 2 * length; ++from) {
            auto array = Letters(3 * length);
            std::string expected(array.get(), array.get() + 3 * length);
            expected.replace(length, length, expected.substr(from, length));
            SerialBuffer buffer;
            buffer.SetBuffer(array.release(), length, 3 * length);
            ASSERT_EQ(1, buffer.AddBuffer(buffer.GetBuffer() + from, length, 0));
            buffer.SetSize(3 * length);
            ASSERT_EQ(expected, TextOf(buffer)) << length << " bytes from " << from;
        }
    }
}

// Concerns: parts and all of the bytes, more than there are, the capacity and the bytes beyond.

TEST(SerialBufferShift, MovesTheRestToTheFront) {
    for (unsigned long n = 0; n <= 12; ++n) {
        SerialBuffer buffer;
        Add(buffer, "abcdefghij");
        const unsigned char* array = buffer.GetBuffer();
        EXPECT_EQ(1, buffer.Shift(n));
        EXPECT_EQ(std::string("abcdefghij").substr(std::min(n, 10UL)), TextOf(buffer)) << n;
        EXPECT_EQ(10UL, buffer.GetMaxSize()) << n;
        EXPECT_EQ(array, buffer.GetBuffer()) << n;
    }
}

TEST(SerialBufferShift, DropsAllWhenThereAreFewer) {
    for (const unsigned long n : {10UL, 11UL, 100UL, ULONG_MAX}) {
        SerialBuffer buffer;
        Add(buffer, "abcdefghij");
        EXPECT_EQ(1, buffer.Shift(n));
        EXPECT_EQ(0UL, buffer.GetSize());
        EXPECT_EQ(10UL, buffer.GetMaxSize());
        buffer.SetSize(10);
        EXPECT_EQ("abcdefghij", TextOf(buffer)) << "nothing was moved";
    }
}

TEST(SerialBufferShift, SucceedsWithNothingToDrop) {
    SerialBuffer buffer;
    EXPECT_EQ(1, buffer.Shift(0));
    EXPECT_EQ(1, buffer.Shift(7));
    ExpectNothing(buffer);
    SerialBuffer roomy(5);
    EXPECT_EQ(1, roomy.Shift(7));
    EXPECT_EQ(5UL, roomy.GetMaxSize());
}

TEST(SerialBufferShift, ChangesNothingWithoutAnArrayWhateverIsClaimed) {
    SerialBuffer buffer;
    buffer.SetBuffer(nullptr, 5, 10);
    EXPECT_EQ(1, buffer.Shift(3));
    EXPECT_EQ(5UL, buffer.GetSize());
}

// Concerns: who owns which array when; numbers that are not checked; the buffer's own array.

TEST(SerialBufferArray, IsAdoptedFromTheCaller) {
    SerialBuffer buffer(100);
    unsigned char* array = Letters(8).release();
    EXPECT_EQ(1, buffer.SetBuffer(array, 5, 8));
    EXPECT_EQ(array, buffer.GetBuffer());
    EXPECT_EQ(5UL, buffer.GetSize());
    EXPECT_EQ(8UL, buffer.GetMaxSize());
    EXPECT_EQ("abcde", TextOf(buffer));
    EXPECT_EQ(1, Add(buffer, "xyz", 0));
    EXPECT_EQ("abcdexyz", TextOf(buffer));
}

TEST(SerialBufferArray, IsHandedOverToTheCaller) {
    SerialBuffer buffer;
    Add(buffer, "abc");
    const unsigned char* array = buffer.GetBuffer();
    const std::unique_ptr<unsigned char[]> fetched(buffer.Fetch());
    EXPECT_EQ(array, fetched.get());
    EXPECT_EQ(0, std::memcmp("abc", fetched.get(), 3));
    ExpectNothing(buffer);
    EXPECT_EQ(nullptr, buffer.Fetch());
    EXPECT_EQ(1, Add(buffer, "de"));
    EXPECT_EQ("de", TextOf(buffer));
    EXPECT_NE(fetched.get(), buffer.GetBuffer());
}

TEST(SerialBufferArray, StaysWhenClearedAndGoesWhenDeleted) {
    SerialBuffer buffer;
    Add(buffer, "abc");
    const unsigned char* array = buffer.GetBuffer();
    buffer.Clear();
    EXPECT_EQ(0UL, buffer.GetSize());
    EXPECT_EQ(3UL, buffer.GetMaxSize());
    EXPECT_EQ(array, buffer.GetBuffer());
    buffer.Delete();
    ExpectNothing(buffer);
    buffer.Delete();
    buffer.Clear();
    ExpectNothing(buffer);
}

TEST(SerialBufferArray, MayBeTheBuffersOwn) {
    SerialBuffer buffer;
    Add(buffer, "abcdef");
    unsigned char* array = buffer.GetBuffer();
    EXPECT_EQ(1, buffer.SetBuffer(array, 2, 5));
    EXPECT_EQ(array, buffer.GetBuffer());
    EXPECT_EQ("ab", TextOf(buffer));
    EXPECT_EQ(5UL, buffer.GetMaxSize());
}

TEST(SerialBufferArray, MayBeNull) {
    SerialBuffer buffer;
    Add(buffer, "abc");
    EXPECT_EQ(1, buffer.SetBuffer(nullptr, 0, 0));
    ExpectNothing(buffer);
}

TEST(SerialBufferArray, IsRefusedByABufferThatReportsMoreThanItsCapacity) {
    SerialBuffer buffer;
    EXPECT_EQ(1, buffer.SetBuffer(Letters(4).release(), 9, 4)) << "the arguments are not checked";
    EXPECT_EQ(9UL, buffer.GetSize());
    EXPECT_EQ(4UL, buffer.GetMaxSize());
    const auto refused = Letters(3);
    unsigned char* array = buffer.GetBuffer();
    EXPECT_EQ(0, buffer.SetBuffer(refused.get(), 3, 3));
    EXPECT_EQ(0, buffer.SetBuffer(nullptr, 0, 0));
    EXPECT_EQ(array, buffer.GetBuffer());
    EXPECT_EQ(9UL, buffer.GetSize());
    EXPECT_EQ(4UL, buffer.GetMaxSize());
    buffer.SetSize(9);
    EXPECT_EQ("abcd", TextOf(buffer));
    EXPECT_EQ(1, buffer.SetBuffer(Letters(3).release(), 3, 3));
    EXPECT_EQ("abc", TextOf(buffer));
}

TEST(SerialBufferArray, IsAcceptedAgainOnceTheSizeIsWithinTheCapacity) {
    using Repair = void (*)(SerialBuffer&);
    const std::pair<const char*, Repair> repairs[] = {
        {"SetSize", [](SerialBuffer& buffer) { buffer.SetSize(9); }},
        {"Clear", [](SerialBuffer& buffer) { buffer.Clear(); }},
        {"Delete", [](SerialBuffer& buffer) { buffer.Delete(); }},
        {"Fetch", [](SerialBuffer& buffer) { delete[] buffer.Fetch(); }},
        {"Shift", [](SerialBuffer& buffer) { buffer.Shift(5); }},
        {"SetMaxSize", [](SerialBuffer& buffer) { buffer.SetMaxSize(9, 1); }},
        {"AddBuffer", [](SerialBuffer& buffer) { buffer.AddBuffer(nullptr, 0, 1); }}};
    for (const auto& [name, repair] : repairs) {
        SerialBuffer buffer;
        buffer.SetBuffer(Letters(4).release(), 9, 4);
        ASSERT_EQ(0, buffer.SetBuffer(nullptr, 0, 0)) << name;
        repair(buffer);
        EXPECT_EQ(1, buffer.SetBuffer(nullptr, 0, 0)) << name;
    }
}

TEST(SerialBufferArray, IsRefusedUntilThereWasEnoughOfShiftOrGrowth) {
    SerialBuffer buffer;
    buffer.SetBuffer(Letters(4).release(), 9, 4);
    buffer.Shift(2);
    buffer.SetMaxSize(6, 1);
    EXPECT_EQ(0, buffer.SetBuffer(nullptr, 0, 0)) << "seven bytes in use, but a capacity of six";
    buffer.Shift(1);
    EXPECT_EQ(1, buffer.SetBuffer(nullptr, 0, 0));
}

TEST(SerialBufferArray, IsNeverReadBeyondItsCapacityWhenMoreIsReported) {
    SerialBuffer buffer;
    buffer.SetBuffer(Letters(4).release(), 9, 4);
    EXPECT_EQ(1, buffer.Shift(1));
    EXPECT_EQ(8UL, buffer.GetSize());
    EXPECT_EQ(0, std::memcmp("bcd", buffer.GetBuffer(), 3));
    EXPECT_EQ(1, buffer.SetMaxSize(6, 1));
    EXPECT_EQ(8UL, buffer.GetSize());
    EXPECT_EQ(6UL, buffer.GetMaxSize());
    EXPECT_EQ(0, std::memcmp("bcd", buffer.GetBuffer(), 3));
    EXPECT_EQ(0, Add(buffer, "xy", 0));
    EXPECT_EQ(1, Add(buffer, "xy", 1));
    EXPECT_EQ(10UL, buffer.GetSize());
    EXPECT_EQ(10UL, buffer.GetMaxSize());
    EXPECT_EQ(0, std::memcmp("bcd", buffer.GetBuffer(), 3));
    EXPECT_EQ(0, std::memcmp("xy", buffer.GetBuffer() + 8, 2));
}

TEST(SerialBufferArray, IsNeverWrittenWhereCapacityIsOnlyClaimed) {
    SerialBuffer buffer;
    EXPECT_EQ(1, buffer.SetBuffer(nullptr, 5, 10));
    EXPECT_EQ(0, Add(buffer, "abc", 0));
    EXPECT_EQ(0, Add(buffer, "abc", 1));
    EXPECT_EQ(1, buffer.AddBuffer(nullptr, 3, 0));
    EXPECT_EQ(nullptr, buffer.GetBuffer());
    EXPECT_EQ(5UL, buffer.GetSize());
    EXPECT_EQ(10UL, buffer.GetMaxSize());
    EXPECT_EQ(1, Add(buffer, "abcdef", 1)) << "growth makes a real array";
    EXPECT_EQ(11UL, buffer.GetSize());
    EXPECT_EQ(0, std::memcmp("abcdef", buffer.GetBuffer() + 5, 6));
    SerialBuffer other;
    other.SetBuffer(nullptr, 5, 10);
    EXPECT_EQ(1, other.SetMaxSize(11, 1));
    EXPECT_NE(nullptr, other.GetBuffer());
    EXPECT_EQ(5UL, other.GetSize());
}

// Concerns: every operation that allocates, without memory; sizes that no machine has; the buffer
// as it was, and usable afterwards.

TEST(SerialBufferMemory, FailsEveryGrowthAndLeavesTheBufferAsItWas) {
    SerialBuffer buffer;
    Add(buffer, "abc");
    unsigned char* array = buffer.GetBuffer();
    {
        const NoMemory none(g_arrayNew);
        EXPECT_EQ(0, buffer.SetMaxSize(4, 1));
        EXPECT_EQ(0, buffer.SetMaxSize(4, 0));
        EXPECT_EQ(0, Add(buffer, "d"));
        EXPECT_EQ(0, buffer.AddBuffer(nullptr, 1, 1));
        EXPECT_EQ(0, buffer.AddBuffer(array, 3, 1));
        SerialBuffer unmade(10);
        ExpectNothing(unmade);
    }
    EXPECT_EQ(array, buffer.GetBuffer());
    EXPECT_EQ(3UL, buffer.GetMaxSize());
    EXPECT_EQ("abc", TextOf(buffer));
    EXPECT_EQ(1, Add(buffer, "d"));
    EXPECT_EQ("abcd", TextOf(buffer));
}

TEST(SerialBufferMemory, RunsOutForImpossibleSizes) {
    SerialBuffer buffer;
    Add(buffer, "abc");
    for (const unsigned long size : {ULONG_MAX, ULONG_MAX / 2 + 1, ULONG_MAX / 2, 1UL << 61}) {
        EXPECT_EQ(0, buffer.SetMaxSize(size, 1)) << size;
        EXPECT_EQ(0, buffer.SetMaxSize(size, 0)) << size;
        EXPECT_EQ(0, buffer.AddBuffer(nullptr, size - 3, 1)) << size;
        SerialBuffer unmade(size);
        ExpectNothing(unmade);
    }
    EXPECT_EQ("abc", TextOf(buffer));
    EXPECT_EQ(3UL, buffer.GetMaxSize());
}

// Concerns: everything above in any order. The model holds the array as bytes that are known or
// not.

using Cell = std::optional<unsigned char>;

struct Model {
    std::optional<std::vector<Cell>> array;
    unsigned long maxSize = 0;
    unsigned long size = 0;

    void Grow(unsigned long capacity, bool keep) {
        std::vector<Cell> longer(capacity);
        for (unsigned long i = 0; keep && array && i < size && i < array->size(); ++i)
            longer[i] = (*array)[i];
        array = longer;
        maxSize = capacity;
    }

    bool SetMaxSize(unsigned long capacity, bool keep) {
        if (capacity > maxSize)
            Grow(capacity, keep);
        return true;
    }

    bool Add(const std::vector<Cell>& bytes, bool isNull, bool grow) {
        if (size + bytes.size() > maxSize) {
            if (!grow)
                return false;
            Grow(size + bytes.size(), true);
        }
        if (isNull || bytes.empty())
            return true;
        if (!array)
            return false;
        for (const Cell& cell : bytes)
            (*array)[size++] = cell;
        return true;
    }

    void Shift(unsigned long n) {
        if (!array)
            return;
        n = std::min(n, size);
        for (unsigned long i = n; i < size && i < array->size(); ++i)
            (*array)[i - n] = (*array)[i];
        size -= n;
    }
};

class Sequence {
public:
    explicit Sequence(unsigned int seed) : m_random(seed) {}

    void Step() {
        const unsigned long operation = Below(12);
        SCOPED_TRACE("operation " + std::to_string(operation));
        if (operation < 3)
            AddNew();
        else if (operation < 5)
            AddOwn();
        else if (operation < 7)
            Shift();
        else if (operation < 10)
            Resize(operation);
        else
            Exchange();
        Check();
    }

private:
    std::mt19937 m_random;
    SerialBuffer m_buffer;
    Model m_model;

    unsigned long Below(unsigned long end) { return m_random() % end; }

    void AddNew() {
        std::vector<unsigned char> bytes(Below(Below(200) == 0 ? 3000 : 60));
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(Below(256));
        const bool isNull = Below(8) == 0;
        const bool grow = Below(3) != 0;
        const bool added = m_model.Add({bytes.begin(), bytes.end()}, isNull, grow);
        ASSERT_EQ(added ? 1 : 0,
                  m_buffer.AddBuffer(isNull ? nullptr : bytes.data(), bytes.size(), grow ? 1 : 0));
    }

    void AddOwn() {
        if (!m_model.array || m_model.array->empty() || m_model.array->size() > 2000)
            return;
        const unsigned long first = Below(m_model.array->size());
        const unsigned long count = Below(m_model.array->size() - first + 1);
        const auto begin = m_model.array->begin() + static_cast<long>(first);
        const std::vector<Cell> own(begin, begin + static_cast<long>(count));
        const bool grow = Below(2) != 0;
        ASSERT_EQ(m_model.Add(own, false, grow) ? 1 : 0,
                  m_buffer.AddBuffer(m_buffer.GetBuffer() + first, count, grow ? 1 : 0));
    }

    void Shift() {
        const unsigned long n = Below(Below(4) == 0 ? m_model.size + 20 : 30);
        m_model.Shift(n);
        ASSERT_EQ(1, m_buffer.Shift(n));
    }

    void Resize(unsigned long operation) {
        const unsigned long size = Below(m_model.maxSize + 20);
        if (operation == 7) {
            m_model.size = std::min(size, m_model.maxSize);
            m_buffer.SetSize(size);
        } else if (operation == 8) {
            const bool keep = Below(4) != 0;
            ASSERT_EQ(m_model.SetMaxSize(size, keep) ? 1 : 0,
                      m_buffer.SetMaxSize(size, keep ? 1 : 0));
        } else if (Below(10) == 0) {
            m_model = Model();
            m_buffer.Delete();
        } else if (Below(4) == 0) {
            m_model.size = 0;
            m_buffer.Clear();
        }
    }

    void Exchange() {
        const unsigned long kind = Below(8);
        if (kind == 0) {
            const std::unique_ptr<unsigned char[]> fetched(m_buffer.Fetch());
            ASSERT_EQ(m_model.array.has_value(), fetched != nullptr);
            CheckCells(fetched.get());
            m_model = Model();
        } else if (kind == 1) {
            SetNew(Below(80) + 1);
        } else if (kind == 2 && Below(4) == 0) {
            SetNull();
        } else if (kind == 3) { // its own
            const bool accepted = m_model.size <= m_model.maxSize;
            const unsigned long size = Below(m_model.maxSize + 1);
            ASSERT_EQ(accepted ? 1 : 0,
                      m_buffer.SetBuffer(m_buffer.GetBuffer(), size, m_model.maxSize));
            if (accepted)
                m_model.size = size;
        }
    }

    // Sometimes with more bytes claimed in use than there are.
    void SetNew(unsigned long length) {
        auto letters = Letters(length);
        const unsigned long size = Below(Below(4) == 0 ? 2 * length : length + 1);
        if (m_model.size > m_model.maxSize) {
            ASSERT_EQ(0, m_buffer.SetBuffer(letters.get(), size, length));
            return;
        }
        m_model = {std::vector<Cell>(letters.get(), letters.get() + length), length, size};
        ASSERT_EQ(1, m_buffer.SetBuffer(letters.release(), size, length));
    }

    void SetNull() {
        const bool accepted = m_model.size <= m_model.maxSize;
        ASSERT_EQ(accepted ? 1 : 0, m_buffer.SetBuffer(nullptr, 7, 11));
        if (accepted)
            m_model = {std::nullopt, 11, 7};
    }

    void Check() {
        ASSERT_EQ(m_model.size, m_buffer.GetSize());
        ASSERT_EQ(m_model.maxSize, m_buffer.GetMaxSize());
        ASSERT_EQ(m_model.array.has_value(), m_buffer.GetBuffer() != nullptr);
        CheckCells(m_buffer.GetBuffer());
    }

    void CheckCells(const unsigned char* bytes) {
        for (unsigned long i = 0; m_model.array && i < m_model.array->size(); ++i) {
            const Cell& cell = (*m_model.array)[i];
            if (cell) {
                ASSERT_EQ(*cell, bytes[i]) << i;
            }
        }
    }
};

class SerialBufferModel : public testing::TestWithParam<unsigned int> {};

TEST_P(SerialBufferModel, AgreesAfterEveryOperation) {
    VornTest::TakeRandomSteps<Sequence>(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Seeds, SerialBufferModel, testing::Range(20240811U, 20240821U));

} // namespace
