#ifndef VORN_BASES_IMPL_PORT_CONTRACT_H
#define VORN_BASES_IMPL_PORT_CONTRACT_H

// What a port to another host owes. Nothing includes this header; it is to be read.
//
// The library runs on a POSIX system with threads, named semaphores, System V shared memory and
// iconv. What such systems do differently is behind seven seams. Each is a header of this directory
// and one source for each variant, NAME_HOST.cpp, or NAME_posix.cpp where all hosts agree so far;
// Bases/CMakeLists.txt chooses. Nothing else asks which host it is, and a check holds that.
// tests/Port runs the same cases over every variant; those of macOS run over a simulation of that
// system, on Linux. They have never run on macOS itself.
//
// All calls may come from any thread, at the same time; throw nothing but std::bad_alloc; print
// nothing. One that fails leaves what its arguments point at as it was, unless it says otherwise.
//
// KernelSem: where threads sleep that wait on an unnamed semaphore, mutex or event
//
//   Calls    Create, Destroy, Wait, PostAll. Monitor is the only caller. It holds its lock during
//            Wait and PostAll; it makes and destroys while nobody waits.
//   Owed     - PostAll wakes every thread that sleeps, not one of them.
//            - A PostAll under the lock is never missed for good by a thread that was in Wait
//              with the lock unlocked. Either unlocking and falling asleep are one step, or the
//              sleep is short (100 ms on macOS).
//            - TimedOut is reported after the deadline on the monotonic clock, not before, and
//              not much later.
//            - Wait is a cancellation point. A thread that is cancelled holds the lock while its
//              stack is unwound.
//   Not owed Any order among the threads. Any memory: Monitor records who waits, whom a post has
//            released and what it leaves free, and looks at that after every Wait. So Wait may
//            end for no reason, and a wake that is kept for somebody who has gone does no harm.
//   Differs  |                              | stand-in of Linux  | kernel semaphores of macOS   |
//            | ---------------------------- | ------------------ | ---------------------------- |
//            | unlocks and sleeps           | in one step        | in two                       |
//            | a post meets a thread that   | cannot happen      | wakes it at the end of its   |
//            | is about to sleep            |                    | short sleep at the latest    |
//            | a cancellation is acted on   | at once            | at the end of a short sleep  |
//            | sleeps without being woken   | until its deadline | at most 100 ms at a time     |
//            | gives a wait up (Aborted)    | never              | when the kernel says so: an  |
//            |                              |                    | unlimited wait then fails, a |
//            |                              |                    | limited one is tried again,  |
//            |                              |                    | once, with its full time     |
//            | keeps a signal that finds    | no                 | not known; all answers are   |
//            | nobody                       |                    | tried in the simulation      |
//   Above    Who has joined the waiters before a post is released by it, whatever follows; a post
//   it       with nobody waiting leaves one wait free, never two; a time-out takes nothing back
//            from a thread that was released; no Set is lost between a look at an event's flag and
//            the sleep. A form of the event and the semaphore in one atomic word can stand in
//            front of Monitor without more from a host, since it sleeps by the same rule: asleep
//            as long as the record has not changed, and woken for a look at it.
//
// ProgramDir: the directory of the running program
//
//   Owed     Absolute, zero-terminated, no trailing separator; "/" for the root. False, with the
//            buffer untouched, when it is unknown or does not fit with its terminator. The size
//            is whatever the caller's caller claims, so it is no size to allocate.
//   Differs  On macOS the directory of a program in an application bundle is the bundle.
//
// RandomSource: bytes for identifiers
//
//   Owed     All bytes asked for, of the quality of keys, also when signals arrive meanwhile;
//            otherwise false. It may block until the system has gathered enough after its start.
//   Differs  Whether it can fail: on macOS it cannot.
//
// Clock: setting the machine's clock
//
//   Owed     False when the system refuses. Tests never let it reach the system.
//   Differs  Which microseconds outside 0-999999 are refused.
//
// FileTimes: the members of a file's status that hold its times
//
//   Owed     The three times with their nanoseconds, as references into the status.
//   Differs  Their resolution; it is the file system's.
//
// ConverterName: the name of the locale's encoding for iconv_open
//
//   Owed     A name that the host's iconv knows, where it does not know "char"; the text may
//            change with the locale.
//   Differs  Everything about the text. A host whose iconv knows "char" returns that.
//
// ThreadIdentity: the number of a thread
//
//   Owed     A number that no other thread of the process has while this one has not been joined.
//   Differs  Whether numbers are used again afterwards, and their size: callers keep 32 bits.

#endif
