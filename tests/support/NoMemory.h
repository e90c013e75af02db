// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_NO_MEMORY_H
#define VORN_BASES_TESTS_SUPPORT_NO_MEMORY_H

#include <cerrno>
#include <cstddef>
#include <memory>

#include "fault/Platform.h"

namespace VornTest {

/// While it lives, this thread's allocations of `failFrom` bytes and more by that function fail.
class NoMemory {
public:
    explicit NoMemory(Platform::Function<void*(std::size_t)>& function, std::size_t failFrom = 1) {
        function.Do([&function, failFrom, ended = m_ended](std::size_t size) {
            return *ended || size < failFrom ? function.Real(size) : function.Failure(ENOMEM);
        });
    }
    ~NoMemory() { *m_ended = true; }
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;

private:
    std::shared_ptr<bool> m_ended = std::make_shared<bool>(false);
};

} // namespace VornTest

#endif
