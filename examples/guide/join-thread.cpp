// SPDX-License-Identifier: MIT
#include <Bases/Thread.h>
#include <cstdio>

using namespace Vorn;

// Adds numbers until it is asked to stop.
class Adder : public ThreadHandler {
public:
    int OnPreThreadStart(Thread*) override { return 1; } // 0 would refuse the start

    int OnThreadEntry(Thread* thread) override {
        while (m_sum < 5050 && !thread->IsStopThread(TryOnce))
            m_sum += ++m_last;
        m_finished.Set();
        thread->IsStopThread(WaitForever); // sleeps until the stop; there is nothing left to do
        return 0;
    }

    bool Create() { return m_finished.Create(EventKind::ManualReset, EventState::NotSet, nullptr); }
    bool WaitForResult(unsigned int timeoutMs) { return m_finished.Wait(timeoutMs); }
    long Sum() const { return m_sum; }

private:
    long m_last = 0;
    long m_sum = 0;
    Event m_finished;
};

int main() {
    Adder adder; // destroyed after the thread, which runs it
    Thread thread;
    thread.SetThreadHandler(&adder);
    if (!adder.Create() || !thread.StartThread(ThreadStart::Running))
        return 1;

    const bool inTime = adder.WaitForResult(10000);
    thread.StopThread(WaitForever, ThreadStop::LeaveRunning); // requests the stop, and joins
    std::printf("%s: %ld\n", inTime ? "done" : "stopped early", adder.Sum());
}
