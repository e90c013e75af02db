// SPDX-License-Identifier: MIT
// Preparing the process that a program takes over.

#include "Prepare.h"

#include <array>
#include <csignal>

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace VornTest {

void GiveUp(std::initializer_list<int> capabilities) {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> data{};
    bool done = syscall(SYS_capget, &header, data.data()) == 0;
    for (const int capability : capabilities) {
        const unsigned int bit = 1U << static_cast<unsigned int>(capability);
        if ((data[0].permitted & bit) == 0)
            continue;
        data[0].inheritable &= ~bit;
        done = done && prctl(PR_CAPBSET_DROP, capability) == 0;
    }
    if (!done || syscall(SYS_capset, &header, data.data()) != 0)
        _exit(CannotGiveUp);
}

void GiveUpFileAccess() { GiveUp({CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}); }

void LimitFileSize(rlim_t size) {
    const rlimit limit{size, size};
    setrlimit(RLIMIT_FSIZE, &limit);
}

void FailWritesBeyond(rlim_t size) {
    std::signal(SIGXFSZ, SIG_IGN);
    LimitFileSize(size);
}

void PrintNowhere() { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO); }

void AppendTo(const std::string& path) {
    dup2(open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC), STDOUT_FILENO);
}

void ReadFrom(const std::string& path) {
    dup2(open(path.c_str(), O_RDONLY | O_CLOEXEC), STDIN_FILENO);
}

} // namespace VornTest
