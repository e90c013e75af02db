// SPDX-License-Identifier: MIT
// The scripted calls to the platform for directories.

#include "fault/Platform.h"

extern "C" {
int __real_access(const char* path, int mode);
int __real_stat(const char* path, struct stat* status);
int __real_statvfs(const char* path, struct statvfs* disk);
int __real_mkdir(const char* path, mode_t mode);
int __real_rmdir(const char* path);
int __real_remove(const char* path);
int __real_rename(const char* from, const char* to);
ssize_t __real_readlink(const char* path, char* buffer, std::size_t size);
DIR* __real_opendir(const char* path);
dirent* __real_readdir(DIR* stream);
int __real_closedir(DIR* stream);
}

namespace VornTest::Platform {

namespace {

ssize_t CutReadlink(const char* path, char* buffer, std::size_t size) {
    return __real_readlink(path, buffer, size / 2);
}

} // namespace

constinit Function<int(const char*, int)> access{
    "access", __real_access,
    Errors<EACCES, EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EROFS>};
constinit Function<int(const char*, struct stat*)> stat{
    "stat", __real_stat,
    Errors<EACCES, EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EOVERFLOW>};
constinit Function<int(const char*, struct statvfs*)> statvfs{
    "statvfs", __real_statvfs,
    Errors<EACCES, EINTR, EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOSYS, ENOTDIR, EOVERFLOW>};
constinit Function<int(const char*, mode_t)> mkdir{
    "mkdir", __real_mkdir,
    Errors<EACCES, EDQUOT, EEXIST, EIO, ELOOP, EMLINK, ENAMETOOLONG, ENOENT, ENOMEM, ENOSPC,
           ENOTDIR, EPERM, EROFS>};
constinit Function<int(const char*)> rmdir{
    "rmdir", __real_rmdir,
    Errors<EACCES, EBUSY, EINVAL, EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, ENOTEMPTY,
           EPERM, EROFS>};
constinit Function<int(const char*)> remove{"remove", __real_remove,
                                            Errors<EACCES, EBUSY, EIO, ELOOP, ENAMETOOLONG, ENOENT,
                                                   ENOMEM, ENOTDIR, ENOTEMPTY, EPERM, EROFS>};
constinit Function<int(const char*, const char*)> rename{
    "rename", __real_rename,
    Errors<EACCES, EBUSY, EDQUOT, EEXIST, EINVAL, EIO, EISDIR, ELOOP, EMLINK, ENAMETOOLONG, ENOENT,
           ENOMEM, ENOSPC, ENOTDIR, ENOTEMPTY, EPERM, EROFS, EXDEV>};
constinit Function<ssize_t(const char*, char*, std::size_t)> readlink{
    "readlink", __real_readlink,
    Errors<EACCES, EINVAL, EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, ShortCount>,
    Detail::Usual<ssize_t>(), CutReadlink};
constinit Function<DIR*(const char*)> opendir{
    "opendir", __real_opendir,
    Errors<EACCES, EIO, ELOOP, EMFILE, ENAMETOOLONG, ENFILE, ENOENT, ENOMEM, ENOTDIR>};
constinit Function<dirent*(DIR*)> readdir{"readdir", __real_readdir, Errors<EIO, ENOENT>};
constinit Function<int(DIR*)> closedir{"closedir", __real_closedir, Errors<EBADF>};

namespace {

const Family g_directories{&access, &stat,     &statvfs, &mkdir,   &rmdir,   &remove,
                           &rename, &readlink, &opendir, &readdir, &closedir};

} // namespace

extern "C" {

int __wrap_access(const char* path, int mode) { return access(path, mode); }

int __wrap_stat(const char* path, struct stat* status) { return stat(path, status); }

int __wrap_statvfs(const char* path, struct statvfs* disk) { return statvfs(path, disk); }

int __wrap_mkdir(const char* path, mode_t mode) { return mkdir(path, mode); }

int __wrap_rmdir(const char* path) { return rmdir(path); }

int __wrap_remove(const char* path) { return remove(path); }

int __wrap_rename(const char* from, const char* to) { return rename(from, to); }

ssize_t __wrap_readlink(const char* path, char* buffer, std::size_t size) {
    return readlink(path, buffer, size);
}

DIR* __wrap_opendir(const char* path) { return opendir(path); }

dirent* __wrap_readdir(DIR* stream) { return readdir(stream); }

int __wrap_closedir(DIR* stream) { return closedir(stream); }
}

} // namespace VornTest::Platform
