// SPDX-License-Identifier: MIT
// The segments of shared memory that there are.
#include "support/Segments.h"

#include <fstream>
#include <limits>

namespace VornTest {

std::vector<Segment> ListSegments() {
    std::ifstream table("/proc/sysvipc/shm");
    constexpr auto Line = std::numeric_limits<std::streamsize>::max();
    table.ignore(Line, '\n'); // the names of the columns
    std::vector<Segment> segments;
    for (Segment it; table >> it.key >> it.id >> it.mode >> it.bytes >> it.maker;
         table.ignore(Line, '\n'))
        segments.push_back(it);
    return segments;
}

} // namespace VornTest
