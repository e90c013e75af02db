// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_RESERVE_H
#define VORN_BASES_IMPL_RESERVE_H

// The hidden reserve of a growing array: bytes behind its capacity that nothing reports. Callers
// rely on a capacity of exactly what they asked for. The reserve lets it rise byte by byte without
// a new array, and a copy of everything, each time.

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h> // whose macros do nothing without the sanitizer
#else
#define ASAN_POISON_MEMORY_REGION(begin, size) static_cast<void>(0)
#define ASAN_UNPOISON_MEMORY_REGION(begin, size) static_cast<void>(0)
#endif

namespace Vorn {

struct ReservedArray {
    std::unique_ptr<unsigned char[]> bytes; // null if memory ran out
    unsigned long reserve = 0;              // bytes behind those that were asked for
};

/// Makes an array of `length` bytes that begins with the `count` ones at `source`; does not write
/// the others. The reserve is half of what was copied, so that copying costs the same for each byte
/// of a long array, and nothing for a short one. The address sanitizer takes a look at the reserve
/// for one beyond the array, which it is.
inline ReservedArray NewArray(const unsigned char* source, unsigned long count,
                              unsigned long length) {
    constexpr unsigned long LongArray = 4096;
    ReservedArray array;
    const unsigned long reserve = count < LongArray ? 0 : count / 2;
    if (reserve != 0 && length <= std::numeric_limits<unsigned long>::max() - reserve) {
        array.bytes.reset(new (std::nothrow) unsigned char[length + reserve]);
        array.reserve = array.bytes != nullptr ? reserve : 0;
    }
    if (array.bytes == nullptr)
        array.bytes.reset(new (std::nothrow) unsigned char[length]);
    if (array.bytes == nullptr)
        return array;
    std::copy_n(source, count, array.bytes.get()); // GCOVR_EXCL_BR_LINE noexcept
    ASAN_POISON_MEMORY_REGION(array.bytes.get() + length, array.reserve);
    return array;
}

/// Lets an array with this capacity have `length` bytes, which are more, out of its reserve.
/// Returns false, with nothing changed, if the reserve is too small.
inline bool TakeReserve([[maybe_unused]] unsigned char* array, unsigned long capacity,
                        unsigned long length, unsigned long& reserve) {
    const unsigned long count = length - capacity;
    if (count > reserve)
        return false;
    ASAN_UNPOISON_MEMORY_REGION(array + capacity, count);
    reserve -= count;
    return true;
}

} // namespace Vorn

#endif
