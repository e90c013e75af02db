// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_CONTAINER_BITS_H
#define VORN_BASES_TESTS_CONTAINER_BITS_H

// Sets of bits to begin with, and a look at what is in them, for the tests of Bits.

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <Bases/Container.h>

namespace VornTest {

/// Sizes up to this are tried one by one.
inline constexpr unsigned long SmallSizes = 300;

/// The object as it lies in memory.
struct Fields {
    const void* table;
    unsigned char* data;
    unsigned long capacity;
    unsigned long size;
    unsigned long reserve;
};
static_assert(sizeof(Vorn::Bits) == sizeof(Fields));

inline Fields FieldsOf(const Vorn::Bits& bits) {
    Fields fields;
    std::memcpy(&fields, static_cast<const void*>(&bits), sizeof fields);
    return fields;
}

inline unsigned long CapacityOf(const Vorn::Bits& bits) { return FieldsOf(bits).capacity; }

inline std::vector<int> BytesOf(const Vorn::Bits& bits) {
    const Fields fields = FieldsOf(bits);
    return {fields.data, fields.data + Vorn::Bits::SizeToBytes(fields.size)};
}

inline Vorn::Bits FromText(const std::string& text) {
    Vorn::Bits bits;
    bits.FromString(text);
    return bits;
}

inline Vorn::Bits Ones(unsigned long size) {
    Vorn::Bits bits(size);
    bits.SetAll();
    return bits;
}

/// A set of `capacity` ones, shrunk to `size` bits: the rest of the last byte and of the capacity
/// still holds ones.
inline Vorn::Bits OnesShrunkTo(unsigned long size, unsigned long capacity) {
    Vorn::Bits bits = Ones(capacity);
    bits.SetSize(size);
    return bits;
}

/// Characters 0 and 1.
inline std::string RandomText(std::mt19937& random, unsigned long size) {
    std::string text(size, '0');
    for (char& c : text)
        c = random() % 2 != 0 ? '1' : '0';
    return text;
}
} // namespace VornTest

#endif
