// SPDX-License-Identifier: MIT
// Bit-sets and buffers: memory that runs out is a result, not an exception.
#include <array>
#include <cstring>
#include <functional>
#include <string>

#include <Bases/Container.h>

#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

using Vorn::Bits;
using Vorn::SerialBuffer;

const std::string g_ones(1000, '1');

void MakesBits(Trial& trial) {
    const bool made = trial.Works([] {
        Bits bits(1000);
        return bits.GetSize() == 1000 && bits.None() == 1;
    });
    trial.Require(made || trial.MetFault(), "is of its size, or empty");
}

void ResizesBits(Trial& trial) {
    Bits bits(100);
    bits.SetAll();
    const int resized = trial.Try([&] { return bits.SetSize(10000); });
    trial.Require(resized == 1 || trial.MetFault(), "resizes while nothing fails");
    trial.Require(bits.GetSize() == (resized == 1 ? 10000U : 100U), "resizes exactly as it says");
    trial.Require(bits.GetSetCount() == 100, "keeps its bits");
    trial.Require(bits.SetSize(20000) == 1, "resizes then");
}

void SetsTheDataOfBits(Trial& trial) {
    std::array<unsigned char, 100> bytes{1};
    Bits bits(10);
    const int set = trial.Try([&] { return bits.SetData(bytes.data(), 800); });
    trial.Require(set == 1 || trial.MetFault(), "takes the data while nothing fails");
    trial.Require(bits.GetSize() == (set == 1 ? 800U : 10U) && bits.Test(0) == set,
                  "takes the data exactly as it says");
}

void ReadsBits(Trial& trial) {
    Bits bits;
    trial.Try([&] { bits.FromString(g_ones); });
    trial.Require(bits.GetSize() == 1000 || trial.MetFault(), "reads all while nothing fails");
    // Where memory comes back on the way, the positions before are there, and 0.
    trial.Require(bits.GetSetCount() == bits.GetSize() ||
                      Platform::operator_new_array_nothrow.Failed() > 1,
                  "reads what it has");
    bits.FromString(g_ones);
    trial.Require(bits.GetSetCount() == 1000, "reads all then");
    std::string text = "old";
    trial.TryOrThrow([&] { bits.ToString(text); });
    trial.Require(text == (trial.HasThrown() ? "old" : g_ones), "writes all, or nothing");
}

void CopiesBits(Trial& trial) {
    Bits bits(1000);
    bits.SetAll();
    trial.Try([&] {
        Bits copy(bits);
        trial.Require(copy.GetSize() == 0 || copy == bits, "is a copy, or empty");
    });
    Bits other(8);
    trial.Try([&] { other = bits; });
    trial.Require(other == bits || (other.GetSize() == 8 && trial.MetFault()),
                  "is a copy, or as large as before");
    other.Clone(bits);
    trial.Require(other == bits, "is a copy then");
}

void CombinesBits(Trial& trial) {
    Bits left(1000);
    Bits right(1000);
    left.SetAll();
    right.Set(7);
    const std::array<std::function<Bits()>, 3> combine{
        [&] { return left & right; }, [&] { return left | right; }, [&] { return left ^ right; }};
    const std::array<unsigned long, 3> counts{1, 1000, 999};
    for (std::size_t i = 0; i < combine.size(); ++i)
        trial.Try([&] {
            Bits both = combine[i]();
            trial.Require(both.GetSize() == 0 || both.GetSetCount() == counts[i],
                          "combines all, or is empty");
        });
    Bits wide(2000);
    wide.SetAll();
    trial.Try([&] { left |= wide; });
    trial.Require(left.GetSetCount() == 1000 && (left.GetSize() == 2000 || trial.MetFault()),
                  "keeps its size when memory runs out");
}

void MakesABuffer(Trial& trial) {
    trial.Try([] {
        SerialBuffer buffer(1000);
        return buffer.GetMaxSize() == (buffer.GetBuffer() == nullptr ? 0 : 1000);
    });
}

// Piece by piece, first without and then with a hidden reserve.
void FillsABuffer(Trial& trial) {
    std::array<unsigned char, 1000> bytes{};
    bytes.fill('x');
    SerialBuffer buffer;
    unsigned long size = 0;
    for (int i = 0; i < 12; ++i) {
        const int added = trial.Try([&] { return buffer.AddBuffer(bytes.data(), 1000, 1); });
        trial.Require(added == 1 || trial.MetFault(), "appends while nothing fails");
        size += added == 1 ? 1000 : 0;
        trial.Require(buffer.GetSize() == size && buffer.GetMaxSize() == size,
                      "appends exactly as it says");
    }
    trial.Require(std::string(reinterpret_cast<const char*>(buffer.GetBuffer()), size) ==
                      std::string(size, 'x'),
                  "has what was appended");
}

void GrowsABuffer(Trial& trial) {
    SerialBuffer buffer(10);
    buffer.SetSize(10);
    std::memcpy(buffer.GetBuffer(), "0123456789", 10);
    for (const int keep : {1, 0}) {
        const unsigned long before = buffer.GetMaxSize();
        const int grown = trial.Try([&] { return buffer.SetMaxSize(before * 10, keep); });
        trial.Require(grown == 1 || trial.MetFault(), "grows while nothing fails");
        trial.Require(buffer.GetMaxSize() == (grown == 1 ? before * 10 : before),
                      "grows exactly as it says");
        trial.Require(buffer.GetSize() == 10, "keeps its size");
        if (keep == 1 || grown == 0)
            trial.Require(keep == 0 || std::memcmp(buffer.GetBuffer(), "0123456789", 10) == 0,
                          "keeps its bytes");
    }
    trial.Require(buffer.SetMaxSize(100000, 1) == 1, "grows then");
}

const Scenarios g_scenarios{
    {"BitsAreMade", MakesBits},          {"BitsAreResized", ResizesBits},
    {"BitsTakeData", SetsTheDataOfBits}, {"BitsAreReadAndWritten", ReadsBits},
    {"BitsAreCopied", CopiesBits},       {"BitsAreCombined", CombinesBits},
    {"BufferIsMade", MakesABuffer},      {"BufferIsFilled", FillsABuffer},
    {"BufferGrows", GrowsABuffer},
};

} // namespace

} // namespace VornTest::Sweep
