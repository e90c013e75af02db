// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_DESCRIBE_H
#define VORN_BASES_EXAMPLES_MANIFEST_DESCRIBE_H

#include <string>

#include <sys/types.h>

#include <Bases/Time.h>

#include "Inventory.h"

namespace Manifest {

// Values formatted for people, the same in every locale.

/// Returns "file", "directory", "link", "fifo", "socket" or "device".
const char* NameOf(Kind kind);

/// Returns a count of bytes as "535 B", "2.9 KiB" and so on.
std::string DescribeSize(unsigned long long bytes);

/// Return milliseconds since 1970 as "2026-11-21T10:00:00.000", in UTC or in local time; an empty
/// text when the C library cannot convert the time.
std::string DescribeUtcTime(Vorn::Time time);
std::string DescribeLocalTime(Vorn::Time time);

/// Returns permission bits as "0644".
std::string DescribeMode(mode_t mode);

/// Returns whole seconds as "0:07", "12:34" or "5:00:01".
std::string DescribeDuration(unsigned long long seconds);

} // namespace Manifest

#endif
