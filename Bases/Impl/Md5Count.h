// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_MD5_COUNT_H
#define VORN_BASES_IMPL_MD5_COUNT_H

// The number of bits in an MD5 context.

namespace Vorn {

/// Adds the bits of `length` bytes to the count, modulo 2^64. A separate function so that tests can
/// pass lengths for which no memory would suffice.
void CountMd5Bits(char (&context)[88], unsigned long length);

} // namespace Vorn

#endif
