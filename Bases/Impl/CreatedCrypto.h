// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_CREATED_CRYPTO_H
#define VORN_BASES_IMPL_CREATED_CRYPTO_H

// The step of CreateCrypto that tests exercise with classes of their own.

#include <Bases/Crypto.h>

namespace Vorn {

/// Calls Create on an object from `new` and returns it. If Create fails, frees the storage without
/// running the destructor and returns null. Null stays null.
Crypto* Created(Crypto* crypto);

} // namespace Vorn

#endif
