// SPDX-License-Identifier: MIT
// Threads: starting, stopping, resuming and the end of the body at the same time; nobody is left
// running unjoined, and nobody waits for ever.
#include <functional>
#include <memory>
#include <utility>

#include <Bases/Impl/Sem_mac.h>
#include <Bases/Thread.h>

#include "schedules/Explore.h"
#include "schedules/Objects.h"

using namespace VornTest::Schedules; // NOLINT: the whole file is about them
using Vorn::TryOnce;
using Vorn::WaitForever;
namespace ThreadStart = Vorn::ThreadStart;
namespace ThreadStop = Vorn::ThreadStop;

namespace {

// Runs a function as the body.
class BodyThread : public Vorn::ThreadHandler {
public:
    explicit BodyThread(std::function<void(Vorn::Thread&)> body) : m_body(std::move(body)) {
        thread.SetThreadHandler(this);
    }

    int OnPreThreadStart(Vorn::Thread* /*pThread*/) override { return 1; }

    int OnThreadEntry(Vorn::Thread* pThread) override {
        m_body(*pThread);
        return 0;
    }

private:
    std::function<void(Vorn::Thread&)> m_body;

public:
    Vorn::Thread thread; // ends before its body does
};

void PollStop(Vorn::Thread& thread) { CHECK(thread.IsStopThread(WaitForever)); }

} // namespace

SCENARIO(ThreadSchedules, StopJoinsABodyThatHasEndedOrWillEnd) {
    bool ran = false;
    BodyThread body([&](Vorn::Thread&) { ran = true; });
    CHECK(body.thread.StartThread(ThreadStart::Running));
    body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
    CHECK(ran);
    CHECK(!body.thread.IsThreadRunning());
}

SCENARIO(ThreadSchedules, StopIsSeenByABodyThatWaitsForIt) {
    BodyThread body(PollStop);
    CHECK(body.thread.StartThread(ThreadStart::Running));
    body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
    CHECK(!body.thread.IsThreadRunning());
}

SCENARIO(ThreadSchedules, StopIsSeenByABodyThatPolls, .timeOuts = 1) {
    BodyThread body([](Vorn::Thread& thread) {
        while (!thread.IsStopThread(10)) {
        }
    });
    CHECK(body.thread.StartThread(ThreadStart::Running));
    body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
}

SCENARIO(ThreadSchedules, StartOfARunningThreadStopsItFirst) {
    int runs = 0;
    BodyThread body([&](Vorn::Thread& thread) {
        ++runs;
        PollStop(thread);
    });
    CHECK(body.thread.StartThread(ThreadStart::Running));
    CHECK(body.thread.StartThread(ThreadStart::Running));
    body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
    CHECK(runs == 2);
}

SCENARIO(ThreadSchedules, BodyAtTheGateRunsAfterResume) {
    bool resumed = false;
    BodyThread body([&](Vorn::Thread&) { CHECK(resumed); });
    CHECK(body.thread.StartThread(ThreadStart::Suspended));
    resumed = true;
    CHECK(body.thread.ResumeThread());
    body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
}

SCENARIO(ThreadSchedules, StopReleasesABodyAtTheGateAfterTheRequest) {
    BodyThread body([](Vorn::Thread& thread) { CHECK(thread.IsStopThread(TryOnce)); });
    CHECK(body.thread.StartThread(ThreadStart::Suspended));
    body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
}

SCENARIO(ThreadSchedules, StopThatGivesUpLeavesTheThreadForALaterOne) {
    UnsetEvent finish(Manual);
    BodyThread body([&](Vorn::Thread&) { finish.Wait(WaitForever); });
    CHECK(body.thread.StartThread(ThreadStart::Running));
    body.thread.StopThread(10, ThreadStop::LeaveRunning);
    CHECK(body.thread.IsThreadRunning());
    finish.Set();
    body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
    CHECK(!body.thread.IsThreadRunning());
}

SCENARIO(ThreadSchedules, StopThatGivesUpMayMeetTheEndOfTheBody) {
    BodyThread body(PollStop);
    CHECK(body.thread.StartThread(ThreadStart::Running));
    body.thread.StopThread(10, ThreadStop::LeaveRunning);
    body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
    CHECK(!body.thread.IsThreadRunning());
}

SCENARIO(ThreadSchedules, ForcedStopCancelsABlockedBody) {
    UnsetEvent never(Manual);
    BodyThread body([&](Vorn::Thread&) {
        const auto block = std::make_unique<int>(1);
        never.Wait(WaitForever);
        CHECK(false);
    });
    CHECK(body.thread.StartThread(ThreadStart::Running));
    body.thread.StopThread(10, ThreadStop::Cancel);
    CHECK(!body.thread.IsThreadRunning());
    CheckWhole(never);
}

SCENARIO(ThreadSchedules, ForcedStopMayMeetTheEndOfTheBody) {
    BodyThread body(PollStop);
    CHECK(body.thread.StartThread(ThreadStart::Running));
    body.thread.StopThread(10, ThreadStop::Cancel);
    CHECK(!body.thread.IsThreadRunning());
}

SCENARIO(ThreadSchedules, ForcedStopAtOnceOfABodyAtTheGate) {
    bool ran = false;
    BodyThread body([&](Vorn::Thread&) { ran = true; });
    CHECK(body.thread.StartThread(ThreadStart::Suspended));
    body.thread.StopThread(TryOnce, ThreadStop::Cancel);
    CHECK(!body.thread.IsThreadRunning());
}

SCENARIO(ThreadSchedules, BodyMayRequestItsOwnStop) {
    BodyThread body([](Vorn::Thread& thread) {
        CHECK(thread.StopThreadEvent());
        CHECK(thread.IsStopThread(TryOnce));
    });
    CHECK(body.thread.StartThread(ThreadStart::Running));
    body.thread.IsStopThread(10);
    body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
}

SCENARIO(ThreadSchedules, BodyThatForcesItsOwnStopEndsThere) {
    bool came = false;
    BodyThread body([&](Vorn::Thread& thread) {
        thread.StopThread(TryOnce, ThreadStop::Cancel);
        came = true;
    });
    CHECK(body.thread.StartThread(ThreadStart::Running));
    body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
    CHECK(!came);
}

SCENARIO(ThreadSchedules, DestructorStopsAndJoins) {
    auto body = std::make_unique<BodyThread>(PollStop);
    CHECK(body->thread.StartThread(ThreadStart::Running));
    body.reset();
}

SCENARIO(ThreadSchedules, StopperThatIsCancelledLeavesTheThreadJoinedOrToBeJoined) {
    BodyThread body(PollStop);
    CHECK(body.thread.StartThread(ThreadStart::Running));
    Actor stopper([&] { body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning); });
    stopper.Cancel();
    stopper.Join();
    body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
    CHECK(!body.thread.IsThreadRunning());
}

SCENARIO(ThreadSchedules, TwoThreadsStartAndStopBesideEachOther, .preemptions = 0) {
    const auto use = [] {
        BodyThread body(PollStop);
        CHECK(body.thread.StartThread(ThreadStart::Running));
        body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
    };
    Actor first(use);
    Actor second(use);
}

SCENARIO(ThreadSchedules, ThreadThatHasEndedStartsAgain) {
    int runs = 0;
    BodyThread body([&](Vorn::Thread&) { ++runs; });
    for (int i = 1; i <= 2; ++i) {
        CHECK(body.thread.StartThread(ThreadStart::Running));
        body.thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
        CHECK(runs == i);
    }
}
