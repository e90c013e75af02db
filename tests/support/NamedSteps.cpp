// SPDX-License-Identifier: MIT
// A program that uses a named object, for NamedObjectsKillTest, which kills it on the way:
//
//     NamedSteps mutex|event|semaphore|memory NAME [traced]
//
// It writes a letter to its standard output after each step. The exit status is 1 when another
// process, though it may be dead, has what this one wants.
#include <Bases/Thread.h>

#include <csignal>
#include <string>

#include <sys/ptrace.h>
#include <unistd.h>

#include <Bases/Impl/Sem_mac.h>

namespace {

namespace EventKind = Vorn::EventKind;
namespace EventState = Vorn::EventState;
namespace ShmAccess = Vorn::ShmAccess;
namespace ShmFill = Vorn::ShmFill;
using Vorn::TryOnce;
using Vorn::VornSemaphore;

constexpr int Worked = 0;
constexpr int Refused = 1;
constexpr int Broken = 2;

void Tell(char step) {
    if (write(STDOUT_FILENO, &step, 1) != 1)
        _exit(Broken);
}

int UseMutex(const char* name) {
    Vorn::Mutex mutex;
    if (!mutex.Create(name))
        return Broken;
    Tell('c');
    if (!mutex.Lock(TryOnce))
        return Refused;
    Tell('l');
    mutex.Unlock();
    Tell('u');
    mutex.Close();
    Tell('x');
    return Worked;
}

int UseSemaphore(const char* name) {
    VornSemaphore semaphore;
    if (!semaphore.Create(VornSemaphore::SemFree, name, 0))
        return Broken;
    Tell('c');
    if (!semaphore.Wait(TryOnce))
        return Refused;
    Tell('w');
    semaphore.Post();
    Tell('p');
    semaphore.Destroy();
    Tell('x');
    return Worked;
}

int UseEvent(const char* name) {
    Vorn::Event setting;
    Vorn::Event waiting;
    if (!setting.Create(EventKind::ManualReset, EventState::NotSet, name))
        return Broken;
    Tell('c');
    setting.Set();
    Tell('s');
    if (!waiting.Open(name))
        return Broken;
    Tell('o');
    if (!waiting.Wait(TryOnce))
        return Refused;
    Tell('w');
    setting.Close();
    Tell('x');
    return Worked;
}

// Takes over what a dead process has left. The objects are never destroyed: one that was refused
// would end this process.
int UseMemory(const char* name) {
    static auto* const created = new Vorn::Shm;
    static auto* const opened = new Vorn::Shm;
    Vorn::Shm* memory = created;
    if (!created->Create(4096, name, ShmAccess::ReadWrite, ShmFill::Zero)) {
        memory = opened;
        opened->Open(name, ShmAccess::ReadWrite);
    }
    Tell('c');
    unsigned char* const bytes = memory->Map();
    if (bytes == reinterpret_cast<unsigned char*>(-1))
        return Refused;
    Tell('m');
    bytes[0] = 7;
    Tell('w');
    memory->Unmap(bytes);
    Tell('u');
    memory->Close();
    Tell('x');
    return Worked;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3)
        return Broken;
    if (argc > 3 && (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0 || raise(SIGSTOP) != 0))
        return Broken;
    const std::string what = argv[1];
    if (what == "mutex")
        return UseMutex(argv[2]);
    if (what == "event")
        return UseEvent(argv[2]);
    if (what == "semaphore")
        return UseSemaphore(argv[2]);
    return what == "memory" ? UseMemory(argv[2]) : Broken;
}
