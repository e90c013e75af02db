// SPDX-License-Identifier: MIT
// MemPool: a reserved name.

#include <Bases/Utility.h>

namespace Vorn {

MemPool::MemPool() = default;

MemPool::~MemPool() = default;

} // namespace Vorn
