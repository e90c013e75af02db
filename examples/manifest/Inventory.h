// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_INVENTORY_H
#define VORN_BASES_EXAMPLES_MANIFEST_INVENTORY_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

#include <Bases/Utility.h>

#include "Digest.h"
#include "Sparse.h"

namespace Manifest {

/// What an entry is. Links are entries inside directories only; a path that is a link is followed.
enum class Kind : unsigned char { File, Directory, Link, Fifo, Socket, Device };

/// What entries have, and what is compared, on request only.
struct Extras {
    bool targets = false; // of links
    bool modes = false;
    bool owners = false; // and groups
};

/// What is not compared.
struct Details {
    Vorn::Guid id;            // new in every measurement
    std::string writtenUtc;   // time of the last write in UTC; may be empty
    std::string writtenLocal; // the same in the local zone

    bool operator==(const Details&) const = default;
};

/// A file, or anything else found in a directory. Hundreds of thousands are held at once.
struct Entry {
    std::string name;             // as the user gave it, or found below that; any bytes
    unsigned long long bytes = 0; // of a file; the size that stat reports until it is measured
    unsigned long long lines = 0; // of a file: line feeds, as wc counts
    Sparse<Details> details;      // if wanted
    Sparse<std::string> failure;  // why nothing is known; empty otherwise
    Sparse<std::string> target;   // where a link leads to, if wanted; any bytes
    Digest digest;                // of a file: its content's
    Kind kind = Kind::File;       // valid, as all else but the name, only without a failure
    mode_t mode = 0;              // the permission bits, if wanted
    uid_t owner = 0;              // if wanted
    gid_t group = 0;              // if wanted
};

/// Whether entries have only what is compared, or their details, too.
enum class Detail { Compared, All };

/// How far a measurement has come, and how far it has to go.
struct Advance {
    std::size_t files = 0;
    std::size_t allFiles = 0;
    unsigned long long bytes = 0;
    unsigned long long allBytes = 0; // by the sizes of the files when they were found
};

/// How files are measured.
struct Measuring {
    Algorithm algorithm = Algorithm::Md5;
    Detail detail = Detail::All; // All gives every entry an identifier
    unsigned int workers = 1;
};

/// Measures the files among the entries on worker threads. Calls `report` on the calling thread, at
/// the start and then about five times a second, and returns the final state. What `report` throws
/// ends the measurement. Throws std::runtime_error when no worker thread can be started.
Advance MeasureFiles(std::vector<Entry>& entries, const Measuring& measuring,
                     const std::function<void(const Advance&)>& report);

} // namespace Manifest

#endif
