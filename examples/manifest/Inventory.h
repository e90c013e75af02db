#ifndef MANIFEST_INVENTORY_H
#define MANIFEST_INVENTORY_H

#include <string>
#include <vector>

#include <Bases/Utility.h>

namespace Manifest {

/// What is known of one file.
struct Entry {
    std::string name;             // as the user gave it; any bytes
    Vorn::Guid id;                // fresh for every measurement
    unsigned long long bytes = 0; // these three hold only when there is no failure
    unsigned long long lines = 0; // line feeds, as wc counts
    std::string failure;          // why the file could not be measured; empty when it was
};

/// Measures the files on a worker thread and returns an entry for each, in the same order. Throws
/// std::runtime_error when there is no worker.
std::vector<Entry> MeasureFiles(const std::vector<std::string>& names);

} // namespace Manifest

#endif
