// SPDX-License-Identifier: MIT
// Sequences of operations on two sets of bits, on every route, against arrays of bytes that follow
// the stated steps.

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <Bases/Container.h>

#include "support/Fuzz.h"

namespace {

using Vorn::Bits;
using VornFuzz::Check;
using VornFuzz::Input;

std::size_t BytesOf(std::size_t bits) { return bits / 8 + (bits % 8 != 0 ? 1 : 0); }

struct Model {
    std::vector<std::uint8_t> bytes; // those that have been in use
    std::size_t capacity = 0;        // in bytes, as the set knows it
    std::size_t size = 0;            // in bits

    bool SetSize(std::size_t bits) {
        if (bits == 0)
            return false;
        if (capacity < BytesOf(bits)) {
            bytes.resize(BytesOf(size));
            bytes.resize(BytesOf(bits));
            capacity = BytesOf(bits);
        }
        size = bits;
        return true;
    }

    void SetData(const std::vector<std::uint8_t>& data, std::size_t bits) {
        bytes.assign(std::max(capacity, BytesOf(bits)), 0);
        std::copy(data.begin(), data.end(), bytes.begin());
        size = bits;
    }

    std::uint8_t& ByteAt(std::size_t pos) { return bytes[pos / 8]; }
    bool Test(std::size_t pos) const { return (bytes[pos / 8] >> pos % 8 & 1) != 0; }

    void Put(std::size_t pos, bool bit) {
        const unsigned mask = 1U << pos % 8;
        ByteAt(pos) = static_cast<std::uint8_t>(bit ? ByteAt(pos) | mask : ByteAt(pos) & ~mask);
    }

    // The unused bits of the last byte become zero.
    void Trim(std::size_t bits) {
        if (bits % 8 != 0)
            bytes[BytesOf(size) - 1] &= static_cast<std::uint8_t>((1U << bits % 8) - 1);
    }

    void Fill(std::uint8_t value) {
        std::fill_n(bytes.begin(), BytesOf(size), value);
        Trim(size);
    }

    void Invert() {
        for (std::size_t i = 0; i < BytesOf(size); ++i)
            bytes[i] = static_cast<std::uint8_t>(~bytes[i]);
        Trim(size);
    }

    std::size_t Count() const {
        std::size_t count = 0;
        for (std::size_t pos = 0; pos < size; ++pos)
            count += Test(pos) ? 1 : 0;
        return count;
    }

    bool SameBytes(const Model& other) const {
        return std::equal(bytes.begin(), bytes.begin() + static_cast<long>(BytesOf(size)),
                          other.bytes.begin());
    }

    bool IsZero() const {
        return std::all_of(bytes.begin(), bytes.begin() + static_cast<long>(BytesOf(size)),
                           [](std::uint8_t byte) { return byte == 0; });
    }

    std::string Text() const {
        std::string text;
        for (std::size_t pos = size; pos > 0; --pos)
            text += Test(pos - 1) ? '1' : '0';
        return text;
    }
};

std::uint8_t Joined(char operation, std::uint8_t a, std::uint8_t b) {
    return static_cast<std::uint8_t>(operation == '&' ? a & b : operation == '|' ? a | b : a ^ b);
}

void JoinInPlace(char operation, Model& left, const Model& right) {
    const std::size_t before = BytesOf(left.size);
    const Model other = right; // which may be the same one
    if (operation != '&')
        left.SetSize(other.size);
    const std::size_t common = std::min(before, BytesOf(other.size));
    for (std::size_t i = 0; i < common; ++i)
        left.bytes[i] = Joined(operation, left.bytes[i], other.bytes[i]);
    if (common != 0 && before == BytesOf(other.size))
        left.Trim(left.size);
}

Model JoinedTo(char operation, const Model& left, const Model& right) {
    Model result;
    result.SetSize(operation == '&' ? left.size : right.size);
    const std::size_t common = std::min(BytesOf(left.size), BytesOf(right.size));
    for (std::size_t i = 0; i < common; ++i)
        result.bytes[i] = Joined(operation, left.bytes[i], right.bytes[i]);
    if (common != 0 && BytesOf(left.size) == BytesOf(right.size))
        result.Trim(left.size);
    return result;
}

// Sizes that are far apart, or of the same number of bytes.
std::size_t TakeSize(Input& input) {
    const std::size_t least[] = {0, 512, 2048};
    const std::size_t kind = input.Below(4);
    return kind == 3 ? input.Below(4200) : least[kind] + input.Below(20);
}

// A set with its model.
struct Pair {
    Bits bits;
    Model model;

