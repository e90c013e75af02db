// SPDX-License-Identifier: MIT
#include "Board.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <new>
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
constexpr std::uint64_t Version = 2;

// Links in the directory are resolved; the manifest itself may not be there yet.
std::string Absolute(const std::string& path) {
    std::error_code error;
    const fs::path canonical = fs::weakly_canonical(fs::absolute(path, error), error);
    return error ? path : canonical.string();
}

// FNV-1a, unrelated to the hash that derives the key from a segment's name.
std::uint64_t Fingerprint(std::string_view text) {
    std::uint64_t hash = 14695981039346656037U;
    for (const char c : text)
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
    return hash;
}

std::string LockPrefix(unsigned int process) {
    return "/manifest-" + std::to_string(process) + "-";
}

// The name is used to open and to remove a lock, so it must be complete and one of that process's.
bool IsLockName(const std::string& name, unsigned int process) {
    return name.size() < LockNameSize && name.starts_with(LockPrefix(process)) &&
           name.find_first_not_of("/manifest-0123456789abcdef") == std::string::npos &&
           name.rfind('/') == 0;
}

bool IsAllZero(const Segment& segment) {
    const auto* const begin = static_cast<const unsigned char*>(segment.Data());
    return std::all_of(begin, begin + Segment::Size, [](unsigned char byte) { return byte == 0; });
}

} // namespace

std::string SegmentName(const std::string& manifest, int place) {
    return "manifest-" + std::to_string(geteuid()) + "-" + std::to_string(place) + ":" +
           Absolute(manifest);
}

void Sign(Segment& segment, const std::string& segmentName, const std::string& lockName) {
    auto& board = *new (segment.Data()) Board{};
    board.magic.exchange(Signing); // visible before the head is
    board.head.version = Version;
    board.head.fingerprint = Fingerprint(segmentName);
    lockName.copy(board.head.lockName, LockNameSize - 1);
    board.magic.store(Magic, std::memory_order_release);
}

std::string LockNameIn(const Segment& segment, const std::string& segmentName) {
    const Board& board = BoardIn(segment);
    if (board.magic.load(std::memory_order_acquire) != Magic)
        return "";
    const Board::Head head = board.head;
    std::atomic_signal_fence(std::memory_order_seq_cst); // keeps the compiler from reading it again
    const auto* const end = std::find(head.lockName, head.lockName + LockNameSize, '\0');
    std::string lockName(head.lockName, end);
    const bool known = head.version == Version && head.fingerprint == Fingerprint(segmentName) &&
                       IsLockName(lockName, static_cast<unsigned int>(segment.Maker()));
    return known ? lockName : "";
}

bool IsLeftUnsigned(const Segment& segment) {
    return !segment.MakerLives() &&
           (BoardIn(segment).magic.load() == Signing || IsAllZero(segment));
}

std::string MakeLockName() {
    Vorn::Guid unique;
    if (!unique.Generate())
        return "";
    return LockPrefix(Vorn::GetProcessId()) + unique.ToString(Vorn::GuidForm::Full);
}

bool LockWithin(Vorn::Mutex& lock, unsigned int milliseconds) {
    constexpr std::chrono::milliseconds Pause(1);
    for (unsigned int tries = 0;; ++tries) {
        if (lock.Lock(Vorn::TryOnce))
            return true;
        if (tries == milliseconds)
            return false;
        std::this_thread::sleep_for(Pause);
    }
}

} // namespace Manifest
