// SPDX-License-Identifier: MIT
// Concerns: buffers and sets report exactly the capacity that growth asks for, at every step, hold
// what the stated steps leave, and yet are seldom copied; the reserve behind them is bounded, never
// necessary, never taken for one of an array that came from elsewhere, and no place to write to.
// Plan: growth byte by byte with every allocation recorded and its bytes filled, and random sizes
// against a plain model.
#include <Bases/Container.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "Container/Bits.h"
#include "Container/FilledArrays.h"
#include "support/NoMemory.h"
#include "support/Sanitizers.h"

namespace {

using Vorn::Bits;
using Vorn::SerialBuffer;
using VornTest::CapacityOf;
using VornTest::g_arrayNew;
using VornTest::LastArraySize;
using VornTest::NoMemory;

constexpr unsigned long LongArray = 4096; // shorter ones have no reserve
constexpr unsigned long Many = 200000;
constexpr unsigned int Seed = 20261122;

using Bytes = std::vector<unsigned char>;

void Append(SerialBuffer& buffer, unsigned char byte) {
    ASSERT_EQ(1, buffer.AddBuffer(&byte, 1, 1));
}

unsigned char ByteAt(unsigned long place) { return static_cast<unsigned char>(place * 31 >> 2); }

// A buffer that has grown byte by byte.
std::unique_ptr<SerialBuffer> Grown(unsigned long size) {
    auto buffer = std::make_unique<SerialBuffer>();
    for (unsigned long i = 0; i < size; ++i)
        Append(*buffer, ByteAt(i));
    return buffer;
}

Bytes ContentOf(SerialBuffer& buffer) {
    return {buffer.GetBuffer(), buffer.GetBuffer() + buffer.GetSize()};
}

Bytes ExpectedContent(unsigned long size) {
    Bytes bytes(size);
    for (unsigned long i = 0; i < size; ++i)
        bytes[i] = ByteAt(i);
    return bytes;
}

TEST(BufferReserve, IsNotReported) {
    SerialBuffer buffer;
    for (unsigned long i = 0; i < Many; ++i) {
        Append(buffer, ByteAt(i));
        ASSERT_EQ(i + 1, buffer.GetMaxSize());
        ASSERT_EQ(i + 1, buffer.GetSize());
        ASSERT_EQ(0, buffer.AddBuffer(nullptr, 1, 0)) << "no capacity is left";
    }
    EXPECT_EQ(ExpectedContent(Many), ContentOf(buffer));
}

TEST(BufferReserve, IsNoneWhereTheLengthWouldOverflow) {
    const auto buffer = Grown(2 * LongArray);
    EXPECT_EQ(0, buffer->SetMaxSize(std::numeric_limits<unsigned long>::max() / 2, 1));
    EXPECT_EQ(0, buffer->SetMaxSize(std::numeric_limits<unsigned long>::max(), 1));
    EXPECT_EQ(2 * LongArray, buffer->GetMaxSize());
    EXPECT_EQ(ExpectedContent(2 * LongArray), ContentOf(*buffer));
}

TEST(BufferReserve, IsNoneForShortArrays) {
    const auto buffer = Grown(LongArray);
    std::vector<std::size_t> sizes = g_arrayNew.Calls();
    for (unsigned long i = 0; i < LongArray; ++i)
        ASSERT_EQ(i + 1, sizes[sizes.size() - LongArray + i]);
}

TEST(BufferReserve, IsHalfOfWhatIsCopiedSoThatCopiesGetRare) {
    const auto buffer = Grown(LongArray);
    const std::size_t before = g_arrayNew.Count();
    unsigned long end = LongArray; // of the array
    for (unsigned long size = LongArray; size < Many; ++size) {
        const std::size_t allocations = g_arrayNew.Count();
        Append(*buffer, 1);
        if (size < end) {
            ASSERT_EQ(allocations, g_arrayNew.Count()) << size;
            continue;
        }
        end = size + 1 + size / 2;
        ASSERT_EQ(end, LastArraySize());
    }
    EXPECT_LT(g_arrayNew.Count() - before, 12U);
}

TEST(BufferReserve, IsNoneForACapacityThatIsAskedForWithoutContent) {
    SerialBuffer buffer(Many);
    EXPECT_EQ(Many, LastArraySize());
    EXPECT_EQ(1, buffer.SetMaxSize(2 * Many, 1));
    EXPECT_EQ(2 * Many, LastArraySize());
    buffer.SetSize(Many);
    EXPECT_EQ(1, buffer.SetMaxSize(3 * Many, 0));
    EXPECT_EQ(3 * Many, LastArraySize()) << "nothing was copied";
    EXPECT_EQ(1, buffer.SetMaxSize(4 * Many, 1));
    EXPECT_EQ(4 * Many + Many / 2, LastArraySize());
}

TEST(BufferReserve, IsDoneWithoutWhereThereIsNoMemoryForIt) {
    const auto buffer = Grown(LongArray);
    {
        const NoMemory none(g_arrayNew, LongArray + 2);
        Append(*buffer, ByteAt(LongArray));
        EXPECT_EQ(LongArray + 1, LastArraySize());
        unsigned char byte = 0;
        EXPECT_EQ(0, buffer->AddBuffer(&byte, 1, 1));
    }
    EXPECT_EQ(ExpectedContent(LongArray + 1), ContentOf(*buffer));
    Append(*buffer, ByteAt(LongArray + 1));
    EXPECT_EQ(ExpectedContent(LongArray + 2), ContentOf(*buffer));
}

TEST(BufferReserve, IsWhatACapacityThatIsAskedForTakesFirst) {
    const auto buffer = Grown(LongArray + 1);
    const unsigned char* const array = buffer->GetBuffer();
    for (const int keep : {1, 0}) {
        const unsigned long longer = buffer->GetMaxSize() + 100;
        EXPECT_EQ(1, buffer->SetMaxSize(longer, keep));
        EXPECT_EQ(longer, buffer->GetMaxSize());
        EXPECT_EQ(array, buffer->GetBuffer());
        EXPECT_EQ(ExpectedContent(LongArray + 1), ContentOf(*buffer));
    }
}

TEST(BufferReserve, TakesBytesOfTheBuffersOwn) {
    const auto buffer = Grown(LongArray + 1);
    const unsigned char* const array = buffer->GetBuffer();
    EXPECT_EQ(1, buffer->AddBuffer(buffer->GetBuffer() + 1, 2000, 1));
    EXPECT_EQ(array, buffer->GetBuffer());
    Bytes expected = ExpectedContent(LongArray + 1);
    expected.insert(expected.end(), expected.begin() + 1, expected.begin() + 2001);
    EXPECT_EQ(expected, ContentOf(*buffer));
    EXPECT_EQ(1, buffer->AddBuffer(buffer->GetBuffer(), 5000, 1));
    EXPECT_NE(array, buffer->GetBuffer());
    expected.insert(expected.end(), expected.begin(), expected.begin() + 5000);
    EXPECT_EQ(expected, ContentOf(*buffer));
}

// An array that comes from the caller ends where its capacity ends.
TEST(BufferReserve, IsNotExpectedBehindAnArrayOfTheCaller) {
    const auto buffer = Grown(LongArray + 1);
    EXPECT_EQ(1, buffer->SetBuffer(new unsigned char[10](), 10, 10));
    Append(*buffer, 1);
    EXPECT_EQ(11UL, LastArraySize());
    const std::unique_ptr<unsigned char[]> fetched(Grown(LongArray + 1)->Fetch());
    EXPECT_EQ(0, std::memcmp(ExpectedContent(LongArray + 1).data(), fetched.get(), LongArray + 1));
}

TEST(BufferReserve, IsForgottenWithItsArray) {
    using Loss = void (*)(SerialBuffer&);
    for (const Loss lose : {Loss([](SerialBuffer& buffer) { buffer.Delete(); }),
                            Loss([](SerialBuffer& buffer) { delete[] buffer.Fetch(); }),
                            Loss([](SerialBuffer& buffer) { buffer.SetBuffer(nullptr, 0, 0); })}) {
        const auto buffer = Grown(LongArray + 1);
        lose(*buffer);
        Append(*buffer, 7);
        EXPECT_EQ(1UL, LastArraySize());
        EXPECT_EQ(Bytes{7}, ContentOf(*buffer));
    }
}

TEST(BufferReserve, IsGivenUpByABufferThatIsGivenItsOwnArray) {
    const auto buffer = Grown(LongArray + 1);
    unsigned char* const array = buffer->GetBuffer();
    EXPECT_EQ(1, buffer->SetBuffer(array, LongArray, LongArray));
    Append(*buffer, ByteAt(LongArray));
    EXPECT_NE(array, buffer->GetBuffer());
    EXPECT_EQ(ExpectedContent(LongArray + 1), ContentOf(*buffer));
}

#ifdef VORN_ADDRESS_SANITIZER
TEST(ReserveDeathTest, IsNoPlaceToWriteTo) {
    const auto buffer = Grown(LongArray + 1);
    EXPECT_DEATH(buffer->GetBuffer()[buffer->GetMaxSize()] = 1, "AddressSanitizer");
    Append(*buffer, 1);
    EXPECT_DEATH(buffer->GetBuffer()[buffer->GetMaxSize()] = 1, "AddressSanitizer");
    buffer->GetBuffer()[buffer->GetMaxSize() - 1] = 2;
    Bits bits(LongArray * 8);
    bits.SetSize(LongArray * 8 + 8);
    EXPECT_DEATH(bits.GetData()[bits.GetBytes()] = 1, "AddressSanitizer");
}
#endif

TEST(BitsReserve, IsNotReportedAndLetsCopiesGetRare) {
    Bits bits(LongArray * 8);
    bits.SetAll();
    const std::size_t before = g_arrayNew.Count();
    for (unsigned long bytes = LongArray + 1; bytes < Many; ++bytes) {
        ASSERT_EQ(1, bits.SetSize(bytes * 8 - 7));
        ASSERT_EQ(bytes * 8, CapacityOf(bits));
        ASSERT_EQ(0, bits.Test(bytes * 8 - 8));
    }
    EXPECT_LT(g_arrayNew.Count() - before, 12U);
    EXPECT_EQ(LongArray * 8, bits.GetSetCount());
}

TEST(BitsReserve, IsNoneForTheFirstArray) {
    Bits bits(Many * 8);
    EXPECT_EQ(Many, LastArraySize());
}

// What the steps say: an array of exactly the bytes needed whenever the capacity is less.
struct Model {
    Bytes array;
    unsigned long capacity = 0; // in bytes
    unsigned long size = 0;     // in bytes

