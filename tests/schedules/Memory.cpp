// SPDX-License-Identifier: MIT
// The memory of a schedule: an arena whose blocks are never used again, the threads' stacks, and
// for each byte who has used it when.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include <sys/mman.h>

#include "schedules/Core.h"

namespace VornTest::Schedules {

namespace {

constexpr std::size_t ArenaSize = std::size_t{512} * 1024;
constexpr std::size_t RegionSize = ArenaSize + MostThreads * StackSize;
constexpr std::size_t Gap = 16; // dead bytes between blocks
constexpr unsigned char Fill = 0xDB;

enum class Life : std::uint8_t { Alive, Never, Freed };

struct Byte {
    Life life;
    std::uint8_t writer;
    std::uint16_t written; // by the writer's clock
    Clock reads;
    Clock atomicWrites;
};

// Eight bytes in the schedule that it says. An access that the same thread has just made to at
// least these bytes, without a release since, has nothing new to tell.
struct Granule {
    std::uint32_t schedule;
    std::uint16_t lastClock;
    std::uint8_t lastThread;
    std::uint8_t lastBytes; // a bit for each; none: there was no access, or none that counts
    Access lastAccess;
    Clock released;
    std::array<Byte, 8> bytes;
};

struct Block {
    char* start;
    std::size_t size;
    const void* code;
    bool freed;
};

template <typename T>
T* Map(std::size_t size) {
    void* const p = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return p != MAP_FAILED ? static_cast<T*>(p) : throw std::bad_alloc();
}

char* MapRegion() {
    char* const region = Map<char>(RegionSize);
    for (std::size_t i = 0; i < MostThreads; ++i) // below each stack, a page that cannot be used
        mprotect(region + ArenaSize + i * StackSize, 4096, PROT_NONE);
    return region;
}

char* const g_region = MapRegion();
Granule* const g_granules = Map<Granule>(RegionSize / 8 * sizeof(Granule));
std::uint32_t g_schedule = 0;
std::size_t g_used = 0;
std::vector<Block> g_blocks;
const void* g_watched = nullptr;
const void* g_failed = nullptr;

bool IsOfArena(const void* address) {
    return address >= g_region && address < g_region + ArenaSize;
}

Granule& GranuleOf(const void* address) {
    const std::size_t offset =
        static_cast<std::size_t>(static_cast<const char*>(address) - g_region) / 8;
    Granule& granule = g_granules[offset];
    if (granule.schedule == g_schedule)
        return granule;
    std::memset(static_cast<void*>(&granule), 0, sizeof granule);
    granule.schedule = g_schedule;
    if (IsOfArena(address))
        for (Byte& byte : granule.bytes)
            byte.life = Life::Never;
    return granule;
}

const char* NameOf(Access access) {
    switch (access) {
    case Access::Read:
        return "read";
    case Access::Write:
        return "write";
    case Access::AtomicRead:
        return "atomic read";
    case Access::AtomicWrite:
        return "atomic write";
    default:
        return "free";
    }
}

std::string Hex(const void* address) {
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "%p", address);
    return text.data();
}

std::string Describe(Access access, const void* address, const void* code) {
    return std::string(NameOf(access)) + " at " + Hex(address) + " in " + CodeAt(code);
}

[[noreturn]] void FailAt(const char* what, int other, Access access, const void* address,
                         const void* code) {
    g_failed = address;
    const std::string with = other >= 0 ? " with thread " + std::to_string(other) : "";
    FailWith(what + with + ": thread " + std::to_string(MyNumber()) + ", " +
             Describe(access, address, code));
}

// Eight numbers at once: most of the time goes here.
using Lanes [[gnu::vector_size(sizeof(Clock))]] = std::uint16_t;

bool IsAnyUnseen(const Clock& clock, const Clock& seen) {
    Lanes a;
    Lanes b;
    std::memcpy(&a, clock.data(), sizeof a);
    std::memcpy(&b, seen.data(), sizeof b);
    const auto more = a > b;
    std::array<std::uint64_t, 2> any;
    std::memcpy(any.data(), &more, sizeof any);
    return (any[0] | any[1]) != 0;
}

// The first thread that has got further than this one has seen; -1 if there is none.
int FirstUnseen(const Clock& clock, const Clock& seen) {
    for (int i = 0; i < MostThreads; ++i)
        if (clock[static_cast<std::size_t>(i)] > seen[static_cast<std::size_t>(i)])
            return i;
    return -1;
}

// Atomic operations go together with each other. A plain read and a later atomic write are looked
// at in the other order only.
int FindRace(const Byte& byte, Access access, const Clock& seen) {
    if (byte.written > seen[byte.writer])
        return byte.writer;
    if (access == Access::AtomicRead || access == Access::AtomicWrite)
        return -1;
    if (IsAnyUnseen(byte.atomicWrites, seen))
        return FirstUnseen(byte.atomicWrites, seen);
    return access != Access::Read && IsAnyUnseen(byte.reads, seen) ? FirstUnseen(byte.reads, seen)
                                                                   : -1;
}

void Note(Byte& byte, Access access, std::size_t me, std::uint16_t now) {
    switch (access) {
    case Access::Read:
    case Access::AtomicRead:
        byte.reads[me] = now;
        break;
    case Access::AtomicWrite:
        byte.atomicWrites[me] = now;
        break;
    case Access::Free:
        byte.life = Life::Freed;
        [[fallthrough]];
    case Access::Write:
        byte.writer = static_cast<std::uint8_t>(me);
        byte.written = now;
    }
}

// The bytes from `first` to `end` of a granule that begins at `start`.
void TouchGranule(const char* start, std::size_t first, std::size_t end, Access access,
                  const void* code) {
    const auto me = static_cast<std::size_t>(MyNumber());
    const Clock& seen = Me().clock;
    Granule& granule = GranuleOf(start);
    const auto bytes = static_cast<std::uint8_t>((1U << end) - (1U << first));
    if (granule.lastThread == me && granule.lastClock == seen[me] &&
        (granule.lastAccess == access ||
         (granule.lastAccess == Access::Write && access == Access::Read)) &&
        (bytes & ~granule.lastBytes) == 0)
        return;
    for (std::size_t i = first; i < end; ++i) {
        Byte& byte = granule.bytes[i];
        if (byte.life != Life::Alive)
            FailAt(byte.life == Life::Freed ? "use of freed memory" : "use beyond a block", -1,
                   access, start + i, code);
        const int other = FindRace(byte, access, seen);
        if (other >= 0)
            FailAt("race", other, access, start + i, code);
        Note(byte, access, me, seen[me]);
    }
    granule.lastThread = static_cast<std::uint8_t>(me);
    granule.lastClock = seen[me];
    granule.lastAccess = access;
    granule.lastBytes = bytes;
}

void* Allocate(std::size_t size, const void* code) {
    const std::size_t rounded = (size + Gap - 1) / Gap * Gap;
    if (g_used + rounded + Gap > ArenaSize)
        FailWith("the arena is used up");
    char* const start = g_region + g_used + Gap;
    g_used += rounded + Gap;
    for (std::size_t i = 0; i < size; i += 8) {
        Granule& granule = GranuleOf(start + i);
        for (std::size_t j = 0; j < std::min<std::size_t>(8, size - i); ++j)
            granule.bytes[j].life = Life::Alive;
    }
    std::memset(start, Fill, size);
    g_blocks.push_back({start, size, code, false});
    return start;
}

void Free(char* start, const void* code) {
    const auto block = std::find_if(g_blocks.begin(), g_blocks.end(),
                                    [start](const Block& b) { return b.start == start; });
    if (block == g_blocks.end())
        FailAt("not a block", -1, Access::Free, start, code);
    if (block->freed)
        FailAt("freed twice", -1, Access::Free, start, code);
    block->freed = true;
    Touch(start, block->size, Access::Free, code);
}

void* New(std::size_t size, const void* code) {
    if (!g_inside)
        return std::malloc(size != 0 ? size : 1);
    const Outside outside;
    return Allocate(size, code);
}

// A schedule frees nothing but its own; what one that failed has left is gone with it.
void Delete(void* start, const void* code) {
    if (!g_inside && !IsOfArena(start))
        std::free(start);
    if (!g_inside || start == nullptr)
        return;
    const Outside outside;
    Free(static_cast<char*>(start), code);
}

} // namespace

