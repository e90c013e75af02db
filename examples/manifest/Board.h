#ifndef MANIFEST_BOARD_H
#define MANIFEST_BOARD_H

#include <atomic>
#include <cstdint>
#include <string>

#include <Bases/Thread.h>

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
struct Board {
    // Written before the magic number is there, and never again. The number is stored with release
    // and loaded with acquire: whoever sees it sees all of the head.
    std::atomic<std::uint64_t> magic;
    std::uint64_t version;
    std::uint64_t fingerprint; // of the segment's name, since different names may have one key
    std::uint32_t user;
    std::uint32_t process;
    char lockName[LockNameSize]; // of the named mutex; of this run only

    // Set before the lock's name is removed: whoever opens the lock and then finds this set may have
    // made a new one.
    std::atomic<std::uint32_t> lockGone;

    // Stored with release when `last` has been written, loaded with acquire.
    std::atomic<Outcome> outcome;

    Counters now;  // read and written only with the lock held
    Counters last; // written once, by a run that ends; read only after that, without the lock
};

static_assert(std::atomic<std::uint64_t>::is_always_lock_free &&
                  std::atomic<Outcome>::is_always_lock_free,
              "a lock inside of an atomic would be another one in every process");
static_assert(sizeof(Board) <= 4096,
              "every segment has a page, so that also one of somebody else can be looked at");

/// A run's counters can lie in any of these places, in case a segment of another program is in one.
constexpr int Places = 3;

/// Returns the name of the segment for the run that makes or checks that manifest, however the path
/// is written. Users have different ones.
std::string SegmentName(const std::string& manifest, int place);

/// Writes the head of the board of this process's run, but not the magic number.
void WriteHead(Board& board, const std::string& segmentName, const std::string& lockName);

/// Makes the head known to other processes.
void Announce(Board& board);

/// Returns true when it is the board of a run of this user, dead or alive, for that name. Nothing
/// else of a board may be used before.
bool IsBoard(const Board& board, const std::string& segmentName);

/// Returns a lock's name that no other run has; an empty text when none can be made.
std::string MakeLockName();

/// Tries to take a named mutex for about as long. Nobody may wait for one without limit, as it stays
/// locked when whoever holds it is killed; with a limit it is the library's single try.
bool LockWithin(Vorn::Mutex& lock, unsigned int milliseconds);

} // namespace Manifest

#endif
