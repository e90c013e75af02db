// SPDX-License-Identifier: MIT
// Options that every test program gives the sanitizer it is built with.
//
// A cancelled thread is unwound frame by frame, and frames that have nothing to destroy are
// skipped. The address sanitizer does not learn that they are gone, so the guard zones around their
// locals stay on the stack below. When a frame further up has finished its destructors, the runtime
// queries the signal stack; that of GCC 12 does so through its own checked sigaltstack, with a
// result on that stack, and whenever the result overlaps such a zone it reports a stack overflow
// that is none (or fails a check of its own). A program of two functions shows it; the runtime of
// Clang 14 does not do it.
//
// With the detection of uses after return, locals live in frames of the runtime's own and leave no
// zones on the stack. It is also the stricter check.
//
// A request for an impossible amount of memory stops a program under a sanitizer unless this option
// lets the allocation fail, as it does without one; tests of such failures need that. A throwing
// operator new stops the program all the same.
#include "support/Sanitizers.h"

#ifdef VORN_ADDRESS_SANITIZER
#include <dlfcn.h>
#include <locale.h>
#include <sanitizer/lsan_interface.h>

extern "C" const char* __asan_default_options();

extern "C" const char* __asan_default_options() {
    return "detect_stack_use_after_return=1:allocator_may_return_null=1";
}

// The GNU C library's newlocale, which the C++ library calls by either name, never frees its copy
// of LOCPATH, which the tests set. That is the system's leak: what the function allocates is left
// out of the search for leaks.
namespace {
locale_t CallNewLocale(const char* function, int categories, const char* locale, locale_t base) {
    using NewLocale = locale_t (*)(int, const char*, locale_t);
    const auto call = reinterpret_cast<NewLocale>(dlsym(RTLD_NEXT, function));
    const __lsan::ScopedDisabler disabler;
    return call(categories, locale, base);
}
} // namespace

extern "C" locale_t newlocale(int categories, const char* locale, locale_t base) noexcept {
    return CallNewLocale("newlocale", categories, locale, base);
}

extern "C" locale_t __newlocale(int categories, const char* locale, locale_t base) noexcept;

extern "C" locale_t __newlocale(int categories, const char* locale, locale_t base) noexcept {
    return CallNewLocale("__newlocale", categories, locale, base);
}
#endif

#ifdef VORN_THREAD_SANITIZER
extern "C" const char* __tsan_default_options();

extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }
#endif
