#ifndef VORN_BASES_IMPL_CREATED_CRYPTO_H
#define VORN_BASES_IMPL_CREATED_CRYPTO_H

#include <Bases/Crypto.h>

namespace Vorn {

/// Calls Create on what `new` made and returns it. When Create refuses, frees the storage, without
/// a destructor, and returns null. Null stays null.
Crypto* Created(Crypto* crypto);

} // namespace Vorn

#endif
