// SPDX-License-Identifier: MIT
// macOS: the members have names of its own. The tests build this over stand-ins for its headers.

#include <Bases/Impl/Port/FileTimes.h>

namespace Vorn {

const timespec& AccessTime(const struct stat& status) { return status.st_atimespec; }

const timespec& ModificationTime(const struct stat& status) { return status.st_mtimespec; }

const timespec& ChangeTime(const struct stat& status) { return status.st_ctimespec; }

} // namespace Vorn
