// SPDX-License-Identifier: MIT
// Concerns: lengths whose number of bits does not fit into 32 bits, in one update or in many.
// Md5Test sees to the count itself in every build.
#include <Bases/Crypto.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>

#include <sys/mman.h>

#include <gtest/gtest.h>

namespace {

using Vorn::CryptoHashMd5;
using Digest = CryptoHashMd5::MD5Digest_struct;

// The bytes 0 to 250 again and again. The digest was computed with another library.
TEST(Md5Large, TakesAGibibyteInOddPieces) {
    constexpr std::size_t Period = 251;
    constexpr std::size_t Pieces[] = {1, 1000003, 63, 64, 524287, 65, 0, 777777};
    std::string pattern;
    while (pattern.size() < Period + 1000003)
        pattern += static_cast<char>(pattern.size() % Period);

    char context[88];
    CryptoHashMd5::MD5Init(&context);
    std::size_t left = std::size_t{1} << 30;
    for (std::size_t i = 0, at = 0; left > 0; ++i) {
        const std::size_t length = std::min(left, Pieces[i % std::size(Pieces)]);
        CryptoHashMd5::MD5Update(&context, pattern.data() + at, length);
        at = (at + length) % Period;
        left -= length;
    }
    Digest digest;
    CryptoHashMd5::MD5Final(&digest, &context);
    EXPECT_EQ("1976e2c56303699ce5179193577352f1", CryptoHashMd5::MD5DigestToBase16(digest));
}

// Zeros that take no memory: 2^29 bytes, whose number of bits leaves nothing in the low word, and
// some more. The digest is what head -c 536870983 /dev/zero | md5sum prints.
TEST(Md5Large, TakesHalfAGibibyteAtOnce) {
    constexpr std::size_t Length = std::size_t{1} << 29;
    void* const zeros =
        mmap(nullptr, Length, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(MAP_FAILED, zeros);
    char context[88];
    CryptoHashMd5::MD5Init(&context);
    CryptoHashMd5::MD5Update(&context, zeros, Length);
    CryptoHashMd5::MD5Update(&context, zeros, 71);
    EXPECT_EQ(0, munmap(zeros, Length));
    Digest digest;
    CryptoHashMd5::MD5Final(&digest, &context);
    EXPECT_EQ("927bfcb5045196306f649a38229385a7", CryptoHashMd5::MD5DigestToBase16(digest));
}

} // namespace
