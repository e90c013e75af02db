// SPDX-License-Identifier: MIT
// The ways of failing that the platform's functions have and that the library cannot meet. A sweep
// over them would show what the library does when the platform breaks its own word.
#include <algorithm>
#include <iterator>

#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

constexpr int Any = 0;

enum class Mode { Always, ForEver };

struct LeftOut {
    const Platform::Call& call;
    int error;
    const char* why;
    Mode mode = Mode::Always;
};

const LeftOut g_table[] = {
    {Platform::closedir, Any, "it fails for a stream only that is not open"},
    {Platform::iconv_close, Any, "it fails for a converter only that is not open"},
    {Platform::pthread_mutex_unlock, Any, "the library unlocks only what it has locked"},
    {Platform::pthread_mutex_lock, Any, "no lock is misused, nor locked four billion times"},
    {Platform::pthread_mutex_trylock, EINVAL, "no lock is used before its making or after its end"},
    {Platform::pthread_mutex_destroy, Any, "no lock is destroyed that is held"},
    {Platform::pthread_mutexattr_destroy, Any, "it fails for attributes only that were not made"},
    {Platform::pthread_cond_destroy, Any, "nobody waits when it is destroyed"},
    {Platform::pthread_condattr_destroy, Any, "it fails for attributes only that were not made"},
    {Platform::pthread_cond_broadcast, Any, "it fails for a condition only that was not made"},
    {Platform::pthread_join, Any, "a thread that was made is joined once, by another one"},
    {Platform::pthread_cancel, Any, "a thread that is cancelled has not been joined"},
    {Platform::pthread_setcancelstate, Any, "it fails for a state only that does not exist"},
    {Platform::snprintf, Any, "it prints numbers, of a length that needs no memory"},
    {Platform::sem_close, Any, "it fails for a semaphore only that is not open"},
    {Platform::shmdt, Any, "it fails for an address only where nothing is attached"},
    {Platform::shmctl, Any, "a segment that cannot be removed is stated to end the process"},
    {Platform::getrandom, EINTR, "no signal comes for ever, and the call is repeated until then",
     Mode::ForEver},
};

} // namespace

const char* WhyLeftOut(const Fault& fault) {
    const auto* const found =
        std::find_if(std::begin(g_table), std::end(g_table), [&fault](const LeftOut& row) {
            return &row.call == fault.pCall && (row.error == Any || row.error == fault.error) &&
                   (row.mode == Mode::Always || fault.then == Then::ItFails ||
                    fault.then == Then::AllFails);
        });
    return found == std::end(g_table) ? nullptr : found->why;
}

} // namespace VornTest::Sweep
