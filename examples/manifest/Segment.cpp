#include "Segment.h"

#include <cstdint>
#include <forward_list>

#include <sys/ipc.h>
#include <sys/shm.h>

namespace Manifest {

namespace {

constexpr unsigned long Size = 4096;
constexpr int ForReading = 1;
constexpr int ForWriting = 0;

// Never destroyed; the list is not, either, and keeps them reachable.
Vorn::Shm& MakeLastingShm() {
    static auto& all = *new std::forward_list<Vorn::Shm>;
    return all.emplace_front();
}

// One without a name, which is no business of the class.
void UseUpFirstIdentifier() {
    const int segment = shmget(IPC_PRIVATE, 1, 0600);
    if (segment != -1)
        shmctl(segment, IPC_RMID, nullptr);
}

bool IsMapped(const unsigned char* data) {
    return data != nullptr && reinterpret_cast<std::intptr_t>(data) != -1;
}

} // namespace

Segment::~Segment() {
    if (m_data != nullptr)
        m_shm->Unmap(m_data);
}

Segment::Creation Segment::Create(const std::string& name) {
    Vorn::Shm& made = MakeLastingShm();
    UseUpFirstIdentifier();
    if (!made.Create(Size, name.c_str(), ForReading, 0))
        return Creation::NotMade;
    if (Open(name, Access::Write))
        return Creation::Done;
    made.Close();
    return Creation::NotWritable;
}

bool Segment::Open(const std::string& name, Access access) {
    Vorn::Shm& found = MakeLastingShm();
    found.Open(name.c_str(), access == Access::Read ? ForReading : ForWriting);
    unsigned char* const data = found.Map();
    if (!IsMapped(data))
        return false;
    m_shm = &found;
    m_data = data;
    return true;
}

void Segment::Remove() { m_shm->Close(); }

} // namespace Manifest
