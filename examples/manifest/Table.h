// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_TABLE_H
#define VORN_BASES_EXAMPLES_MANIFEST_TABLE_H

#include <string>
#include <vector>

#include "Inventory.h"

namespace Manifest {

/// Returns the entries as a table of text with aligned columns, a heading and a total.
std::string FormatTable(const std::vector<Entry>& entries);

} // namespace Manifest

#endif
