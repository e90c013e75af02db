// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_CRYPTO_H
#define VORN_BASES_CRYPTO_H

// One interface for ciphers and digests, the SEED block cipher and the MD5 digest.
//
// Both are for existing data and unsuitable for new secure designs: SEED is used block by block
// without chaining, so equal blocks of a message stay recognisable and changes go unnoticed, and
// MD5 does not protect against forgery.

#include <string>

#include <Bases/Export.h>

// Crypto has no virtual destructor on purpose: programs that include this get no warning.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace Vorn {

/// Sizes of keys, blocks, contexts and digests, in bytes unless stated.
namespace CryptoSize {
inline constexpr unsigned long SeedBlock = 16;
inline constexpr unsigned long SeedKey = 16;
inline constexpr unsigned long SeedRoundKeyWords = 32; ///< in words of 32 bits
inline constexpr unsigned long Md5Context = 88;
inline constexpr unsigned long Md5Digest = 16;
} // namespace CryptoSize

/// A cipher or a digest, without the caller having to know which.
///
/// Different objects are independent; one thread at a time may use an object.
///
///     unsigned char key[Vorn::CryptoSize::SeedKey] = {/* ... */};
///     unsigned char text[] = "seventeen letters";
///     unsigned char* output = nullptr;
///     unsigned long done = 0, size = 0;
///
///     Vorn::Crypto* cipher = Vorn::CreateCrypto(Vorn::Crypto::BlockCipherSeed);
///     if (cipher->SetUserSecretKey(key) && cipher->Encrypt(text, 17, done, output, size)) {
///         // size is 32, done is 17; whoever deciphers needs to know the 17
///         delete[] output;
///     }
///     Vorn::DestroyCrypto(cipher); // and not delete; cipher is null now
///
/// Note: there is no virtual destructor. Release an object from CreateCrypto with DestroyCrypto;
/// deleting it through `Crypto*` is undefined.
class VORN_BASES_API Crypto { // NOLINT(cppcoreguidelines-virtual-class-destructor)
public:
    /// The types that CreateCrypto knows. Any int may be cast to it and passed.
    enum Type : int { HashMd5 = 1, BlockCipherSeed = 2 };

    Crypto();

    /// Prepares the object. Returns false if it cannot be used. CreateCrypto calls this; on an
    /// object constructed directly, the caller does so before anything else.
    virtual bool Create() = 0;

    /// Releases what Create prepared. DestroyCrypto calls it.
    virtual void Destroy() = 0;

    /// Returns the block size in bytes, 0 for a digest.
    virtual unsigned long GetDataSizeUnit() = 0;

    /// Returns the number of bytes that SetUserSecretKey reads, 0 if there is no key.
    virtual unsigned long GetUserSecretKeySize() = 0;

    /// Sets the key to the GetUserSecretKeySize() bytes at `key`. Returns true on success.
    virtual bool SetUserSecretKey(const unsigned char* key) = 0;

    /// Transforms the `inputSize` bytes at `input`, a whole message, and leaves them as they are.
    ///
    /// Returns true on success. `output` is then an array of `outputSize` bytes that the caller
    /// owns and frees with delete[], and `processedSize` is `inputSize`. The previous value of
    /// `output` is not freed. The implementation decides what fails; on failure the other arguments
    /// are untouched. Throws std::bad_alloc, or an exception derived from it, if memory runs out.
    virtual bool Encrypt(unsigned char* input, unsigned long inputSize,
                         unsigned long& processedSize, unsigned char*& output,
                         unsigned long& outputSize) = 0;

    /// The inverse of Encrypt, with the same arguments and results.
    virtual bool Decrypt(unsigned char* input, unsigned long inputSize,
                         unsigned long& processedSize, unsigned char*& output,
                         unsigned long& outputSize) = 0;
};

/// Constructs an object of the given type and calls its Create. Returns null for a type that does
/// not exist and if Create fails. Throws std::bad_alloc if memory runs out. The caller releases the
/// object with DestroyCrypto.
VORN_BASES_API Crypto* CreateCrypto(const Crypto::Type& type);

