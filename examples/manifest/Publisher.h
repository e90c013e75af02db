#ifndef VORN_BASES_EXAMPLES_MANIFEST_PUBLISHER_H
#define VORN_BASES_EXAMPLES_MANIFEST_PUBLISHER_H

#include <string>

#include <Bases/Thread.h>

#include "Board.h"
#include "Inventory.h"
#include "Segment.h"

namespace Manifest {

/// Lets other processes see how far the run of this one has come, from construction on. A run that
/// may not write shared memory (see Segment) goes on without anybody noticing; nothing here ever
/// fails or waits for more than a moment.
///
/// What a run that was killed leaves behind stops no later one:
/// - Its segment stays. The next run for the same manifest removes it and makes its own; it also
///   takes the place of one that is still alive, which goes on unseen and ends as ever. One that
///   was killed before it had signed is known by its maker, which is gone; only a lock that this
///   one had just made stays, and nobody ever uses it.
/// - Its lock may stay locked for ever. So every run has a lock of its own, whose name lies in the
///   segment, and removes that of the run that was there before.
/// - Any other segment stays: it may be another program's, or of another version's run. The next
///   place is used then.
///
/// Who holds the lock may be killed or stopped, too, so an update for which it cannot be had at
/// once is skipped. The end is told without the lock.
///
/// Note: where the platform makes no named semaphore, the library tells so on standard output
/// ("[ThreadSync] Mutex create failure.").
class Publisher {
public:
    /// `manifest` is the path by which a watcher finds the run.
    explicit Publisher(const std::string& manifest);

    /// Tells that the run has failed unless Finish was called.
    ~Publisher();
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

    /// Tells how far measuring has come.
    void Show(const Advance& advance);

    /// Tells that the run has done what it should, and ends the publication.
    void Finish();

    /// Returns true when others can see it.
    bool IsPublic() const { return m_board != nullptr; }

private:
    void SetUp(const std::string& name, const std::string& lockName);
    void Write();
    void End(Outcome outcome);

    Counters m_counters;
    unsigned long m_begin = 0; // of measuring; 0 before
    Segment m_segment;
    Vorn::Mutex m_lock;
    Board* m_board = nullptr; // in the segment; null when nothing is published
};

} // namespace Manifest

#endif
