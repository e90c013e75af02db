// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_PORT_CLOCK_H
#define VORN_BASES_IMPL_PORT_CLOCK_H

// The machine's real-time clock, as far as the library sets it.

#include <ctime>

#include <sys/types.h>

namespace Vorn {

/// Sets the clock to the moment so many seconds and microseconds after 1970-01-01 00:00:00 UTC.
/// Returns false when the system refuses, as it does without privilege or for microseconds outside
/// 0-999999.
bool SetClock(std::time_t seconds, suseconds_t microseconds);

} // namespace Vorn

#endif
