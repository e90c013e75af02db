// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_THREAD_H
#define VORN_BASES_THREAD_H

// Locks, events, threads, a task pool, and shared memory.
//
// Time-outs are milliseconds: TryOnce (0) never blocks, WaitForever (0xFFFFFFFF) has no limit, and
// any other value waits at most that long on the monotonic clock (a single try on a named object,
// see below). A wait that may block is a POSIX cancellation point and safe to cancel: nothing stays
// locked and nothing leaks. TryOnce is no cancellation point.
//
// Mutexes and events can be named. The name goes to the platform's named semaphores unchanged; on
// Linux it is written "/name", with no further slash and at most 251 characters. Every process that
// uses the name gets the same object; a null name makes an object of this process. Named and
// unnamed objects differ on purpose:
//
//     |                     | unnamed                        | named                            |
//     | ------------------- | ------------------------------ | -------------------------------- |
//     | Unlock              | releases every blocked Lock    | releases one blocked Lock        |
//     | Unlock, with nobody | lets one later Lock succeed;   | lets one later Lock succeed for  |
//     | waiting             | further Unlocks add nothing    | each call                        |
//     | Set of an event     | releases every blocked Wait    | releases one blocked Wait, for   |
//     | that is not set     |                                | either kind of event             |
//     | Set, with nobody    | later Waits find it set        | later Waits of this object find  |
//     | waiting             |                                | it set; one Wait of another      |
//     |                     |                                | object succeeds                  |
//     | Set of an event     | does nothing                   | does nothing, even when another  |
//     | that is set         |                                | object has consumed the earlier  |
//     |                     |                                | Set                              |
//     | wait with a limit   | waits up to the limit          | a single try, never blocks       |
//     | interrupted by a    | goes on waiting                | an unlimited wait returns false, |
//     | signal handler      |                                | or goes on if the handler was    |
//     |                     |                                | installed with SA_RESTART        |
//     | Close               | frees it                       | removes the name for all         |
//     |                     |                                | processes; the object stays      |
//     |                     |                                | mapped until the process ends    |
//
// Shared-memory segments have names of another kind: any text, unrelated to the mutex or event of
// the same name. See Shm.

#include <atomic>
#include <list>
#include <memory>
#include <string>

#include <pthread.h>

#include <boost/function.hpp>

#include <Bases/Export.h>

namespace Vorn {

class VornEvent;
class VornSemaphore;

/// Time-outs with a meaning of their own.
inline constexpr unsigned int TryOnce = 0;
inline constexpr unsigned int WaitForever = 0xFFFFFFFF;

/// A critical section: a recursive lock for the threads of one process. The thread that holds it
/// may lock it again and must unlock it as often. All operations are const, so that const methods
/// can lock a member; any thread may call them.
class VORN_BASES_API VORN_BASES_LOCK_MARK(capability("lock")) Cs {
public:
    Cs();
    ~Cs();
    Cs(const Cs&) = delete;
    Cs& operator=(const Cs&) = delete;

    /// Waits until the section is free or held by the calling thread, and takes it.
    void Lock() const VORN_BASES_LOCK_MARK(acquire_capability());

    /// Takes the section if that needs no waiting. Returns true when it was taken, which includes
    /// that the calling thread already holds it; false when another thread does.
    bool TryLock() const VORN_BASES_LOCK_MARK(try_acquire_capability(true));

