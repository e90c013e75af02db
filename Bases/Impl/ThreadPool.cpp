// SPDX-License-Identifier: MIT
// ThreadTaskPool: a queue of tasks and the worker that runs them.

#include <Bases/Thread.h>

#include <cstddef>

#include <Bases/Impl/CancelShield.h>

namespace Vorn {

namespace {

constexpr unsigned int IdlePollMs = 100;    // how late an idle worker sees a stop request by itself
constexpr std::size_t MostNodesKept = 1024; // in either list of nodes, before a batch is added

// Destroying a task may reach a cancellation point, such as the closing of a file; plain data, such
// as a lambda that captures references, has nothing to destroy.
void Destroy(boost::function<void()>& task) {
    if (task.has_trivial_copy_and_destroy()) {
        task.clear();
        return;
    }
    const CancelShield shield;
    task.clear();
}

} // namespace

ThreadTaskPool::ThreadTaskPool() : m_pTasks(std::make_unique<TaskList>()) {
    m_evtTasks.Create(EventKind::ManualReset, EventState::NotSet, nullptr);
}

// The worker uses the queue, the lock and the event, so it ends before they do. Tasks that the
// destructors of dropped ones post are dropped in turn.
ThreadTaskPool::~ThreadTaskPool() {
    const CancelShield shield;
    RequestStop();
    Thread::StopThread(WaitForever, ThreadStop::Cancel);
    while (DropTasks()) {
    }
}

void ThreadTaskPool::StopThread(unsigned int timeoutMs, int bForce) {
    RequestStop();
    Thread::StopThread(timeoutMs, bForce);
    DropTasks();
}

// The used nodes belong to the loop, so that several threads may run it. At its end they are kept
// for further posts, too, unless the queue is locked: that may last as long as the copying of a
// task, and the end of the loop, on which a stop's time limit runs, does not wait for it. A loop
// that is cancelled leaves the pool alone.
int ThreadTaskPool::OnThreadEntry() {
    TaskList used;
    while (!IsStopThread(TryOnce)) {
        if (m_evtTasks.Wait(IdlePollMs))
            RunNextTask(used);
    }
    if (m_csTasks.TryLock()) {
        KeepNodes(used);
        m_csTasks.Unlock();
    }
    return 0;
}

// The queue keeps its own copy, made under the lock; nothing is moved. The copying may post, so no
// other list may hold the node meanwhile.
void ThreadTaskPool::Post(
    boost::function<void()> task) { // NOLINT(performance-unnecessary-value-param)
    const CsLocker lock(m_csTasks);
    const bool wasEmpty = m_pTasks->empty();
    TaskList node;
    if (m_spareNodes.empty()) {
        node.push_back(task);
    } else {
        node.splice(node.end(), m_spareNodes, m_spareNodes.begin());
        node.front() = task;
    }
    m_pTasks->splice(m_pTasks->end(), node);
    if (wasEmpty)
        m_evtTasks.Set();
}

// Wakes an idle worker. Without the locks, which a task may hold up that is being copied: the
// worker looks for the request after every reset of the event.
void ThreadTaskPool::RequestStop() {
    if (StopThreadEvent())
        m_evtTasks.Set();
}

// Both copies of the task are destroyed without a lock.
void ThreadTaskPool::RunNextTask(TaskList& used) {
    Task task;
    if (!TakeTask(task, used))
        return;
    Destroy(used.front());
    if (used.size() > MostNodesKept)
        used.pop_front();
    task();
    Destroy(task);
}

// Copies the oldest task and moves it from the queue to the front of the used nodes. Returns false
// when there is none.
bool ThreadTaskPool::TakeTask(Task& task, TaskList& used) {
    const CsLocker lock(m_csNext);
    if (m_nextTasks.empty() && !Refill(used))
        return false;
    task = m_nextTasks.front();
    used.splice(used.begin(), m_nextTasks, m_nextTasks.begin());
    return true;
}

// Takes over what has been posted, for the used nodes. Returns false when there is nothing.
bool ThreadTaskPool::Refill(TaskList& used) {
    const CsLocker lock(m_csTasks);
    KeepNodes(used);
    m_nextTasks.swap(*m_pTasks);
    if (m_nextTasks.empty())
        m_evtTasks.Reset();
    return !m_nextTasks.empty();
}

void ThreadTaskPool::KeepNodes(TaskList& used) {
    if (m_spareNodes.size() < MostNodesKept)
        m_spareNodes.splice(m_spareNodes.end(), used);
}

// Destroys the queued tasks without the locks, because a task's destructor may post, and with the
// caller's cancellation disabled, as the worker does. Returns false when there was none.
bool ThreadTaskPool::DropTasks() {
    const CancelShield shield;
    TaskList dropped;
    {
        const CsLocker next(m_csNext);
        dropped.swap(m_nextTasks);
        const CsLocker lock(m_csTasks);
        dropped.splice(dropped.end(), *m_pTasks);
    }
    return !dropped.empty();
}

} // namespace Vorn
