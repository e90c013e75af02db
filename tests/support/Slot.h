// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_SLOT_H
#define VORN_BASES_TESTS_SUPPORT_SLOT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace VornTest {

/// Returns the place of a virtual operation in its class's table, from the bits that its member
/// pointer has on this platform: the offset into the table, marked in the lowest bit by some. A
/// destructor fills two slots: one for a whole object, one that also frees it.
template <typename Operation>
std::size_t Slot(Operation operation) {
    std::array<std::uintptr_t, 2> words{};
    static_assert(sizeof(operation) == sizeof(words));
    std::memcpy(words.data(), &operation, sizeof(operation));
    return (words[0] & ~std::uintptr_t{1}) / sizeof(void*);
}

/// Returns how many slots the virtual operations of a class fill; the one that a program's own
/// subclass adds follows them.
template <typename Class>
std::size_t Slots() {
    class WithOneMore : public Class {
    public:
        virtual void OneMore() {}
    };
    return Slot(&WithOneMore::OneMore);
}

} // namespace VornTest

#endif
