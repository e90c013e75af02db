// SPDX-License-Identifier: MIT
// Bit-sets beside Boost's, buffers beside std::vector.

#include <array>
#include <string>
#include <vector>

#include <boost/dynamic_bitset.hpp>

#include <Bases/Container.h>
#include <support/Inputs.h>
#include <support/Row.h>

namespace Bench {

namespace {

using BoostBits = boost::dynamic_bitset<>;

std::string RandomBits(std::size_t size) {
    Random random;
    std::string text(size, '0');
    for (char& bit : text)
        bit = random() % 2 == 0 ? '0' : '1';
    return text;
}

Vorn::Bits OurBits(const std::string& text) {
    Vorn::Bits bits;
    bits.FromString(text);
    return bits;
}

// The sets that a row takes, made once: they take longer than most rows.
struct Sets {
    explicit Sets(std::size_t size) : text(RandomBits(size)), ours(OurBits(text)), boosts(text) {}

    std::string text;
    Vorn::Bits ours;
    BoostBits boosts;
};

Sets& MbitSets() {
    static Sets sets(1 << 20);
    return sets;
}

const Row BitsCount("Bits count", {Mbit(1)}, {"Boost"}, [](Run& run) {
    Sets& sets = MbitSets();
    run.Ours([&] { return sets.ours.GetSetCount(); });
    run.Peer([&] { return sets.boosts.count(); });
});

const Row BitsLogic("Bits exclusive or", {Mbit(1)}, {"Boost"}, [](Run& run) {
    const Sets& sets = MbitSets();
    Vorn::Bits ours = sets.ours;
    ours.ResetAll();
    BoostBits theirs(sets.boosts.size());
    run.Ours([&] { ours ^= sets.ours; }, [&] { return ours.ToString(); });
    run.Peer([&] { theirs ^= sets.boosts; },
             [&] {
                 std::string text;
                 boost::to_string(theirs, text);
                 return text;
             });
});

const Row BitsToText("Bits to text", {Mbit(1)}, {"Boost"}, [](Run& run) {
    const Sets& sets = MbitSets();
    std::string text;
    const auto result = [&]() -> const std::string& { return text; };
    run.Ours([&] { sets.ours.ToString(text); }, result);
    run.Peer([&] { boost::to_string(sets.boosts, text); }, result);
});

const Row BitsFromText("Bits from text", {Mbit(1)}, {"Boost"}, [](Run& run) {
    const Sets& sets = MbitSets();
    Vorn::Bits ours;
    BoostBits theirs;
    run.Ours([&] { ours.FromString(sets.text); }, [&] { return ours.GetSetCount(); });
    run.Peer([&] { theirs = BoostBits(sets.text); }, [&] { return theirs.count(); });
});

Cycle<std::size_t> Positions(std::size_t size) {
    Random random;
    return Cycle<std::size_t>([&] { return random() % size; });
}

const Row BitsPair("Bits set and test", {Mbit(1)}, {"Boost"}, [](Run& run) {
    Vorn::Bits ours(run.Size());
    BoostBits theirs(run.Size());
    run.Ours([&, positions = Positions(run.Size())]() mutable {
        const std::size_t position = positions.Next();
        ours.Set(position);
        return ours.Test(position ^ 1) != 0;
    });
    run.Peer([&, positions = Positions(run.Size())]() mutable {
        const std::size_t position = positions.Next();
        theirs.set(position);
        return theirs.test(position ^ 1);
    });
});

constexpr std::size_t Capacity = 4096;

// One call fills the buffer: the figures are of appending alone, not of asking for the size.
const Row Append("SerialBuffer append", {Bytes(1), Bytes(16), Bytes(64)}, {"std::vector"},
                 [](Run& run) {
                     std::string data = RandomBytes(run.Size());
                     auto* const bytes = reinterpret_cast<unsigned char*>(data.data());
                     const std::size_t appends = Capacity / run.Size();
                     run.Items(appends);
                     Vorn::SerialBuffer ours(Capacity);
                     run.Ours([&] {
                         ours.Clear();
                         for (std::size_t i = 0; i < appends; ++i)
                             ours.AddBuffer(bytes, run.Size(), 0);
                         return ours.GetSize();
                     });
                     std::vector<unsigned char> theirs;
                     theirs.reserve(Capacity);
                     run.Peer([&] {
                         theirs.clear();
                         for (std::size_t i = 0; i < appends; ++i)
                             theirs.insert(theirs.end(), bytes, bytes + run.Size());
                         return theirs.size();
                     });
                 });

std::size_t OurGrowth(std::size_t total, std::size_t step) {
    std::vector<unsigned char> piece(step);
    Vorn::SerialBuffer buffer;
    while (buffer.GetSize() < total)
        buffer.AddBuffer(piece.data(), step, 1);
    return buffer.GetSize();
}

std::size_t TheirGrowth(std::size_t total, std::size_t step) {
    const std::vector<unsigned char> piece(step);
    std::vector<unsigned char> buffer;
    while (buffer.size() < total)
        buffer.insert(buffer.end(), piece.begin(), piece.end());
    return buffer.size();
}

const Row Grow("SerialBuffer growing by 64 B", {{1'000'000, "1,000,000 B"}}, {"std::vector"},
               [](Run& run) {
                   run.Ours([&] { return OurGrowth(run.Size(), 64); });
                   run.Peer([&] { return TheirGrowth(run.Size(), 64); });
               });

const Row GrowFar("SerialBuffer growing by 64 KiB", {{10'000'000, "10,000,000 B"}}, {"std::vector"},
                  [](Run& run) {
                      run.Ours([&] { return OurGrowth(run.Size(), 65536); });
                      run.Peer([&] { return TheirGrowth(run.Size(), 65536); });
                  });

const Curve GrowCurve("SerialBuffer grown by 1 B, per byte", Decades(7), {"std::vector"},
                      [](Run& run) {
                          run.Items(run.Size());
                          run.Ours([&] { return OurGrowth(run.Size(), 1); });
                          run.Peer([&] { return TheirGrowth(run.Size(), 1); });
                      });

const Curve BitsGrowCurve("Bits grown by 8, per bit", Decades(7), {"Boost"}, [](Run& run) {
    run.Items(run.Size());
    run.Ours([&] {
        Vorn::Bits bits;
        for (std::size_t size = 8; size <= run.Size(); size += 8)
            bits.SetSize(size);
        return bits.GetSize();
    });
    run.Peer([&] {
        BoostBits bits;
        for (std::size_t size = 8; size <= run.Size(); size += 8)
            bits.resize(size);
        return bits.size();
    });
});

const Curve CountCurve("Bits count, per bit", Decades(7), {"Boost"}, [](Run& run) {
    run.Items(run.Size());
    Vorn::Bits ours(run.Size());
    const BoostBits theirs(run.Size());
    run.Ours([&] { return ours.GetSetCount(); });
    run.Peer([&] { return theirs.count(); });
});

const Curve TextCurve("Bits to text, per bit", Decades(7), {"Boost"}, [](Run& run) {
    run.Items(run.Size());
    const Vorn::Bits ours(run.Size());
    const BoostBits theirs(run.Size());
    std::string text;
    run.Ours([&]() -> const std::string& {
        ours.ToString(text);
        return text;
    });
    run.Peer([&]() -> const std::string& {
        boost::to_string(theirs, text);
        return text;
    });
});

const HeapCurve BitsHeap("Bits, per bit", Decades(7), {"Boost"}, [](Run& run) {
    Vorn::Bits ours;
    BoostBits theirs;
    run.Ours([&] {
        ours.SetSize(run.Size());
        return ours.GetSize();
    });
    run.Peer([&] {
        theirs.resize(run.Size());
        return theirs.size();
    });
});

} // namespace

} // namespace Bench
