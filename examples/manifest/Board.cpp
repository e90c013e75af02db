#include "Board.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <thread>

#include <unistd.h>

#include <Bases/Bases.h>
#include <Bases/Utility.h>

namespace Manifest {

namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t Magic = 0x7261656e61746f4d;
constexpr std::uint64_t Version = 1;

// Links in the directory are resolved; the manifest itself may not be there yet.
std::string Absolute(const std::string& path) {
    std::error_code error;
    const fs::path canonical = fs::weakly_canonical(fs::absolute(path, error), error);
    return error ? path : canonical.string();
}

// FNV-1a, which has nothing in common with the hash that makes a key of a segment's name.
std::uint64_t Fingerprint(std::string_view text) {
    std::uint64_t hash = 14695981039346656037U;
    for (const char c : text)
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
    return hash;
}

std::string LockPrefix(std::uint32_t process) {
    return "/manifest-" + std::to_string(process) + "-";
}

// The name may be used to open and to remove a lock, and is not trusted to end.
bool IsLockName(const char (&name)[LockNameSize], std::uint32_t process) {
    const char* const end = std::find(name, name + LockNameSize, '\0');
    if (end == name + LockNameSize)
        return false;
    const std::string_view text(name, static_cast<std::size_t>(end - name));
    return text.starts_with(LockPrefix(process)) &&
           text.find_first_not_of("/manifest-0123456789abcdef") == std::string_view::npos &&
           text.rfind('/') == 0;
}

// Other numbers would ask for groups of processes.
bool IsProcessId(std::uint32_t process) { return process > 0 && process <= INT_MAX; }

} // namespace

std::string SegmentName(const std::string& manifest, int place) {
    return "manifest-" + std::to_string(geteuid()) + "-" + std::to_string(place) + ":" +
           Absolute(manifest);
}

void WriteHead(Board& board, const std::string& segmentName, const std::string& lockName) {
    board.version = Version;
    board.fingerprint = Fingerprint(segmentName);
    board.user = geteuid();
    board.process = Vorn::GetProcessId();
    const std::size_t length = lockName.copy(board.lockName, LockNameSize - 1);
    board.lockName[length] = '\0';
}

void Announce(Board& board) { board.magic.store(Magic, std::memory_order_release); }

bool IsBoard(const Board& board, const std::string& segmentName) {
    return board.magic.load(std::memory_order_acquire) == Magic && board.version == Version &&
           board.fingerprint == Fingerprint(segmentName) && board.user == geteuid() &&
           IsProcessId(board.process) && IsLockName(board.lockName, board.process);
}

std::string MakeLockName() {
    Vorn::Guid unique;
    if (!unique.Generate())
        return "";
    return LockPrefix(Vorn::GetProcessId()) + unique.ToString(1);
}

bool LockWithin(Vorn::Mutex& lock, unsigned int milliseconds) {
    constexpr std::chrono::milliseconds Pause(1);
    for (unsigned int tries = 0;; ++tries) {
        if (lock.Lock(0))
            return true;
        if (tries == milliseconds)
            return false;
        std::this_thread::sleep_for(Pause);
    }
}

} // namespace Manifest
