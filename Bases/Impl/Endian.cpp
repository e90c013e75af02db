// SPDX-License-Identifier: MIT
// The machine's byte order, and conversions from and to it.

#include <Bases/Utility.h>

#include <cstring>

namespace Vorn::Endian {

namespace {

// Looks at memory itself instead of relying on a compiler's macro.
unsigned char FirstByteOfOne() {
    const unsigned long long one = 1;
    unsigned char first = 0;
    std::memcpy(&first, &one, 1);
    return first;
}

unsigned short BigEndian16(unsigned short value) {
    return IsLittleEndian() != 0 ? Swap16(value) : value; // GCOVR_EXCL_BR_LINE endian
}
unsigned short LittleEndian16(unsigned short value) {
    return IsBigEndian() != 0 ? Swap16(value) : value; // GCOVR_EXCL_BR_LINE endian
}
unsigned long BigEndian32(unsigned long value) {
    return IsLittleEndian() != 0 ? Swap32(value) : value; // GCOVR_EXCL_BR_LINE endian
}
unsigned long LittleEndian32(unsigned long value) {
    return IsBigEndian() != 0 ? Swap32(value) : value; // GCOVR_EXCL_BR_LINE endian
}
unsigned long long BigEndian64(unsigned long long value) {
    return IsLittleEndian() != 0 ? Swap64(value) : value; // GCOVR_EXCL_BR_LINE endian
}
unsigned long long LittleEndian64(unsigned long long value) {
    return IsBigEndian() != 0 ? Swap64(value) : value; // GCOVR_EXCL_BR_LINE endian
}

} // namespace

int IsLittleEndian() { return FirstByteOfOne() == 1 ? 1 : 0; } // GCOVR_EXCL_BR_LINE endian

int IsBigEndian() { return FirstByteOfOne() == 1 ? 0 : 1; }

unsigned short Swap16(unsigned short value) { return __builtin_bswap16(value); }

// Callers on little-endian machines rely on bits 32-63 being dropped.
unsigned long Swap32(unsigned long value) {
    return __builtin_bswap32(static_cast<unsigned int>(value));
}

unsigned long long Swap64(unsigned long long value) { return __builtin_bswap64(value); }

unsigned short tobe16(unsigned short value) { return BigEndian16(value); }
unsigned short betoh16(unsigned short value) { return BigEndian16(value); }
unsigned short hton16(unsigned short value) { return BigEndian16(value); }
unsigned short ntoh16(unsigned short value) { return BigEndian16(value); }
unsigned short tole16(unsigned short value) { return LittleEndian16(value); }
unsigned short letoh16(unsigned short value) { return LittleEndian16(value); }

unsigned long tobe32(unsigned long value) { return BigEndian32(value); }
unsigned long betoh32(unsigned long value) { return BigEndian32(value); }
unsigned long hton32(unsigned long value) { return BigEndian32(value); }
unsigned long ntoh32(unsigned long value) { return BigEndian32(value); }
unsigned long tole32(unsigned long value) { return LittleEndian32(value); }
unsigned long letoh32(unsigned long value) { return LittleEndian32(value); }

unsigned long long tobe64(unsigned long long value) { return BigEndian64(value); }
unsigned long long betoh64(unsigned long long value) { return BigEndian64(value); }
unsigned long long hton64(unsigned long long value) { return BigEndian64(value); }
unsigned long long ntoh64(unsigned long long value) { return BigEndian64(value); }
unsigned long long tole64(unsigned long long value) { return LittleEndian64(value); }
unsigned long long letoh64(unsigned long long value) { return LittleEndian64(value); }

} // namespace Vorn::Endian
