// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_PORT_CONTRACT_H
#define VORN_BASES_IMPL_PORT_CONTRACT_H

// What a port to another host must provide. Documentation only: nothing includes this header.
//
// The library runs on a POSIX system with threads, named semaphores, System V shared memory and
// iconv. What such systems do differently is hidden by these seams. Each is a header of this
// directory with a source for each variant, NAME_HOST.cpp, or NAME_posix.cpp where all hosts agree
// so far; cmake/Host.cmake chooses. No other code depends on the host, which a check enforces.
// tests/Port runs the same cases over every variant; those of macOS run on Linux over a simulation
// of that system. They have never run on macOS itself.
//
// All functions may be called from any thread, at the same time; they throw nothing but
// std::bad_alloc and print nothing. One that fails leaves its outputs unchanged unless stated
// otherwise.
//
// KernelSem: where threads sleep that wait on an unnamed semaphore, mutex or event
//
//   Calls    Create, Destroy, Wait, PostAll. Monitor is the only caller. It holds its lock during
//            Wait and PostAll; it creates and destroys while nobody waits.
//   Owed     - PostAll wakes every thread that sleeps, not one of them.
//            - A PostAll under the lock is never missed for good by a thread that was in Wait
//              with the lock unlocked: either unlocking and falling asleep are one step, or the
//              sleep is short (100 ms on macOS).
//            - TimedOut is reported after the deadline on the monotonic clock, not before, and
//              not much later.
//            - Wait is a cancellation point. A thread that is cancelled holds the lock while its
//              stack is unwound.
//   Not owed Any order among the threads. Any memory: Monitor records who waits, whom a post has
//            released and what it leaves free, and checks that after every Wait. So Wait may end
//            for no reason, and a wake-up kept for a thread that has gone does no harm.
//   Differs  |                              | Linux: condition   | macOS: kernel semaphore      |
//            |                              | variable           |                              |
//            | ---------------------------- | ------------------ | ---------------------------- |
//            | unlocks and sleeps           | in one step        | in two                       |
//            | a post meets a thread that   | cannot happen      | wakes it at the end of its   |
//            | is about to sleep            |                    | short sleep at the latest    |
//            | a cancellation is acted on   | at once            | at the end of a short sleep  |
//            | sleeps without being woken   | until its deadline | at most 100 ms at a time     |
//            | aborts a wait (Aborted)      | never              | when the kernel does: an     |
//            |                              |                    | unlimited wait then fails, a |
//            |                              |                    | limited one is tried again,  |
//            |                              |                    | once, with its full time     |
//            | keeps a signal that finds    | no                 | unknown; the simulation      |
//            | nobody waiting               |                    | tries all answers            |
//   Above    Guaranteed by Monitor: a post releases every thread that has joined the waiters
//            before it, whatever follows; a post with nobody waiting leaves one wait free, never
//            two; a time-out takes nothing back from a thread that was released; no Set is lost
//            between the check of an event's flag and the sleep. What neither sleeps
//            nor wakes anybody does not come here at all.
//
// ProgramDir: the directory of the running program
//
//   Owed     Absolute, zero-terminated, no trailing separator; "/" for the root. False, with the
//            buffer untouched, when it is unknown or does not fit with its terminator. The size
//            is whatever the application claims, so never allocate that much.
//   Differs  On macOS the directory of a program in an application bundle is the bundle.
//
// RandomSource: bytes for identifiers
//
//   Owed     All requested bytes, of cryptographic quality, even when signals arrive meanwhile;
//            otherwise false. It may block until the system has gathered enough after booting.
//   Differs  Whether it can fail: on macOS it cannot.
//
// Clock: setting the machine's clock
//
//   Owed     False when the system refuses. Tests never let it reach the system.
//   Differs  Which microseconds outside 0-999999 are refused.
//
// FileCopy: copying between two open files inside the kernel
//
//   Owed     Both positions advance by what has been copied, and by nothing else. A pending
//            cancellation of the thread is acted on within a few megabytes.
//   Not owed Any byte: it may stop anywhere, for any reason, without saying so.
//   Differs  On macOS it copies nothing: the kernel there copies by path only, with the owner and
//            the times.
//
// FileTimes: the members of a file's status that hold its times
//
//   Owed     The three times with their nanoseconds, as references into the status.
//   Differs  Their resolution; it is the file system's.
//
// ConverterName: the name of the locale's encoding for iconv_open
//
//   Owed     A name that the host's iconv knows; the text may change with the locale.
//   Differs  The text. A host whose iconv knows "char" returns that.
//
// Processors: whether this process may run on several
//
//   Owed     An answer that costs nothing, of the time when the library is loaded.
//   Not owed The truth later on, or for one thread: it only helps to guess whether others run too.
//
// ThreadIdentity: the number of a thread
//
//   Owed     A number that no other thread of the process has while this one has not been joined.
//   Differs  Whether numbers are reused afterwards, and their size: callers keep 32 bits.
//
// CpuFeatures: what the processor can do, as far as only the host can tell
//
//   Owed     True only for what both the processor and the host support, since kernels then use it.
//            False where the host cannot tell: that costs speed only.
//   Differs  Which processors there are. x86 processors are queried directly, on every host.

#endif
