#ifndef MANIFEST_VERIFY_H
#define MANIFEST_VERIFY_H

#include <string>
#include <vector>

#include "Inventory.h"

namespace Manifest {

/// What a comparison says of an entry.
enum class Verdict {
    Same,         // as recorded
    Missing,      // recorded, and there no more
    Changed,      // of another kind or content than recorded, or recorded as a failure only
    New,          // there and not recorded
    Unread,       // recorded and perhaps there, but it cannot be read or looked at
    StillFailing, // recorded as a failure, and failing for the same reason
};

struct Finding {
    std::string name;
    Verdict verdict = Verdict::Same;
    std::string detail; // what has changed, or why it is unread if that is the entry's own matter

    auto operator<=>(const Finding&) const = default;
};

/// Compares what was recorded with what was found and measured since, at the same paths. Returns the
/// findings sorted by name. Several entries of a name, as of a path given twice, are compared each
/// with its own, and what is said of them is said once.
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
