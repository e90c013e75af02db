// SPDX-License-Identifier: MIT
// Setting the clock by settimeofday, on every host.

#include <Bases/Impl/Port/Clock.h>

#include <sys/time.h>

namespace Vorn {

bool SetClock(std::time_t seconds, suseconds_t microseconds) {
    timeval clock;
    clock.tv_sec = seconds;
    clock.tv_usec = microseconds;
    return settimeofday(&clock, nullptr) >= 0;
}

} // namespace Vorn
