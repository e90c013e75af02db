#ifndef VORN_BASES_THREAD_H
#define VORN_BASES_THREAD_H

// Locks, events, threads, a task pool, and memory that processes share.
//
// Time-outs are counts of milliseconds: WaitForever (0xFFFFFFFF) waits without limit, TryOnce (0)
// tries once and never blocks, any other value waits at most that long, measured on the monotonic clock. (On an object
// with a name any other value is a single try, too; see below.) A wait that may block is a POSIX
// cancellation point and survives cancellation: nothing stays locked and nothing leaks. A wait of 0
// is no cancellation point.
//
// Mutexes and events can be named. The name goes to the platform's named semaphores unchanged, so
// on Linux it is written "/name", holds no further slash and at most 251 characters; the object is
// then one and the same for every process that uses the name. A null name makes an object of this
// process. Named and unnamed objects behave differently on purpose:
//
//     |                     | unnamed                        | named                            |
//     | ------------------- | ------------------------------ | -------------------------------- |
//     | Unlock              | releases every blocked Lock    | releases one blocked Lock        |
//     | Unlock, with nobody | leaves one later Lock free,    | leaves one later Lock free for   |
//     | waiting             | however often it is called     | each call                        |
//     | Set of an event     | releases every blocked Wait    | releases one blocked Wait, of    |
//     | that is not set     |                                | either kind of event             |
//     | Set, with nobody    | later Waits find it set        | so do later Waits of this        |
//     | waiting             |                                | object; one Wait of another one  |
//     |                     |                                | is left free                     |
//     | Set of an event     | does nothing                   | does nothing, even when another  |
//     | that is set         |                                | object has taken what was free   |
//     | wait with a limit   | waits up to the limit          | a single try, never blocks       |
//     | interrupted by a    | goes on waiting                | an unlimited wait returns false; |
//     | signal handler      |                                | it goes on after a handler that  |
//     |                     |                                | was installed with SA_RESTART    |
//     | Close               | frees it                       | removes the name for all         |
//     |                     |                                | processes; the object itself     |
//     |                     |                                | stays mapped until the process   |
//     |                     |                                | ends                             |
//
// A shared-memory segment has a name, too, but of another kind: any text will do, and it has
// nothing to do with the mutex or event of the same name. See Shm.

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
/// may lock it again and must unlock it as often. All operations are const, so that a const method
/// can lock a member; any thread may call them.
class VORN_BASES_API Cs {
public:
    Cs();
    ~Cs();
    Cs(const Cs&) = delete;
    Cs& operator=(const Cs&) = delete;

    /// Waits until the section is free or already held by this thread, and takes it.
    void Lock() const;

    /// Returns true when the section could be taken without waiting, which includes that the
    /// calling thread holds it already; false when another thread holds it.
    bool TryLock() const;

    /// Gives the section back. The caller must be the thread that holds it.
    void Unlock() const;

private:
    mutable pthread_mutex_t m_mutex;
};

/// Holds a Cs for the length of a scope.
class VORN_BASES_API CsLocker {
public:
    explicit CsLocker(const Cs& cs);
    ~CsLocker();
    CsLocker(const CsLocker&) = delete;
    CsLocker& operator=(const CsLocker&) = delete;

private:
    const Cs& m_cs;
};

/// A lock that can be shared between processes by name. It is a semaphore with the count 1, not an
/// owned lock: it is not recursive, and any thread may unlock it.
///
///     |            | not opened            | opened, free          | opened, held            |
///     | ---------- | --------------------- | --------------------- | ----------------------- |
///     | Create     | opens                 | false                 | false                   |
///     | Open       | opens                 | false                 | false                   |
///     | Lock       | false                 | takes it              | waits, then takes it    |
///     | Unlock     | does nothing          | unnamed: does nothing | releases waiters        |
///     |            |                       | named: count up       | (see above)             |
///     | Close      | does nothing          | closes                | closes                  |
///
/// Create, Open and Close belong to one thread while no other thread uses the object; Lock and
/// Unlock may be called from any thread.
///
/// Note: nobody owns the lock, so a process that ends while it holds a named one leaves it locked;
/// Close and a new Create make a fresh one under the name.
///
/// Note: because an unnamed Unlock wakes every waiter, several threads that waited can come out of
/// Lock together. Use Cs where exactly one thread may pass.
class VORN_BASES_API Mutex {
public:
    /// Makes a mutex that is not opened yet.
    Mutex();

