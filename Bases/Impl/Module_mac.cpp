// SPDX-License-Identifier: MIT
// Process queries and the directory of the running program.

#include <Bases/Bases.h>

#include <cerrno>
#include <csignal>

#include <unistd.h>

#include <Bases/Impl/Port/ProgramDir.h>

namespace Vorn {

namespace {

int GetProcessDir(char* buffer, unsigned long size) {
    if (buffer == nullptr || size == 0)
        return 0;
    return WriteProgramDir(buffer, size) ? 1 : 0;
}

} // namespace

unsigned int GetProcessId() { return static_cast<unsigned int>(getpid()); }

int IsExistProcess(unsigned int pid) {
    if (kill(static_cast<pid_t>(pid), 0) == 0)
        return 1;
    // Any other error, such as EPERM for another user's process, means that it exists.
    return errno == ESRCH ? 0 : 1;
}

int GetModulePath(char* buffer, unsigned long size) { return GetProcessDir(buffer, size); }

int GetModuleDir(char* buffer, unsigned long size) { return GetProcessDir(buffer, size); }

void GetModulePath(std::string& path) {
    char buffer[1024] = {};
    GetModulePath(buffer, sizeof buffer);
    path = buffer;
}

void GetModuleDir(std::string& path) {
    char buffer[1024] = {};
    GetModuleDir(buffer, sizeof buffer);
    path = buffer;
}

} // namespace Vorn
