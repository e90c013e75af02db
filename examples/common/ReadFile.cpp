// SPDX-License-Identifier: MIT
#include "ReadFile.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

#include <Bases/File.h>

namespace Examples {

namespace {

constexpr std::size_t PieceSize = 64UL * 1024;

std::string ErrorText(int error) { return std::generic_category().message(error); }

// Checked before opening: a FIFO blocks until somebody writes to it, a directory opens but cannot
// be read, and FileIo reports a failed open on standard output, where only results belong.
std::string WhyNotReadable(const std::string& name) {
    struct stat status {};
    if (stat(name.c_str(), &status) != 0)
        return ErrorText(errno);
    if (!S_ISREG(status.st_mode))
        return "not a regular file";
    return access(name.c_str(), R_OK) == 0 ? "" : ErrorText(errno);
}

} // namespace

std::string ReadInPieces(const std::string& name,
                         const std::function<void(std::string_view)>& use) {
    if (std::string reason = WhyNotReadable(name); !reason.empty())
        return reason;
    Vorn::FileIo file;
    if (!file.Open(name, Vorn::FileAccess::Read, Vorn::FileShare::ReadWrite,
                   Vorn::FileDisposition::OpenExisting))
        return ErrorText(errno);

    std::array<char, PieceSize> piece; // Read fills it
    for (;;) {
        // Read returns 0 at the end of the file and on failure; only a failure sets errno.
        errno = 0;
        const unsigned int size = file.Read(piece.data(), static_cast<unsigned int>(piece.size()));
        if (size == 0)
            return errno == 0 ? "" : ErrorText(errno);
        use({piece.data(), size});
    }
}

} // namespace Examples
