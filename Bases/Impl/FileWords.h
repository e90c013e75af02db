#ifndef VORN_BASES_IMPL_FILEWORDS_H
#define VORN_BASES_IMPL_FILEWORDS_H

namespace Vorn {

// The bits of the words that FileIo::Open takes.
constexpr unsigned int AccessRead = 0x80000000;
constexpr unsigned int AccessWrite = 0x40000000;
constexpr unsigned int ShareReadWrite = 0x3;
constexpr unsigned int CreateExclusive = 0x1;
constexpr unsigned int CreateTruncating = 0x2;
constexpr unsigned int ExistingOnly = 0x4;

} // namespace Vorn

#endif
