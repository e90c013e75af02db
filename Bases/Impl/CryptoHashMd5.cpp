// SPDX-License-Identifier: MIT
// The MD5 digest (RFC 1321): the compression function, the context functions and the class.

#include <Bases/Impl/Md5Count.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <Bases/Crypto.h>

namespace Vorn {

namespace {

using Word = std::uint32_t;
using Context = char[CryptoSize::Md5Context];
using Digest = CryptoHashMd5::MD5Digest_struct;

static_assert(sizeof(Digest) == CryptoSize::Md5Digest && sizeof(CryptoHashMd5) == sizeof(void*));

// Offsets in a context: first the chaining words, then the number of bits, then the incomplete
// block.
constexpr std::size_t CountLow = 16;
constexpr std::size_t CountHigh = 20;
constexpr std::size_t Buffer = 24;

constexpr std::size_t BlockSize = 64;
constexpr std::size_t CountSize = 8;
static_assert(Buffer + BlockSize == sizeof(Context));

// Words are little-endian on every host, so that a context and a digest mean the same everywhere.
// Byte by byte, no address needs alignment; compilers merge the bytes into one load or store where
// the host allows that.
inline Word Load(const char* bytes) {
    const auto byte = [bytes](int i) { return Word{static_cast<unsigned char>(bytes[i])}; };
    return byte(0) | byte(1) << 8 | byte(2) << 16 | byte(3) << 24;
}

inline void Store(char* bytes, Word word) {
    bytes[0] = static_cast<char>(word);
    bytes[1] = static_cast<char>(word >> 8);
    bytes[2] = static_cast<char>(word >> 16);
    bytes[3] = static_cast<char>(word >> 24);
}

// The sixteen words of a block.
class Message {
public:
    explicit Message(const char* block) : m_pBlock(block) {}

