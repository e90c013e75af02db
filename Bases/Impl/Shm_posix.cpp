// SPDX-License-Identifier: MIT
// Shm: System V segments by name.

#include <Bases/Thread.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <sys/ipc.h>
#include <sys/shm.h>

#include <Bases/Impl/Assert.h>

namespace Vorn {

namespace {

// The permissions look swapped and must stay: deployed programs create their segments with these,
// and a process that asks for others is refused.
constexpr int ReadOnlyMode = 0666;
constexpr int WritableMode = 0555;

constexpr int ModeOf(int bReadOnly) { return bReadOnly != 0 ? ReadOnlyMode : WritableMode; }

// The key under which every process finds the segment of that name. Bytes are signed, whatever char
// is on the host, and only the low 32 bits count; programs on both sides of a segment rely on both.
key_t Hash(const char* name) {
    std::uint64_t hash = 5381;
    for (; *name != '\0'; ++name) {
        const auto byte = static_cast<signed char>(*name);
        hash = (hash << 5) + hash + static_cast<std::uint64_t>(byte);
    }
    return static_cast<key_t>(static_cast<std::uint32_t>(hash));
}

// The platform reports a failed attachment by the address of all ones, not by null.
bool IsAttached(const unsigned char* address) {
    return address != nullptr && reinterpret_cast<std::intptr_t>(address) != -1;
}

// If it may not be attached, the segment stays as the platform created it: zero on Linux.
void FillWithZero(Shm& shm, unsigned long size) {
    unsigned char* const address = shm.Map();
    if (!IsAttached(address))
        return;
    std::memset(address, 0, size);
    shm.Unmap(address);
}

} // namespace

Shm::Shm() : m_hShm(0), m_bReadOnly(0) {}

Shm::~Shm() { Close(); }

bool Shm::Create(unsigned long size, const char* name, int bReadOnly, int bZeroFill) {
    if (m_hShm != 0)
        return false;
    m_hShm = ::shmget(Hash(name), size, IPC_CREAT | IPC_EXCL | ModeOf(bReadOnly));
    if (m_hShm < 0)
        return false;
    m_bReadOnly = bReadOnly;
    if (bReadOnly == 0 && bZeroFill != 0)
        FillWithZero(*this, size);
    return true;
}

// A refusal is -1, which is not 0 and so counts as success here, unlike in Create. Callers rely on
// both: they open first, whether or not the segment exists, and look at what Map returns.
// (SharedMemory.ReportsSuccessWhenOpenFindsNothing)
bool Shm::Open(const char* name, int bReadOnly) {
    if (m_hShm != 0)
        return false;
    m_hShm = ::shmget(Hash(name), 0, IPC_CREAT | ModeOf(bReadOnly));
    if (m_hShm != 0)
        m_bReadOnly = bReadOnly;
    return m_hShm != 0;
}

// The platform's answer is returned unchanged, its failure value included: callers use it to tell a
// segment that they may not attach from an object without one.
unsigned char* Shm::Map() {
    if (m_hShm == 0)
        return nullptr;
    const int flags = m_bReadOnly != 0 ? SHM_RDONLY : 0;
    return static_cast<unsigned char*>(::shmat(m_hShm, nullptr, flags));
}

bool Shm::Unmap(unsigned char* p) {
    if (p == nullptr)
        return false;
    return ::shmdt(p) == 0;
}

bool Shm::IsOpened() { return m_hShm != 0; }

// Removes the segment for every process, even if this object only opened it, so that none is left
// when all processes have ended.
//
// A segment that cannot be removed stops the program. Programs compare the message, which names the
// expression, this file and line 104, wherever the check stands.
// (ShmDeathTest.ClosingARemovedSegmentNamesTheLine)
void Shm::Close() {
    if (m_hShm != 0) {
#line 104
        VORN_ASSERT(::shmctl(m_hShm, IPC_RMID, NULL) == 0); // NOLINT(modernize-use-nullptr)
        m_hShm = 0;
    }
    m_bReadOnly = 0;
}

} // namespace Vorn
