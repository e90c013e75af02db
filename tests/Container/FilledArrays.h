// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_CONTAINER_FILLED_ARRAYS_H
#define VORN_BASES_TESTS_CONTAINER_FILLED_ARRAYS_H

// The arrays that the containers allocate: recorded, and filled so that it shows where they were
// not written to, in every test of a program that includes this.

#include <cstddef>
#include <cstring>

#include <gtest/gtest.h>

#include "fault/Platform.h"

namespace VornTest {

/// What the containers' arrays are allocated with.
inline auto& g_arrayNew = Platform::operator_new_array_nothrow;

inline constexpr unsigned char Unwritten = 0xD7;

class FilledArrays : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*test*/) override {
        g_arrayNew.Record(true);
        g_arrayNew.OnAnyThread().Do([](std::size_t size) {
            void* const array = g_arrayNew.Real(size);
            if (array != nullptr)
                std::memset(array, Unwritten, size);
            return array;
        });
    }
};

[[maybe_unused]] inline const bool g_filledArraysAreSet = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new FilledArrays);
    return true;
}();

/// How many bytes the last array was asked to have.
inline std::size_t LastArraySize() { return g_arrayNew.Calls().back(); }

} // namespace VornTest

#endif
