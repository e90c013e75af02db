#include "Publisher.h"

#include <new>

#include <Bases/Time.h>

namespace Manifest {

namespace {

constexpr unsigned int LockLimitMs = 5;

// Whoever opens the lock of the former run after its name is gone makes a new one; that the name is
// gone has to be known by then. The former run, if it lives, keeps the lock that it has open.
bool RemoveFormerRun(const std::string& name) {
    Segment former;
    if (!former.Open(name, Segment::Access::Write))
        return false;
    auto& board = *static_cast<Board*>(former.Data());
    if (!IsBoard(board, name))
        return false;
    board.lockGone.store(1);
    Vorn::Mutex lock;
    lock.Open(board.lockName);
    lock.Close();
    former.Remove();
    return true;
}

} // namespace

Publisher::Publisher(const std::string& manifest) {
    for (int place = 0; place < Places; ++place)
        if (TryPlace(SegmentName(manifest, place)))
            return;
}

Publisher::~Publisher() { End(Outcome::Failed); }

// Returns true when another place would do no better.
bool Publisher::TryPlace(const std::string& name) {
    using Creation = Segment::Creation;
    Creation creation = m_segment.Create(name);
    if (creation == Creation::NotMade && RemoveFormerRun(name))
        creation = m_segment.Create(name);
    if (creation == Creation::Done)
        SetUp(name);
    return creation != Creation::NotMade;
}

void Publisher::SetUp(const std::string& name) {
    const std::string lockName = MakeLockName();
    if (lockName.empty() || !m_lock.Create(lockName.c_str())) {
        m_segment.Remove();
        return;
    }
    m_board = new (m_segment.Data()) Board{};
    WriteHead(*m_board, name, lockName);
    Announce(*m_board);
}

void Publisher::Show(const Advance& advance) {
    const unsigned long now = Vorn::timer_ms(); // which may be set back
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

// The segment is removed while it is mapped: the next run may have removed it before, and once its
// last mapping is gone a removal would fail.
void Publisher::End(Outcome outcome) {
    if (m_board == nullptr)
        return;
    m_board->last = m_counters;
    m_board->outcome.store(outcome, std::memory_order_release);
    m_board->lockGone.store(1);
    m_segment.Remove();
    m_lock.Close();
    m_board = nullptr;
}

} // namespace Manifest
