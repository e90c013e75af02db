// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_BENCHMARKS_SUPPORT_ROUTE_H
#define VORN_BASES_BENCHMARKS_SUPPORT_ROUTE_H

#include <string>

namespace Bench {

// The name of the route that the library takes: which vector instructions it uses.
std::string CurrentRouteName();

// The names of those that the process can have it take, from the portable one up.
std::string RouteNames();

// Has the library take that route for the rest of the process. Returns false for a name that
// RouteNames does not give.
bool TakeRoute(const std::string& name);

} // namespace Bench

#endif
