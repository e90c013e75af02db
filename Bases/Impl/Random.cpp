// SPDX-License-Identifier: MIT
// Random: a reserved name.

#include <Bases/Utility.h>

namespace Vorn {

Random::Random() = default;

Random::~Random() = default;

} // namespace Vorn
