// SPDX-License-Identifier: MIT
#include <Bases/Crypto.h>
#include <cstdio>
#include <memory>
#include <string>

using namespace Vorn;

struct Destroy {
    void operator()(Crypto* crypto) const { DestroyCrypto(crypto); } // not delete
};
using Cipher = std::unique_ptr<Crypto, Destroy>;
using Bytes = std::unique_ptr<unsigned char[]>; // what Encrypt and Decrypt hand over

int main() {
    const unsigned char key[CryptoSize::SeedKey] = {'s', 'e', 'c', 'r', 'e', 't'};
    const Cipher cipher(CreateCrypto(Crypto::BlockCipherSeed));
    if (!cipher || !cipher->SetUserSecretKey(key))
        return 1;

    std::string message = "seventeen letters";
    unsigned char* output = nullptr;
    unsigned long length = 0;
    unsigned long size = 0;
    auto* const input = reinterpret_cast<unsigned char*>(message.data());
    if (!cipher->Encrypt(input, message.size(), length, output, size))
        return 1;
    const Bytes sealed(output);
    std::printf("%lu bytes from %lu\n", size, length); // keep both numbers

    unsigned long done = 0;
    if (!cipher->Decrypt(sealed.get(), size, done, output, size))
        return 1;
    const Bytes opened(output);
    std::printf("%.*s\n", static_cast<int>(length), opened.get()); // without the padding
    std::printf("%s\n", CryptoHashMd5::MD5String(message).c_str());
}
