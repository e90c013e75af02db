// SPDX-License-Identifier: MIT
// The operators new and delete of every test program. The C++ library calls them too; an address or
// thread sanitizer has some of its own, which are the next ones and see every block as before.
#include "fault/Platform.h"

#include <new>

#include <dlfcn.h>

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
}

namespace VornTest::Platform {

namespace {

// The definition of this function that the program would have without this file. On its way it may
// call others of these operators, which is no call of the library.
template <typename Signature>
Signature* Next(const char* symbol) {
    return reinterpret_cast<Signature*>(dlsym(RTLD_NEXT, symbol));
}

void* RealNew(std::size_t size) {
    static const auto next = Next<void*(std::size_t)>("_Znwm");
    const Bypass bypass;
    return next(size);
}

void* RealNewArray(std::size_t size) {
    static const auto next = Next<void*(std::size_t)>("_Znam");
    const Bypass bypass;
    return next(size);
}

void* RealNewNothrow(std::size_t size) {
    static const auto next = Next<void*(std::size_t, const std::nothrow_t&)>("_ZnwmRKSt9nothrow_t");
    const Bypass bypass;
    return next(size, std::nothrow);
}

void* RealNewArrayNothrow(std::size_t size) {
    static const auto next = Next<void*(std::size_t, const std::nothrow_t&)>("_ZnamRKSt9nothrow_t");
    const Bypass bypass;
    return next(size, std::nothrow);
}

void RealDelete(void* block) {
    static const auto next = Next<void(void*)>("_ZdlPv");
    const Bypass bypass;
    next(block);
}

void RealDeleteArray(void* block) {
    static const auto next = Next<void(void*)>("_ZdaPv");
    const Bypass bypass;
    next(block);
}

void RealDeleteSized(void* block, std::size_t size) {
    static const auto next = Next<void(void*, std::size_t)>("_ZdlPvm");
    const Bypass bypass;
    next(block, size);
}

void RealDeleteArraySized(void* block, std::size_t size) {
    static const auto next = Next<void(void*, std::size_t)>("_ZdaPvm");
    const Bypass bypass;
    next(block, size);
}

void* ThrowBadAlloc(int /*error*/) { throw std::bad_alloc(); }

} // namespace

constinit Function<void*(std::size_t)> operator_new{"operator new", RealNew, Errors<ENOMEM>,
                                                    ThrowBadAlloc};
constinit Function<void*(std::size_t)> operator_new_array{"operator new[]", RealNewArray,
                                                          Errors<ENOMEM>, ThrowBadAlloc};
constinit Function<void*(std::size_t)> operator_new_nothrow{"operator new(nothrow)", RealNewNothrow,
                                                            Errors<ENOMEM>};
constinit Function<void*(std::size_t)> operator_new_array_nothrow{
    "operator new[](nothrow)", RealNewArrayNothrow, Errors<ENOMEM>};
constinit Function<void(void*)> operator_delete{"operator delete", RealDelete};
constinit Function<void(void*, std::size_t)> operator_delete_sized{"operator delete(size)",
                                                                   RealDeleteSized};
constinit Function<void(void*)> operator_delete_array{"operator delete[]", RealDeleteArray};
constinit Function<void(void*, std::size_t)> operator_delete_array_sized{"operator delete[](size)",
                                                                         RealDeleteArraySized};
constinit Function<void*(std::size_t)> malloc{"malloc", __real_malloc, Errors<ENOMEM>};
constinit Function<void*(std::size_t, std::size_t)> calloc{"calloc", __real_calloc, Errors<ENOMEM>};
constinit Function<void*(void*, std::size_t)> realloc{"realloc", __real_realloc, Errors<ENOMEM>};

namespace {

const Family g_memory{&operator_new,
                      &operator_new_array,
                      &operator_new_nothrow,
                      &operator_new_array_nothrow,
                      &operator_delete,
                      &operator_delete_sized,
                      &operator_delete_array,
                      &operator_delete_array_sized,
                      &malloc,
                      &calloc,
                      &realloc};

} // namespace

extern "C" {

void* __wrap_malloc(std::size_t size) { return malloc(size); }

void* __wrap_calloc(std::size_t count, std::size_t size) { return calloc(count, size); }

void* __wrap_realloc(void* block, std::size_t size) { return realloc(block, size); }
}

} // namespace VornTest::Platform

namespace Platform = VornTest::Platform;

void* operator new(std::size_t size) { return Platform::operator_new(size); }

void* operator new[](std::size_t size) { return Platform::operator_new_array(size); }

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return Platform::operator_new_nothrow(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return Platform::operator_new_array_nothrow(size);
}

void operator delete(void* block) noexcept { Platform::operator_delete(block); }

// Clang calls these when a constructor throws after an allocation that does not.
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept {
    Platform::operator_delete(block);
}

void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept {
    Platform::operator_delete_array(block);
}

void operator delete(void* block, std::size_t size) noexcept {
    Platform::operator_delete_sized(block, size);
}

void operator delete[](void* block) noexcept { Platform::operator_delete_array(block); }

void operator delete[](void* block, std::size_t size) noexcept {
    Platform::operator_delete_array_sized(block, size);
}
