#ifndef VORN_BASES_EXAMPLES_MANIFEST_INVENTORY_H
#define VORN_BASES_EXAMPLES_MANIFEST_INVENTORY_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <Bases/Utility.h>

namespace Manifest {

/// What an entry is. A link is one met in a directory; those that the user names are followed.
enum class Kind { File, Directory, Link, Fifo, Socket, Device };

/// What is known of a file or of something else in a directory.
struct Entry {
    std::string name;             // as the user gave it, or found below that; any bytes
    Kind kind = Kind::File;       // this and what follows hold only when there is no failure
    Vorn::Guid id;                // fresh for every measurement
    unsigned long long bytes = 0; // of a file; before it is measured, as many as it says it has
    unsigned long long lines = 0; // of a file: line feeds, as wc counts
    std::string md5;              // of a file: its content's digest, as md5sum prints it
    std::string writtenUtc;       // when it was last written, in universal time; may be empty
    std::string writtenLocal;     // the same in the local zone
    std::string failure;          // why nothing is known; empty when something is
};

/// How far a measurement has come, and how far it goes.
struct Advance {
    std::size_t files = 0;
    std::size_t allFiles = 0;
    unsigned long long bytes = 0;
    unsigned long long allBytes = 0; // by the sizes that the files had when they were found
};

/// Measures the files among the entries on a worker thread and gives every entry an identifier.
/// `report` is called on the calling thread, at the beginning and about five times a second; how
/// far it has come at the end is returned. Throws std::runtime_error when there is no worker.
Advance MeasureFiles(std::vector<Entry>& entries,
                     const std::function<void(const Advance&)>& report);

} // namespace Manifest

#endif
