// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_WALK_H
#define VORN_BASES_EXAMPLES_MANIFEST_WALK_H

#include <string>
#include <vector>

#include "Inventory.h"

namespace Manifest {

/// Returns an entry for every path, in the order given. A directory's entry is followed by those of
/// everything below it, depth first, sorted by the bytes of the names.
///
/// A path that is a link is followed; a link inside a directory is an entry. An entry with a
/// failure stands for what cannot be stat'ed, for a path that is neither a file nor a directory,
/// and for a directory that cannot be read to its end, with everything in it.
///
/// `output`, and the temporary files that ReplaceFile makes beside it, are left out unless they are
/// among the paths.
std::vector<Entry> FindEntries(const std::vector<std::string>& paths, const std::string& output);

} // namespace Manifest

#endif
