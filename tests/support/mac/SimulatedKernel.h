// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_MAC_SIMULATED_KERNEL_H
#define VORN_BASES_TESTS_SUPPORT_MAC_SIMULATED_KERNEL_H

// A simulation of the macOS kernel's semaphores, in this process, for running on Linux what is
// written for them. It is made from their documentation and not from observation: that a test
// passes over it does not show that it passes on macOS.

#include <chrono>
#include <functional>

namespace VornTest {

/// What the kernel makes of a signal to all that finds nobody waiting. The documentation does not
/// say; the environment variable VORN_SIMULATED_KERNEL chooses for a run.
enum class LonelySignal {
    IsForgotten,     // "forgets"; also where the variable is not set
    LeavesOneCount,  // "keeps": one later wait passes
    LeavesEachCount, // "counts": one later wait passes for each
};

namespace SimulatedKernel {

LonelySignal OnLonelySignal();

/// Makes so many of the coming waits of any thread end at once with this kern_return_t.
void EndWaits(int count, int status);

/// How many waits EndWaits has still to end.
int WaitsToEnd();

/// Run once by the calling thread, right before its next wait joins the kernel's waiters.
void BeforeNextWait(std::function<void()> action);

/// The initial value and the policy that the last semaphore was made with.
struct Creation {
    int value;
    int policy;
};
Creation LastCreation();

/// How many semaphores there are.
int Semaphores();

/// How long the last wait was to last at most.
std::chrono::nanoseconds LastLimit();

/// How often all that waited at a semaphore were signalled.
int Signals();

} // namespace SimulatedKernel

} // namespace VornTest

#endif
