#ifndef VORN_BASES_IMPL_MD5_COUNT_H
#define VORN_BASES_IMPL_MD5_COUNT_H

namespace Vorn {

/// Adds the bits of `length` bytes to the count in an MD5 context, modulo 2^64. A step of its own,
/// so that lengths can be tried that no test has the memory for.
void CountMd5Bits(char (&context)[88], unsigned long length);

} // namespace Vorn

#endif
