// SPDX-License-Identifier: MIT
// RegEx: a reserved name.

#include <Bases/Utility.h>

namespace Vorn {

RegEx::RegEx() = default;

RegEx::~RegEx() = default;

} // namespace Vorn