    /// Releases the section. The calling thread must hold it.
    void Unlock() const VORN_BASES_LOCK_MARK(release_capability());

private:
    mutable pthread_mutex_t m_mutex;
};

/// Holds a Cs for the length of a scope.
class VORN_BASES_API VORN_BASES_LOCK_MARK(scoped_lockable) CsLocker {
public:
    /// Takes the section; the destructor releases it.
    explicit CsLocker(const Cs& cs) VORN_BASES_LOCK_MARK(acquire_capability(cs));
    ~CsLocker() VORN_BASES_LOCK_MARK(release_capability());
    CsLocker(const CsLocker&) = delete;
    CsLocker& operator=(const CsLocker&) = delete;

private:
    const Cs& m_cs;
};

/// A lock that processes can share by name. It is a semaphore with the count 1 and has no owner: it
/// is not recursive, and any thread may unlock it.
///
///     |            | not opened            | opened, free          | opened, held            |
///     | ---------- | --------------------- | --------------------- | ----------------------- |
///     | Create     | opens                 | false                 | false                   |
///     | Open       | opens                 | false                 | false                   |
///     | Lock       | false                 | takes it              | waits, then takes it    |
///     | Unlock     | does nothing          | unnamed: does nothing | releases waiters        |
///     |            |                       | named: adds a count   | (see above)             |
///     | Close      | does nothing          | closes                | closes                  |
///
/// Any thread may call Lock and Unlock; Create, Open and Close belong to one thread while no other
/// uses the object.
///
/// Note: without an owner, a named mutex stays locked when the process that holds it ends; Close
/// and another Create replace it by a new one under the name.
///
/// Note: an unnamed Unlock wakes every waiter, so several threads can come out of Lock together.
/// Use Cs where exactly one thread may pass.
class VORN_BASES_API Mutex {
public:
    /// Constructs a mutex that is not opened.
    Mutex();

    /// Constructs a mutex and calls Create(name). Note: the result is lost, and IsOpened is true
    /// either way; where it matters, call Create instead.
    explicit Mutex(const char* name);

    /// Closes the mutex. Note: a named one thereby loses its name for every process.
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// Opens the mutex, unlocked: the one named `name`, created if it does not exist, or one of
    /// this process when `name` is null. Returns true on success.
    ///
    /// Returns false silently when the mutex counts as opened. When the platform refuses, prints
    /// "[ThreadSync] Mutex create failure.\r" on standard output and returns false. Note: after
    /// that the mutex counts as opened (IsOpened is true, a further Create or Open fails silently)
    /// until Close.
    bool Create(const char* name);

    /// Does what Create does, for new and existing names alike, but reports a failure as
    /// "[ThreadSync] Mutex open failure.\r".
    bool Open(const char* name);

    /// Takes the mutex, waiting at most `timeoutMs` milliseconds (a named one: see the table at the
    /// top). Returns true when it was taken; false when the time ran out, when the mutex is not
    /// opened, and when a signal handler interrupted an unlimited wait for a named one.
    bool Lock(unsigned int timeoutMs);

    /// Frees the mutex, whoever took it. Does nothing when it is not opened.
    void Unlock();

    /// Closes the mutex, which may then be created or opened again. A named one loses its name for
    /// every process; those that have it open keep using the object that they have. Returns true,
    /// even when there was nothing to close.
    bool Close();

    /// Returns true from an attempt to open, successful or not, until Close.
    bool IsOpened();

