// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_BENCHMARKS_SUPPORT_INPUTS_H
#define VORN_BASES_BENCHMARKS_SUPPORT_INPUTS_H

// Inputs of the rows: random, and the same in every run.

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

namespace Bench {

using Random = std::mt19937_64;

std::string RandomBytes(std::size_t size);

// A number of random length and sign.
std::int64_t RandomInteger(Random& random);

// UTF-8 of about `size` bytes, cut after a whole character.
std::string AsciiText(std::size_t size);
std::string KoreanText(std::size_t size);
std::string MixedText(std::size_t size); // of characters of one to four bytes

// Hands out values round and round. A contender takes a copy, so that each sees the same values.
template <typename Value>
class Cycle {
public:
    template <typename Maker>
    explicit Cycle(Maker make) {
        for (Value& value : m_values)
            value = make();
    }

    const Value& Next() { return m_values[m_next++ % Length]; }

private:
    static constexpr std::size_t Length = 1024;

    std::array<Value, Length> m_values;
    std::size_t m_next = 0;
};

} // namespace Bench

#endif
