// SPDX-License-Identifier: MIT
// Shared memory.
#include <bit>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

#include <sys/shm.h>

#include <Bases/Thread.h>

#include "sweep/Holdings.h"
#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

using Vorn::Shm;
namespace ShmAccess = Vorn::ShmAccess;
namespace ShmFill = Vorn::ShmFill;

const std::string g_name = NamePrefix(); // other processes may run scenarios, too
constexpr unsigned long Size = 4096;

// The first segment of a machine has the identifier 0, which Shm takes for none.
void TakeTheFirstIdentifier() {
    static const int removed = [] {
        const int segment = Platform::shmget.Real(IPC_PRIVATE, 1, IPC_CREAT | 0600);
        return Platform::shmctl.Real(segment, IPC_RMID, nullptr);
    }();
    static_cast<void>(removed);
}

// A Shm that was refused a segment must be neither closed nor destroyed.
class Segment {
public:
    Segment() { TakeTheFirstIdentifier(); }
    ~Segment() {
        if (m_isHeld)
            m_shm.~Shm();
    }
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    bool Create(int access) {
        return m_isHeld = m_shm.Create(Size, g_name.c_str(), access, ShmFill::Zero);
    }
    Shm& Get() { return m_shm; }

private:
    alignas(Shm) std::byte m_place[sizeof(Shm)]{};
    Shm& m_shm = *new (m_place) Shm;
    bool m_isHeld = false;
};

bool IsRefused(const unsigned char* address) { return std::bit_cast<std::intptr_t>(address) == -1; }

bool IsFree() { return Segment().Create(ShmAccess::ReadOnly); }

void Creates(Trial& trial, int access) {
    {
        Segment segment;
        const bool created = trial.Works([&] { return segment.Create(access); });
        trial.Require(segment.Get().IsOpened(), "counts as opened");
        trial.Require(created || Trial::HasFailed(Platform::shmget), "creates a segment");
    }
    trial.Require(IsFree(), "creates another one then");
}

void Maps(Trial& trial) {
    Segment segment;
    segment.Create(ShmAccess::ReadOnly);
    unsigned char* const address = trial.Try([&] { return segment.Get().Map(); });
    trial.Require(IsRefused(address) == Trial::HasFailed(Platform::shmat) && address != nullptr,
                  "gives the platform's answer");
    if (!IsRefused(address)) {
        trial.Require(address[0] == 0 && address[Size - 1] == 0, "maps zeros");
        trial.Require(trial.Try([&] { return segment.Get().Unmap(address); }), "unmaps");
    }
    unsigned char* const again = segment.Get().Map();
    trial.Require(!IsRefused(again) && segment.Get().Unmap(again), "maps then");
}

// A refusal counts as success: what Map gives tells.
void Opens(Trial& trial) {
    Segment made;
    made.Create(ShmAccess::ReadOnly);
    Segment opened; // and never closed, for that would remove the segment
    trial.Require(trial.Try([&] { return opened.Get().Open(g_name.c_str(), ShmAccess::ReadOnly); }),
                  "says that it is open");
    unsigned char* const address = opened.Get().Map();
    trial.Require(IsRefused(address) == Trial::HasFailed(Platform::shmget),
                  "maps what is there exactly when there was no refusal");
    if (!IsRefused(address))
        opened.Get().Unmap(address);
}

void IsRemoved(Trial& trial) {
    {
        Segment segment;
        segment.Create(ShmAccess::ReadOnly);
        trial.Try([&] { segment.Get().Close(); });
        trial.Require(!segment.Get().IsOpened(), "counts as closed");
    }
    trial.Require(IsFree(), "has removed the segment");
}

const Scenarios g_scenarios{
    {"SegmentIsCreated", [](Trial& trial) { Creates(trial, ShmAccess::ReadOnly); }},
    {"SegmentIsCreatedWithZeros", [](Trial& trial) { Creates(trial, ShmAccess::ReadWrite); }},
    {"SegmentIsMapped", Maps},
    {"SegmentIsOpened", Opens},
    {"SegmentIsRemoved", IsRemoved},
};

} // namespace

} // namespace VornTest::Sweep
