#ifndef VORN_BASES_EXAMPLES_MANIFEST_BOARD_H
#define VORN_BASES_EXAMPLES_MANIFEST_BOARD_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include <Bases/Thread.h>

#include "Segment.h"

namespace Manifest {

// What a run and those who watch it have in common: a board in shared memory, on which the run
// writes its counters, and a lock.

/// How far a run has come.
struct Counters {
    std::uint64_t updates = 0;   // goes up with everything that is written
    std::uint64_t measuring = 0; // 0 as long as the run looks for files
    std::uint64_t files = 0;
    std::uint64_t allFiles = 0;
    std::uint64_t bytes = 0;
    std::uint64_t allBytes = 0;
    std::uint64_t elapsedMs = 0; // of measuring
};

enum class Outcome : std::uint32_t { Running, Finished, Failed };

constexpr std::size_t LockNameSize = 64;

/// The segment's content. Processes that read it need not be those that wrote it, nor of the same
/// build, and the segment may be of another program that happens to have the key.
///
/// Note: everybody on the machine may read and write it, as the library makes segments for all. So
/// other users can learn how far a run has come, and can falsify what a watcher shows or make the
/// board one that nobody knows. The platform tells whose the segment is and which process made it;
/// nothing in here is believed about that.
struct Board {
    // 0 at first; stored with release when the head has been written, and loaded with acquire:
    // whoever sees it sees all of the head.
    std::atomic<std::uint64_t> magic;

    // Never changed by a run that has signed. Checked only in a copy, as others can change it.
    struct Head {
        std::uint64_t version;
        std::uint64_t fingerprint; // of the segment's name, since different names may have one key
        char lockName[LockNameSize]; // of the named mutex; of this run only
    } head;

    // Set before the lock's name is removed: whoever opens the lock and then finds this set may
    // have made a new one.
    std::atomic<std::uint32_t> lockGone;

    // Stored with release when `last` has been written, loaded with acquire.
    std::atomic<Outcome> outcome;

    Counters now;  // read and written only with the lock held
    Counters last; // written once, by a run that ends; read only after that, without the lock
};

static_assert(std::atomic<std::uint64_t>::is_always_lock_free &&
                  std::atomic<Outcome>::is_always_lock_free,
              "a lock inside of an atomic would be another one in every process");
static_assert(sizeof(Board) <= Segment::Size);

/// A run's counters can lie in any of these places, in case a segment that is not a run's of this
/// user is in one. Note: such a segment, and one of a run of another version, keeps its place until
/// somebody removes it by hand (`ipcs -m`, `ipcrm -m`).
constexpr int Places = 3;

/// What a board's `magic` is while its head is written.
constexpr std::uint64_t Signing = 0x7261656e61746f4e;

/// Returns the name of the segment for the run that makes or checks that manifest, however the path
/// is written. Users have different ones.
std::string SegmentName(const std::string& manifest, int place);

/// Makes the board of this process's run in a segment that it made, and makes it known to others.
void Sign(Segment& segment, const std::string& segmentName, const std::string& lockName);

/// Returns the name of the lock of the run whose board the segment is, dead or alive; an empty text
/// when it is no board of a run for that name. Nothing else of a board may be used before.
std::string LockNameIn(const Segment& segment, const std::string& segmentName);

/// Returns true when the process that made the segment is gone and had not signed yet.
bool IsLeftUnsigned(const Segment& segment);

inline Board& BoardIn(const Segment& segment) { return *static_cast<Board*>(segment.Data()); }

/// Returns a lock's name that no other run has; an empty text when none can be made.
std::string MakeLockName();

/// Tries to take a named mutex for about as long. Nobody may wait for one without limit, as it
/// stays locked when whoever holds it is killed; with a limit it is the library's single try.
bool LockWithin(Vorn::Mutex& lock, unsigned int milliseconds);

} // namespace Manifest

#endif
