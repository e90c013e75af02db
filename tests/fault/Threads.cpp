// SPDX-License-Identifier: MIT
// The scripted calls to the platform for threads and locks.

#include "fault/Platform.h"

extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*routine)(void*), void* argument);
int __real_pthread_join(pthread_t thread, void** result);
int __real_pthread_cancel(pthread_t thread);
int __real_pthread_setcancelstate(int state, int* before);
void __real_pthread_testcancel();
int __real_pthread_mutex_init(pthread_mutex_t* lock, const pthread_mutexattr_t* attributes);
int __real_pthread_mutex_destroy(pthread_mutex_t* lock);
int __real_pthread_mutex_lock(pthread_mutex_t* lock);
int __real_pthread_mutex_trylock(pthread_mutex_t* lock);
int __real_pthread_mutex_unlock(pthread_mutex_t* lock);
int __real_pthread_mutexattr_init(pthread_mutexattr_t* attributes);
int __real_pthread_mutexattr_destroy(pthread_mutexattr_t* attributes);
int __real_pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type);
int __real_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes);
int __real_pthread_cond_destroy(pthread_cond_t* condition);
int __real_pthread_cond_broadcast(pthread_cond_t* condition);
int __real_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* lock);
int __real_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* lock,
                                  const timespec* deadline);
int __real_pthread_condattr_init(pthread_condattr_t* attributes);
int __real_pthread_condattr_destroy(pthread_condattr_t* attributes);
int __real_pthread_condattr_setclock(pthread_condattr_t* attributes, clockid_t clock);
int __real_sched_yield();
int __real_usleep(useconds_t us);
}

namespace VornTest::Platform {

constinit Function<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)> pthread_create{
    "pthread_create", __real_pthread_create, Errors<EAGAIN, ENOMEM, EPERM>, Detail::FailByResult};
constinit Function<int(pthread_t, void**)> pthread_join{
    "pthread_join", __real_pthread_join, Errors<EDEADLK, EINVAL, ESRCH>, Detail::FailByResult};
constinit Function<int(pthread_t)> pthread_cancel{"pthread_cancel", __real_pthread_cancel,
                                                  Errors<ESRCH>, Detail::FailByResult};
constinit Function<int(int, int*)> pthread_setcancelstate{
    "pthread_setcancelstate", __real_pthread_setcancelstate, Errors<EINVAL>, Detail::FailByResult};
constinit Function<void()> pthread_testcancel{"pthread_testcancel", __real_pthread_testcancel};
constinit Function<int(pthread_mutex_t*, const pthread_mutexattr_t*)> pthread_mutex_init{
    "pthread_mutex_init", __real_pthread_mutex_init, Errors<EAGAIN, ENOMEM, EPERM>,
    Detail::FailByResult};
constinit Function<int(pthread_mutex_t*)> pthread_mutex_destroy{
    "pthread_mutex_destroy", __real_pthread_mutex_destroy, Errors<EBUSY>, Detail::FailByResult};
constinit Function<int(pthread_mutex_t*)> pthread_mutex_lock{
    "pthread_mutex_lock", __real_pthread_mutex_lock, Errors<EAGAIN, EDEADLK, EINVAL>,
    Detail::FailByResult};
constinit Function<int(pthread_mutex_t*)> pthread_mutex_trylock{
    "pthread_mutex_trylock", __real_pthread_mutex_trylock, Errors<EAGAIN, EBUSY, EINVAL>,
    Detail::FailByResult};
constinit Function<int(pthread_mutex_t*)> pthread_mutex_unlock{
    "pthread_mutex_unlock", __real_pthread_mutex_unlock, Errors<EPERM>, Detail::FailByResult};
constinit Function<int(pthread_mutexattr_t*)> pthread_mutexattr_init{
    "pthread_mutexattr_init", __real_pthread_mutexattr_init, Errors<ENOMEM>, Detail::FailByResult};
constinit Function<int(pthread_mutexattr_t*)> pthread_mutexattr_destroy{
    "pthread_mutexattr_destroy", __real_pthread_mutexattr_destroy, Errors<EINVAL>,
    Detail::FailByResult};
constinit Function<int(pthread_mutexattr_t*, int)> pthread_mutexattr_settype{
    "pthread_mutexattr_settype", __real_pthread_mutexattr_settype, Errors<EINVAL>,
    Detail::FailByResult};
constinit Function<int(pthread_cond_t*, const pthread_condattr_t*)> pthread_cond_init{
    "pthread_cond_init", __real_pthread_cond_init, Errors<EAGAIN, ENOMEM>, Detail::FailByResult};
constinit Function<int(pthread_cond_t*)> pthread_cond_destroy{
    "pthread_cond_destroy", __real_pthread_cond_destroy, Errors<EBUSY>, Detail::FailByResult};
constinit Function<int(pthread_cond_t*)> pthread_cond_broadcast{
    "pthread_cond_broadcast", __real_pthread_cond_broadcast, Errors<EINVAL>, Detail::FailByResult};
