// SPDX-License-Identifier: MIT
#include "Publisher.h"

#include <memory>

#include <Bases/Time.h>

namespace Manifest {

namespace {

constexpr unsigned int LockLimitMs = 5;

// Whoever opens the former run's lock after its name is removed creates a new one, and sees that in
// lockGone, which is therefore set first. A former run that is alive keeps its open lock.
void RemoveLock(Board& board, const std::string& lockName) {
    board.lockGone.store(1);
    Vorn::Mutex lock;
    lock.Open(lockName.c_str());
}

void RemoveFormerRun(const std::string& name) {
    Segment former;
    if (!former.Open(name, Segment::Access::Write))
        return;
    const std::string lockName = LockNameIn(former, name);
    if (!lockName.empty())
        RemoveLock(BoardIn(former), lockName);
    if (!lockName.empty() || IsLeftUnsigned(former))
        former.Remove();
}

struct RemoveSegment {
    void operator()(Segment* segment) const { segment->Remove(); }
};

} // namespace

Publisher::Publisher(const std::string& manifest) {
    using Creation = Segment::Creation;
    for (int place = 0; place < Places; ++place)
        RemoveFormerRun(SegmentName(manifest, place));
    const std::string lockName = MakeLockName();
    if (lockName.empty())
        return;
    Creation creation = Creation::NotMade;
    for (int place = 0; place < Places && creation == Creation::NotMade; ++place) {
        const std::string name = SegmentName(manifest, place);
        creation = m_segment.Create(name);
        if (creation == Creation::Done)
            SetUp(name, lockName);
    }
}

Publisher::~Publisher() { End(Outcome::Failed); }

void Publisher::SetUp(const std::string& name, const std::string& lockName) {
    std::unique_ptr<Segment, RemoveSegment> made(&m_segment);
    if (!m_lock.Create(lockName.c_str()))
        return;
    Sign(m_segment, name, lockName);
    m_board = &BoardIn(*made.release());
}

void Publisher::Show(const Advance& advance) {
    const unsigned long now = Vorn::timer_ms(); // the clock may be set back
    if (m_counters.measuring == 0)
        m_begin = now;
    m_counters.measuring = 1;
    m_counters.files = advance.files;
    m_counters.allFiles = advance.allFiles;
    m_counters.bytes = advance.bytes;
    m_counters.allBytes = advance.allBytes;
    m_counters.elapsedMs = now > m_begin ? now - m_begin : 0;
    Write();
}

void Publisher::Finish() { End(Outcome::Finished); }

void Publisher::Write() {
    ++m_counters.updates;
    if (m_board == nullptr || !LockWithin(m_lock, LockLimitMs))
        return;
    m_board->now = m_counters;
    m_lock.Unlock();
}

// The lock goes first: if the run were killed in between, its name would be lost with the segment.
// The segment is removed while it is mapped: the next run may have removed it already, and without
// a mapping removing it again would fail.
void Publisher::End(Outcome outcome) {
    if (m_board == nullptr)
        return;
    m_board->last = m_counters;
    m_board->outcome.store(outcome, std::memory_order_release);
    m_board->lockGone.store(1);
    m_lock.Close();
    m_segment.Remove();
    m_board = nullptr;
}

} // namespace Manifest
