// SPDX-License-Identifier: MIT
// Shared memory stays on the machine when a program forgets to remove it. Each test program
// therefore checks at its end, and fails for every segment that is left.
//
// Where the system allows it, as it does for the superuser, the program and the processes that it
// starts have an IPC namespace of their own: nobody else's segments can interfere, and the last
// process to end removes what is left. Elsewhere only the segments count that this process created:
// once another creator is gone, nothing shows whether it was one of ours.
#include "support/Segments.h"

#include <algorithm>
#include <vector>

#include <sched.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using VornTest::ListSegments;
using VornTest::Segment;

class OwnSegments : public testing::Environment {
public:
    void SetUp() override {
        m_private = unshare(CLONE_NEWIPC) == 0;
        m_before = ListSegments();
    }

    void TearDown() override {
        for (const Segment& it : ListSegments())
            if (IsOwn(it))
                ADD_FAILURE() << "shared memory was left behind: key " << it.key << ", identifier "
                              << it.id << ", " << it.bytes << " bytes, permissions " << it.mode
                              << ", made by process " << it.maker;
    }

private:
    bool IsOwn(const Segment& segment) const {
        const auto same = [&segment](const Segment& before) { return before.id == segment.id; };
        return !segment.IsRemoved() && (m_private || segment.maker == getpid()) &&
               std::none_of(m_before.begin(), m_before.end(), same);
    }

    bool m_private = false;
    std::vector<Segment> m_before;
};

[[maybe_unused]] const testing::Environment* const g_environment =
    testing::AddGlobalTestEnvironment(new OwnSegments);

} // namespace
