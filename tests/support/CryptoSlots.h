// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_CRYPTO_SLOTS_H
#define VORN_BASES_TESTS_SUPPORT_CRYPTO_SLOTS_H

#include <gtest/gtest.h>

#include "Slot.h"

namespace VornTest {

/// Expects the operations of a cipher or a digest where callers that are compiled already have
/// them. With the destructor an implementation fills nine slots, the interface alone seven.
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
