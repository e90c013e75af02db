// The SEED block cipher of RFC 4269.

#include <Bases/Crypto.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace Vorn {

namespace {

using Word = std::uint32_t;
using Bytes = std::array<unsigned char, 256>;
using Words = std::array<Word, 256>;

constexpr unsigned long BlockSize = CryptoSize::SeedBlock;

// x times y in the field of 256 elements with the polynomial x^8 + x^6 + x^5 + x + 1.
constexpr unsigned Product(unsigned x, unsigned y) {
    unsigned product = 0;
    for (; y != 0; y >>= 1) {
        product ^= (y & 1) != 0 ? x : 0;
        x = x << 1 ^ ((x & 0x80) != 0 ? 0x163 : 0);
    }
    return product;
}

constexpr unsigned Power(unsigned x, unsigned exponent) {
    unsigned power = 1;
    for (; exponent != 0; exponent >>= 1) {
        if ((exponent & 1) != 0)
            power = Product(power, x);
        x = Product(x, x);
    }
    return power;
}

// A matrix of 8 rows of bits, the highest one first, times the bits of x.
constexpr unsigned Transformed(const std::array<unsigned char, 8>& rows, unsigned x) {
    unsigned result = 0;
    for (const unsigned char row : rows)
        result = result << 1 | (static_cast<unsigned>(std::popcount(row & x)) & 1);
    return result;
}

constexpr Bytes SBox(const std::array<unsigned char, 8>& rows, unsigned exponent,
                     unsigned constant) {
    Bytes box{};
    for (unsigned x = 0; x < box.size(); ++x)
        box[x] = static_cast<unsigned char>(Transformed(rows, Power(x, exponent)) ^ constant);
    return box;
}

constexpr Bytes S1 = SBox({0b10001010, 0b11111110, 0b10000101, 0b01000010, 0b01000101, 0b00100001,
                           0b10001000, 0b00010100},
                          247, 169);
constexpr Bytes S2 = SBox({0b01000101, 0b10000101, 0b11111110, 0b00100001, 0b10001010, 0b10001000,
                           0b01000010, 0b00010100},
                          251, 56);

// A box spread to words: of each entry every byte of a word keeps the bits that `mask` has there.
constexpr Words Extended(const Bytes& box, Word mask) {
    Words words{};
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = box[i] * Word{0x01010101} & mask;
    return words;
}

constexpr Words SS0 = Extended(S1, 0x3FCFF3FC);
constexpr Words SS1 = Extended(S2, 0xFC3FCFF3);
constexpr Words SS2 = Extended(S1, 0xF3FC3FCF);
constexpr Words SS3 = Extended(S2, 0xCFF3FC3F);

static_assert(SS0[0] == 0x2989A1A8 && SS0[1] == 0x05858184 && SS0[2] == 0x16C6D2D4);
static_assert(SS1[0] == 0x38380830 && SS2[0] == 0xA1A82989 && SS3[0] == 0x08303838);

// Words have their lowest byte first on every host, so that data can be enciphered on one and
// deciphered on another. RFC 4269 has the highest byte first; see
// SeedStandard.MatchesThePublishedVectorsWithTheBytesOfEachWordReversed.
Word Load(const unsigned char* bytes) {
    return Word{bytes[0]} | Word{bytes[1]} << 8 | Word{bytes[2]} << 16 | Word{bytes[3]} << 24;
}

void Store(unsigned char* bytes, Word word) {
    bytes[0] = static_cast<unsigned char>(word);
    bytes[1] = static_cast<unsigned char>(word >> 8);
    bytes[2] = static_cast<unsigned char>(word >> 16);
    bytes[3] = static_cast<unsigned char>(word >> 24);
}

inline Word G(Word x) {
    return SS0[x & 0xFF] ^ SS1[x >> 8 & 0xFF] ^ SS2[x >> 16 & 0xFF] ^ SS3[x >> 24];
}

// Half a block.
struct Half {
    Word first, second;
};

inline void Round(Half& changed, const Half& other, const unsigned int* key) {
    Word c = other.first ^ key[0];
    Word d = G(c ^ other.second ^ key[1]);
    c = G(c + d);
    d = G(d + c);
    changed.first ^= c + d;
    changed.second ^= d;
}

// All sixteen rounds, with the round keys from `key` on, each `Step` words from the one before.
template <std::ptrdiff_t Step>
inline void Rounds(unsigned char* block, const unsigned int* key) {
    Half left{Load(block), Load(block + 4)};
    Half right{Load(block + 8), Load(block + 12)};
    Round(left, right, key);
    Round(right, left, key + 1 * Step);
    Round(left, right, key + 2 * Step);
    Round(right, left, key + 3 * Step);
    Round(left, right, key + 4 * Step);
    Round(right, left, key + 5 * Step);
    Round(left, right, key + 6 * Step);
    Round(right, left, key + 7 * Step);
    Round(left, right, key + 8 * Step);
    Round(right, left, key + 9 * Step);
    Round(left, right, key + 10 * Step);
    Round(right, left, key + 11 * Step);
    Round(left, right, key + 12 * Step);
    Round(right, left, key + 13 * Step);
    Round(left, right, key + 14 * Step);
    Round(right, left, key + 15 * Step);
    Store(block, right.first);
    Store(block + 4, right.second);
    Store(block + 8, left.first);
    Store(block + 12, left.second);
}

// Turns eight bytes, the first word's and then the second's, to the right by one byte.
inline void TurnRight(Half& half) {
    const Word first = half.first;
    half.first = first >> 8 | half.second << 24;
    half.second = half.second >> 8 | first << 24;
}

inline void TurnLeft(Half& half) {
    const Word first = half.first;
    half.first = first << 8 | half.second >> 24;
    half.second = half.second << 8 | first >> 24;
}

// The largest size of all stands for what is larger still: the allocator refuses it.
unsigned long Padded(unsigned long size) {
    constexpr unsigned long Largest = std::numeric_limits<unsigned long>::max();
    const unsigned long missing = (BlockSize - size % BlockSize) % BlockSize;
    return size > Largest - missing ? Largest : size + missing;
}

} // namespace

