// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_WALK_H
#define VORN_BASES_EXAMPLES_MANIFEST_WALK_H

#include <functional>
#include <string>
#include <vector>

#include "Inventory.h"

namespace Manifest {

/// What is looked for, and where.
struct Search {
    std::vector<std::string> paths;
    std::string output;                  // where the manifest is
    std::vector<std::string> excludes{}; // patterns of the shell
    Extras extras{};
    Detail detail = Detail::All;        // All gives every entry its times
    std::function<void()> step = [] {}; // called for every directory; what it throws ends the walk
};

/// Returns an entry for every path, in the order given. A directory's entry is followed by those of
/// everything below it, depth first, sorted by the bytes of the names.
///
/// A path that is a link is followed; a link inside a directory is an entry. An entry with a
/// failure stands for what cannot be stat'ed, for a path that is neither a file nor a directory,
/// and for a directory that cannot be read to its end, with everything in it.
///
/// The output, and the temporary files that ReplaceFile makes beside it, are left out unless they
/// are among the paths. So is what a pattern matches, with everything below it: a pattern with a
/// slash is compared with the whole path, any other with the name in its directory.
std::vector<Entry> FindEntries(const Search& search);

} // namespace Manifest

#endif
