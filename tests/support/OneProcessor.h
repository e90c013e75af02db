// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_ONE_PROCESSOR_H
#define VORN_BASES_TESTS_SUPPORT_ONE_PROCESSOR_H

// The processors that a test may run on, and one of them only.

#include <cstddef>

#include <gtest/gtest.h>
#include <sched.h>

namespace VornTest {

inline cpu_set_t AllowedProcessors() {
    cpu_set_t allowed;
    EXPECT_EQ(0, sched_getaffinity(0, sizeof allowed, &allowed));
    return allowed;
}

/// Binds this thread to one processor, and with it the programs that it starts meanwhile.
class BoundToOneProcessor {
public:
    BoundToOneProcessor() {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<std::size_t>(sched_getcpu()), &one);
        EXPECT_EQ(0, sched_setaffinity(0, sizeof one, &one));
    }
    ~BoundToOneProcessor() { sched_setaffinity(0, sizeof m_before, &m_before); }
    BoundToOneProcessor(const BoundToOneProcessor&) = delete;
    BoundToOneProcessor& operator=(const BoundToOneProcessor&) = delete;

private:
    const cpu_set_t m_before = AllowedProcessors();
};

} // namespace VornTest

#endif
