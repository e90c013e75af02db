#include <Bases/Text.h>

#include <array>
#include <cstddef>
#include <cstring>

#include <Bases/Impl/Assert.h>

namespace Vorn {

namespace {

constexpr int Invalid = -2;
constexpr int Skip = -1;

// What the low seven bits of a character stand for.
constexpr std::array<int, 128> DecodeTable(const char* alphabet) {
    std::array<int, 128> table{};
    table.fill(Invalid);
    for (int i = 0; i < 64; ++i)
        table[static_cast<unsigned char>(alphabet[i])] = i;
    table['='] = Skip;
    return table;
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

    out.clear();
    out.reserve((len + 2) / 3 * 4);
    unsigned long pos = 0;
    int waiting = 0;
    unsigned long acc = 0;
    int read = 0;
    unsigned int value = ReadBits(6, &read, pData, len, pos, waiting, acc);
    while (read > 0) {
        out += s_szBase64Alphabet[value];
        value = ReadBits(6, &read, pData, len, pos, waiting, acc);
    }
    while (out.size() % 4 != 0)
        out += '=';
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

    static constexpr std::array<int, 128> Table = DecodeTable(s_szBase64Alphabet);
    std::memset(pDecData, 0, n + 1);
    unsigned long pos = 0;
    int waiting = 0;
    unsigned long acc = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const int value = Table[static_cast<unsigned char>(pszEnc[i]) & 127U];
        if (value < Skip)
            return 0;
        if (value != Skip)
            WriteBits(static_cast<unsigned int>(value), 6, pDecData, pos, waiting, acc);
    }
    return pos;
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