    void SetSize(unsigned long wanted) {
        if (capacity < wanted) {
            Bytes longer(wanted);
            std::copy_n(array.begin(), std::min(size, wanted), longer.begin());
            array = longer;
            capacity = wanted;
        }
        size = wanted;
    }

    void SetData(const Bytes& bytes) {
        array = bytes;
        array.resize(std::max<unsigned long>(bytes.size(), capacity));
        size = bytes.size();
    }
};

TEST(BitsReserve, BringsBackNothingThatANewArrayWouldHaveLost) {
    std::mt19937 random(Seed);
    Bits bits;
    Model model;
    for (int step = 0; step < 4000; ++step) {
        const unsigned long bytes =
            1 + (random() % 4 == 0 ? random() % (3 * LongArray) : model.capacity + random() % 64);
        switch (random() % 40) {
        case 0:
            bits.Clear();
            model = Model();
            break;
        case 1: {
            Bytes data(random() % (2 * LongArray) + 1, static_cast<unsigned char>(random()));
            ASSERT_EQ(1, bits.SetData(data.data(), data.size() * 8));
            model.SetData(data);
            break;
        }
        case 2:
        case 3:
            bits.SetAll();
            std::fill_n(model.array.begin(), model.size, 0xFF);
            break;
        default:
            ASSERT_EQ(1, bits.SetSize(bytes * 8));
            model.SetSize(bytes);
        }
        ASSERT_EQ(model.capacity * 8, CapacityOf(bits)) << "step " << step << ", seed " << Seed;
        ASSERT_EQ(model.size * 8, bits.GetSize());
        ASSERT_TRUE(std::equal(model.array.begin(),
                               model.array.begin() + static_cast<long>(model.size), bits.GetData()))
            << "step " << step << ", seed " << Seed;
    }
}

} // namespace