    /// Returns the semaphore inside, which the mutex owns. For identification only.
    VornSemaphore* GetHandle();

private:
    std::unique_ptr<VornSemaphore> m_pSem;
    std::string m_strName; // always empty; kept for the layout
};

/// Holds a Mutex for the length of a scope. Note: it waits without limit and ignores the result, so
/// it guards nothing when the mutex is not opened, or when a signal handler installed without
/// SA_RESTART interrupts its wait for a named one. The end of the scope still unlocks, which then
/// frees the lock of whoever holds it. Where such handlers run, call Lock and check its result.
class VORN_BASES_API MutexLocker {
public:
    /// Takes the mutex; the destructor frees it.
    explicit MutexLocker(Mutex& mutex);
    ~MutexLocker();
    MutexLocker(const MutexLocker&) = delete;
    MutexLocker& operator=(const MutexLocker&) = delete;

private:
    Mutex& m_mutex;
};

/// Kinds of events, for Event::Create; any number but AutoReset counts as ManualReset.
namespace EventKind {
inline constexpr int AutoReset = 0;
inline constexpr int ManualReset = 1;
} // namespace EventKind

/// Initial states, for Event::Create; any number but NotSet counts as Set.
namespace EventState {
inline constexpr int NotSet = 0;
inline constexpr int Set = 1;
} // namespace EventState

/// A flag that threads wait for.
///
/// A manual-reset event, once set, lets every Wait pass until Reset. An auto-reset event is reset
/// by every Wait, including one that fails. A Set of the same object that comes while a Wait fails
/// is not lost: that Wait returns true, or the next one does.
///
/// Note: a Set of a named event, of either kind, releases one of the threads then blocked in Wait.
/// The others stay blocked, although the event is set and a later Wait returns at once.
///
/// Note: the reset of an auto-reset event can take back a Set that nobody has seen. So keep what
/// the event announces elsewhere, such as in a queue, and look there after every Wait, including
/// one that failed:
/// - Where one Set releases several threads, each resets the event when it gets to run. A late one
///   takes back a Set that was made after an earlier one had returned.
/// - On a named event, the reset drains whatever other objects with the name, in this process or
///   another one, have set by then, even when the Wait itself has failed. Where processes announce
///   to each other and each announcement counts, use a named Mutex instead, locked once at first:
///   Unlock announces, Lock takes one announcement, and a Lock that fails takes none.
///
///     |                  | not created        | not set                 | set                    |
///     | ---------------- | ------------------ | ----------------------- | ---------------------- |
///     | Set              | true, becomes set  | true, releases waiters  | true, does nothing     |
///     | Reset            | false, stays       | true                    | true, becomes not set  |
///     | Wait, manual     | false (true once   | waits                   | true                   |
///     |                  | set, also if since |                         |                        |
///     |                  | closed)            |                         |                        |
///     | Wait, auto       | as manual          | waits, then resets      | true, becomes not set  |
///
/// Any thread may call Set, Reset and Wait; Create, Open and Close belong to one thread while no
/// other uses the object. The one thread that waits for an unnamed event may destroy it as soon as
/// its Wait has returned true, even if the Set that released it has not returned yet.
///
///     Vorn::Event done;
///     done.Create(Vorn::EventKind::ManualReset, Vorn::EventState::NotSet, nullptr);
///     std::thread worker([&done] { done.Set(); });
///     done.Wait(Vorn::WaitForever);
///     worker.join();
class VORN_BASES_API Event {
public:
    /// Constructs an event that is not created.
    Event();

    /// Closes the event. Note: a named one thereby loses its name for every process.
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    /// Creates the event: `bManualReset` is one of EventKind, `bInitialState` one of EventState,
    /// and a `name` that is not null shares it between processes. Returns true on success; prints
    /// nothing.
    ///
    /// Returns false and changes nothing when the event counts as opened. Returns false when the
    /// platform refuses; the event keeps its kind and state, but counts as opened until Close.
    ///
    /// Note: every object remembers for itself whether it is set. To another object with the same
    /// name, a Set is one count of the shared semaphore.
    bool Create(int bManualReset, int bInitialState, const char* name);

    /// Opens the event `name`, or creates it with one Wait free if it does not exist. Returns true
    /// on success and false as Create does. Note: an opened event is auto-reset, whatever its
    /// creator made it. Note: an object that was set earlier, even before a Close, stays set, so
    /// its first Wait passes.
    bool Open(const char* name);

    /// Sets the event. Returns true, always. Does nothing when this object is set.
    bool Set();

    /// Resets the event. Returns true on success; false, with the event unchanged, when it has not
    /// been created.
    bool Reset();

    /// Waits at most `timeoutMs` milliseconds for the event to be set (a named one: see the table
    /// at the top). Returns true when it was; false when the time ran out, when the event has not
    /// been created, and when a signal handler interrupted an unlimited wait for a named one. An
    /// auto-reset event is not set afterwards, whatever the result.
    bool Wait(unsigned int timeoutMs);

    /// Closes the event; a named one loses its name for every process. Note: Wait on an event that
    /// was closed while set returns true.
    void Close();

    /// Returns true from an attempt to create or open, successful or not, until Close.
    bool IsOpened();

