// SPDX-License-Identifier: MIT
// Base64: encoding, decoding, and the bit reader and writer.

#include <Bases/Text.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>

#include <Bases/Impl/Assert.h>
#include <Bases/Impl/Route/Base64Kernel.h>
#include <Bases/Impl/WriteText.h>

namespace Vorn {

namespace {

// The two characters of each value of twelve bits.
using CharacterPairs = std::array<std::array<char, 2>, 4096>;

constexpr CharacterPairs PairTable() {
    CharacterPairs pairs{};
    for (unsigned value = 0; value < pairs.size(); ++value)
        pairs[value] = {Base64Alphabet[value >> 6], Base64Alphabet[value & 63U]};
    return pairs;
}

constexpr CharacterPairs Pairs = PairTable();

// The table entries of characters without a value: "=" is skipped, all others are invalid.
constexpr std::uint32_t Skip = 0x40000000;
constexpr std::uint32_t Invalid = 0x80000000;

// The value of each character, whatever its high bit, shifted to its position in the 24 bits of a
// group of four.
using GroupValues = std::array<std::uint32_t, 256>;

constexpr GroupValues ValueTable(unsigned shift) {
    GroupValues values{};
    values.fill(Invalid);
    for (unsigned value = 0; value < 64; ++value)
        values[static_cast<unsigned char>(Base64Alphabet[value])] = value << shift;
    values['='] = Skip;
    for (unsigned i = 0; i < 128; ++i)
        values[i + 128] = values[i];
    return values;
}

constexpr GroupValues FirstValues = ValueTable(18);
constexpr GroupValues SecondValues = ValueTable(12);
constexpr GroupValues ThirdValues = ValueTable(6);
constexpr GroupValues Values = ValueTable(0);

void WritePair(char* text, std::uint64_t value) {
    std::memcpy(text, Pairs[value].data(), Pairs[value].size());
}

void EncodeGroup(const unsigned char* bytes, char* text) {
    const unsigned group = static_cast<unsigned>(bytes[0] << 16 | bytes[1] << 8 | bytes[2]);
    WritePair(text, group >> 12);
    WritePair(text + 2, group & 0xFFFU);
}

// Encodes six bytes; reads eight.
void EncodeTwoGroups(const unsigned char* bytes, char* text) {
    std::uint64_t groups = 0;
    for (int i = 0; i < 8; ++i)
        groups = groups << 8 | bytes[i];
    WritePair(text, groups >> 52);
    WritePair(text + 2, groups >> 40 & 0xFFFU);
    WritePair(text + 4, groups >> 28 & 0xFFFU);
    WritePair(text + 6, groups >> 16 & 0xFFFU);
}

// Encodes the last one or two bytes; zero bits fill the last character.
void EncodeRest(const unsigned char* bytes, std::size_t size, char* text) {
    const bool isOne = size == 1;
    const unsigned char group[] = {bytes[0], isOne ? std::uint8_t{0} : bytes[1], 0};
    EncodeGroup(group, text);
    if (isOne)
        text[2] = '=';
    text[3] = '=';
}

void EncodeBytes(const unsigned char* bytes, std::size_t size, char* text) {
    std::size_t done = 0;
    if (const Base64EncodeKernel kernel = FindBase64Kernels(CurrentRoute()).encode) {
        done = kernel(bytes, size, text);
        text += done / 3 * 4;
    }
    for (; size - done >= 8; done += 6, text += 8)
        EncodeTwoGroups(bytes + done, text);
    for (; size - done >= 3; done += 3, text += 4)
        EncodeGroup(bytes + done, text);
    if (done != size)
        EncodeRest(bytes + done, size - done, text);
}

// Decodes a text from front to back. While no bits are waiting, it decodes whole groups, with a
// kernel and then four characters at a time; otherwise single characters until none are waiting.
class Decoder {
public:
    Decoder(const char* text, std::size_t length, unsigned char* bytes, Base64DecodeKernel kernel)
        : m_pText(text), m_pEnd(text + length), m_pBytes(bytes), m_pBegin(bytes),
          m_pKernel(kernel) {}

    /// Returns false at a character that is neither in the alphabet nor "=".
    bool Run() {
        while (m_pText != m_pEnd) {
            if (m_nWaiting == 0)
                TakeGroups();
            if (m_pText != m_pEnd && !TakeCharacter())
                return false;
        }
        return true;
    }

    std::size_t Written() const { return static_cast<std::size_t>(m_pBytes - m_pBegin); }

private:
    void TakeGroups() {
        if (m_pKernel != nullptr) {
            const std::size_t taken =
                m_pKernel(m_pText, static_cast<std::size_t>(m_pEnd - m_pText), m_pBytes);
            m_pText += taken;
            m_pBytes += taken / 4 * 3;
        }
        while (m_pEnd - m_pText >= 4 && TakeGroup()) {
        }
    }

