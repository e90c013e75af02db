// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_PORT_FILE_TIMES_H
#define VORN_BASES_IMPL_PORT_FILE_TIMES_H

// The members of a file's status that hold its times; hosts name them differently.

#include <sys/stat.h>

namespace Vorn {

/// The last access.
const timespec& AccessTime(const struct stat& status);

/// The last change of the content.
const timespec& ModificationTime(const struct stat& status);

/// The last change of the status: owner, permissions, number of links, content.
const timespec& ChangeTime(const struct stat& status);

} // namespace Vorn

#endif