    /// Returns the implementation, which the event owns. For identification only.
    VornEvent* GetHandle();

private:
    std::unique_ptr<VornEvent> m_pEvent;
    std::string m_strName; // always empty; kept for the layout
};

class Thread;

/// What a Thread runs when it is not subclassed. The thread does not own its handler: keep it alive
/// until the thread has been stopped.
class VORN_BASES_API ThreadHandler {
public:
    /// Called by StartThread on the starting thread. 0 refuses the start.
    virtual int OnPreThreadStart(Thread* pThread) = 0;

    /// The thread's body, called on the new thread. Its result is ignored.
    virtual int OnThreadEntry(Thread* pThread) = 0;

    virtual ~ThreadHandler();

protected:
    ThreadHandler();
    ThreadHandler(const ThreadHandler&) = default;
    ThreadHandler& operator=(const ThreadHandler&) = default;
};

/// How Thread::StartThread begins; any number but Running counts as Suspended.
namespace ThreadStart {
inline constexpr int Running = 0;
inline constexpr int Suspended = 1; ///< holds the body at a gate until ResumeThread or StopThread
} // namespace ThreadStart

/// What Thread::StopThread does when its time runs out; any number but LeaveRunning counts as
/// Cancel.
namespace ThreadStop {
inline constexpr int LeaveRunning = 0;
inline constexpr int Cancel = 1;
} // namespace ThreadStop

/// One body on one POSIX thread with a cooperative stop: the owner requests it, the body polls
/// IsStopThread and returns. The body is a handler's OnThreadEntry or that of a subclass.
///
/// StartThread, StopThread, ResumeThread and destruction belong to one thread, the owner's; the
/// body may call IsStopThread, StopThreadEvent, SleepThread, YieldThread and the getters.
///
///     |                 | no thread    | held at the gate   | running      | body ended    |
///     | --------------- | ------------ | ------------------ | ------------ | ------------- |
///     | StartThread     | starts       | stops it, waiting  | the same     | joins, starts |
///     |                 |              | without limit for  |              |               |
///     |                 |              | its body; starts   |              |               |
///     | ResumeThread    | false        | releases the body  | true         | true          |
///     | StopThreadEvent | false        | true               | true         | true          |
///     | StopThread      | does nothing | releases it, joins | waits, joins | joins         |
///     | IsStopThread(0) | true         | stop requested?    | the same     | the same      |
///     | IsThreadRunning | false        | true               | true         | true          |
///
/// An exception that leaves the body ends the process. A body that calls pthread_exit, or that is
/// cancelled through the handle, counts as ended. Stop a subclass before its own part is destroyed:
/// the base destructor stops the thread only afterwards.
///
///     struct Ticker : Vorn::ThreadHandler {
///         int OnPreThreadStart(Vorn::Thread*) override { return 1; }
///         int OnThreadEntry(Vorn::Thread* pThread) override {
///             while (!pThread->IsStopThread(1000)) // sleeps a second, unless a stop is requested
///                 std::puts("tick");
///             return 0;
///         }
///     };
///     Ticker ticker; // outlives the thread
///     Vorn::Thread thread;
///     thread.SetThreadHandler(&ticker);
///     thread.StartThread(Vorn::ThreadStart::Running);
///     thread.StopThread(5000, Vorn::ThreadStop::LeaveRunning);
class VORN_BASES_API Thread {
public:
    Thread();

    /// Requests the stop, waits without limit for the body to end, and joins the thread, with the
    /// calling thread's cancellation disabled. Note: an overridden StopThread is not called.
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Requests the stop, opens the suspend gate, waits at most `timeoutMs` milliseconds for the
    /// body to end, and joins the thread. Does nothing when there is no thread.
    ///
    /// When the time runs out, `bForce`, one of ThreadStop, decides. LeaveRunning returns at once;
    /// the thread goes on, with the stop requested. Cancel cancels the thread, which ends at its
    /// next cancellation point, and joins it. The stack of a cancelled body is unwound, so its
    /// locals are destroyed. Note: if the cancellation is acted on inside a destructor, such as one
    /// that closes a file, the process terminates; a body that is to be cancelled guards against
    /// that with pthread_setcancelstate.
    ///
    /// Called by the body itself, the wait always fails: LeaveRunning then goes on, and Cancel ends
    /// the body there, to be joined by the owner's StopThread. The body must not wait without
    /// limit.
    virtual void StopThread(unsigned int timeoutMs, int bForce);

