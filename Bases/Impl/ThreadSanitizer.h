// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_THREAD_SANITIZER_H
#define VORN_BASES_IMPL_THREAD_SANITIZER_H

// What atomic words put in order, told to the thread sanitizer of a program. It sees the library's
// calls of the platform, but not its instructions, and would take what an event hands over for a
// race. In a library that it watches it sees everything, and is told nothing.

#if defined(__ELF__) && !defined(VORN_BASES_WATCHES_THREADS)
#define VORN_BASES_TELLS_THREAD_SANITIZER
#endif

#ifdef VORN_BASES_TELLS_THREAD_SANITIZER
// Both are null in a program that the sanitizer does not watch.
extern "C" {
[[gnu::weak]] void __tsan_acquire(void* place);
[[gnu::weak]] void __tsan_release(void* place);
}
#endif

namespace Vorn {

/// What this thread has done comes before what others do after a TellAcquire with the same place.
/// The place is not looked at.
inline void TellRelease([[maybe_unused]] void* place) {
#ifdef VORN_BASES_TELLS_THREAD_SANITIZER
    if (__tsan_release != nullptr) // GCOVR_EXCL_BR_LINE watched
        __tsan_release(place);     // GCOVR_EXCL_LINE watched
#endif
}

inline void TellAcquire([[maybe_unused]] void* place) {
#ifdef VORN_BASES_TELLS_THREAD_SANITIZER
    if (__tsan_acquire != nullptr) // GCOVR_EXCL_BR_LINE watched
        __tsan_acquire(place);     // GCOVR_EXCL_LINE watched
#endif
}

} // namespace Vorn

#endif
