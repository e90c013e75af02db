// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_FAULT_PLATFORM_H
#define VORN_BASES_TESTS_FAULT_PLATFORM_H

// One scripted platform for all tests.
//
// Every call of the library to the C library, the kernel and the allocator passes one of the
// functions listed here, each an object with the name of the real one. Until a test scripts or
// records it, it just calls the real one. Every test program is linked with this.
//
//     namespace Platform = VornTest::Platform;
//
//     Platform::open.Fail(EMFILE);                       // every call from now on
//     Platform::read.At(2).Fail(EINTR);                  // the second call only
//     Platform::write.From(3).Fail(ENOSPC);              // the third and all later ones
//     Platform::read.At(1).Fail(Platform::ShortCount);   // half of what was asked for
//     Platform::kill.Answer(0);                          // this result, and nothing is done
//     Platform::readlink.Do([](const char*, char* buffer, std::size_t size) { ... });
//     Platform::pthread_create.OnAnyThread().Fail(EAGAIN);
//     Platform::operator_new.At(5).Fail(ENOMEM);         // throws std::bad_alloc
//
//     Platform::close.Record();
//     ...
//     EXPECT_THAT(Platform::close.Calls(), ElementsAre(descriptor));
//
// - Fail takes an error as the function has it: an errno; the result itself for the pthread
//   functions. Errors() lists the plausible ones.
// - Calls are counted from 1, from the moment the script is given. Of several scripts for one call
//   the last one given holds; the others count it too.
// - Scripts and records are for the calls of the thread that makes them, unless OnAnyThread() or
//   Record(true) says otherwise.
// - What a hook calls goes to the system, as does all that is called while a Bypass lives. A test's
//   own calls elsewhere are scripted and recorded like the library's: the linker cannot distinguish
//   them. What the C++ library calls from its own shared object is not, except for operator new.
// - After each test all is forgotten. A hook that refers to a test's locals and could be called
//   after them is undone with Reset() before.
// - Generic code finds the functions with All() and Find(name), and what was called with
//   RecordAll(), Count() and Order(). A script that it gives for calls in a Window leaves alone
//   what the test itself does before and after, and holds over others.
//
// To add a function: declare it here, define it and its __wrap_ function in the file of its family,
// and name it in the Family there. The build takes the names for the linker from those files.

#include <cstdarg>
#include <cstddef>
#include <ctime>

#include <dirent.h>
#include <iconv.h>
#include <nl_types.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdio.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/time.h>
#include <sys/types.h>

#include "fault/Call.h"