    /// Called by StartThread before anything is created; 0 refuses the start. Returns the handler's
    /// answer, or 1 without a handler.
    virtual int OnPreThreadStart();

    /// The body. Returns the result of the handler's, or 0 without a handler.
    virtual int OnThreadEntry();

    /// Sets the handler, which is not owned; null for none.
    void SetThreadHandler(ThreadHandler* pHandler);

    /// Starts the thread; `bSuspended` is one of ThreadStart. Note: a start ends with a pause of
    /// 100 microseconds, in which the new thread can begin.
    ///
    /// An existing thread is first stopped by StopThread(WaitForever, ThreadStop::Cancel). Note: a
    /// wait without limit never runs out, so a body that ignores the request is never cancelled,
    /// and the start waits for ever.
    ///
    /// Returns true on success. Returns false when OnPreThreadStart refuses, and, after one line on
    /// standard output, when an event cannot be created: "[Thread] Create stop event failure.\r",
    /// "[Thread] Create exit event failure.\r" or "[Thread] Create suspend event failure.\r". No
    /// thread exists then.
    ///
    /// Note: once an event has failed, every further start of the object fails, StopThread or not:
    /// at the suspend event if that was it, otherwise at the stop event. Use another object.
    ///
    /// Note: when the platform cannot create the thread, the result is still true and so is
    /// IsThreadRunning, but the body never runs; StopThread, whatever its arguments, then returns
    /// without waiting and leaves no thread. (A platform that reported this by a negative number
    /// would get "[Thread] Create thread failure.\r" and false.)
    ///
    /// Throws std::bad_alloc when memory runs out. No thread exists then, and a further start may
    /// succeed.
    bool StartThread(int bSuspended);

    /// The start routine of the new thread; StartThread allocates its argument. Returns null; with
    /// a null argument it does nothing else.
    static void* ThreadEntryProc(void* pArgs);

    /// Waits at most `timeoutMs` milliseconds for a stop request; for the body to poll. Returns
    /// true when a stop was requested or no thread exists.
    bool IsStopThread(unsigned int timeoutMs) const;

    /// Requests the stop without waiting; the gate stays closed. Returns true, or false when no
    /// thread exists.
    bool StopThreadEvent();

    /// Releases a body that is held at the suspend gate. Returns true, or false when no thread
    /// exists.
    bool ResumeThread();

    /// Returns true from StartThread until StopThread has joined the thread. Note: it stays true
    /// after the body has ended.
    bool IsThreadRunning() const;

    /// Sleeps. Note: the microseconds are computed in 32 bits, so 4294968 milliseconds and more
    /// wrap to a short sleep.
    void SleepThread(unsigned int ms);

    /// Yields the processor (`sched_yield`). Returns true on success.
    bool YieldThread();

    /// The stored priority, 15 at first. Note: it is never applied to the platform's thread.
    int GetThreadPriority() const;
    void SetThreadPriority(int nPriority);

    /// Returns the address of the platform's thread identity, owned by this object; null when no
    /// thread exists.
    pthread_t* GetHandle() const;

    /// Returns the event that a stop request sets, owned by this object.
    VornEvent* GetStopThreadEvent() const;

    /// Returns the low 32 bits of the platform's thread identity, which two threads may share; 0
    /// when no thread exists.
    int GetThreadId() const;

    /// Compare the handles: two objects without a thread are equal, two with one only when they are
    /// the same object.
    bool operator==(const Thread& other) const;
    bool operator!=(const Thread& other) const;

private:
    struct VORN_BASES_LOCAL StartRecord;

