// SPDX-License-Identifier: MIT
#include <Bases/Bases.h>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <unistd.h>

// Held while this object exists, and by nobody once the process has ended, in whatever way: the
// kernel drops the lock then. Nobody removes the file, so that all lock the same one.
class OnlyInstance {
public:
    explicit OnlyInstance(const char* path)
        : m_hFile(open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600)),
          m_bHeld(m_hFile >= 0 && lockf(m_hFile, F_TLOCK, 0) == 0) {
        if (!m_bHeld)
            return;
        const std::string process = std::to_string(Vorn::GetProcessId()) + "\n";
        if (ftruncate(m_hFile, 0) == 0)
            m_bHeld = write(m_hFile, process.data(), process.size()) > 0;
    }
    ~OnlyInstance() {
        if (m_hFile >= 0)
            close(m_hFile);
    }
    OnlyInstance(const OnlyInstance&) = delete;
    OnlyInstance& operator=(const OnlyInstance&) = delete;

    bool IsHeld() const { return m_bHeld; }

private:
    int m_hFile;
    bool m_bHeld;
};

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    const OnlyInstance instance(argv[1]);
    std::puts(instance.IsHeld() ? "the only one" : "there is one already");
    std::fflush(stdout);
    if (!instance.IsHeld())
        return 1;
    while (std::getchar() != EOF) { // the program's work: here it waits for the end of its input
    }
}
