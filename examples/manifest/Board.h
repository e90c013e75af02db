// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_BOARD_H
#define VORN_BASES_EXAMPLES_MANIFEST_BOARD_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include <Bases/Thread.h>

#include "Segment.h"

namespace Manifest {

// What a run shares with its watchers: a board in shared memory, where the run writes its counters,
// and a lock.

/// How far a run has come.
struct Counters {
    std::uint64_t updates = 0;   // counts the writes
    std::uint64_t measuring = 0; // 0 while the run looks for files
    std::uint64_t files = 0;
    std::uint64_t allFiles = 0;
    std::uint64_t bytes = 0;
    std::uint64_t allBytes = 0;
    std::uint64_t elapsedMs = 0; // of measuring
};

enum class Outcome : std::uint32_t { Running, Finished, Failed };

constexpr std::size_t LockNameSize = 64;

/// The segment's content. Reader and writer may be of different builds, and the segment may belong
/// to another program that happens to use its key.
///
/// Note: the library makes segments that everybody may read and write. So other users can see how
/// far a run has come, falsify what a watcher shows, and make the board unrecognisable. Who owns
/// and who made the segment is asked of the platform, never read from the board.
struct Board {
    // 0 at first; stored with release when the head has been written, and loaded with acquire:
    // whoever sees it sees all of the head.
    std::atomic<std::uint64_t> magic;

    // Constant once the run has signed. Checked in a copy only, as others can change it.
    struct Head {
        std::uint64_t version;
        std::uint64_t fingerprint;   // of the segment's name, since different names may share a key
        char lockName[LockNameSize]; // of the named mutex; of this run only
    } head;

    // Set before the lock's name is removed: whoever opens the lock and then finds this set may
    // have created a new one.
    std::atomic<std::uint32_t> lockGone;

    // Stored with release when `last` has been written, loaded with acquire.
    std::atomic<Outcome> outcome;

    Counters now;  // read and written only with the lock held
    Counters last; // written once, by a run that ends; read only after that, without the lock
};

static_assert(std::atomic<std::uint64_t>::is_always_lock_free &&
                  std::atomic<Outcome>::is_always_lock_free,
              "a lock inside an atomic would be a different one in every process");
static_assert(sizeof(Board) <= Segment::Size);

/// A run takes the first of these places that holds no foreign segment. Note: a foreign segment, or
/// that of a run of another version, stays there until somebody removes it (`ipcs -m`, `ipcrm -m`).
constexpr int Places = 3;

/// What a board's `magic` is while its head is written.
constexpr std::uint64_t Signing = 0x7261656e61746f4e;

/// Returns the name of the segment for runs on that manifest, whichever way its path is written.
/// Every user has different names.
std::string SegmentName(const std::string& manifest, int place);

/// Writes the board of this process's run into a segment that the process made, and publishes it.
void Sign(Segment& segment, const std::string& segmentName, const std::string& lockName);

/// Returns the name of the lock of the run whose board the segment holds, dead or alive; an empty
/// text when it holds no board of a run for that name. Call it before using anything else of a
/// board.
std::string LockNameIn(const Segment& segment, const std::string& segmentName);

/// Returns true when the process that made the segment is gone and had not signed yet.
bool IsLeftUnsigned(const Segment& segment);

inline Board& BoardIn(const Segment& segment) { return *static_cast<Board*>(segment.Data()); }

/// Returns a unique name for a lock; an empty text when none can be made.
std::string MakeLockName();

/// Tries for about that long to lock a named mutex. A wait without limit would never end if the
/// holder was killed, and the library's wait with a limit is a single try.
bool LockWithin(Vorn::Mutex& lock, unsigned int milliseconds);

} // namespace Manifest

#endif