    Word operator[](std::size_t i) const { return Load(m_pBlock + 4 * i); }

private:
    const char* m_pBlock;
};

struct Chain {
    Word a, b, c, d;
};

inline Chain LoadChain(const char* bytes) {
    return {Load(bytes), Load(bytes + 4), Load(bytes + 8), Load(bytes + 12)};
}

inline void StoreChain(char* bytes, const Chain& chain) {
    Store(bytes, chain.a);
    Store(bytes + 4, chain.b);
    Store(bytes + 8, chain.c);
    Store(bytes + 12, chain.d);
}

// One step of each of the four rounds. Every step depends on b, the result of the step before, so
// all terms without b are added first to shorten the chain.

inline void StepF(Word& a, Word b, Word c, Word d, Word message, int shift, Word constant) {
    a += message + constant;
    a += d ^ (b & (c ^ d)); // selects bits of c where b is 1, of d where it is 0
    a = std::rotl(a, shift) + b;
}

inline void StepG(Word& a, Word b, Word c, Word d, Word message, int shift, Word constant) {
    a += message + constant;
    a += ~d & c; // selects bits of b where d is 1, of c where it is 0; the two terms share
    a += d & b;  // no bit, so that adding both is the same as adding their union
    a = std::rotl(a, shift) + b;
}

inline void StepH(Word& a, Word b, Word c, Word d, Word message, int shift, Word constant) {
    a += message + constant;
    a += b ^ (c ^ d);
    a = std::rotl(a, shift) + b;
}

inline void StepI(Word& a, Word b, Word c, Word d, Word message, int shift, Word constant) {
    a += message + constant;
    a += c ^ (b | ~d);
    a = std::rotl(a, shift) + b;
}

inline void RoundF(Chain& chain, const Message& m) {
    auto& [a, b, c, d] = chain;
    StepF(a, b, c, d, m[0], 7, 0xD76AA478);
    StepF(d, a, b, c, m[1], 12, 0xE8C7B756);
    StepF(c, d, a, b, m[2], 17, 0x242070DB);
    StepF(b, c, d, a, m[3], 22, 0xC1BDCEEE);
    StepF(a, b, c, d, m[4], 7, 0xF57C0FAF);
    StepF(d, a, b, c, m[5], 12, 0x4787C62A);
    StepF(c, d, a, b, m[6], 17, 0xA8304613);
    StepF(b, c, d, a, m[7], 22, 0xFD469501);
    StepF(a, b, c, d, m[8], 7, 0x698098D8);
    StepF(d, a, b, c, m[9], 12, 0x8B44F7AF);
    StepF(c, d, a, b, m[10], 17, 0xFFFF5BB1);
    StepF(b, c, d, a, m[11], 22, 0x895CD7BE);
    StepF(a, b, c, d, m[12], 7, 0x6B901122);
    StepF(d, a, b, c, m[13], 12, 0xFD987193);
    StepF(c, d, a, b, m[14], 17, 0xA679438E);
    StepF(b, c, d, a, m[15], 22, 0x49B40821);
}

inline void RoundG(Chain& chain, const Message& m) {
    auto& [a, b, c, d] = chain;
    StepG(a, b, c, d, m[1], 5, 0xF61E2562);
    StepG(d, a, b, c, m[6], 9, 0xC040B340);
    StepG(c, d, a, b, m[11], 14, 0x265E5A51);
    StepG(b, c, d, a, m[0], 20, 0xE9B6C7AA);
    StepG(a, b, c, d, m[5], 5, 0xD62F105D);
    StepG(d, a, b, c, m[10], 9, 0x02441453);
    StepG(c, d, a, b, m[15], 14, 0xD8A1E681);
    StepG(b, c, d, a, m[4], 20, 0xE7D3FBC8);
    StepG(a, b, c, d, m[9], 5, 0x21E1CDE6);
    StepG(d, a, b, c, m[14], 9, 0xC33707D6);
    StepG(c, d, a, b, m[3], 14, 0xF4D50D87);
    StepG(b, c, d, a, m[8], 20, 0x455A14ED);
    StepG(a, b, c, d, m[13], 5, 0xA9E3E905);
    StepG(d, a, b, c, m[2], 9, 0xFCEFA3F8);
    StepG(c, d, a, b, m[7], 14, 0x676F02D9);
    StepG(b, c, d, a, m[12], 20, 0x8D2A4C8A);
}

inline void RoundH(Chain& chain, const Message& m) {
    auto& [a, b, c, d] = chain;
    StepH(a, b, c, d, m[5], 4, 0xFFFA3942);
    StepH(d, a, b, c, m[8], 11, 0x8771F681);
    StepH(c, d, a, b, m[11], 16, 0x6D9D6122);
    StepH(b, c, d, a, m[14], 23, 0xFDE5380C);
    StepH(a, b, c, d, m[1], 4, 0xA4BEEA44);
    StepH(d, a, b, c, m[4], 11, 0x4BDECFA9);
    StepH(c, d, a, b, m[7], 16, 0xF6BB4B60);
    StepH(b, c, d, a, m[10], 23, 0xBEBFBC70);
    StepH(a, b, c, d, m[13], 4, 0x289B7EC6);
    StepH(d, a, b, c, m[0], 11, 0xEAA127FA);
    StepH(c, d, a, b, m[3], 16, 0xD4EF3085);
    StepH(b, c, d, a, m[6], 23, 0x04881D05);
    StepH(a, b, c, d, m[9], 4, 0xD9D4D039);
    StepH(d, a, b, c, m[12], 11, 0xE6DB99E5);
    StepH(c, d, a, b, m[15], 16, 0x1FA27CF8);
    StepH(b, c, d, a, m[2], 23, 0xC4AC5665);
}

inline void RoundI(Chain& chain, const Message& m) {
    auto& [a, b, c, d] = chain;
    StepI(a, b, c, d, m[0], 6, 0xF4292244);
    StepI(d, a, b, c, m[7], 10, 0x432AFF97);
    StepI(c, d, a, b, m[14], 15, 0xAB9423A7);
    StepI(b, c, d, a, m[5], 21, 0xFC93A039);
    StepI(a, b, c, d, m[12], 6, 0x655B59C3);
    StepI(d, a, b, c, m[3], 10, 0x8F0CCC92);
    StepI(c, d, a, b, m[10], 15, 0xFFEFF47D);
    StepI(b, c, d, a, m[1], 21, 0x85845DD1);
    StepI(a, b, c, d, m[8], 6, 0x6FA87E4F);
    StepI(d, a, b, c, m[15], 10, 0xFE2CE6E0);
    StepI(c, d, a, b, m[6], 15, 0xA3014314);
    StepI(b, c, d, a, m[13], 21, 0x4E0811A1);
    StepI(a, b, c, d, m[4], 6, 0xF7537E82);
    StepI(d, a, b, c, m[11], 10, 0xBD3AF235);
    StepI(c, d, a, b, m[2], 15, 0x2AD7D2BB);
    StepI(b, c, d, a, m[9], 21, 0xEB86D391);
}

// Compresses `count` blocks into the chaining words at the beginning of the context.
void Compress(Context& context, const char* blocks, std::size_t count) {
    Chain chain = LoadChain(context);
    for (; count > 0; --count, blocks += BlockSize) {
        const Chain before = chain;
        const Message message(blocks);
        RoundF(chain, message);
        RoundG(chain, message);
        RoundH(chain, message);
        RoundI(chain, message);
        chain = {chain.a + before.a, chain.b + before.b, chain.c + before.c, chain.d + before.d};
    }
    StoreChain(context, chain);
}

// The number of bytes in the buffer.
std::size_t Buffered(const Context& context) { return Load(context + CountLow) / 8 % BlockSize; }

} // namespace

void CountMd5Bits(Context& context, unsigned long length) {
    const Word before = Load(context + CountLow);
    const Word low = before + static_cast<Word>(length << 3);
    const Word carry = low < before ? 1 : 0;
    Store(context + CountLow, low);
    Store(context + CountHigh, Load(context + CountHigh) + static_cast<Word>(length >> 29) + carry);
}

CryptoHashMd5::CryptoHashMd5() = default;

CryptoHashMd5::CryptoHashMd5(const CryptoHashMd5& other) = default;

CryptoHashMd5& CryptoHashMd5::operator=(const CryptoHashMd5& other) = default;

CryptoHashMd5::~CryptoHashMd5() = default;

bool CryptoHashMd5::Create() { return true; }

void CryptoHashMd5::Destroy() {}

unsigned long CryptoHashMd5::GetDataSizeUnit() { return 0; }

unsigned long CryptoHashMd5::GetUserSecretKeySize() { return 0; }

bool CryptoHashMd5::SetUserSecretKey(const unsigned char* /*key*/) { return true; }

bool CryptoHashMd5::Encrypt(unsigned char* input, unsigned long inputSize,
                            unsigned long& processedSize, unsigned char*& output,
                            unsigned long& outputSize) {
    Digest digest;
    MD5Sum(input, inputSize, &digest);
    processedSize = inputSize;
    output = new unsigned char[sizeof digest.bytes];
    std::memcpy(output, digest.bytes, sizeof digest.bytes);
    outputSize = sizeof digest.bytes;
    return true;
}

bool CryptoHashMd5::Decrypt(unsigned char* /*input*/, unsigned long /*inputSize*/,
                            unsigned long& /*processedSize*/, unsigned char*& /*output*/,
                            unsigned long& /*outputSize*/) {
    return false;
}

void CryptoHashMd5::MD5Init(char (*ctx)[88]) {
    StoreChain(*ctx, {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476});
    Store(*ctx + CountLow, 0);
    Store(*ctx + CountHigh, 0);
}

void CryptoHashMd5::MD5Update(char (*ctx)[88], const void* data, unsigned long length) {
    if (length == 0)
        return;
    const char* bytes = static_cast<const char*>(data);
    char* const buffer = *ctx + Buffer;
    const std::size_t buffered = Buffered(*ctx);
    CountMd5Bits(*ctx, length);

    if (buffered > 0) {
        const std::size_t missing = BlockSize - buffered;
        if (length < missing) {
            std::memcpy(buffer + buffered, bytes, length);
            return;
        }
        std::memcpy(buffer + buffered, bytes, missing);
        Compress(*ctx, buffer, 1);
        bytes += missing;
        length -= missing;
    }
    const std::size_t rest = length % BlockSize;
    Compress(*ctx, bytes, length / BlockSize);
    std::memcpy(buffer, bytes + (length - rest), rest);
}

void CryptoHashMd5::MD5Final(MD5Digest_struct* digest, char (*ctx)[88]) {
    char* const buffer = *ctx + Buffer;
    std::size_t filled = Buffered(*ctx);
    buffer[filled++] = '\x80';
    if (BlockSize - filled < CountSize) {
        std::memset(buffer + filled, 0, BlockSize - filled);
        Compress(*ctx, buffer, 1);
        filled = 0;
    }
    std::memset(buffer + filled, 0, BlockSize - CountSize - filled);
    std::memcpy(buffer + BlockSize - CountSize, *ctx + CountLow, CountSize);
    Compress(*ctx, buffer, 1);
    std::memcpy(digest->bytes, *ctx, sizeof digest->bytes);
    // Not the whole context: programs read the count and the last block from a finished one; see
    // Md5Final.ClearsOnlyTheFirstTwoChainingWords.
    std::memset(*ctx, 0, 8);
}

void CryptoHashMd5::MD5Sum(const void* data, unsigned long length, MD5Digest_struct* digest) {
    Context context;
    MD5Init(&context);
    MD5Update(&context, data, length);
    MD5Final(digest, &context);
}

std::string CryptoHashMd5::MD5String(const std::string& text) {
    Digest digest;
    MD5Sum(text.data(), text.size(), &digest);
    return MD5DigestToBase16(digest);
}

std::string CryptoHashMd5::MD5DigestToBase16(const MD5Digest_struct& digest) {
    constexpr char Digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * sizeof digest.bytes);
    for (const unsigned char byte : digest.bytes) {
        text += Digits[byte >> 4];
        text += Digits[byte & 15];
    }
    return text;
}

} // namespace Vorn