void ForgetMemory() {
    ++g_schedule;
    g_used = 0;
    g_blocks.clear();
}

char* StackOf(int number) {
    return g_region + ArenaSize + static_cast<std::size_t>(number) * StackSize;
}

bool IsPlayed(const void* address) {
    return address >= g_region && address < g_region + RegionSize;
}

void Touch(const void* address, std::size_t size, Access access, const void* code) {
    if (!IsPlayed(address))
        return;
    const char* const start = static_cast<const char*>(address);
    if (IsTraced() && g_watched >= start && g_watched < start + size)
        Trace("    " + Describe(access, address, code));
    std::size_t first = reinterpret_cast<std::uintptr_t>(address) % 8;
    const char* granule = start - first;
    for (std::size_t rest = size; rest > 0; granule += 8, first = 0) {
        const std::size_t end = std::min<std::size_t>(8, first + rest);
        TouchGranule(granule, first, end, access, code);
        rest -= end - first;
    }
}

Clock& Released(const void* object) {
    if (!IsPlayed(object))
        FailWith("an atomic or a lock that outlives the schedule");
    return GranuleOf(object).released;
}

void Acquire(const Clock& released) {
    Clock& seen = Me().clock;
    for (std::size_t i = 0; i < MostThreads; ++i)
        seen[i] = std::max(seen[i], released[i]);
}

void Release(Clock& released, bool inPlace) {
    Clock& done = Me().clock;
    for (std::size_t i = 0; i < MostThreads; ++i)
        released[i] = inPlace ? done[i] : std::max(done[i], released[i]);
    ++done[static_cast<std::size_t>(MyNumber())];
}

std::string DescribeLeaks() {
    for (const Block& block : g_blocks)
        if (!block.freed)
            return "leak of " + std::to_string(block.size) + " bytes allocated in " +
                   CodeAt(block.code);
    return "";
}

void Watch(const void* address) { g_watched = address; }

const void* LastFailedAddress() { return g_failed; }

} // namespace VornTest::Schedules

// The units and scenarios get their memory from the arena, everybody else as always.
void* operator new(std::size_t size) {
    void* const p = VornTest::Schedules::New(size, __builtin_return_address(0));
    return p != nullptr ? p : throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return VornTest::Schedules::New(size, __builtin_return_address(0));
}

void operator delete(void* p) noexcept {
    VornTest::Schedules::Delete(p, __builtin_return_address(0));
}

void operator delete(void* p, std::size_t /*size*/) noexcept {
    VornTest::Schedules::Delete(p, __builtin_return_address(0));
}
