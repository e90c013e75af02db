// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_SEGMENTS_H
#define VORN_BASES_TESTS_SUPPORT_SEGMENTS_H

#include <string>
#include <vector>

#include <sys/types.h>

namespace VornTest {

/// A segment of shared memory, in the words of the system.
struct Segment {
    std::string key, id, mode, bytes;
    pid_t maker = -1;

    /// Whether it is there only because somebody still maps it.
    bool IsRemoved() const { return mode.size() > 3; } // a digit stands before the permissions
};

/// All segments of the machine or, where the process has one, of its IPC namespace.
std::vector<Segment> ListSegments();

} // namespace VornTest

#endif
