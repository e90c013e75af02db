#ifndef VORN_BASES_EXAMPLES_MANIFEST_VERIFY_H
#define VORN_BASES_EXAMPLES_MANIFEST_VERIFY_H

#include <string>
#include <vector>

#include "Inventory.h"
#include "ManifestFile.h"

namespace Manifest {

/// Returns what the manifest at `path` holds, but nothing of itself. Throws std::runtime_error with
/// the reason when it cannot be loaded, or holds too little to be verified.
Document LoadForVerifying(const std::string& path);

/// What a comparison says of an entry.
enum class Verdict {
    Missing,      // recorded, and there no more
    Changed,      // of another kind or content than recorded, or recorded as a failure only
    New,          // there and not recorded
    Unread,       // recorded and perhaps there, but it cannot be read or looked at
    StillFailing, // recorded as a failure, and failing for the same reason
    Same,         // as recorded
};

struct Finding {
    std::string name;
    Verdict verdict{};
    std::string detail; // what has changed, or why it is unread if that is the entry's own matter

    bool operator==(const Finding&) const = default;
};

/// Compares what was recorded with what was found and measured since, at the same paths. Returns
/// the findings sorted by name. Several entries of a name, as of a path given twice, are compared
/// each with its own; what is said of them is said once, and that they are the same if there is
/// nothing else to be said.
///
/// Kind, bytes, lines and digest are compared. Entries that cannot be measured are looked at again,
/// to tell what is missing from what cannot be read.
std::vector<Finding> Compare(const std::vector<Entry>& recorded, const std::vector<Entry>& found);

/// Returns true when there is nothing but what is as it was recorded.
bool AllAsRecorded(const std::vector<Finding>& findings);

/// Returns a line of text for everything that is missing, changed or new, and a summary.
std::string FormatFindings(const std::vector<Finding>& findings);

} // namespace Manifest

#endif
