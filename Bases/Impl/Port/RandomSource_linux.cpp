// SPDX-License-Identifier: MIT
// Linux: getrandom, repeated until all bytes are there.

#include <Bases/Impl/Port/RandomSource.h>

#include <cerrno>

#include <sys/random.h>
#include <sys/types.h>

namespace Vorn {

bool FillRandom(void* buffer, std::size_t size) {
    auto* next = static_cast<unsigned char*>(buffer);
    while (size > 0) {
        // A request of more than 256 bytes can be cut short, or refused, by a signal handler.
        const ssize_t got = getrandom(next, size, 0);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        next += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

} // namespace Vorn
