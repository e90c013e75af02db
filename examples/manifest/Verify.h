// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_VERIFY_H
#define VORN_BASES_EXAMPLES_MANIFEST_VERIFY_H

#include <string>
#include <vector>

#include "Inventory.h"
#include "ManifestFile.h"

namespace Manifest {

/// Loads the manifest at `path`, without its own entry. Throws std::runtime_error with the reason
/// when it cannot be loaded or records too little to be verified.
Document LoadForVerifying(const std::string& path);

/// The result of comparing an entry.
enum class Verdict {
    Missing,      // recorded, no longer there
    Changed,      // another kind or content than recorded, or recorded as a failure only
    New,          // there, not recorded
    Unread,       // recorded, but cannot be read or stat'ed now
    StillFailing, // recorded as a failure, and failing for the same reason
    Same,         // as recorded
};

struct Finding {
    std::string name;
    Verdict verdict{};
    std::string detail; // what has changed, or the entry's own reason for being unread

    bool operator==(const Finding&) const = default;
};

/// Compares recorded entries with those found and measured now at the same paths, by kind, bytes,
/// lines and digest. Returns the findings sorted by name. Entries that share a name, as when a path
/// is given twice, are compared in order; equal findings are returned once, and Same only if there
/// is no other.
///
/// Entries that could not be measured are looked at again, to tell missing from unread ones.
std::vector<Finding> Compare(const std::vector<Entry>& recorded, const std::vector<Entry>& found);

/// Returns true when all findings are Same or StillFailing.
bool AllAsRecorded(const std::vector<Finding>& findings);

/// Returns a line of text for everything missing, changed or new, and a summary.
std::string FormatFindings(const std::vector<Finding>& findings);

} // namespace Manifest

#endif