    /// Makes a mutex and calls Create(name); ask IsOpened for the result.
    explicit Mutex(const char* name);

    /// Closes the mutex. Note: as with Close, a named one loses its name for every process.
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// Opens the mutex, unlocked: the named one when `name` is not null (made if it does not exist
    /// yet), otherwise one of this process. Returns true on success.
    ///
    /// Returns false without a message when the mutex is opened already. When the platform refuses,
    /// prints "[ThreadSync] Mutex create failure.\r" on standard output and returns false. Note: a
    /// mutex that failed to open counts as opened (IsOpened is true, a further Create or Open fails
    /// silently) until Close.
    bool Create(const char* name);

    /// The same as Create, existing or not, but for the message of a failure:
    /// "[ThreadSync] Mutex open failure.\r".
    bool Open(const char* name);

    /// Takes the mutex, waiting at most `timeoutMs` milliseconds. Returns true when it was taken,
    /// false when the time ran out, when the mutex is not opened, and when a signal handler that
    /// was installed without SA_RESTART interrupted the unlimited wait for a named one. Note: on a
    /// named mutex every limit other than WaitForever is a single try.
    bool Lock(unsigned int timeoutMs);

    /// Frees the mutex, whoever took it. Does nothing on a mutex that is not opened.
    void Unlock();

    /// Closes the mutex; a named one loses its name for every process, and those that have it open
    /// go on with the object that they have. It may be created or opened anew. Returns true, also
    /// when there was nothing to close.
    bool Close();

    /// Returns true between an attempt to open, successful or not, and Close.
    bool IsOpened();

    /// Returns the semaphore inside, which the mutex owns. For identification only.
    VornSemaphore* GetHandle();

private:
    std::unique_ptr<VornSemaphore> m_pSem;
    std::string m_strName; // always empty; kept for the layout
};

/// Holds a Mutex for the length of a scope. Note: it waits without limit and does not look at the
/// result, so on a mutex that is not opened it guards nothing. Nor does it when a signal handler
/// interrupts its wait for a named mutex; at the end of the scope it unlocks that mutex all the
/// same, which frees the lock of whoever holds it. Where signals are handled without SA_RESTART,
/// call Lock and look at its result.
class VORN_BASES_API MutexLocker {
public:
    explicit MutexLocker(Mutex& mutex);
    ~MutexLocker();
    MutexLocker(const MutexLocker&) = delete;
    MutexLocker& operator=(const MutexLocker&) = delete;

private:
    Mutex& m_mutex;
};

/// Kinds of events, for Event::Create.
namespace EventKind {
inline constexpr int AutoReset = 0;
inline constexpr int ManualReset = 1;
} // namespace EventKind

/// States that Event::Create gives an event.
namespace EventState {
inline constexpr int NotSet = 0;
inline constexpr int Set = 1;
} // namespace EventState

