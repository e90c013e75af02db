// SPDX-License-Identifier: MIT
#include <Bases/Bases.h>
#include <Bases/Thread.h>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>

using namespace Vorn;

// A segment that is mapped, or none. All processes that use it close it, which frees the name, and
// only then unmap it.
class Mapping {
public:
    explicit Mapping(bool found, Shm& shm) {
        unsigned char* const p = found ? shm.Map() : nullptr;
        if (reinterpret_cast<std::intptr_t>(p) != -1) // which means: without the privilege
            m_p = p;
    }
    ~Mapping() { Shm().Unmap(m_p); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    std::atomic<int>* Counter() const { return reinterpret_cast<std::atomic<int>*>(m_p); }

private:
    unsigned char* m_p = nullptr;
};

// What another process does, which has been told the name.
static bool ReaderSees(const std::string& name, int value) {
    Shm shm;
    const Mapping mapping(shm.Open(name.c_str(), ShmAccess::ReadWrite), shm);
    const bool sees = mapping.Counter() != nullptr && *mapping.Counter() == value;
    shm.Close();
    return sees;
}

int main() {
    // A run that was killed leaves its name behind. Another seldom has the same identifier; if it
    // does, nobody can watch it.
    const std::string name = "com.example.progress." + std::to_string(GetProcessId());
    static auto* const shm = new Shm; // after a refusal it must be neither closed nor destroyed
    const bool created =
        shm->Create(sizeof(int), name.c_str(), ShmAccess::ReadWrite, ShmFill::Zero);
    const Mapping mapping(created, *shm);

    std::atomic<int> own{0}; // where nobody can watch, the work goes on all the same
    std::atomic<int>& done = mapping.Counter() != nullptr ? *mapping.Counter() : own;
    while (done < 100)
        ++done;
    const bool right = &done == &own || ReaderSees(name, 100);
    std::printf("%d%% done\n", done.load());
    if (created)
        shm->Close();
    return right ? 0 : 1;
}
