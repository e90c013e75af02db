#ifndef VORN_BASES_CRYPTO_H
#define VORN_BASES_CRYPTO_H

// One interface for ciphers and digests, the SEED block cipher and the MD5 digest.
//
// Both serve data that exists. They are no choice for a new design that is to be secure: SEED is
// used here block by block without chaining, so that equal blocks of a message are seen to be equal
// and a changed message is not noticed, and MD5 is broken as a protection against forgery.

#include <string>

#include <Bases/Export.h>

// Crypto has no virtual destructor, which is meant; programs that include this are not warned of it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace Vorn {

/// Sizes, in bytes unless stated.
namespace CryptoSize {
inline constexpr unsigned long SeedBlock = 16;
inline constexpr unsigned long SeedKey = 16;
inline constexpr unsigned long SeedRoundKeyWords = 32; ///< in words of 32 bits
inline constexpr unsigned long Md5Context = 88;
inline constexpr unsigned long Md5Digest = 16;
} // namespace CryptoSize

/// A cipher or a digest, through which a caller need not know which.
///
/// Thread safety: distinct objects are independent; one object is for one thread at a time.
///
///     unsigned char key[Vorn::CryptoSize::SeedKey] = {/* ... */};
///     unsigned char text[] = "seventeen letters";
///     unsigned char* output = nullptr;
///     unsigned long done = 0, size = 0;
///
///     Vorn::Crypto* cipher = Vorn::CreateCrypto(Vorn::Crypto::BlockCipherSeed);
///     if (cipher->SetUserSecretKey(key) && cipher->Encrypt(text, 17, done, output, size)) {
///         // size is 32, done is 17; whoever deciphers has to know the 17
///         delete[] output;
///     }
///     Vorn::DestroyCrypto(cipher); // and not delete; cipher is null now
///
/// Note: there is no virtual destructor. An object that CreateCrypto made goes by DestroyCrypto;
/// deleting it through a pointer to Crypto is undefined.
class VORN_BASES_API Crypto { // NOLINT(cppcoreguidelines-virtual-class-destructor)
public:
    /// What CreateCrypto makes. Any int may be cast to it and asked for.
    enum Type : int { HashMd5 = 1, BlockCipherSeed = 2 };

    Crypto();

    /// Prepares the object. Returns false when it cannot be used. CreateCrypto calls it; for an
    /// object that was constructed directly the caller does, before everything else.
    virtual bool Create() = 0;

    /// Releases what Create prepared. DestroyCrypto calls it.
    virtual void Destroy() = 0;

    /// Returns the number of bytes that data is processed in, 0 for a digest.
    virtual unsigned long GetDataSizeUnit() = 0;

    /// Returns the number of bytes that SetUserSecretKey reads, 0 when there is no key.
    virtual unsigned long GetUserSecretKeySize() = 0;

    /// Takes the GetUserSecretKeySize() bytes at `key`. Returns true on success.
    virtual bool SetUserSecretKey(const unsigned char* key) = 0;

    /// Transforms the `inputSize` bytes at `input`, a whole message, which stay as they are.
    ///
    /// Returns true on success. `output` is then an array of `outputSize` bytes that the caller owns
    /// and releases with delete[]; `processedSize` is `inputSize`. What `output` held before is
    /// not released. Returns false, with the other arguments untouched, as the implementation says.
    /// Throws std::bad_alloc, or what derives from it, when there is no memory.
    virtual bool Encrypt(unsigned char* input, unsigned long inputSize,
                         unsigned long& processedSize, unsigned char*& output,
                         unsigned long& outputSize) = 0;

    /// The inverse of Encrypt, with the same arguments and results.
    virtual bool Decrypt(unsigned char* input, unsigned long inputSize,
                         unsigned long& processedSize, unsigned char*& output,
                         unsigned long& outputSize) = 0;
};

/// Makes an object of the given type, created already. Returns null for a type that does not exist,
/// and when Create fails. Throws std::bad_alloc when there is no memory. The caller releases the
/// object with DestroyCrypto.
VORN_BASES_API Crypto* CreateCrypto(const Crypto::Type& type);

/// Destroys an object that CreateCrypto made, and sets `crypto` to null; does nothing when it is null
/// already. Note: Destroy is called, the object's destructor is not, so that it must hold nothing
/// after Destroy.
VORN_BASES_API void DestroyCrypto(Crypto*& crypto);

/// The SEED block cipher (RFC 4269; 128-bit blocks and keys), block by block without chaining.
///
/// Note: the bytes of a block and of the key are read as 32-bit words with the lowest byte first,
/// where RFC 4269 has the highest first. Ciphertexts therefore differ from those of other SEED
/// programs, unless the bytes of each word of key, input and output are reversed.
class VORN_BASES_API CryptoBlockCipherSeed : public Crypto {
public:
    /// Makes an object that needs Create before it is used. Copies have the round keys of the other
    /// object, as copies of their own.
    CryptoBlockCipherSeed();
    CryptoBlockCipherSeed(const CryptoBlockCipherSeed& other);
    CryptoBlockCipherSeed& operator=(const CryptoBlockCipherSeed& other);

    /// Sets every word of the round keys to zero, whatever key there was. Returns true.
    bool Create() override;

    /// Does nothing: the round keys stay. Note: they stay in memory, too; call Create to erase them.
    void Destroy() override;

    /// Returns 16.
    unsigned long GetDataSizeUnit() override;

    /// Returns 16.
    unsigned long GetUserSecretKeySize() override;