/// A flag that threads wait for.
///
/// A manual-reset event, once set, lets every Wait through until Reset. An auto-reset event is
/// reset by every Wait, also by one that fails; a Set that comes while a Wait fails is not lost:
/// that wait returns true, or the next one does.
///
/// Note: a Set of a named event, of either kind, releases one of the threads that are blocked in
/// Wait by then. The others stay blocked, although the event is set and a Wait that begins later
/// returns at once.
///
/// Note: where one Set releases several threads that wait for an auto-reset event, each of them
/// resets it when it gets to run. The reset of a late one takes back also a Set that was made after
/// an earlier one had returned. Keep what the event announces elsewhere, such as in a queue, and
/// look there after every Wait.
///
///     |                  | not created        | not set                 | set                    |
///     | ---------------- | ------------------ | ----------------------- | ---------------------- |
///     | Set              | true, becomes set  | true, releases waiters  | true, does nothing     |
///     | Reset            | false, stays       | true                    | true, becomes not set  |
///     | Wait, manual     | false (true if it  | waits                   | true                   |
///     |                  | was closed set)    |                         |                        |
///     | Wait, auto       | as manual          | waits, then resets      | true, becomes not set  |
///
/// Create, Open and Close belong to one thread while no other thread uses the object; Set, Reset
/// and Wait may be called from any thread.
///
///     Vorn::Event done;
///     done.Create(Vorn::EventKind::ManualReset, Vorn::EventState::NotSet, nullptr);
///     std::thread worker([&done] { done.Set(); });
///     done.Wait(Vorn::WaitForever);
///     worker.join();
class VORN_BASES_API Event {
public:
    /// Makes an event that is not created yet.
    Event();

    /// Closes the event. Note: as with Close, a named one loses its name for every process.
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    /// Creates the event: manual-reset when `bManualReset` is not 0, set at once when
    /// `bInitialState` is not 0, shared between processes when `name` is not null. Returns true on
    /// success. Returns false and changes nothing when the event was created or opened before, even
    /// without success, and not closed since. Returns false when the platform refuses; this leaves
    /// the event's kind and whether it is set as they were, but the event counts as opened. Prints
    /// nothing.
    ///
    /// Note: whether an event is set is remembered by each object of its own. An object of another
    /// process with the same name sees a Set as one count of the shared semaphore.
    bool Create(int bManualReset, int bInitialState, const char* name);

    /// Opens the event `name`, or makes it when it does not exist yet, then with one wait free.
    /// Returns true on success and false as Create does. Note: an opened event is always
    /// auto-reset, however its creator made it. Note: an event of this object that was set before,
    /// by Set or in an earlier life, stays set, so that the first Wait passes.
    bool Open(const char* name);

    /// Sets the event. Returns true, always. Does nothing when this object has the event as set.
    bool Set();

    /// Makes the event not set. Returns true on success; false, with the event as it was, when it
    /// has not been created.
    bool Reset();

    /// Waits at most `timeoutMs` milliseconds for the event to be set. Returns true when it was,
    /// false when the time ran out, when the event has not been created, and when a signal handler
    /// that was installed without SA_RESTART interrupted the unlimited wait for a named one. An
    /// auto-reset event is then not set, whatever the result. Note: on a named event every limit
    /// other than WaitForever is a single try.
    bool Wait(unsigned int timeoutMs);

    /// Closes the event; a named one loses its name for every process. Note: whether it was set is
    /// remembered: Wait on an event that was closed while set returns true.
    void Close();

    /// Returns true between an attempt to create or open, successful or not, and Close.
    bool IsOpened();

    /// Returns the implementation, which the event owns. For identification only.
    VornEvent* GetHandle();

private:
    std::unique_ptr<VornEvent> m_pEvent;
    std::string m_strName; // always empty; kept for the layout
};

class Thread;

/// How Thread::StartThread begins.
namespace ThreadStart {
inline constexpr int Running = 0;
inline constexpr int Suspended = 1; ///< the body is held at a gate until ResumeThread
} // namespace ThreadStart

/// What Thread::StopThread does when the time runs out.
namespace ThreadStop {
inline constexpr int LeaveRunning = 0;
inline constexpr int Cancel = 1;
} // namespace ThreadStop

/// What a Thread runs when it is not subclassed. The thread does not own its handler; the owner
/// keeps it alive until the thread has been stopped.
class VORN_BASES_API ThreadHandler {
public:
    /// Called by StartThread on the starting thread. A result of 0 refuses the start.
    virtual int OnPreThreadStart(Thread* pThread) = 0;

