// SPDX-License-Identifier: MIT
// The factory of ciphers and digests.

#include <Bases/Impl/CreatedCrypto.h>

#include <new>

namespace Vorn {

namespace {

Crypto* Make(const Crypto::Type& type) {
    switch (type) {
    case Crypto::HashMd5:
        return new CryptoHashMd5; // GCOVR_EXCL_BR_LINE noexcept
    case Crypto::BlockCipherSeed:
        return new CryptoBlockCipherSeed; // GCOVR_EXCL_BR_LINE noexcept
    }
    return nullptr;
}

// Frees the storage only: Crypto has no virtual destructor, so deleting the pointer would be
// undefined. Callers rely on no destructor running here.
void Free(Crypto* crypto) { ::operator delete(static_cast<void*>(crypto)); }

} // namespace

Crypto::Crypto() = default;

Crypto* Created(Crypto* crypto) {
    if (crypto == nullptr || crypto->Create())
        return crypto;
    Free(crypto);
    return nullptr;
}

Crypto* CreateCrypto(const Crypto::Type& type) { return Created(Make(type)); }

void DestroyCrypto(Crypto*& crypto) {
    if (crypto == nullptr)
        return;
    crypto->Destroy();
    Free(crypto);
    crypto = nullptr;
}

} // namespace Vorn
