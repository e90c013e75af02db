// SPDX-License-Identifier: MIT
#include <Bases/Thread.h>
#include <cstdio>

using namespace Vorn;

// Waits until everything that has been posted so far has run.
static bool Drain(ThreadTaskPool& pool) {
    Event drained;
    if (!drained.Create(EventKind::ManualReset, EventState::NotSet, nullptr))
        return false;
    pool.Post([&drained] { drained.Set(); }); // tasks run in the order of their posts
    return drained.Wait(WaitForever);
}

int main() {
    int sum = 0; // used by the one worker only, until the pool is drained
    ThreadTaskPool pool;
    if (!pool.StartThread(ThreadStart::Running))
        return 1;
    for (int i = 1; i <= 100; ++i)
        pool.Post([&sum, i] { sum += i; });

    const bool drained = Drain(pool);
    pool.StopThread(WaitForever, ThreadStop::LeaveRunning); // would drop what has not begun
    if (drained)
        std::printf("%d\n", sum);
}