    /// The thread's body, called on the new thread. Its result is not used.
    virtual int OnThreadEntry(Thread* pThread) = 0;

    virtual ~ThreadHandler();

protected:
    ThreadHandler();
    ThreadHandler(const ThreadHandler&) = default;
    ThreadHandler& operator=(const ThreadHandler&) = default;
};

/// One body on one POSIX thread, with a cooperative stop: the owner asks for the stop, the body
/// polls IsStopThread and returns. The body is a handler's OnThreadEntry or that of a subclass.
///
/// StartThread, StopThread, ResumeThread and destruction belong to one thread, the owner's; the
/// body may call IsStopThread, StopThreadEvent, SleepThread, YieldThread and the getters.
///
///     |                 | no thread    | held at the gate   | running      | body ended    |
///     | --------------- | ------------ | ------------------ | ------------ | ------------- |
///     | StartThread     | starts       | stops it, waiting  | the same     | joins, starts |
///     |                 |              | without limit for  |              |               |
///     |                 |              | its body; starts   |              |               |
///     | ResumeThread    | false        | lets the body run  | true         | true          |
///     | StopThreadEvent | false        | true               | true         | true          |
///     | StopThread      | does nothing | lets it run, joins | waits, joins | joins         |
///     | IsStopThread(0) | true         | stop requested?    | the same     | the same      |
///     | IsThreadRunning | false        | true               | true         | true          |
///
/// An exception that leaves the body ends the process. A body that leaves through pthread_exit, or
/// that is cancelled through the handle, counts as ended. A subclass must be stopped before its own
/// part is destroyed, since the base destructor stops the thread only afterwards.
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

    /// Stops the thread: asks, waits without limit for the body to end, and joins it. It does so by
    /// itself and not through an overridden StopThread. A cancellation of the calling thread is put
    /// off meanwhile.
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Asks the body to stop, lets it through the suspend gate, waits at most `timeoutMs`
    /// milliseconds for its end, and joins the thread. Does nothing when there is no thread.
    ///
    /// When the time runs out: with `bForce` LeaveRunning returns at once and leaves the thread running with
    /// the stop request standing; otherwise cancels the thread, which ends at its next cancellation
    /// point, and joins it. The stack of a cancelled body is unwound, so its locals are destroyed.
    /// Note: a destructor that is itself at a cancellation point then, such as one that closes a
    /// file, ends the process; a body that is to be stopped by force guards against that with
    /// pthread_setcancelstate.
    ///
    /// From the body itself: the wait always fails; without force it then goes on, by force it ends
    /// here and stays to be joined by the owner's StopThread. It must not wait without limit.
    virtual void StopThread(unsigned int timeoutMs, int bForce);

    /// Called by StartThread before anything is made; 0 refuses the start. Asks the handler, if
    /// there is one, and otherwise returns 1.
    virtual int OnPreThreadStart();

    /// The body. Calls the handler's, if there is one, and returns its result, otherwise 0.
    virtual int OnThreadEntry();

    /// Sets who supplies the body; null for none. Not owned.
    void SetThreadHandler(ThreadHandler* pHandler);

    /// Starts the thread; with `bSuspended` not 0 the body is held at a gate until ResumeThread or
    /// StopThread. A thread that exists is stopped first, by
    /// StopThread(WaitForever, Cancel), which waits without limit for its body to end. Note: a body that does not obey is never cancelled by
    /// this, since a wait without limit does not run out; the start then waits for ever.
    ///
    /// Returns true on success. Returns false when OnPreThreadStart refuses, or, after one line on
    /// standard output, when an event cannot be made: "[Thread] Create stop event failure.\r",
    /// "[Thread] Create exit event failure.\r" or "[Thread] Create suspend event failure.\r". No
    /// thread exists then, and none after a refusal either.
    ///
    /// Note: after an event has failed, every further start of the object fails, StopThread or not:
    /// at the suspend event if that was it, otherwise at the stop event. Destroy the object and use
    /// another one. Note: when the platform cannot create the thread, the result is true all the
    /// same, IsThreadRunning is true and the body never runs; StopThread, whatever its arguments,
    /// then returns without waiting and leaves no thread. (A platform that reported this with a
    /// negative number would get "[Thread] Create thread failure.\r" and false.)
    ///
    /// Throws std::bad_alloc when there is no memory. No thread exists then, and a further start
    /// may succeed.
    ///
    /// Note: it ends with a pause of 100 microseconds, in which the new thread may get going.
    bool StartThread(int bSuspended);

    /// The routine that the new thread begins with; its argument is made by StartThread. Returns
    /// null; with null as argument it does nothing else.
    static void* ThreadEntryProc(void* pArgs);

    /// Waits at most `timeoutMs` milliseconds for a stop request; the body's question. Returns true
    /// when a stop was requested or no thread exists.
    bool IsStopThread(unsigned int timeoutMs) const;

    /// Asks the body to stop, without waiting. Returns true, or false when no thread exists.
    bool StopThreadEvent();

    /// Lets a body that is held at the suspend gate run. Returns true, or false when no thread
    /// exists.
    bool ResumeThread();

    /// Returns true from StartThread until StopThread has joined the thread. Note: it stays true
    /// after the body has ended.
    bool IsThreadRunning() const;

    /// Sleeps. Note: the microseconds are computed in 32 bits, so 4294968 milliseconds and more
    /// wrap to a short sleep.
    void SleepThread(unsigned int ms);

    /// Gives the rest of the calling thread's time slice away. Returns true on success.
    bool YieldThread();

    /// The stored priority, 15 at first. Note: it is never applied to the platform's thread.
    int GetThreadPriority() const;
    void SetThreadPriority(int nPriority);

    /// Returns where the platform's thread identity is kept, owned by this object; null when no
    /// thread exists.
    pthread_t* GetHandle() const;

    /// Returns the event that a stop request sets, owned by this object.
    VornEvent* GetStopThreadEvent() const;

    /// Returns the low 32 bits of the platform's thread identity; 0 when no thread exists. Note:
    /// two threads may have the same ones.
    int GetThreadId() const;

    /// Compare the handles: two objects without a thread are equal, two running ones only when they
    /// are one object.
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