/// Releases an object from CreateCrypto and sets `crypto` to null; does nothing if it is null.
///
/// Note: Destroy is called but the destructor is not, so the object must hold nothing after
/// Destroy.
VORN_BASES_API void DestroyCrypto(Crypto*& crypto);

/// The SEED block cipher (RFC 4269; 128-bit blocks and keys), block by block without chaining.
///
/// Note: the 32-bit words of a block and of the key are little-endian, where RFC 4269 has
/// big-endian ones. Ciphertexts therefore differ from those of other SEED programs unless the bytes
/// of each word of key, input and output are reversed.
class VORN_BASES_API CryptoBlockCipherSeed : public Crypto {
public:
    /// Constructs an object that needs Create before use. A copy has round keys of its own.
    CryptoBlockCipherSeed();
    CryptoBlockCipherSeed(const CryptoBlockCipherSeed& other);
    CryptoBlockCipherSeed& operator=(const CryptoBlockCipherSeed& other);

    /// Sets the round keys to zero, whatever key there was. Returns true.
    bool Create() override;

    /// Does nothing. Note: the round keys stay in memory; call Create to erase them.
    void Destroy() override;

    /// Returns CryptoSize::SeedBlock.
    unsigned long GetDataSizeUnit() override;

    /// Returns CryptoSize::SeedKey.
    unsigned long GetUserSecretKeySize() override;

    /// Derives the round keys from the 16 bytes at `key`. Returns true; false, with the round keys
    /// unchanged, for a null pointer.
    bool SetUserSecretKey(const unsigned char* key) override;

    /// Enciphers the `inputSize` bytes at `input`, padded with zeros to a multiple of 16.
    ///
    /// Returns true, with that multiple in `outputSize`. Returns false, with the other arguments
    /// untouched, if `input` is null or `inputSize` is 0. If memory runs out, as it does for the
    /// largest sizes, throws with `outputSize` 0 and the others untouched.
    ///
    /// Note: the output does not show how many zeros were added: keep `processedSize` to cut them
    /// off later.
    /// Note: without a key all round keys are zero. That is no error, and not the cipher of an
    /// all-zero key.
    bool Encrypt(unsigned char* input, unsigned long inputSize, unsigned long& processedSize,
                 unsigned char*& output, unsigned long& outputSize) override;

    /// Deciphers the `inputSize` bytes at `input`.
    ///
    /// Returns true, with `inputSize` in `outputSize`; padding stays. Returns false, with the other
    /// arguments untouched, if `input` is null, or `inputSize` is 0 or not a multiple of 16. Throws
    /// as Encrypt does.
    ///
    /// Note: a wrong key or a damaged ciphertext goes unnoticed.
    bool Decrypt(unsigned char* input, unsigned long inputSize, unsigned long& processedSize,
                 unsigned char*& output, unsigned long& outputSize) override;

    virtual ~CryptoBlockCipherSeed();

private:
    unsigned int m_roundKeys[32];
};

/// The MD5 digest (RFC 1321), through the interface of a cipher and by functions of its own.
///
/// The functions keep all state in the caller's context or on the stack: any number of threads may
/// call them at once, each with its own context. A null context or digest is the caller's error and
/// not checked; neither may overlap the other or the data.
///
///     std::string text = Vorn::CryptoHashMd5::MD5String("abc");
///     // text is "900150983cd24fb0d6963f7d28e17f72"
///
///     char context[Vorn::CryptoSize::Md5Context];
///     Vorn::CryptoHashMd5::MD5Digest_struct digest;
///     Vorn::CryptoHashMd5::MD5Init(&context);
///     Vorn::CryptoHashMd5::MD5Update(&context, "a", 1);
///     Vorn::CryptoHashMd5::MD5Update(&context, "bc", 2);
///     Vorn::CryptoHashMd5::MD5Final(&digest, &context);
///     text = Vorn::CryptoHashMd5::MD5DigestToBase16(digest); // the same
class VORN_BASES_API CryptoHashMd5 : public Crypto {
public:
    /// The 16 bytes of a digest, in the order in which they are printed.
    struct MD5Digest_struct {
        unsigned char bytes[16]; ///< the first one is printed first
    };

