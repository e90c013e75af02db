// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_MAC_HEADERS_MACH_MACH_H
#define VORN_BASES_TESTS_SUPPORT_MAC_HEADERS_MACH_MACH_H

// Replaces the macOS header of this name, as far as the library uses it. SimulatedKernel.cpp
// implements it.

typedef int kern_return_t;
typedef unsigned int mach_port_t;
typedef mach_port_t task_t;
typedef mach_port_t semaphore_t;
typedef int clock_res_t;

typedef struct mach_timespec {
    unsigned int tv_sec;
    clock_res_t tv_nsec;
} mach_timespec_t;

#define KERN_SUCCESS 0
#define KERN_INVALID_ARGUMENT 4
#define KERN_RESOURCE_SHORTAGE 6
#define KERN_ABORTED 14
#define KERN_INVALID_VALUE 18
#define KERN_TERMINATED 37
#define KERN_OPERATION_TIMED_OUT 49

#define SYNC_POLICY_FIFO 0

extern "C" {
mach_port_t mach_task_self(void);
kern_return_t semaphore_create(task_t task, semaphore_t* semaphore, int policy, int value);
kern_return_t semaphore_destroy(task_t task, semaphore_t semaphore);
kern_return_t semaphore_timedwait(semaphore_t semaphore, mach_timespec_t waitTime);
kern_return_t semaphore_signal_all(semaphore_t semaphore);
}

#endif