/// A queue of tasks and one worker thread that runs them, one after another, first posted first
/// run. Any thread may post, a running task included. Start and stop it as a Thread; tasks posted
/// before the start wait.
///
/// An idle worker looks for a stop request every 100 ms. An exception that leaves a task, and the
/// boost::bad_function_call of an empty one, ends the process. What a task refers to must live
/// until the task has run or the pool has been stopped.
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

    /// Stops the worker, waiting without limit for the task that it runs; queued tasks are
    /// destroyed without being run, those that their destruction posts included. Nobody else may
    /// post any more.
    ~ThreadTaskPool() override;
    ThreadTaskPool(const ThreadTaskPool&) = delete;
    ThreadTaskPool& operator=(const ThreadTaskPool&) = delete;

    /// Stops the worker as Thread::StopThread does: the running task goes on to its end, unless a
    /// forced stop cancels it. Then destroys all queued tasks, on the calling thread, without
    /// running them; also when the worker is left running because the time ran out, and when there
    /// was none. A cancellation of the calling thread is put off while it destroys them.
    /// Note: StartThread on a running pool stops it first and so drops the queued tasks.
    void StopThread(unsigned int timeoutMs, int bForce) override;

    /// The worker's loop. Returns 0 when a stop is requested.
    int OnThreadEntry() override;

    /// Appends a copy of the task to the queue and wakes the worker. Any thread may call it. It
    /// never blocks for longer than the queue is looked at or a task copied. An empty task is
    /// accepted here.
    ///
    /// The worker takes a second copy out of the queue and destroys the queued one, runs its copy
    /// with no lock held, and destroys it before it waits or takes the next.
    void Post(boost::function<void()> task);