    /// Makes the round keys from the 16 bytes at `key`. Returns true; for a null pointer false, with
    /// the round keys as they were.
    bool SetUserSecretKey(const unsigned char* key) override;

    /// Enciphers the `inputSize` bytes at `input`, filled up with zeros to a multiple of 16.
    ///
    /// Returns true, with `inputSize` rounded up to that multiple in `outputSize`. Returns false,
    /// with the other arguments untouched, when `input` is null or `inputSize` is 0. When there is no
    /// memory, as for sizes near the largest, it throws with `outputSize` 0 and the others untouched.
    ///
    /// Note: the result does not tell how many zeros were added: keep `processedSize`, to cut them
    /// off later. Note: without a key all round keys are zero, which is another cipher than that of
    /// a key of zeros, and no error.
    bool Encrypt(unsigned char* input, unsigned long inputSize, unsigned long& processedSize,
                 unsigned char*& output, unsigned long& outputSize) override;

    /// Deciphers the `inputSize` bytes at `input`.
    ///
    /// Returns true, with `inputSize` in `outputSize`; added zeros are not taken off. Returns false,
    /// with the other arguments untouched, when `input` is null, or `inputSize` is 0 or no multiple
    /// of 16. Throws as Encrypt does. Note: neither a wrong key nor a damaged text is noticed.
    bool Decrypt(unsigned char* input, unsigned long inputSize, unsigned long& processedSize,
                 unsigned char*& output, unsigned long& outputSize) override;

    virtual ~CryptoBlockCipherSeed();

private:
    unsigned int m_roundKeys[32];
};

/// The MD5 digest (RFC 1321), through the interface of a cipher and by functions of its own.
///
/// The functions keep all state in the caller's context or on the stack: any number of threads may
/// call them at once, each with a context of its own. A null pointer for a context or a digest is
/// the caller's error and not checked; neither may overlap the other or the data.
///
///     std::string text = Vorn::CryptoHashMd5::MD5String("abc"); // "900150983cd24fb0d6963f7d28e17f72"
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
        unsigned char bytes[16];
    };

    /// Makes an object that is ready: Create adds nothing. Copies are objects of their own.
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

    /// Gives the digest of the `inputSize` bytes at `input`: 16 bytes in `output`. Returns true. When
    /// there is no memory, throws with `processedSize` set already and the others untouched.
    ///
    /// Note: nothing is checked; an `inputSize` of 0 gives the digest of the empty message, whatever
    /// `input` is.
    bool Encrypt(unsigned char* input, unsigned long inputSize, unsigned long& processedSize,
                 unsigned char*& output, unsigned long& outputSize) override;

    /// Returns false and touches nothing: a digest cannot be reversed.
    bool Decrypt(unsigned char* input, unsigned long inputSize, unsigned long& processedSize,
                 unsigned char*& output, unsigned long& outputSize) override;

    virtual ~CryptoHashMd5();

    /// Begins a digest in the context, 88 bytes at any address.
    ///
    /// The context holds, lowest byte first, the four 32-bit chaining words, the number of bits so
    /// far as two 32-bit words, the low one first, and the 64 bytes of the block that is not full.
    static void MD5Init(char (*ctx)[88]);

    /// Adds the `length` bytes at `data`, which may be null when `length` is 0. Note: the digest
    /// counts bits modulo 2^64, as RFC 1321 does.
    static void MD5Update(char (*ctx)[88], const void* data, unsigned long length);

    /// Ends the digest of all that was added and stores it in `*digest`. Begin with MD5Init again
    /// before the next use of the context.
    ///
    /// Note: of the context only the first 8 bytes are cleared; the other half of the digest and the
    /// end of the message stay in it. Whoever must not leave them behind clears all of it.
    static void MD5Final(MD5Digest_struct* digest, char (*ctx)[88]);

    /// Stores the digest of the `length` bytes at `data`, which may be null when `length` is 0, in
    /// `*digest`.
    static void MD5Sum(const void* data, unsigned long length, MD5Digest_struct* digest);

    /// Returns the digest of the bytes of `text`, zeros among them included, as MD5DigestToBase16
    /// writes it.
    static std::string MD5String(const std::string& text);

    /// Returns the digest as 32 lower-case hexadecimal digits.
    static std::string MD5DigestToBase16(const MD5Digest_struct& digest);
};

} // namespace Vorn

#pragma GCC diagnostic pop

extern "C" {

/// Makes the 32 round-key words of SEED at `roundKeys` from the 16 bytes at `key`: words 2i and
/// 2i + 1 are those of round i + 1. The bytes are read as CryptoBlockCipherSeed says. The null
/// pointer is the caller's error, here and below; neither address needs an alignment beyond that of
/// its type. May run on several threads at once.
VORN_BASES_API void SeedRoundKey(unsigned int* roundKeys, const unsigned char* key);

/// Enciphers the 16 bytes at `block` in place, with the 32 words at `roundKeys`.
VORN_BASES_API void SeedEncrypt(unsigned char* block, const unsigned int* roundKeys);

/// Deciphers the 16 bytes at `block` in place, with the same round keys.
VORN_BASES_API void SeedDecrypt(unsigned char* block, const unsigned int* roundKeys);

/// The same three under names that no other library has.
VORN_BASES_API void VornSeedRoundKey(unsigned int* roundKeys, const unsigned char* key);
VORN_BASES_API void VornSeedEncrypt(unsigned char* block, const unsigned int* roundKeys);
VORN_BASES_API void VornSeedDecrypt(unsigned char* block, const unsigned int* roundKeys);

} // extern "C"

#endif
