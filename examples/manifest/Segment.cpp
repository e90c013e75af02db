// SPDX-License-Identifier: MIT
#include "Segment.h"

#include <cstdint>
#include <forward_list>

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <Bases/Bases.h>

namespace Manifest {

namespace {

// Never destroyed; neither is the list, which keeps them reachable.
Vorn::Shm& MakeLastingShm() {
    static auto& all = *new std::forward_list<Vorn::Shm>;
    return all.emplace_front();
}

bool IsMapped(const unsigned char* data) {
    return data != nullptr && reinterpret_cast<std::intptr_t>(data) != -1;
}

// As Shm derives it.
key_t KeyOf(const std::string& name) {
    std::uint32_t hash = 5381;
    for (const char c : name)
        hash = hash * 33 + static_cast<std::uint32_t>(static_cast<signed char>(c));
    return static_cast<key_t>(hash);
}

// With a segment of one byte. It has a key, so that the next run finds and removes one that a
// killed run left.
void UseUpFirstIdentifier() {
    const int segment = shmget(KeyOf("manifest's first identifier"), 1, IPC_CREAT | 0600);
    if (segment != -1)
        shmctl(segment, IPC_RMID, nullptr);
}

/// What the platform knows about the segment with a name.
struct Known {
    int id = -1; // -1: there is none of this user and size
    pid_t maker = 0;
};

// The owner of a segment can be changed, its creator cannot.
Known FindOwn(const std::string& name) {
    const int id = shmget(KeyOf(name), 0, 0);
    shmid_ds status{};
    if (id == -1 || shmctl(id, IPC_STAT, &status) != 0)
        return {};
    const uid_t user = geteuid();
    if (status.shm_perm.uid != user || status.shm_perm.cuid != user ||
        status.shm_segsz != Segment::Size)
        return {};
    return {id, status.shm_cpid};
}

} // namespace

Segment::~Segment() {
    if (m_data != nullptr)
        m_shm->Unmap(m_data);
}

// Mapped twice: the first mapping allows removing it even where it may not be written.
Segment::Creation Segment::Create(const std::string& name) {
    Vorn::Shm& made = MakeLastingShm();
    UseUpFirstIdentifier();
    if (!made.Create(Size, name.c_str(), Vorn::ShmAccess::ReadOnly, Vorn::ShmFill::None))
        return Creation::NotMade;
    unsigned char* const data = made.Map();
    if (!IsMapped(data)) // removed by somebody already, or no address space is left
        return Creation::NotMade;
    const bool writable = Open(name, Access::Write);
    if (!writable)
        made.Close();
    made.Unmap(data);
    return writable ? Creation::Done : Creation::NotWritable;
}

// An identifier that is the same before and after is that of the segment opened in between:
// identifiers are not reused soon.
bool Segment::Open(const std::string& name, Access access) {
    const Known known = FindOwn(name);
    if (known.id == -1)
        return false;
    Vorn::Shm& found = MakeLastingShm();
    found.Open(name.c_str(),
               access == Access::Read ? Vorn::ShmAccess::ReadOnly : Vorn::ShmAccess::ReadWrite);
    unsigned char* const data = found.Map();
    if (!IsMapped(data))
        return false;
    if (FindOwn(name).id != known.id) {
        found.Unmap(data);
        return false;
    }
    m_shm = &found;
    m_data = data;
    m_maker = known.maker;
    return true;
}

void Segment::Remove() { m_shm->Close(); }

bool Segment::MakerLives() const {
    return m_maker == 0 || Vorn::IsExistProcess(static_cast<unsigned int>(m_maker)) != 0;
}

} // namespace Manifest
