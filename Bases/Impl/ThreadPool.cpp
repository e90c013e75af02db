#include <Bases/Thread.h>

#include <Bases/Impl/CancelShield.h>

namespace Vorn {

namespace {

constexpr unsigned int IdlePollMs = 100; // how late an idle worker sees a stop request

} // namespace

ThreadTaskPool::ThreadTaskPool() : m_pTasks(std::make_unique<TaskList>()) {
    m_evtTasks.Create(1, 0, nullptr);
}

// The worker uses the queue, the lock and the event, so it ends before they do. Tasks that the
// destruction of other tasks posts are destroyed in their turn.
ThreadTaskPool::~ThreadTaskPool() {
    const CancelShield shield;
    Thread::StopThread(WaitForever, ThreadStop::Cancel);
    while (DropTasks()) {
    }
}

void ThreadTaskPool::StopThread(unsigned int timeoutMs, int bForce) {
    Thread::StopThread(timeoutMs, bForce);
    DropTasks();
}

int ThreadTaskPool::OnThreadEntry() {
    while (!IsStopThread(0)) {
        if (m_evtTasks.Wait(IdlePollMs))
            RunNextTask();
    }
    return 0;
}

// The queue keeps a copy of its own, made under the lock, so nothing is moved.
void ThreadTaskPool::Post(
    boost::function<void()> task) { // NOLINT(performance-unnecessary-value-param)
    const CsLocker lock(m_csTasks);
    m_pTasks->push_back(task);
    m_evtTasks.Set();
}

// What a task holds may close files and the like when it goes, so both copies go with the worker's
// cancellation put off, and the queue's also with the lock free.
void ThreadTaskPool::RunNextTask() {
    TaskList taken;
    Task task;
    const bool found = TakeTask(task, taken);
    {
        const CancelShield shield;
        taken.clear();
    }
    if (!found)
        return;
    task();
    const CancelShield shield;
    task.clear();
}

// Copies the oldest task, and takes it out of the queue. Returns false when there is none.
bool ThreadTaskPool::TakeTask(Task& task, TaskList& taken) {
    const CsLocker lock(m_csTasks);
    if (m_pTasks->empty()) {
        m_evtTasks.Reset();
        return false;
    }
    task = m_pTasks->front();
    taken.splice(taken.begin(), *m_pTasks, m_pTasks->begin());
    return true;
}

// Destroys the queued tasks with the lock free, because a task's destructor may post, and with the
// caller's cancellation put off, as the worker's is. Returns false when there was none.
bool ThreadTaskPool::DropTasks() {
    const CancelShield shield;
    TaskList dropped;
    {
        const CsLocker lock(m_csTasks);
        dropped.swap(*m_pTasks);
    }
    return !dropped.empty();
}

} // namespace Vorn
