// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_EXPORT_H
#define VORN_BASES_EXAMPLES_MANIFEST_EXPORT_H

#include <string>

#include "Inventory.h"

namespace Manifest {

/// Returns the line by which `md5sum -c` or `sha256sum -c` checks a file.
std::string FormatForSum(const Entry& file);

} // namespace Manifest

#endif
