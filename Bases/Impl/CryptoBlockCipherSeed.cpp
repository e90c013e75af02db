// SPDX-License-Identifier: MIT
// The SEED block cipher (RFC 4269): its tables, the key schedule, the rounds, and the class.

#include <Bases/Crypto.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include <Bases/Impl/Route/SeedField.h>
#include <Bases/Impl/Route/SeedKernel.h>

namespace Vorn {

namespace {

using Word = std::uint32_t;
using Words = std::array<Word, 256>;

constexpr unsigned long BlockSize = CryptoSize::SeedBlock;

// The extended S-box: each entry repeated in all four bytes of a word, masked.
constexpr Words Extended(const SeedField::Bytes& box, Word mask) {
    Words words{};
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = box[i] * Word{0x01010101} & mask;
    return words;
}

constexpr Words SS0 = Extended(SeedField::S1, 0x3FCFF3FC);
constexpr Words SS1 = Extended(SeedField::S2, 0xFC3FCFF3);
constexpr Words SS2 = Extended(SeedField::S1, 0xF3FC3FCF);
constexpr Words SS3 = Extended(SeedField::S2, 0xCFF3FC3F);

static_assert(SS0[0] == 0x2989A1A8 && SS0[1] == 0x05858184 && SS0[2] == 0x16C6D2D4);
static_assert(SS1[0] == 0x38380830 && SS2[0] == 0xA1A82989 && SS3[0] == 0x08303838);

// Words are little-endian on every host, so that one host can decipher what another enciphered. RFC
// 4269 has them big-endian; see
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

struct Block {
    Half left, right;

    explicit Block(const unsigned char* bytes)
        : left{Load(bytes), Load(bytes + 4)}, right{Load(bytes + 8), Load(bytes + 12)} {}

    // The halves are swapped once more at the end.
    void StoreTo(unsigned char* bytes) const {
        Store(bytes, right.first);
        Store(bytes + 4, right.second);
        Store(bytes + 8, left.first);
        Store(bytes + 12, left.second);
    }
};

inline void Round(Half& changed, const Half& other, const Word* key) {
    Word c = other.first ^ key[0];
    Word d = G(c ^ other.second ^ key[1]);
    c = G(c + d);
    d = G(d + c);
    changed.first ^= c + d;
    changed.second ^= d;
}

// Runs several blocks through the sixteen rounds together: a block is one long chain of dependent
// steps, so the processor works on the others while it waits for the tables of the first.
template <std::size_t... I>
inline void CipherTogether(unsigned char* bytes, SeedKeys keys, std::index_sequence<I...>) {
    Block blocks[] = {Block(bytes + I * BlockSize)...};
    for (std::ptrdiff_t round = 0; round < SeedRoundCount; round += 2) {
        (Round(blocks[I].left, blocks[I].right, keys.key + round * keys.step), ...);
        (Round(blocks[I].right, blocks[I].left, keys.key + (round + 1) * keys.step), ...);
    }
    (blocks[I].StoreTo(bytes + I * BlockSize), ...);
}

void CipherFourBlocks(unsigned char* bytes, SeedKeys keys) {
    CipherTogether(bytes, keys, std::make_index_sequence<4>());
}

void CipherBlock(unsigned char* bytes, SeedKeys keys) {
    CipherTogether(bytes, keys, std::make_index_sequence<1>());
}

// Runs whole blocks through the rounds in place, with a kernel where there is one.
void CipherBlocks(unsigned char* bytes, unsigned long size, SeedKeys keys) {
    const unsigned char* const end = bytes + size;
    if (const SeedKernel kernel = FindSeedKernel(CurrentRoute()))
        bytes += kernel(bytes, size / BlockSize, keys) * BlockSize;
    for (; end - bytes >= static_cast<std::ptrdiff_t>(4 * BlockSize); bytes += 4 * BlockSize)
        CipherFourBlocks(bytes, keys);
    for (; bytes != end; bytes += BlockSize)
        CipherBlock(bytes, keys);
}

SeedKeys EncryptionKeys(const Word* roundKeys) { return {roundKeys, 2}; }

SeedKeys DecryptionKeys(const Word* roundKeys) { return {roundKeys + 30, -2}; }

// Rotates the eight bytes of a key half, the first word above the second, right by one byte.
inline void RotateRight(Half& half) {
    const Word first = half.first;
    half.first = first >> 8 | half.second << 24;
    half.second = half.second >> 8 | first << 24;
}

inline void RotateLeft(Half& half) {
    const Word first = half.first;
    half.first = first << 8 | half.second >> 24;
    half.second = half.second << 8 | first >> 24;
}

// Rounds up to whole blocks. What would wrap becomes the largest size, which the allocator refuses.
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
    std::fill(std::copy_n(input, inputSize, output), output + size, 0);
    CipherBlocks(output, size, EncryptionKeys(m_roundKeys));
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
    CipherBlocks(output, inputSize, DecryptionKeys(m_roundKeys));
    outputSize = inputSize;
    processedSize = inputSize;
    return true;
}

} // namespace Vorn

// The key halves rotate alternately: the left one right by a byte after odd rounds, the right one
// left by a byte after even ones.
void SeedRoundKey(unsigned int* roundKeys, const unsigned char* key) {
    using namespace Vorn;
    constexpr Word Golden = 0x9E3779B9; // 2^32 divided by the golden ratio
    Half left{Load(key), Load(key + 4)};
    Half right{Load(key + 8), Load(key + 12)};
    for (int round = 0; round < SeedRoundCount; ++round) {
        const Word constant = std::rotl(Golden, round);
        *roundKeys++ = G(left.first + right.first - constant);
        *roundKeys++ = G(left.second - right.second + constant);
        if (round % 2 == 0)
            RotateRight(left);
        else
            RotateLeft(right);
    }
}

void SeedEncrypt(unsigned char* block, const unsigned int* roundKeys) {
    Vorn::CipherBlock(block, Vorn::EncryptionKeys(roundKeys));
}

void SeedDecrypt(unsigned char* block, const unsigned int* roundKeys) {
    Vorn::CipherBlock(block, Vorn::DecryptionKeys(roundKeys));
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