    bool TakeGroup() {
        const auto* const text = reinterpret_cast<const unsigned char*>(m_pText);
        const std::uint32_t group =
            FirstValues[text[0]] | SecondValues[text[1]] | ThirdValues[text[2]] | Values[text[3]];
        if (group >= Skip)
            return false;
        m_pBytes[0] = static_cast<unsigned char>(group >> 16);
        m_pBytes[1] = static_cast<unsigned char>(group >> 8);
        m_pBytes[2] = static_cast<unsigned char>(group);
        m_pText += 4;
        m_pBytes += 3;
        return true;
    }

    bool TakeCharacter() {
        const std::uint32_t value = Values[static_cast<unsigned char>(*m_pText)];
        if (value == Invalid)
            return false;
        ++m_pText;
        if (value == Skip)
            return true;
        m_nBits = m_nBits << 6 | value;
        m_nWaiting += 6;
        if (m_nWaiting >= 8) {
            m_nWaiting -= 8;
            *m_pBytes++ = static_cast<unsigned char>(m_nBits >> m_nWaiting);
        }
        return true;
    }

    const char* m_pText;
    const char* m_pEnd;
    unsigned char* m_pBytes;
    unsigned char* m_pBegin;
    Base64DecodeKernel m_pKernel; // may be null
    std::uint32_t m_nBits = 0;
    unsigned m_nWaiting = 0; // bits in m_nBits that do not fill a byte yet
};

bool Overlap(const char* a, const char* b, std::size_t size) {
    const std::less<> less;
    return less(a, b + size) && less(b, a + size);
}

} // namespace

constexpr char Base64::s_szBase64Alphabet[128] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr unsigned long Base64::s_nMask[9] = {0, 1, 3, 7, 15, 31, 63, 127, 255};

Base64::Base64() = default;

Base64::~Base64() = default;

Base64::Base64(const Base64& /*other*/) = default;

Base64& Base64::operator=(const Base64& /*other*/) = default;

int Base64::Encode(const char* pData, unsigned long len, std::string& out) {
    VORN_ASSERT(pData != NULL);
    if (pData == nullptr)
        return 0;

    const auto* const bytes = reinterpret_cast<const unsigned char*>(pData);
    out.clear();
    const std::size_t length = (len + 2) / 3 * 4;
    WriteText(out, length, [=](char* text) {
        EncodeBytes(bytes, len, text);
        return length;
    });
    return 1;
}

unsigned long Base64::Decode(const char* pszEnc, char* pDecData) {
    VORN_ASSERT(pszEnc != NULL);
    VORN_ASSERT(pDecData != NULL);
    if (pszEnc == nullptr || pDecData == nullptr)
        return 0;
    const std::size_t n = std::strlen(pszEnc);
    if (n == 0)
        return 0;

    // Callers rely on a buffer that is cleared before decoding begins, which shows if the text
    // overlaps it; then no kernel decodes, since it may write beyond its result. Otherwise clearing
    // what decoding has not filled is enough.
    auto* const bytes = reinterpret_cast<unsigned char*>(pDecData);
    const bool overlap = Overlap(pszEnc, pDecData, n + 1);
    if (overlap)
        std::memset(bytes, 0, n + 1);
    Decoder decoder(pszEnc, n, bytes, overlap ? nullptr : FindBase64Kernels(CurrentRoute()).decode);
    const bool valid = decoder.Run();
    const std::size_t written = decoder.Written();
    std::memset(bytes + written, 0, n + 1 - written);
    return valid ? written : 0;
}

unsigned int Base64::ReadBits(int nBits, int* pnRead, const char* pData, unsigned long len,
                              unsigned long& pos, int& nBitsWaiting, unsigned long& acc) {
    while (nBitsWaiting < nBits && pos < len) {
        acc = acc << 8 | static_cast<unsigned char>(pData[pos]);
        ++pos;
        nBitsWaiting += 8;
    }

    unsigned long value = 0;
    if (nBitsWaiting >= nBits) {
        value = acc >> (nBitsWaiting - nBits);
        *pnRead = nBits;
        nBitsWaiting -= nBits;
    } else {
        value = acc << (nBits - nBitsWaiting);
        *pnRead = nBitsWaiting;
        nBitsWaiting = 0;
    }
    return static_cast<unsigned int>(value & s_nMask[nBits]);
}

void Base64::WriteBits(unsigned int value, int nBits, char* pOut, unsigned long& pos,
                       int& nBitsWaiting, unsigned long& acc) {
    acc = acc << nBits | value;
    nBitsWaiting += nBits;
    while (nBitsWaiting >= 8) {
        pOut[pos] = static_cast<char>(acc >> (nBitsWaiting - 8));
        ++pos;
        nBitsWaiting -= 8;
    }
}

} // namespace Vorn