constinit Function<int(pthread_cond_t*, pthread_mutex_t*)> pthread_cond_wait{
    "pthread_cond_wait", __real_pthread_cond_wait, Errors<EINVAL, EPERM>, Detail::FailByResult};
constinit Function<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> pthread_cond_timedwait{
    "pthread_cond_timedwait", __real_pthread_cond_timedwait, Errors<EINVAL, EPERM, ETIMEDOUT>,
    Detail::FailByResult};
constinit Function<int(pthread_condattr_t*)> pthread_condattr_init{
    "pthread_condattr_init", __real_pthread_condattr_init, Errors<ENOMEM>, Detail::FailByResult};
constinit Function<int(pthread_condattr_t*)> pthread_condattr_destroy{
    "pthread_condattr_destroy", __real_pthread_condattr_destroy, Errors<EINVAL>,
    Detail::FailByResult};
constinit Function<int(pthread_condattr_t*, clockid_t)> pthread_condattr_setclock{
    "pthread_condattr_setclock", __real_pthread_condattr_setclock, Errors<EINVAL>,
    Detail::FailByResult};
constinit Function<int()> sched_yield{"sched_yield", __real_sched_yield, Errors<ENOSYS>};
constinit Function<int(useconds_t)> usleep{"usleep", __real_usleep, Errors<EINTR>};

namespace {

const Family g_threads{&pthread_create,
                       &pthread_join,
                       &pthread_cancel,
                       &pthread_setcancelstate,
                       &pthread_testcancel,
                       &pthread_mutex_init,
                       &pthread_mutex_destroy,
                       &pthread_mutex_lock,
                       &pthread_mutex_trylock,
                       &pthread_mutex_unlock,
                       &pthread_mutexattr_init,
                       &pthread_mutexattr_destroy,
                       &pthread_mutexattr_settype,
                       &pthread_cond_init,
                       &pthread_cond_destroy,
                       &pthread_cond_broadcast,
                       &pthread_cond_wait,
                       &pthread_cond_timedwait,
                       &pthread_condattr_init,
                       &pthread_condattr_destroy,
                       &pthread_condattr_setclock,
                       &sched_yield,
                       &usleep};

} // namespace

extern "C" {

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*routine)(void*), void* argument) {
    return pthread_create(thread, attributes, routine, argument);
}

int __wrap_pthread_join(pthread_t thread, void** result) { return pthread_join(thread, result); }

int __wrap_pthread_cancel(pthread_t thread) { return pthread_cancel(thread); }

int __wrap_pthread_setcancelstate(int state, int* before) {
    return pthread_setcancelstate(state, before);
}

void __wrap_pthread_testcancel() { pthread_testcancel(); }

int __wrap_pthread_mutex_init(pthread_mutex_t* lock, const pthread_mutexattr_t* attributes) {
    return pthread_mutex_init(lock, attributes);
}

int __wrap_pthread_mutex_destroy(pthread_mutex_t* lock) { return pthread_mutex_destroy(lock); }

int __wrap_pthread_mutex_lock(pthread_mutex_t* lock) { return pthread_mutex_lock(lock); }

int __wrap_pthread_mutex_trylock(pthread_mutex_t* lock) { return pthread_mutex_trylock(lock); }

int __wrap_pthread_mutex_unlock(pthread_mutex_t* lock) { return pthread_mutex_unlock(lock); }

int __wrap_pthread_mutexattr_init(pthread_mutexattr_t* attributes) {
    return pthread_mutexattr_init(attributes);
}

int __wrap_pthread_mutexattr_destroy(pthread_mutexattr_t* attributes) {
    return pthread_mutexattr_destroy(attributes);
}

int __wrap_pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type) {
    return pthread_mutexattr_settype(attributes, type);
}

int __wrap_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
    return pthread_cond_init(condition, attributes);
}

int __wrap_pthread_cond_destroy(pthread_cond_t* condition) {
    return pthread_cond_destroy(condition);
}

int __wrap_pthread_cond_broadcast(pthread_cond_t* condition) {
    return pthread_cond_broadcast(condition);
}

int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* lock) {
    return pthread_cond_wait(condition, lock);
}

int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* lock,
                                  const timespec* deadline) {
    return pthread_cond_timedwait(condition, lock, deadline);
}

int __wrap_pthread_condattr_init(pthread_condattr_t* attributes) {
    return pthread_condattr_init(attributes);
}

int __wrap_pthread_condattr_destroy(pthread_condattr_t* attributes) {
    return pthread_condattr_destroy(attributes);
}

int __wrap_pthread_condattr_setclock(pthread_condattr_t* attributes, clockid_t clock) {
    return pthread_condattr_setclock(attributes, clock);
}

int __wrap_sched_yield() { return sched_yield(); }

int __wrap_usleep(useconds_t us) { return usleep(us); }
}

} // namespace VornTest::Platform
