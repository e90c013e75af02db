// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_MANIFEST_FILE_H
#define VORN_BASES_EXAMPLES_MANIFEST_MANIFEST_FILE_H

#include <string>
#include <vector>

#include "Inventory.h"

namespace Manifest {

// A manifest is an XML document:
//
//     <?xml version="1.0" encoding="UTF-8"?>
//     <manifest version="1">
//       <!-- ... -->
//       <path name="src"/>
//       <path name="missing.txt"/>
//       <directory name="src" written-utc="2026-11-21T10:00:00.000"
//         written-local="2026-11-21T11:00:00.000" id="c56a4180-65aa-42ec-a945-5fd21dec0538"/>
//       <file name="src/main.cpp" bytes="2214" size="2.2 KiB" lines="71"
//         md5="5d41402abc4b2a76b9719d911017c592" written-utc="..." written-local="..."
//         id="0f8fad5b-d9cb-469f-a165-70867728950e"/>
//       <failure name="missing.txt">No such file or directory</failure>
//     </manifest>
//
// The paths are those that create was given. Any other element is named after its entry's kind:
// file, directory, link, fifo, socket or device. `size` repeats `bytes` for people; sizes, times
// and identifiers may be missing, and older manifests have neither paths nor digests.
//
// A file may have sha256 instead of md5. Digests are in hexadecimal digits or, in brief manifests,
// in Base64; readers tell them apart by the length. Where the manifest has an attribute
// targets="compared", links have a `target`; with modes, all entries have a `mode` in octal digits;
// with owners, an `owner` and a `group` as numbers. Elements <exclude name="*.o"/> after the paths
// are the patterns of what was left out.
//
// A name or target that XML cannot hold as it is is percent-encoded, with an attribute
// escaped="percent" or target-escaped="percent" beside it. Readers ignore elements and attributes
// that they do not know.

constexpr unsigned long long FormatVersion = 1;

/// What a manifest holds.
struct Document {
    std::vector<std::string> paths;    // in the order in which the user gave them
    std::vector<std::string> excludes; // patterns
    Extras extras;
    Detail detail = Detail::All; // with Compared, entries have neither times nor identifiers
    std::vector<Entry> entries;
    bool hasAllNames = true; // false when the current locale lacks characters of some
};

/// Saves the document, in its order, as the manifest at `path`. On failure throws
/// std::runtime_error with the reason, and the old file stays.
void SaveManifest(const std::string& path, const Document& document);

/// Returns what the manifest at `path` holds, "-" for standard input. Throws std::runtime_error
/// with the reason, and the line, when it cannot be read or is not a manifest.
Document LoadManifest(const std::string& path, Detail detail);

} // namespace Manifest

#endif
