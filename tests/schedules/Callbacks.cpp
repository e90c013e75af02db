// SPDX-License-Identifier: MIT
// What the compiler's thread-sanitizer instrumentation calls: for plain accesses, checks; for
// atomic operations, the operations themselves, before each of which threads take turns.
#include <cstring>

#include "schedules/Core.h"

namespace VornTest::Schedules {

namespace {

void Plain(const void* address, std::size_t size, Access access, const void* code) {
    if (!g_inside)
        return;
    const Outside outside;
    Touch(address, size, access, code);
}

bool Acquires(int order) { return order != __ATOMIC_RELAXED && order != __ATOMIC_RELEASE; }

bool Releases(int order) { return order >= __ATOMIC_RELEASE; }

template <typename T>
T Load(const volatile T* place, int order, const void* code) {
    if (!g_inside)
        return *place;
    const Outside outside;
    const void* const address = const_cast<const T*>(place);
    TakeTurns("load", address, code);
    Touch(address, sizeof(T), Access::AtomicRead, code);
    if (Acquires(order))
        Acquire(Released(address));
    return *place;
}

// A store that releases nothing ends what was released before.
template <typename T>
void Store(volatile T* place, T value, int order, const void* code) {
    if (!g_inside) {
        *place = value;
        return;
    }
    const Outside outside;
    const void* const address = const_cast<const T*>(place);
    TakeTurns("store", address, code);
    Touch(address, sizeof(T), Access::AtomicWrite, code);
    if (Releases(order))
        Release(Released(address), true);
    else
        Released(address).fill(0);
    *place = value;
}

// Replaces the value by what `change` makes of it. Returns what was there.
template <typename T, typename Change>
T Replace(volatile T* place, int order, const void* code, Change change) {
    const T before = *place;
    if (!g_inside) {
        *place = change(before);
        return before;
    }
    const Outside outside;
    const void* const address = const_cast<const T*>(place);
    TakeTurns("replace", address, code);
    Touch(address, sizeof(T), Access::AtomicWrite, code);
    if (Acquires(order))
        Acquire(Released(address));
    if (Releases(order))
        Release(Released(address), false);
    const T found = *place;
    *place = change(found);
    return found;
}

template <typename T>
int CompareExchange(volatile T* place, T* expected, T value, int order, int failureOrder, bool weak,
                    const void* code) {
    if (!g_inside) {
        const bool equal = *place == *expected;
        (equal ? *const_cast<T*>(place) : *expected) = equal ? value : *place;
        return equal ? 1 : 0;
    }
    const Outside outside;
    const void* const address = const_cast<const T*>(place);
    TakeTurns("compare-exchange", address, code);
    if (*place != *expected || (weak && MayFail())) {
        Touch(address, sizeof(T), Access::AtomicRead, code);
        if (Acquires(failureOrder))
            Acquire(Released(address));
        *expected = *place;
        return 0;
    }
    Touch(address, sizeof(T), Access::AtomicWrite, code);
    if (Acquires(order))
        Acquire(Released(address));
    if (Releases(order))
        Release(Released(address), false);
    *place = value;
    return 1;
}

} // namespace

} // namespace VornTest::Schedules

using namespace VornTest::Schedules; // NOLINT: the names below are the compiler's

// Macros, since the names are given and differ in a number.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define CODE __builtin_return_address(0)

#define PLAIN(size)                                                                                \
    void __tsan_read##size(void* p) { Plain(p, size, Access::Read, CODE); }                        \
    void __tsan_write##size(void* p) { Plain(p, size, Access::Write, CODE); }                      \
    void __tsan_unaligned_read##size(void* p) { Plain(p, size, Access::Read, CODE); }              \
    void __tsan_unaligned_write##size(void* p) { Plain(p, size, Access::Write, CODE); }

#define FETCH(bits, type, name, result)                                                            \
    type __tsan_atomic##bits##_##name(volatile type* p, type v, int order) {                       \
        return Replace(p, order, CODE,                                                             \
                       [v]([[maybe_unused]] type old) { return static_cast<type>(result); });      \
    }

#define ATOMIC(bits, type)                                                                         \
    type __tsan_atomic##bits##_load(const volatile type* p, int order) {                           \
        return Load(p, order, CODE);                                                               \
    }                                                                                              \
    void __tsan_atomic##bits##_store(volatile type* p, type v, int order) {                        \
        Store(p, v, order, CODE);                                                                  \
    }                                                                                              \
    FETCH(bits, type, exchange, v)                                                                 \
    FETCH(bits, type, fetch_add, old + v)                                                          \
    FETCH(bits, type, fetch_sub, old - v)                                                          \
    FETCH(bits, type, fetch_and, old& v)                                                           \
    FETCH(bits, type, fetch_or, old | v)                                                           \
    FETCH(bits, type, fetch_xor, old ^ v)                                                          \
    int __tsan_atomic##bits##_compare_exchange_strong(volatile type* p, type* expected, type v,    \
                                                      int order, int failureOrder) {               \
        return CompareExchange(p, expected, v, order, failureOrder, false, CODE);                  \
    }                                                                                              \
    int __tsan_atomic##bits##_compare_exchange_weak(volatile type* p, type* expected, type v,      \
                                                    int order, int failureOrder) {                 \
        return CompareExchange(p, expected, v, order, failureOrder, true, CODE);                   \
    }

extern "C" {

PLAIN(1)
PLAIN(2)
PLAIN(4)
PLAIN(8)
PLAIN(16)
ATOMIC(8, std::uint8_t)
ATOMIC(16, std::uint16_t)
ATOMIC(32, std::uint32_t)
ATOMIC(64, std::uint64_t)
// NOLINTEND(bugprone-macro-parentheses)

void __tsan_read_range(void* p, std::size_t size) { Plain(p, size, Access::Read, CODE); }
void __tsan_write_range(void* p, std::size_t size) { Plain(p, size, Access::Write, CODE); }

// Constructors and destructors of one object often store the same again: no change, no race.
void __tsan_vptr_update(void** p, void* value) {
    Plain(p, sizeof value, *p == value ? Access::Read : Access::Write, CODE);
}
void __tsan_vptr_read(void** p) { Plain(p, sizeof *p, Access::Read, CODE); }

void __tsan_init() {}
void __tsan_func_entry(void* /*caller*/) {}
void __tsan_func_exit() {}

} // extern "C"
