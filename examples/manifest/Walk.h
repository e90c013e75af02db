#ifndef VORN_BASES_EXAMPLES_MANIFEST_WALK_H
#define VORN_BASES_EXAMPLES_MANIFEST_WALK_H

#include <string>
#include <vector>

#include "Inventory.h"

namespace Manifest {

/// Returns an entry for every path, in the order given, each directory's followed by those of all
/// that is below it, depth first, sorted by the bytes of the names.
///
/// A path that is a link is followed; links inside a directory are entries of their own. What
/// cannot be looked at is an entry with a failure; so is a directory that cannot be listed to its
/// end, without anything below it, and a path that is neither a file nor a directory. `output` is
/// not there in its directory, nor is what ReplaceFile writes before it takes that place; as one of
/// the paths it is.
std::vector<Entry> FindEntries(const std::vector<std::string>& paths, const std::string& output);

} // namespace Manifest

#endif
