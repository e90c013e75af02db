// SPDX-License-Identifier: MIT
// Counters of the system clock.

#include <Bases/Time.h>

#include <sys/time.h>

namespace Vorn {

namespace {

// Zero if the clock cannot be read, which every counter then returns.
timeval ReadClock() {
    timeval now;
    return gettimeofday(&now, nullptr) < 0 ? timeval{} : now;
}

} // namespace

unsigned long timer_ms() {
    const timeval now = ReadClock();
    return static_cast<unsigned long>(now.tv_sec) * 1000 +
           static_cast<unsigned long>(now.tv_usec) / 1000;
}

unsigned long timer_us() {
    const timeval now = ReadClock();
    return static_cast<unsigned long>(now.tv_sec) * 1000000 +
           static_cast<unsigned long>(now.tv_usec);
}

unsigned long timer_ns() { return timer_us() * 1000; }

} // namespace Vorn
