// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_MAC_HEADERS_THREAD_PTHREAD_H
#define VORN_BASES_TESTS_SUPPORT_MAC_HEADERS_THREAD_PTHREAD_H

// The handle of a thread as macOS has it: a pointer to the thread's object, which begins with the
// thread's number. Only what is compiled with it has that handle, so it goes no further.

#include_next <pthread.h>

struct SimulatedThread {
    unsigned long number;
};

#define pthread_t SimulatedThread*

#endif