private:
    using Task = boost::function<void()>;
    using TaskList = std::list<Task>;

    VORN_BASES_LOCAL void RunNextTask();
    VORN_BASES_LOCAL bool TakeTask(Task& task, TaskList& taken);
    VORN_BASES_LOCAL bool DropTasks();

    std::unique_ptr<TaskList> m_pTasks;
    Cs m_csTasks;
    Event m_evtTasks;
};

/// How an object of Shm attaches its segment.
namespace ShmAccess {
inline constexpr int ReadWrite = 0;
inline constexpr int ReadOnly = 1;
} // namespace ShmAccess

/// What Shm::Create does to the bytes of a new segment.
namespace ShmFill {
inline constexpr int None = 0; ///< leaves them as the platform gives them, which is zero on Linux
inline constexpr int Zero = 1;
} // namespace ShmFill

/// A segment of memory that several processes reach through one name; a System V segment, which
/// stays until it is removed, whether or not a process uses it.
///
///     |          | no segment       | a segment             | after a failed Create or Open    |
///     | -------- | ---------------- | --------------------- | -------------------------------- |
///     | Create   | makes one        | false                 | false                            |
///     | Open     | finds one        | false                 | false                            |
///     | Map      | null             | attaches it           | the platform's failure value     |
///     | Close    | does nothing     | removes it            | ends the process (see there)     |
///     | IsOpened | false            | true                  | true                             |
///
/// Who may do what. The flag `bReadOnly` of Create and Open sets how this object attaches, but the
/// permissions of the segment, which count for every process, are set the other way round:
///
///     |                           | bReadOnly not 0               | bReadOnly 0              |
///     | ------------------------- | ----------------------------- | ------------------------ |
///     | permissions from Create   | 0666, all may read and write  | 0555, nobody may write   |
///     | Open asks for             | reading and writing           | reading and executing    |
///     | Map attaches              | for reading                   | for reading and writing  |
///
/// So a process without privilege never gets memory that it may write through this class: the
/// segment that it creates with 0 lets not even its owner attach it for writing, and an Open with 0
/// of a segment that was created with 1 is refused, as is the reverse. To write, a process needs
/// the capability CAP_IPC_OWNER, for which the permissions do not count. The superuser has it,
/// except in containers that withhold it.
///
///     | created with | a process without privilege  | a process with CAP_IPC_OWNER         |
///     | ------------ | ---------------------------- | ------------------------------------ |
///     | 1            | Open(name, 1), Map: reads    | Open with 1: reads; with 0: writes   |
///     | 0            | Open(name, 0); Map fails     | Open with 1: reads; with 0: writes   |
///
/// A name is any text; it is hashed to the 32-bit key of the segment: from 5381 on, times 33 plus
/// the byte (as a signed number) for each byte, and of that the low 32 bits. Note: two names with
/// the same key are one segment. Note: a name whose key is 0 shares nothing, since the platform
/// takes that key for "a new segment without a name".
///
/// Note: the first segment that is made on a machine, or in a container with System V objects of
/// its own, has the identifier 0, which this class takes for "no segment": Create reports success,
/// Open failure, IsOpened is false, Map gives null, Close removes nothing. Hosts that may be that
/// early make and remove a segment of the platform's (`ipcmk`, `ipcrm`) first.
///
/// One object belongs to one thread at a time. What lies in the segment is not guarded; where
/// processes write at the same time, they agree on a named Mutex. The memory that Map attached
/// outlives Close and the object; it is the caller's until Unmap.
///
///     auto* const shm = new Vorn::Shm; // lives on after a refusal, see Close
///     if (shm->Create(4096, "com.example.state", Vorn::ShmAccess::ReadWrite, Vorn::ShmFill::Zero)) {
///         unsigned char* const p = shm->Map();
///         if (p != nullptr && p != reinterpret_cast<unsigned char*>(-1)) { // may write, see above
///             p[0] = 1;      // seen by every process that has mapped the segment
///             shm->Close();  // takes the name away; first this, in every process,
///             shm->Unmap(p); // and then this: the segment goes with its last mapping
///         }
///         delete shm; // also takes away what could not be mapped
///     }
class VORN_BASES_API Shm {
public:
    /// Makes an object without a segment.
    Shm();

