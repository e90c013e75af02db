// ThreadTaskPool: a queue of tasks and the worker that runs them.

#include <Bases/Thread.h>

#include <Bases/Impl/CancelShield.h>

namespace Vorn {

namespace {

constexpr unsigned int IdlePollMs = 100; // how late an idle worker sees a stop request

} // namespace

ThreadTaskPool::ThreadTaskPool() : m_pTasks(std::make_unique<TaskList>()) {
    m_evtTasks.Create(EventKind::ManualReset, EventState::NotSet, nullptr);
}

// The worker uses the queue, the lock and the event, so it ends before they do. Tasks that the
// destructors of dropped ones post are dropped in turn.
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
    while (!IsStopThread(TryOnce)) {
        if (m_evtTasks.Wait(IdlePollMs))
            RunNextTask();
    }
    return 0;
}

// The queue keeps its own copy, made under the lock; nothing is moved.
void ThreadTaskPool::Post(
    boost::function<void()> task) { // NOLINT(performance-unnecessary-value-param)
    const CsLocker lock(m_csTasks);
    m_pTasks->push_back(task);
    m_evtTasks.Set();
}

// Destroying a task may reach a cancellation point, such as the closing of a file, so both copies
// are destroyed with the worker's cancellation disabled, and the queue's without the lock.
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

// Copies the oldest task and moves it from the queue to `taken`. Returns false when there is none.
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

// Destroys the queued tasks without the lock, because a task's destructor may post, and with the
// caller's cancellation disabled, as RunNextTask does. Returns false when there was none.
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
