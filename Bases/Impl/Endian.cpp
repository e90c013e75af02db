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

template <typename Value>
Value SwapIf(int hasOtherOrder, Value value, Value (*swap)(Value)) {
    return hasOtherOrder != 0 ? swap(value) : value;
}

unsigned short BigEndian16(unsigned short value) { return SwapIf(IsLittleEndian(), value, Swap16); }
unsigned short LittleEndian16(unsigned short value) { return SwapIf(IsBigEndian(), value, Swap16); }
unsigned long BigEndian32(unsigned long value) { return SwapIf(IsLittleEndian(), value, Swap32); }
unsigned long LittleEndian32(unsigned long value) { return SwapIf(IsBigEndian(), value, Swap32); }
unsigned long long BigEndian64(unsigned long long value) {
    return SwapIf(IsLittleEndian(), value, Swap64);
}
unsigned long long LittleEndian64(unsigned long long value) {
    return SwapIf(IsBigEndian(), value, Swap64);
}

} // namespace

int IsLittleEndian() { return FirstByteOfOne(); }

int IsBigEndian() { return 1 - FirstByteOfOne(); }

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
