// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_INVENTORY_H
#define VORN_BASES_EXAMPLES_MANIFEST_INVENTORY_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <Bases/Utility.h>

namespace Manifest {

/// What an entry is. Links are entries inside directories only; a path that is a link is followed.
enum class Kind { File, Directory, Link, Fifo, Socket, Device };

/// A file, or anything else found in a directory.
struct Entry {
    std::string name;             // as the user gave it, or found below that; any bytes
    Kind kind = Kind::File;       // valid, as all that follows, only without a failure
    Vorn::Guid id;                // new in every measurement
    unsigned long long bytes = 0; // of a file; the size that stat reports until it is measured
    unsigned long long lines = 0; // of a file: line feeds, as wc counts
    std::string md5;              // of a file: its content's digest, as md5sum prints it
    std::string writtenUtc;       // time of the last write in UTC; may be empty
    std::string writtenLocal;     // the same in the local zone
    std::string failure;          // why nothing is known; empty otherwise
};

/// How far a measurement has come, and how far it has to go.
struct Advance {
    std::size_t files = 0;
    std::size_t allFiles = 0;
    unsigned long long bytes = 0;
    unsigned long long allBytes = 0; // by the sizes of the files when they were found
};

/// Measures the files among the entries on a worker thread and gives every entry an identifier.
/// Calls `report` on the calling thread, at the start and then about five times a second, and
/// returns the final state. Throws std::runtime_error when no worker thread can be started.
Advance MeasureFiles(std::vector<Entry>& entries,
                     const std::function<void(const Advance&)>& report);

} // namespace Manifest

#endif