    void Compare() {
        Check(bits.GetSize() == model.size && bits.GetBytes() == BytesOf(model.size), "the size");
        Check(model.size == 0 ||
                  std::equal(bits.GetData(), bits.GetData() + bits.GetBytes(), model.bytes.begin()),
              "the bytes");
        Check(bits.GetSetCount() == model.Count(), "GetSetCount");
        Check(bits.GetUnsetCount() == model.size - model.Count(), "GetUnsetCount");
        Check((bits.None() != 0) == model.IsZero() && (bits.Any() != 0) != model.IsZero(), "None");
    }
};

void Place(Pair& pair, Input& input) {
    const std::size_t pos = input.Below(4200);
    const bool in = pos < pair.model.size;
    const bool set = input.Byte() % 2 == 0;
    Check((set ? pair.bits.Set(pos) : pair.bits.Reset(pos)) == (in ? 1 : 0), "Set and Reset");
    if (in)
        pair.model.Put(pos, set);
    Check((pair.bits.Test(pos) != 0) == (in && set), "Test");
}

void Fill(Pair& pair, Input& input) {
    switch (input.Below(4)) {
    case 0:
        pair.bits.SetAll();
        return pair.model.size > 0 ? pair.model.Fill(0xFF) : void();
    case 1:
        pair.bits.ResetAll();
        return pair.model.size > 0 ? pair.model.Fill(0) : void();
    case 2:
        pair.bits.Clear();
        pair.model = Model();
        return;
    default:
        ~pair.bits;
        return pair.model.size > 0 ? pair.model.Invert() : void();
    }
}

void SetData(Pair& pair, Input& input) {
    const std::size_t bits = TakeSize(input);
    const std::string seed = input.Text(8);
    std::vector<std::uint8_t> data(BytesOf(bits));
    for (std::size_t i = 0; i < data.size() && !seed.empty(); ++i)
        data[i] = static_cast<std::uint8_t>(seed[i % seed.size()] + static_cast<char>(i / 64));
    Check(pair.bits.SetData(data.data(), bits) == (bits > 0 ? 1 : 0), "SetData");
    if (bits > 0)
        pair.model.SetData(data, bits);
}

void ReadText(Pair& pair, Input& input) {
    std::string text = input.Text(input.Below(100));
    if (input.Byte() % 2 == 0) {
        for (char& c : text)
            c = static_cast<char>('0' + c % 2);
        while (!text.empty() && text.size() < 300)
            text += text;
    }
    pair.bits.FromString(text);
    pair.model = Model();
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[text.size() - 1 - i];
        if (c != '0' && c != '1')
            break;
        pair.model.SetSize(i + 1);
        pair.model.Put(i, c == '1');
    }
    Check(pair.bits.ToString() == pair.model.Text(), "ToString");
}

// Combining with an empty set is the caller's error only for copies.
void Join(Pair& left, Pair& right, Input& input) {
    const char operation = "&|^"[input.Below(3)];
    if (input.Byte() % 2 == 0) {
        operation == '&'   ? left.bits &= right.bits
        : operation == '|' ? left.bits |= right.bits
                           : left.bits ^= right.bits;
        return JoinInPlace(operation, left.model, right.model);
    }
    Pair result{operation == '&'   ? left.bits & right.bits
                : operation == '|' ? left.bits | right.bits
                                   : left.bits ^ right.bits,
                JoinedTo(operation, left.model, right.model)};
    result.Compare();
}

void CompareTwo(const Pair& left, const Pair& right) {
    const bool sameSize = left.model.size == right.model.size;
    const bool same = sameSize && left.model.SameBytes(right.model);
    Check((left.bits == right.bits) == (same ? 1 : 0), "==");
    Check((left.bits != right.bits) == (sameSize && !same ? 1 : 0), "!=");
}

void Step(Pair& left, Pair& right, Input& input) {
    switch (input.Below(7)) {
    case 0: {
        const std::size_t bits = TakeSize(input);
        Check(left.bits.SetSize(bits) == (bits > 0 ? 1 : 0), "SetSize");
        left.model.SetSize(bits);
        return;
    }
    case 1:
        return Place(left, input);
    case 2:
        return Fill(left, input);
    case 3:
        return SetData(left, input);
    case 4:
        return ReadText(left, input);
    case 5:
        return Join(left, input.Byte() % 8 == 0 ? left : right, input);
    default:
        if (right.model.size == 0)
            return;
        left.bits = right.bits;
        left.model.SetSize(right.model.size);
        std::copy_n(right.model.bytes.begin(), BytesOf(right.model.size), left.model.bytes.begin());
    }
}

} // namespace

void VornFuzz::Try(Input& input) {
    OnEachRoute([start = input] {
        Input steps = start;
        Pair pairs[2];
        for (int count = 0; count < 30 && !steps.IsEmpty(); ++count) {
            const std::size_t first = steps.Below(2);
            Step(pairs[first], pairs[1 - first], steps);
            pairs[first].Compare();
            CompareTwo(pairs[0], pairs[1]);
        }
    });
}
