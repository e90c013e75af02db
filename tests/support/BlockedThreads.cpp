#include "BlockedThreads.h"

#include <fstream>
#include <stdexcept>
#include <string>

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace VornTest {

namespace {

// What the kernel says of a thread: asleep or not, and how often it has gone to sleep so far.
struct Sleep {
    bool asleep = false;
    std::string count;
};

Sleep LookAt(pid_t id) {
    std::ifstream status("/proc/self/task/" + std::to_string(id) + "/status");
    Sleep sleep;
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("State:", 0) == 0)
            sleep.asleep = line.find('S', 6) != std::string::npos;
        if (line.rfind("voluntary_ctxt_switches:", 0) == 0)
            sleep.count = line;
    }
    return sleep;
}

// One pass that finds all asleep could have caught them one after another; a second pass that finds
// none to have woken meanwhile shows that they slept together.
bool AreAllBlocked(const std::vector<const PosixThread*>& threads) {
    std::vector<std::string> counts;
    for (const PosixThread* pThread : threads) {
        const Sleep sleep = LookAt(pThread->Id());
        if (!sleep.asleep)
            return false;
        counts.push_back(sleep.count);
    }
    for (std::size_t i = 0; i < threads.size(); ++i) {
        const Sleep sleep = LookAt(threads[i]->Id());
        if (!sleep.asleep || sleep.count != counts[i])
            return false;
    }
    return true;
}

} // namespace

PosixThread::PosixThread(std::function<void()> body) : m_body(std::move(body)) {
    if (pthread_create(&m_thread, nullptr, Run, this) != 0)
        throw std::runtime_error("pthread_create failed");
    while (Id() == 0)
        sched_yield();
}

PosixThread::~PosixThread() {
    if (!m_bJoined)
        Join();
}

void PosixThread::Cancel() { pthread_cancel(m_thread); }

bool PosixThread::Join() {
    void* pResult = nullptr;
    pthread_join(m_thread, &pResult);
    m_bJoined = true;
    return pResult == PTHREAD_CANCELED;
}

pid_t PosixThread::Id() const { return m_id.load(); }

void* PosixThread::Run(void* self) {
    auto& thread = *static_cast<PosixThread*>(self);
    thread.m_id.store(static_cast<pid_t>(syscall(SYS_gettid)));
    thread.m_body();
    return nullptr;
}

void WaitUntilBlocked(const std::vector<const PosixThread*>& threads) {
    while (!AreAllBlocked(threads))
        usleep(200);
}

} // namespace VornTest
