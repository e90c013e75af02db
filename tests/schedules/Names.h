// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SCHEDULES_NAMES_H
#define VORN_BASES_TESTS_SCHEDULES_NAMES_H

// Included before everything else in the units and scenarios of this directory: their calls to the
// platform go to Platform.cpp, under names that no other object file uses.

#pragma redefine_extname __assert_fail PlayAssertFail
#pragma redefine_extname clock_gettime PlayClockGetTime
#pragma redefine_extname gettimeofday PlayGetTimeOfDay
#pragma redefine_extname pthread_cancel PlayCancel
#pragma redefine_extname pthread_cond_broadcast PlayCondBroadcast
#pragma redefine_extname pthread_cond_destroy PlayCondDestroy
#pragma redefine_extname pthread_cond_init PlayCondInit
#pragma redefine_extname pthread_cond_signal PlayCondSignal
#pragma redefine_extname pthread_cond_timedwait PlayCondTimedWait
#pragma redefine_extname pthread_cond_wait PlayCondWait
#pragma redefine_extname pthread_create PlayCreate
#pragma redefine_extname pthread_join PlayJoin
#pragma redefine_extname pthread_mutex_destroy PlayMutexDestroy
#pragma redefine_extname pthread_mutex_init PlayMutexInit
#pragma redefine_extname pthread_mutex_lock PlayMutexLock
#pragma redefine_extname pthread_mutex_trylock PlayMutexTryLock
#pragma redefine_extname pthread_mutex_unlock PlayMutexUnlock
#pragma redefine_extname pthread_self PlaySelf
#pragma redefine_extname pthread_setcancelstate PlaySetCancelState
#pragma redefine_extname pthread_testcancel PlayTestCancel
#pragma redefine_extname sched_yield PlayYield
#pragma redefine_extname sem_getvalue PlaySemGetValue
#pragma redefine_extname sem_open PlaySemOpen
#pragma redefine_extname sem_post PlaySemPost
#pragma redefine_extname sem_trywait PlaySemTryWait
#pragma redefine_extname sem_unlink PlaySemUnlink
#pragma redefine_extname sem_wait PlaySemWait
#pragma redefine_extname usleep PlaySleep

#endif