    VORN_BASES_LOCAL bool CreateEvents();
    VORN_BASES_LOCAL bool CreateThread(bool suspended);
    VORN_BASES_LOCAL bool JoinThread(unsigned int timeoutMs, bool force);
    VORN_BASES_LOCAL void CloseEvents();

    ThreadHandler* m_pHandler;
    std::unique_ptr<pthread_t> m_pThread;
    std::unique_ptr<VornEvent> m_pStopEvent;
    std::unique_ptr<VornEvent> m_pExitEvent;
    std::unique_ptr<VornEvent> m_pSuspendEvent;
    [[maybe_unused]] int m_nReserved; // kept for the layout; used by no operation
    int m_nPriority;
    bool m_bJoinable;            // false when the platform could not create the thread
    std::atomic<bool> m_bForced; // StopThread has cancelled the thread and joins it
};

/// A queue of tasks and one worker thread that runs them one after another, in the order posted.
/// Any thread may post, a running task included. Start and stop it as a Thread; tasks posted before
/// the start wait.
///
/// StopThread wakes an idle worker; other stop requests are seen within 100 ms. An exception that
/// leaves a task, such as the boost::bad_function_call of an empty one, ends the process. What a
/// task refers to must live until the task has run or the pool has been stopped.
///
///     Vorn::Event done;
///     done.Create(Vorn::EventKind::ManualReset, Vorn::EventState::NotSet, nullptr);
///     Vorn::ThreadTaskPool pool;
///     pool.StartThread(Vorn::ThreadStart::Running);
///     pool.Post([&done] { std::puts("working"); done.Set(); }); // prints "working"
///     done.Wait(Vorn::WaitForever); // StopThread drops what has not begun
///     pool.StopThread(Vorn::WaitForever, Vorn::ThreadStop::LeaveRunning);
class VORN_BASES_API ThreadTaskPool : public Thread {
public:
    ThreadTaskPool();

    /// Stops the worker, waiting without limit for its running task, and destroys queued tasks
    /// unrun, including those that their destruction posts. Nobody else may post any more.
    ~ThreadTaskPool() override;
    ThreadTaskPool(const ThreadTaskPool&) = delete;
    ThreadTaskPool& operator=(const ThreadTaskPool&) = delete;

    /// Stops the worker as Thread::StopThread does: the running task finishes, unless it is
    /// cancelled. Then destroys all queued tasks unrun, on the calling thread and with its
    /// cancellation disabled; also when the worker is left running, and when there was none. Tasks
    /// that this destruction posts stay queued for the next start.
    ///
    /// Note: StartThread on a running pool stops it first and so drops the queued tasks.
    void StopThread(unsigned int timeoutMs, int bForce) override;

    /// The worker's loop. Returns 0 when a stop is requested. Any further thread that calls it
    /// between StartThread and StopThread takes tasks, too; it must have returned before StopThread
    /// is called, which StopThreadEvent brings about.
    int OnThreadEntry() override;

    /// Appends a copy of the task to the queue and wakes the worker. Any thread may call it. Blocks
    /// only while the queue is locked: at most for copying one task. An empty task is accepted
    /// here. The copying itself may post, but not stop the pool.
    ///
    /// The worker takes a second copy out of the queue and destroys the queued one. It runs its
    /// copy with no lock held and destroys it before it waits or takes the next.
    void Post(boost::function<void()> task);

private:
    using Task = boost::function<void()>;
    using TaskList = std::list<Task>;

    VORN_BASES_LOCAL void RequestStop();
    VORN_BASES_LOCAL void RunNextTask(TaskList& used);
    VORN_BASES_LOCAL bool TakeTask(Task& task, TaskList& used);
    VORN_BASES_LOCAL bool Refill(TaskList& used)
        VORN_BASES_LOCK_MARK(requires_capability(m_csNext));
    VORN_BASES_LOCAL void KeepNodes(TaskList& used)
        VORN_BASES_LOCK_MARK(requires_capability(m_csTasks));
    VORN_BASES_LOCAL bool DropTasks();

