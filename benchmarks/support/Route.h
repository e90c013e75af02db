#ifndef VORN_BENCHMARKS_ROUTE_H
#define VORN_BENCHMARKS_ROUTE_H

#include <string>

namespace Bench {

// The name of the library's route on this machine: which of several implementations of an operation
// it has chosen. There is one so far.
std::string CurrentRoute();

// Makes the library take another route for the rest of the process. Returns false when this machine
// or the library does not have it.
bool TakeRoute(const std::string& name);

} // namespace Bench

#endif