namespace VornTest::Platform {

// Files
extern Function<int(const char* path, int flags, mode_t mode)> open;
extern Function<int(int descriptor)> close;
extern Function<int(int descriptor)> dup;
extern Function<ssize_t(int descriptor, void* buffer, std::size_t size)> read;
extern Function<ssize_t(int descriptor, const void* buffer, std::size_t size)> write;
extern Function<off_t(int descriptor, off_t offset, int whence)> lseek;
extern Function<ssize_t(int from, off64_t* fromOffset, int to, off64_t* toOffset, std::size_t size,
                        unsigned int flags)>
    copy_file_range;
extern Function<ssize_t(int to, int from, off_t* offset, std::size_t size)> sendfile;
extern Function<int(int descriptor)> fsync;
extern Function<int(int descriptor, struct stat* status)> fstat;
extern Function<int(int descriptor, uid_t owner, gid_t group)> fchown;
extern Function<std::FILE*(const char* path, const char* mode)> fopen;
extern Function<std::size_t(const void* data, std::size_t size, std::size_t count, std::FILE*)>
    fwrite;
extern Function<int(std::FILE* file)> fclose;

// Directories and paths
extern Function<int(const char* path, int mode)> access;
extern Function<int(const char* path, struct stat* status)> stat;
extern Function<int(const char* path, struct statvfs* disk)> statvfs;
extern Function<int(const char* path, mode_t mode)> mkdir;
extern Function<int(const char* path)> rmdir;
extern Function<int(const char* path)> remove;
extern Function<int(const char* from, const char* to)> rename;
extern Function<ssize_t(const char* path, char* buffer, std::size_t size)> readlink;
extern Function<DIR*(const char* path)> opendir;
extern Function<dirent*(DIR* stream)> readdir;
extern Function<int(DIR* stream)> closedir;

// Processes
extern Function<pid_t()> getpid;
extern Function<int(pid_t process, int signal)> kill;
extern Function<ssize_t(void* buffer, std::size_t size, unsigned int flags)> getrandom;

// Time. The clock is never set: the real settimeofday only judges its argument here.
extern Function<int(timeval* now, void* zone)> gettimeofday;
extern Function<int(const timeval* now, const void* zone)> settimeofday;
extern Function<int(clockid_t clock, timespec* now)> clock_gettime;
extern Function<std::tm*(const std::time_t* seconds, std::tm* fields)> gmtime_r;
extern Function<std::tm*(const std::time_t* seconds, std::tm* fields)> localtime_r;
extern Function<std::time_t(std::tm* fields)> mktime;

// Threads
extern Function<int(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                    void* argument)>
    pthread_create;
extern Function<int(pthread_t thread, void** result)> pthread_join;
extern Function<int(pthread_t thread)> pthread_cancel;
extern Function<int(int state, int* before)> pthread_setcancelstate;
extern Function<void()> pthread_testcancel;
extern Function<int(pthread_mutex_t* lock, const pthread_mutexattr_t* attributes)>
    pthread_mutex_init;
extern Function<int(pthread_mutex_t* lock)> pthread_mutex_destroy;
extern Function<int(pthread_mutex_t* lock)> pthread_mutex_lock;
extern Function<int(pthread_mutex_t* lock)> pthread_mutex_trylock;
extern Function<int(pthread_mutex_t* lock)> pthread_mutex_unlock;
extern Function<int(pthread_mutexattr_t* attributes)> pthread_mutexattr_init;
extern Function<int(pthread_mutexattr_t* attributes)> pthread_mutexattr_destroy;
extern Function<int(pthread_mutexattr_t* attributes, int type)> pthread_mutexattr_settype;
extern Function<int(pthread_cond_t* condition, const pthread_condattr_t* attributes)>
    pthread_cond_init;
extern Function<int(pthread_cond_t* condition)> pthread_cond_destroy;
extern Function<int(pthread_cond_t* condition)> pthread_cond_broadcast;
extern Function<int(pthread_cond_t* condition, pthread_mutex_t* lock)> pthread_cond_wait;
extern Function<int(pthread_cond_t* condition, pthread_mutex_t* lock, const timespec* deadline)>
    pthread_cond_timedwait;
extern Function<int(pthread_condattr_t* attributes)> pthread_condattr_init;
extern Function<int(pthread_condattr_t* attributes)> pthread_condattr_destroy;
extern Function<int(pthread_condattr_t* attributes, clockid_t clock)> pthread_condattr_setclock;
extern Function<int()> sched_yield;
extern Function<int(useconds_t us)> usleep;

// Semaphores
extern Function<sem_t*(const char* name, int flags, mode_t mode, unsigned int value)> sem_open;
extern Function<int(sem_t* semaphore)> sem_close;
extern Function<int(const char* name)> sem_unlink;
extern Function<int(sem_t* semaphore)> sem_wait;
extern Function<int(sem_t* semaphore)> sem_trywait;
extern Function<int(sem_t* semaphore)> sem_post;
extern Function<int(sem_t* semaphore, int* value)> sem_getvalue;

// Shared memory
extern Function<int(key_t key, std::size_t size, int flags)> shmget;
extern Function<void*(int id, const void* address, int flags)> shmat;
extern Function<int(const void* address)> shmdt;
extern Function<int(int id, int command, shmid_ds* data)> shmctl;

// Text
extern Function<iconv_t(const char* to, const char* from)> iconv_open;
extern Function<std::size_t(iconv_t converter, char** input, std::size_t* inputLeft, char** output,
                            std::size_t* outputLeft)>
    iconv;
extern Function<int(iconv_t converter)> iconv_close;
extern Function<std::size_t(wchar_t* to, const char* from, std::size_t limit)> mbstowcs;
extern Function<std::size_t(char* to, const wchar_t* from, std::size_t limit)> wcstombs;
extern Function<char*(nl_item item)> nl_langinfo;
extern Function<int(const char* text)> puts;
extern Function<int(const char* format, std::va_list* values)> printf;
extern Function<int(char* buffer, std::size_t size, const char* format, std::va_list* values)>
    snprintf;

// Memory. The operators are those of the whole program, the C++ library included.
extern Function<void*(std::size_t size)> operator_new;
extern Function<void*(std::size_t size)> operator_new_array;
extern Function<void*(std::size_t size)> operator_new_nothrow;
extern Function<void*(std::size_t size)> operator_new_array_nothrow;
extern Function<void(void* block)> operator_delete;
extern Function<void(void* block, std::size_t size)> operator_delete_sized;
extern Function<void(void* block)> operator_delete_array;
extern Function<void(void* block, std::size_t size)> operator_delete_array_sized;
extern Function<void*(std::size_t size)> malloc;
extern Function<void*(std::size_t count, std::size_t size)> calloc;
extern Function<void*(void* block, std::size_t size)> realloc;

} // namespace VornTest::Platform

#endif