    // The queue is the list of the tasks that the worker takes next and, behind it, the list of
    // those posted since: the worker meets posting threads only when its own list is used up. Then
    // it also returns the list nodes that it has used, for further posts, as its loop does at the
    // end.
    std::unique_ptr<TaskList> m_pTasks VORN_BASES_LOCK_MARK(pt_guarded_by(m_csTasks));
    Cs m_csTasks;
    Event m_evtTasks; // set while there are tasks, and to wake the worker for a stop
    TaskList m_spareNodes VORN_BASES_LOCK_MARK(guarded_by(m_csTasks)); // hold empty tasks
    TaskList m_nextTasks VORN_BASES_LOCK_MARK(guarded_by(m_csNext));
    Cs m_csNext; // locked before the other one
};

/// How an object of Shm attaches its segment; any number but ReadWrite counts as ReadOnly.
namespace ShmAccess {
inline constexpr int ReadWrite = 0;
inline constexpr int ReadOnly = 1;
} // namespace ShmAccess

/// What Shm::Create does to the bytes of a new segment; any number but None counts as Zero.
namespace ShmFill {
inline constexpr int None = 0; ///< leaves them as the platform provides them: zero on Linux
inline constexpr int Zero = 1;
} // namespace ShmFill

/// Memory that processes share by name: a System V segment, which exists until it is removed,
/// whether or not a process uses it.
///
///     |          | no segment       | a segment             | after a failed Create or Open    |
///     | -------- | ---------------- | --------------------- | -------------------------------- |
///     | Create   | creates one      | false                 | false                            |
///     | Open     | finds one        | false                 | false                            |
///     | Map      | null             | attaches it           | the platform's failure value     |
///     | Close    | does nothing     | removes it            | ends the process (see there)     |
///     | IsOpened | false            | true                  | true                             |
///
/// `bReadOnly`, one of ShmAccess, sets how this object attaches. The permissions of the segment,
/// which count for every process, follow from it the other way round:
///
///     |                         | 1, ReadOnly                   | 0, ReadWrite               |
///     | ----------------------- | ----------------------------- | -------------------------- |
///     | permissions from Create | 0666, all may read and write  | 0555, nobody may write     |
///     | Open asks for           | reading and writing           | reading and executing      |
///     | Map attaches            | for reading                   | for reading and writing    |
///
/// So a process without privilege never gets writable memory through this class: not even the owner
/// may attach for writing what it created as ReadWrite, and an Open with another value than the
/// creator's is refused. To write, a process needs the capability CAP_IPC_OWNER, which overrides
/// the permissions. The superuser has it, except in containers that withhold it.
///
///     | created as | a process without privilege       | a process with CAP_IPC_OWNER      |
///     | ---------- | --------------------------------- | --------------------------------- |
///     | ReadOnly   | Open as ReadOnly and Map: reads   | Open as ReadOnly: reads;          |
///     |            |                                   | as ReadWrite: writes              |
///     | ReadWrite  | Open as ReadWrite: succeeds, but  | the same                          |
///     |            | Map fails                         |                                   |
///
/// A name is any text. Its hash is the 32-bit key of the segment: starting from 5381, times 33 plus
/// the byte (as a signed number) for each byte; the low 32 bits. Note: names with the same key are
/// one segment. Note: a name whose key is 0 shares nothing, since the platform takes that key for
/// "a new segment without a name".
///
/// Note: the first segment created on a machine, or in a container with System V objects of its
/// own, has the identifier 0, which this class takes for "no segment": Create reports success, Open
/// failure, IsOpened is false, Map returns null, and Close removes nothing. Programs that may run
/// that early first create and remove a segment with the platform's tools (`ipcmk`, `ipcrm`).
///
/// One object belongs to one thread at a time. Access to the memory is not synchronised: processes
/// that write at the same time agree on a named Mutex. Memory that Map attached outlives Close and
/// the object; it is the caller's until Unmap.
///
///     auto* const shm = new Vorn::Shm; // lives on after a refusal, see Close
///     if (shm->Create(4096, "com.example.state", Vorn::ShmAccess::ReadWrite,
///                     Vorn::ShmFill::Zero)) {
///         unsigned char* const p = shm->Map();
///         if (p != nullptr && p != reinterpret_cast<unsigned char*>(-1)) { // may write, see above
///             p[0] = 1;      // seen by every process that has mapped the segment
///             shm->Close();  // removes the name; first this, in every process,
///             shm->Unmap(p); // and then this: the segment goes with its last mapping
///         }
///         delete shm; // also removes what could not be mapped
///     }
class VORN_BASES_API Shm {
public:
    /// Constructs an object without a segment.
    Shm();

