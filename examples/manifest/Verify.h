// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_VERIFY_H
#define VORN_BASES_EXAMPLES_MANIFEST_VERIFY_H

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "Colours.h"
#include "Inventory.h"
#include "ManifestFile.h"

namespace Manifest {

/// Loads the manifest at `path`, "-" for standard input, without the entry of the file at `place`,
/// where that leads. Throws std::runtime_error with the reason when it cannot be loaded or records
/// too little to be verified.
Document LoadForVerifying(const std::string& path, const std::string& place);

/// Throws std::runtime_error when files were recorded without a digest.
void RequireDigests(const Document& document);

/// The result of comparing an entry.
enum class Verdict {
    Missing,      // recorded, no longer there
    Moved,        // recorded under another name, with the same content
    Changed,      // another kind, content or extra than recorded, or recorded as a failure only
    New,          // there, not recorded
    Unread,       // recorded, but cannot be read or stat'ed now
    StillFailing, // recorded as a failure, and failing for the same reason
    Same,         // as recorded
};

constexpr std::size_t Verdicts = 7;

/// What is to be told of an entry. Nothing is told of those that are as recorded.
struct Finding {
    std::string name;
    Verdict verdict{};
    std::string detail; // what has changed, where it is now, or why it is unread

    bool operator==(const Finding&) const = default;
};

/// The result of comparing all entries.
struct Comparison {
    std::vector<Finding> findings; // sorted by name
    std::array<std::size_t, Verdicts> counts{};

    std::size_t Count(Verdict verdict) const {
        return counts.at(static_cast<std::size_t>(verdict));
    }

    /// Returns true when all entries are Same or StillFailing.
    bool AllAsRecorded() const;
};

/// Compares recorded entries with those found and measured now at the same paths, by kind, bytes,
/// lines, digest and the extras. Entries that share a name, as when a path is given twice, are
/// compared in order; equal findings count once, and Same only if there is no other.
///
/// A file that is missing is Moved when one that is new has its content, which must not be empty.
///
/// Entries that could not be measured are looked at again, to tell missing from unread ones.
Comparison Compare(const std::vector<Entry>& recorded, const std::vector<Entry>& found,
                   const Extras& extras = {});

/// Returns a line of text for everything missing, moved, changed or new.
std::string FormatFindings(const Comparison& comparison, const Colours& colours);

/// Returns a line with all counts.
std::string FormatSummary(const Comparison& comparison);

} // namespace Manifest

#endif