CryptoBlockCipherSeed::CryptoBlockCipherSeed() : m_roundKeys{} {}

CryptoBlockCipherSeed::CryptoBlockCipherSeed(const CryptoBlockCipherSeed& other) = default;

CryptoBlockCipherSeed&
CryptoBlockCipherSeed::operator=(const CryptoBlockCipherSeed& other) = default;

CryptoBlockCipherSeed::~CryptoBlockCipherSeed() = default;

bool CryptoBlockCipherSeed::Create() {
    std::fill(std::begin(m_roundKeys), std::end(m_roundKeys), 0U);
    return true;
}

void CryptoBlockCipherSeed::Destroy() {}

unsigned long CryptoBlockCipherSeed::GetDataSizeUnit() { return BlockSize; }

unsigned long CryptoBlockCipherSeed::GetUserSecretKeySize() { return CryptoSize::SeedKey; }

bool CryptoBlockCipherSeed::SetUserSecretKey(const unsigned char* key) {
    if (key == nullptr)
        return false;
    VornSeedRoundKey(m_roundKeys, key);
    return true;
}

bool CryptoBlockCipherSeed::Encrypt(unsigned char* input, unsigned long inputSize,
                                    unsigned long& processedSize, unsigned char*& output,
                                    unsigned long& outputSize) {
    if (input == nullptr || inputSize == 0)
        return false;
    outputSize = 0; // also where the allocator throws
    const unsigned long size = Padded(inputSize);
    output = new unsigned char[size];
    for (unsigned long done = 0; done < inputSize; done += BlockSize) {
        unsigned char* const block = output + done;
        const unsigned long count = std::min(inputSize - done, BlockSize);
        std::fill(std::copy_n(input + done, count, block), block + BlockSize, 0);
        VornSeedEncrypt(block, m_roundKeys);
    }
    outputSize = size;
    processedSize = inputSize;
    return true;
}

bool CryptoBlockCipherSeed::Decrypt(unsigned char* input, unsigned long inputSize,
                                    unsigned long& processedSize, unsigned char*& output,
                                    unsigned long& outputSize) {
    if (input == nullptr || inputSize == 0 || inputSize % BlockSize != 0)
        return false;
    outputSize = 0; // also where the allocator throws
    output = new unsigned char[inputSize];
    std::copy_n(input, inputSize, output);
    for (unsigned long done = 0; done < inputSize; done += BlockSize)
        VornSeedDecrypt(output + done, m_roundKeys);
    outputSize = inputSize;
    processedSize = inputSize;
    return true;
}

} // namespace Vorn

// The words of both halves of the key are turned in turns: those of the left half after each odd
// round, those of the right half after each even one.
void SeedRoundKey(unsigned int* roundKeys, const unsigned char* key) {
    using namespace Vorn;
    constexpr int RoundCount = 16;
    constexpr Word Golden = 0x9E3779B9; // 2^32 divided by the golden ratio
    Half left{Load(key), Load(key + 4)};
    Half right{Load(key + 8), Load(key + 12)};
    for (int round = 0; round < RoundCount; ++round) {
        const Word constant = std::rotl(Golden, round);
        *roundKeys++ = G(left.first + right.first - constant);
        *roundKeys++ = G(left.second - right.second + constant);
        if (round % 2 == 0)
            TurnRight(left);
        else
            TurnLeft(right);
    }
}

void SeedEncrypt(unsigned char* block, const unsigned int* roundKeys) {
    Vorn::Rounds<2>(block, roundKeys);
}

void SeedDecrypt(unsigned char* block, const unsigned int* roundKeys) {
    Vorn::Rounds<-2>(block, roundKeys + 30);
}

void VornSeedRoundKey(unsigned int* roundKeys, const unsigned char* key) {
    SeedRoundKey(roundKeys, key);
}

void VornSeedEncrypt(unsigned char* block, const unsigned int* roundKeys) {
    SeedEncrypt(block, roundKeys);
}

void VornSeedDecrypt(unsigned char* block, const unsigned int* roundKeys) {
    SeedDecrypt(block, roundKeys);
}