    /// Closes the segment. Note: this removes it for every process, and ends this process if it
    /// cannot be removed; see Close.
    virtual ~Shm();
    Shm(const Shm&) = delete;
    Shm& operator=(const Shm&) = delete;

    /// Creates the segment `name` of `size` bytes, which must not exist. `bReadOnly` is one of
    /// ShmAccess; the permissions follow from it as above. `bZeroFill` is one of ShmFill: Zero,
    /// with ReadWrite access, attaches the segment once and sets it to zero. If it may not be
    /// attached, it stays as the platform created it. `name` must not be null; this is not checked.
    ///
    /// Returns true on success; prints nothing. Returns false and changes nothing when the object
    /// counts as opened. Returns false when the platform refuses: the name exists, or the size is 0
    /// or more than it grants.
    ///
    /// Note: after a refusal the object counts as opened; see Close for what this means.
    bool Create(unsigned long size, const char* name, int bReadOnly, int bZeroFill);

    /// Finds the segment `name`, whatever its size. `bReadOnly` is one of ShmAccess and also says
    /// which permissions are asked for. `name` must not be null; this is not checked.
    ///
    /// Returns false and changes nothing when the object counts as opened, otherwise true. Note: it
    /// returns true also when there is no such segment or its permissions do not suffice. Map then
    /// returns the platform's failure value, and the object counts as opened; see Close for what
    /// this means.
    bool Open(const char* name, int bReadOnly);

    /// Attaches the segment once more, at an address that the system chooses: for reading and
    /// writing with ReadWrite access, otherwise for reading only, where a write ends the process
    /// with SIGSEGV. Returns the address of its first byte, to be passed to Unmap. Returns null
    /// without a segment.
    ///
    /// Note: when the platform refuses, the result is not null but the platform's failure value,
    /// the address of all ones: `reinterpret_cast<unsigned char*>(-1)`. Compare with both.
    unsigned char* Map();

    /// Detaches what Map of this or another object attached at `p`. Returns true on success, false
    /// when `p` is null or nothing is attached there.
    bool Unmap(unsigned char* p);

    /// Removes the segment for every process, even if this object only opened it; the object may
    /// then create or open again. The name is free for another segment at once; the memory stays
    /// valid where it is mapped and is freed with its last mapping. Does nothing without a segment.
    ///
    /// Note: a segment that cannot be removed ends a process whose library checks assertions, with
    /// the message "::shmctl(m_hShm, 0, __null) == 0"; where assertions are compiled out, the
    /// object merely has no segment any more. A segment cannot be removed
    /// - after a failed Create or Open. An object for which that may happen must be neither closed
    ///   nor destroyed;
    /// - when another object, of this or another process, has closed the segment and its last
    ///   mapping is gone. Removing it again is fine before that: close everywhere, then unmap;
    /// - in a process of another user than its creator's, unless that process has the capability
    ///   CAP_SYS_ADMIN.
    void Close();

    /// Returns true from an attempt to create or open, successful or not, until Close.
    bool IsOpened();

private:
    int m_hShm;      // the segment's identifier; 0 for none, -1 after a refusal
    int m_bReadOnly; // as passed to Create or Open
};

} // namespace Vorn

#endif
