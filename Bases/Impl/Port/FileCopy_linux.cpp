// SPDX-License-Identifier: MIT
// Linux: copy_file_range, which can even share the blocks, then sendfile, which also copies from
// one file system to another.

#include <Bases/Impl/Port/FileCopy.h>

#include <cerrno>
#include <cstddef>

#include <pthread.h>
#include <sys/sendfile.h>
#include <unistd.h>

namespace Vorn {

namespace {

// How much of a file a cancelled thread still copies. Larger pieces are not faster.
constexpr std::size_t Piece = std::size_t{8} << 20;

} // namespace

// Some kernels report the end of the file too early, so sendfile is asked in any case. Unlike
// copy_file_range it is no cancellation point.
void CopyInKernel(int from, int to) {
    const int error = errno; // a refusal is no failure: the rest is copied another way
    while (copy_file_range(from, nullptr, to, nullptr, Piece, 0) > 0) {
    }
    while (sendfile(to, from, nullptr, Piece) > 0)
        pthread_testcancel();
    errno = error;
}

} // namespace Vorn
