// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_PUBLISHER_H
#define VORN_BASES_EXAMPLES_MANIFEST_PUBLISHER_H

#include <string>

#include <Bases/Thread.h>

#include "Board.h"
#include "Inventory.h"
#include "Segment.h"

namespace Manifest {

/// Publishes how far this process's run has come, for other processes to watch. It never fails and
/// never waits for more than a moment: a run that may not write shared memory (see Segment) simply
/// is not seen.
///
/// A run that was killed must not stop a later one:
/// - Its segment stays. The next run for the same manifest removes it and makes its own. It does so
///   to a live run, too, which goes on unseen and ends as usual. A run that was killed before it
///   signed is recognised by its dead maker; only the lock that it had just made stays, unused.
/// - Its lock may stay locked for ever. So every run has a lock of its own, named in the segment,
///   and removes the former run's.
/// - Any other segment is left alone: it may belong to another program or version. The next place
///   is used instead.
///
/// A watcher that holds the lock may be killed or stopped, too. So an update is skipped when the
/// lock is not free within a few milliseconds, and the end is published without the lock.
///
/// Note: where the platform cannot create a named semaphore, the library says so on standard output
/// ("[ThreadSync] Mutex create failure.").
class Publisher {
public:
    /// `manifest` is the path by which a watcher finds the run.
    explicit Publisher(const std::string& manifest);

    /// Publishes that the run failed, unless Finish was called.
    ~Publisher();
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

    /// Publishes how far measuring has come.
    void Show(const Advance& advance);

    /// Publishes that the run succeeded, and ends the publication.
    void Finish();

    /// Returns true when the run can be watched.
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
