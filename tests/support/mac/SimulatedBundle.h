// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_MAC_SIMULATED_BUNDLE_H
#define VORN_BASES_TESTS_SUPPORT_MAC_SIMULATED_BUNDLE_H

// A simulation, for running on Linux, of the calls by which a macOS program finds its directory. It
// follows their documentation, not observation.

#include <string>

namespace VornTest::SimulatedBundle {

/// Where the program lies, and what of it the system does not know.
enum class Lack { Nothing, Bundle, Location };
void Set(const std::string& directory, Lack lack);

/// How many objects the library has copied and not released.
int Copies();

} // namespace VornTest::SimulatedBundle

#endif