    /// Closes the segment. Note: as with Close, it is removed for every process, and where it
    /// cannot be removed the process ends.
    virtual ~Shm();
    Shm(const Shm&) = delete;
    Shm& operator=(const Shm&) = delete;

    /// Makes the segment `name` of `size` bytes, which must not exist yet. `bReadOnly` is 0 for
    /// attaching it for reading and writing, anything else for reading only; the permissions follow
    /// from it as told above. With `bReadOnly` 0 and `bZeroFill` not 0 the segment is attached once
    /// and set to zero; where it may not be attached it is left as the platform made it, which is
    /// zero as well on Linux. `name` must not be null; this is not checked.
    ///
    /// Returns true on success. Returns false and changes nothing when the object is opened
    /// already. Returns false when the platform refuses: the name exists, the size is 0 or more
    /// than it grants. Prints nothing.
    ///
    /// Note: after a refusal the object counts as opened; see Close for what this means.
    bool Create(unsigned long size, const char* name, int bReadOnly, int bZeroFill);

    /// Finds the segment `name`, whatever its size. `bReadOnly` as with Create; it also says which
    /// permissions are asked for. `name` must not be null; this is not checked.
    ///
    /// Returns false and changes nothing when the object is opened already; otherwise true. Note:
    /// it returns true also when there is no such segment, or one that does not grant the
    /// permissions; Map then gives the platform's failure value, and the object counts as opened.
    /// See Close for what this means.
    bool Open(const char* name, int bReadOnly);

    /// Attaches the segment once more, at an address that the system chooses: for reading and
    /// writing when it was created or opened with `bReadOnly` 0, otherwise for reading only, where
    /// a write ends the process with SIGSEGV. Returns the address of its first byte, to be given to
    /// Unmap. Returns null without a segment.
    ///
    /// Note: when the platform refuses, the result is not null but the platform's own failure
    /// value, the address of all ones: `reinterpret_cast<unsigned char*>(-1)`. Compare with both.
    unsigned char* Map();

    /// Detaches what Map attached at `p`, of this object or another one. Returns true on success,
    /// false when `p` is null or nothing is attached there.
    bool Unmap(unsigned char* p);

    /// Removes the segment, and the object may create or open anew. Also a process that only opened
    /// the segment removes it for all: its name is free at once, for another segment, and its
    /// memory goes with its last mapping; until then what is mapped stays valid. Does nothing
    /// without a segment.
    ///
    /// Note: a segment that cannot be removed ends a process whose library checks assertions, with
    /// the message "::shmctl(m_hShm, 0, __null) == 0"; where assertions are compiled out, nothing
    /// happens but that the object has no segment any more. This is so
    /// - after a failed Create or Open. An object for which that may happen must be neither closed
    ///   nor destroyed;
    /// - when another object, of this process or another one, has closed the segment and its last
    ///   mapping is gone. Removing it again is fine before that: all close, and only then unmap;
    /// - in a process of another user than the one that created it, unless it has the capability
    ///   CAP_SYS_ADMIN.
    void Close();

    /// Returns true between an attempt to create or open, successful or not, and Close.
    bool IsOpened();

private:
    int m_hShm;      // the segment's identifier; 0 for none, -1 after a refusal
    int m_bReadOnly; // as it was given to Create or Open
};

} // namespace Vorn

#endif
