// SPDX-License-Identifier: MIT
// The scripted calls to the platform for files.

#include "fault/Platform.h"

#include <fcntl.h>

extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_close(int descriptor);
int __real_dup(int descriptor);
ssize_t __real_read(int descriptor, void* buffer, std::size_t size);
ssize_t __real_write(int descriptor, const void* buffer, std::size_t size);
off_t __real_lseek(int descriptor, off_t offset, int whence);
ssize_t __real_copy_file_range(int from, off64_t* fromOffset, int to, off64_t* toOffset,
                               std::size_t size, unsigned int flags);
ssize_t __real_sendfile(int to, int from, off_t* offset, std::size_t size);
int __real_fsync(int descriptor);
int __real_fstat(int descriptor, struct stat* status);
int __real_fchown(int descriptor, uid_t owner, gid_t group);
std::FILE* __real_fopen(const char* path, const char* mode);
std::size_t __real_fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* file);
int __real_fclose(std::FILE* file);
}

namespace VornTest::Platform {

namespace {

int RealOpen(const char* path, int flags, mode_t mode) { return __real_open(path, flags, mode); }

ssize_t HalfRead(int descriptor, void* buffer, std::size_t size) {
    return __real_read(descriptor, buffer, size / 2);
}

ssize_t HalfWrite(int descriptor, const void* buffer, std::size_t size) {
    return __real_write(descriptor, buffer, size / 2);
}

ssize_t HalfCopy(int from, off64_t* fromOffset, int to, off64_t* toOffset, std::size_t size,
                 unsigned int flags) {
    return __real_copy_file_range(from, fromOffset, to, toOffset, size / 2, flags);
}

ssize_t HalfSend(int to, int from, off_t* offset, std::size_t size) {
    return __real_sendfile(to, from, offset, size / 2);
}

std::size_t WriteNothing(int error) {
    errno = error;
    return 0;
}

std::size_t HalfFwrite(const void* data, std::size_t size, std::size_t count, std::FILE* file) {
    return __real_fwrite(data, size, count / 2, file);
}

} // namespace

constinit Function<int(const char*, int, mode_t)> open{
    "open", RealOpen,
    Errors<EACCES, EDQUOT, EEXIST, EINTR, EINVAL, EIO, EISDIR, ELOOP, EMFILE, ENAMETOOLONG, ENFILE,
           ENODEV, ENOENT, ENOMEM, ENOSPC, ENOTDIR, ENXIO, EOVERFLOW, EPERM, EROFS, ETXTBSY>};
constinit Function<int(int)> close{
    "close", __real_close,       Errors<EDQUOT, EINTR, EIO, ENOSPC>, Detail::Usual<int>(),
    nullptr, OnError::WorkIsDone};
constinit Function<int(int)> dup{"dup", __real_dup, Errors<EMFILE>};
constinit Function<ssize_t(int, void*, std::size_t)> read{
    "read", __real_read, Errors<EINTR, EINVAL, EIO, EISDIR, ShortCount>, Detail::Usual<ssize_t>(),
    HalfRead};
constinit Function<ssize_t(int, const void*, std::size_t)> write{
    "write", __real_write,
    Errors<EDQUOT, EFBIG, EINTR, EINVAL, EIO, ENOSPC, EPERM, EPIPE, ShortCount>,
    Detail::Usual<ssize_t>(), HalfWrite};
constinit Function<off_t(int, off_t, int)> lseek{"lseek", __real_lseek,
                                                 Errors<EINVAL, EOVERFLOW, ESPIPE>};
constinit Function<ssize_t(int, off64_t*, int, off64_t*, std::size_t, unsigned int)>
    copy_file_range{"copy_file_range", __real_copy_file_range,
                    Errors<EFBIG, EINTR, EINVAL, EIO, ENOMEM, ENOSPC, ENOSYS, EOPNOTSUPP, EPERM,
                           ETXTBSY, EXDEV, ShortCount>,
                    Detail::Usual<ssize_t>(), HalfCopy};
constinit Function<ssize_t(int, int, off_t*, std::size_t)> sendfile{
    "sendfile", __real_sendfile, Errors<EFBIG, EINTR, EINVAL, EIO, ENOMEM, ENOSPC, ShortCount>,
    Detail::Usual<ssize_t>(), HalfSend};
constinit Function<int(int)> fsync{"fsync", __real_fsync,
                                   Errors<EDQUOT, EINTR, EINVAL, EIO, ENOSPC, EROFS>};
constinit Function<int(int, struct stat*)> fstat{"fstat", __real_fstat,
                                                 Errors<EIO, ENOMEM, EOVERFLOW>};
constinit Function<int(int, uid_t, gid_t)> fchown{"fchown", __real_fchown,
                                                  Errors<EIO, EPERM, EROFS>};
constinit Function<std::FILE*(const char*, const char*)> fopen{
    "fopen", __real_fopen,
    Errors<EACCES, EDQUOT, EINTR, EISDIR, ELOOP, EMFILE, ENAMETOOLONG, ENFILE, ENOENT, ENOMEM,
           ENOSPC, ENOTDIR, EPERM, EROFS, ETXTBSY>};
constinit Function<std::size_t(const void*, std::size_t, std::size_t, std::FILE*)> fwrite{
    "fwrite", __real_fwrite, Errors<EDQUOT, EFBIG, EIO, ENOSPC, ShortCount>, WriteNothing,
    HalfFwrite};
constinit Function<int(std::FILE*)> fclose{
    "fclose", __real_fclose,      Errors<EDQUOT, EFBIG, EIO, ENOSPC>, Detail::Usual<int>(),
    nullptr,  OnError::WorkIsDone};

namespace {

const Family g_files{&open,     &close, &dup,   &read,   &write, &lseek,  &copy_file_range,
                     &sendfile, &fsync, &fstat, &fchown, &fopen, &fwrite, &fclose};

// A mode is passed where it means something. The library passes one always, which a script may want
// to see.
bool HasMode(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE || open.IsWatched();
}

} // namespace

extern "C" {

int __wrap_open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if (HasMode(flags)) {
        std::va_list arguments;
        va_start(arguments, flags);
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start above, not seen by Clang 14
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    return open(path, flags, mode);
}

int __wrap_close(int descriptor) { return close(descriptor); }

int __wrap_dup(int descriptor) { return dup(descriptor); }

ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size) {
    return read(descriptor, buffer, size);
}

ssize_t __wrap_write(int descriptor, const void* buffer, std::size_t size) {
    return write(descriptor, buffer, size);
}

off_t __wrap_lseek(int descriptor, off_t offset, int whence) {
    return lseek(descriptor, offset, whence);
}

ssize_t __wrap_copy_file_range(int from, off64_t* fromOffset, int to, off64_t* toOffset,
                               std::size_t size, unsigned int flags) {
    return copy_file_range(from, fromOffset, to, toOffset, size, flags);
}

ssize_t __wrap_sendfile(int to, int from, off_t* offset, std::size_t size) {
    return sendfile(to, from, offset, size);
}

int __wrap_fsync(int descriptor) { return fsync(descriptor); }

int __wrap_fstat(int descriptor, struct stat* status) { return fstat(descriptor, status); }

int __wrap_fchown(int descriptor, uid_t owner, gid_t group) {
    return fchown(descriptor, owner, group);
}

std::FILE* __wrap_fopen(const char* path, const char* mode) { return fopen(path, mode); }

std::size_t __wrap_fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* file) {
    return fwrite(data, size, count, file);
}

int __wrap_fclose(std::FILE* file) { return fclose(file); }
}

} // namespace VornTest::Platform
