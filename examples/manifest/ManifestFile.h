#ifndef MANIFEST_MANIFEST_FILE_H
#define MANIFEST_MANIFEST_FILE_H

#include <string>
#include <vector>

#include "Inventory.h"

namespace Manifest {

// A manifest is an XML document:
//
//     <?xml version="1.0" encoding="UTF-8"?>
//     <manifest version="1">
//       <!-- ... -->
//       <file name="main.cpp" bytes="2214" lines="71" id="0f8fad5b-d9cb-469f-a165-70867728950e"/>
//       <failure name="missing.txt">No such file or directory</failure>
//     </manifest>
//
// A name that could not stand in it as it is has percent escapes, and an attribute escaped="percent"
// beside it. Elements and attributes that a reader does not know are to be ignored.

/// Saves the entries, in their order, as the manifest at `path`. Throws std::runtime_error with the
/// reason when that fails; what was at `path` before is then still there.
void SaveManifest(const std::string& path, const std::vector<Entry>& entries);

/// Returns the entries of the manifest at `path`. Throws std::runtime_error with the reason when it
/// cannot be read or is no manifest.
std::vector<Entry> LoadManifest(const std::string& path);

} // namespace Manifest

#endif
