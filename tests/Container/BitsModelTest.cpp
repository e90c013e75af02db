// SPDX-License-Identifier: MIT
// Concerns: random sequences of all operations against a model that knows single bits only.
#include <Bases/Container.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Container/Bits.h"
#include "support/RandomSteps.h"

namespace {

using Vorn::Bits;
using VornTest::CapacityOf;
using VornTest::RandomText;
using VornTest::SmallSizes;

// Holds the array as single bits, each with the place it has in the set, and follows the rules one
// bit at a time.
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
