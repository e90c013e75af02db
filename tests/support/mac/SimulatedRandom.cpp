// SPDX-License-Identifier: MIT
// The source of random bytes of macOS, which cannot fail: here a plain sequence, so that a test can
// recognise it.
#include <cstdlib>

extern "C" void arc4random_buf(void* buffer, size_t size) noexcept {
    static unsigned char next = 0;
    auto* bytes = static_cast<unsigned char*>(buffer);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = next++;
}
