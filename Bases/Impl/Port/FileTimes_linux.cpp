// SPDX-License-Identifier: MIT
// Linux: the members have the names that POSIX gives them.

#include <Bases/Impl/Port/FileTimes.h>

namespace Vorn {

const timespec& AccessTime(const struct stat& status) { return status.st_atim; }

const timespec& ModificationTime(const struct stat& status) { return status.st_mtim; }

const timespec& ChangeTime(const struct stat& status) { return status.st_ctim; }

} // namespace Vorn
