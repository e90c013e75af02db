#ifndef VORN_TESTS_SUPPORT_CRYPTOSLOTS_H
#define VORN_TESTS_SUPPORT_CRYPTOSLOTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

namespace VornTest {

/// The slot of a virtual operation, from the bits that its member pointer has on this platform.
template <typename Operation>
std::size_t Slot(Operation operation) {
    std::array<std::uintptr_t, 2> words{};
    static_assert(sizeof(operation) == sizeof(words));
    std::memcpy(words.data(), &operation, sizeof(operation));
    return (words[0] & ~std::uintptr_t{1}) / sizeof(void*);
}

/// Expects the operations of a cipher or a digest where callers that are compiled already have them.
/// What a subclass of an implementation adds comes behind the destructor, in slot 9, as the
/// destructor fills two.
template <typename Class>
void ExpectTheSlotsOfACipher() {
    EXPECT_EQ(0u, Slot(&Class::Create));
    EXPECT_EQ(1u, Slot(&Class::Destroy));
    EXPECT_EQ(2u, Slot(&Class::GetDataSizeUnit));
    EXPECT_EQ(3u, Slot(&Class::GetUserSecretKeySize));
    EXPECT_EQ(4u, Slot(&Class::SetUserSecretKey));
    EXPECT_EQ(5u, Slot(&Class::Encrypt));
    EXPECT_EQ(6u, Slot(&Class::Decrypt));
}

} // namespace VornTest

#endif