    /// Constructs an object that needs no Create. Copies are independent.
    CryptoHashMd5();
    CryptoHashMd5(const CryptoHashMd5& other);
    CryptoHashMd5& operator=(const CryptoHashMd5& other);

    /// Does nothing. Returns true.
    bool Create() override;

    /// Does nothing.
    void Destroy() override;

    /// Returns 0.
    unsigned long GetDataSizeUnit() override;

    /// Returns 0.
    unsigned long GetUserSecretKeySize() override;

    /// Ignores the key, which may be null. Returns true.
    bool SetUserSecretKey(const unsigned char* key) override;

    /// Computes the digest of the `inputSize` bytes at `input`: 16 bytes in `output`. Returns true.
    /// If memory runs out, throws with `processedSize` already set and the others untouched.
    ///
    /// Note: nothing is checked; an `inputSize` of 0 gives the digest of the empty message,
    /// whatever `input` is.
    bool Encrypt(unsigned char* input, unsigned long inputSize, unsigned long& processedSize,
                 unsigned char*& output, unsigned long& outputSize) override;

    /// Returns false and touches nothing: a digest cannot be reversed.
    bool Decrypt(unsigned char* input, unsigned long inputSize, unsigned long& processedSize,
                 unsigned char*& output, unsigned long& outputSize) override;

    virtual ~CryptoHashMd5();

    /// Begins a digest in the context: CryptoSize::Md5Context bytes at any address.
    ///
    /// The context holds, little-endian, the four 32-bit chaining words and the number of bits so
    /// far as two 32-bit words, the low one first, then the 64 bytes of the incomplete block.
    static void MD5Init(char (*ctx)[88]);

    /// Adds the `length` bytes at `data`, which may be null if `length` is 0. Bits are counted
    /// modulo 2^64, as in RFC 1321.
    static void MD5Update(char (*ctx)[88], const void* data, unsigned long length);

    /// Ends the digest and stores it in `*digest`. Call MD5Init before using the context again.
    ///
    /// Note: only the first 8 bytes of the context are cleared; the other half of the digest and
    /// the end of the message stay in it. Clear all of it if they must not remain.
    static void MD5Final(MD5Digest_struct* digest, char (*ctx)[88]);

    /// Stores the digest of the `length` bytes at `data`, which may be null if `length` is 0, in
    /// `*digest`.
    static void MD5Sum(const void* data, unsigned long length, MD5Digest_struct* digest);

    /// Returns the digest of all bytes of `text`, zeros included, as MD5DigestToBase16 writes it.
    static std::string MD5String(const std::string& text);

    /// Returns the digest as 32 lower-case hexadecimal digits.
    static std::string MD5DigestToBase16(const MD5Digest_struct& digest);
};

} // namespace Vorn

#pragma GCC diagnostic pop

extern "C" {

/// Derives the 32 round-key words of SEED from the 16 bytes at `key` and stores them at
/// `roundKeys`: words 2i and 2i+1 are those of round i+1. The byte order is that of
/// CryptoBlockCipherSeed.
///
/// Here and below a null pointer is the caller's error, and the arguments need no alignment beyond
/// that of their type. All may run on several threads at once.
VORN_BASES_API void SeedRoundKey(unsigned int* roundKeys, const unsigned char* key);

/// Enciphers the 16 bytes at `block` in place, with the 32 words at `roundKeys`.
VORN_BASES_API void SeedEncrypt(unsigned char* block, const unsigned int* roundKeys);

/// Deciphers the 16 bytes at `block` in place, with the same round keys.
VORN_BASES_API void SeedDecrypt(unsigned char* block, const unsigned int* roundKeys);

/// The same three under names with the library's prefix.
VORN_BASES_API void VornSeedRoundKey(unsigned int* roundKeys, const unsigned char* key);
VORN_BASES_API void VornSeedEncrypt(unsigned char* block, const unsigned int* roundKeys);
VORN_BASES_API void VornSeedDecrypt(unsigned char* block, const unsigned int* roundKeys);

} // extern "C"

#endif
