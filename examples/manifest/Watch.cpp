// SPDX-License-Identifier: MIT
#include "Watch.h"

#include <chrono>
#include <forward_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include <Bases/Thread.h>

#include "Board.h"
#include "Describe.h"
#include "Progress.h"
#include "Segment.h"

namespace Manifest {

namespace {

using Clock = std::chrono::steady_clock;

// Never destroyed: that would remove the lock's name for the run and its other watchers.
Vorn::Mutex& MakeLastingMutex() {
    static auto& all = *new std::forward_list<Vorn::Mutex>;
    return all.emplace_front();
}

Advance AdvanceOf(const Counters& counters) {
    return {counters.files, counters.allFiles, counters.bytes, counters.allBytes};
}

std::string Describe(const Counters& counters) {
    if (counters.measuring == 0)
        return "looking for files";
    return FormatProgress(AdvanceOf(counters), counters.elapsedMs);
}

/// A run as seen from another process.
class Run {
public:
    /// Returns null when there is none.
    static std::unique_ptr<Run> Find(const std::string& manifest);

    Run(std::unique_ptr<Segment> segment, std::string lockName)
        : m_segment(std::move(segment)), m_board(BoardIn(*m_segment)),
          m_lockName(std::move(lockName)) {}

    Outcome HowItEnded() const { return m_board.outcome.load(std::memory_order_acquire); }
    bool HasEnded() const { return HowItEnded() != Outcome::Running; }
    bool Lives() const { return m_segment->MakerLives(); }

    /// The final counters of a run that has ended.
    const Counters& Last() const { return m_board.last; }

    /// Returns false when the lock stays taken for that long.
    bool Read(Counters& counters, unsigned int lockMs) const {
        if (m_lock == nullptr || !LockWithin(*m_lock, lockMs))
            return false;
        counters = m_board.now;
        m_lock->Unlock();
        return true;
    }

private:
    static std::unique_ptr<Run> FindIn(const std::string& segmentName);
    static std::unique_ptr<Run> FindAny(const std::string& manifest);
    bool OpenLock();

    std::unique_ptr<Segment> m_segment;
    const Board& m_board;
    std::string m_lockName;
    Vorn::Mutex* m_lock = nullptr; // null when the run was not alive
};

std::unique_ptr<Run> Run::FindIn(const std::string& segmentName) {
    auto segment = std::make_unique<Segment>();
    if (!segment->Open(segmentName, Segment::Access::Read))
        return nullptr;
    std::string lockName = LockNameIn(*segment, segmentName);
    if (lockName.empty())
        return nullptr;
    return std::make_unique<Run>(std::move(segment), std::move(lockName));
}

// A killed run counts only where there is no live one.
std::unique_ptr<Run> Run::FindAny(const std::string& manifest) {
    std::unique_ptr<Run> found;
    for (int place = 0; place < Places; ++place) {
        std::unique_ptr<Run> run = FindIn(SegmentName(manifest, place));
        if (run != nullptr && (found == nullptr || (!found->Lives() && run->Lives())))
            found = std::move(run);
    }
    return found;
}

std::unique_ptr<Run> Run::Find(const std::string& manifest) {
    constexpr int Tries = 3; // another run may take the place meanwhile
    for (int i = 0; i < Tries; ++i) {
        std::unique_ptr<Run> run = FindAny(manifest);
        if (run == nullptr || !run->Lives() || run->OpenLock() || run->HasEnded())
            return run;
    }
    return nullptr;
}

// Opening creates a lock that is gone. Returns false when that may have happened, after removing it
// again.
bool Run::OpenLock() {
    Vorn::Mutex& lock = MakeLastingMutex();
    if (!lock.Open(m_lockName.c_str()))
        throw std::runtime_error("the lock of the run cannot be opened");
    if (m_board.lockGone.load() != 0) {
        lock.Close();
        return false;
    }
    m_lock = &lock;
    return true;
}

using Show = std::function<void(const std::string&)>;

/// Looks at a run from time to time.
class Watcher {
public:
    Watcher(const Run& run, const Show& show, const Patience& patience)
        : m_run(run), m_show(show), m_patience(patience) {}

    void Look() {
        Counters counters;
        const bool read = m_run.Read(counters, m_locked ? 0 : m_patience.lock);
        m_locked = !read;
        if (read)
            Take(counters);
        Report();
        if (m_expectsNews && Clock::now() - m_heard > std::chrono::milliseconds(m_patience.silence))
            throw std::runtime_error("the run has been silent for too long");
    }

private:
    void Take(const Counters& counters) {
        if (m_text.empty() || counters.updates != m_updates)
            m_heard = Clock::now();
        m_updates = counters.updates;
        m_expectsNews = counters.files != counters.allFiles;
        m_text = Describe(counters);
    }

    void Report() {
        std::string text = m_text;
        if (m_locked)
            text += std::string(text.empty() ? "" : ", ") + "the counters are locked";
        if (text != std::exchange(m_reported, text))
            m_show(text);
    }

    const Run& m_run;
    const Show& m_show;
    const Patience& m_patience;
    bool m_locked = false;
    bool m_expectsNews = false; // not while the run looks for files or saves
    std::uint64_t m_updates = 0;
    std::string m_text; // of what was seen last
    std::string m_reported;
    Clock::time_point m_heard = Clock::now();
};

std::string DescribeEnd(const Run& run) {
    if (run.HowItEnded() != Outcome::Finished)
        throw std::runtime_error("the run failed");
    const Counters& last = run.Last();
    return "finished: " + FormatProgress(AdvanceOf(last), 0) + " in " +
           DescribeDuration(last.elapsedMs / 1000);
}

} // namespace

std::string WatchRun(const std::string& manifest, const Show& show, const Patience& patience) {
    const std::unique_ptr<Run> run = Run::Find(manifest);
    if (run == nullptr)
        throw std::runtime_error("no run to watch; it must be one of the same user, with "
                                 "the privilege to write shared memory");
    Watcher watcher(*run, show, patience);
    for (;;) {
        const bool lives = run->Lives(); // asked first, as it may end in between
        if (run->HasEnded())
            return DescribeEnd(*run);
        if (!lives)
            throw std::runtime_error("the run was killed");
        watcher.Look();
        std::this_thread::sleep_for(std::chrono::milliseconds(patience.pause));
    }
}

} // namespace Manifest
