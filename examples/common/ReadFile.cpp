// SPDX-License-Identifier: MIT
#include "ReadFile.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Examples {

namespace {

constexpr std::size_t PieceSize = 64UL * 1024;
constexpr const char* NotRegular = "not a regular file";

std::string ErrorText(int error) { return std::generic_category().message(error); }

/// A file open for reading. Not a FileIo, which blocks on a FIFO until somebody writes to it, and
/// reports a failed open on standard output, where only results belong.
class Input {
public:
    explicit Input(const std::string& name)
        : m_descriptor(open(name.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {}
    ~Input() {
        if (m_descriptor >= 0)
            close(m_descriptor);
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    int Descriptor() const { return m_descriptor; }

private:
    int m_descriptor;
};

// What is no regular file may also be refused for another reason, which says less.
std::string WhyNotOpen(const std::string& name) {
    const int error = errno;
    struct stat status {};
    const bool special = stat(name.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
    return special ? NotRegular : ErrorText(error);
}

ssize_t ReadPiece(int descriptor, std::array<char, PieceSize>& piece) {
    for (;;) {
        const ssize_t size = read(descriptor, piece.data(), piece.size());
        if (size >= 0 || errno != EINTR)
            return size;
    }
}

// A short piece that completes the known size is the last: small files cost one call.
std::string ReadAll(int descriptor, unsigned long long known, const UsePiece& use) {
    std::array<char, PieceSize> piece; // read fills it
    unsigned long long total = 0;
    for (;;) {
        const ssize_t got = ReadPiece(descriptor, piece);
        if (got < 0)
            return ErrorText(errno);
        const auto size = static_cast<std::size_t>(got);
        total += size;
        if (size > 0 && !use({piece.data(), size}))
            return "";
        if (size == 0 || (size < PieceSize && total == known))
            return "";
    }
}

// What gives just the bytes that a file had a moment ago is that file, so nobody has to ask for its
// kind and size, which small files would notice; only a pipe that takes the file's place just then
// would lose them. Returns false, at the beginning again, otherwise.
bool ReadAtOnce(int descriptor, unsigned long long expected, const UsePiece& use) {
    if (expected == 0 || expected >= PieceSize)
        return false;
    std::array<char, PieceSize> piece; // read fills it
    const ssize_t got = ReadPiece(descriptor, piece);
    if (got != static_cast<ssize_t>(expected)) {
        lseek(descriptor, 0, SEEK_SET); // what cannot do this is refused afterwards
        return false;
    }
    use({piece.data(), static_cast<std::size_t>(got)});
    return true;
}

} // namespace

std::string ReadInPieces(const std::string& name, const UsePiece& use,
                         unsigned long long expected) {
    const Input input(name);
    if (input.Descriptor() < 0)
        return WhyNotOpen(name);
    if (ReadAtOnce(input.Descriptor(), expected, use))
        return "";
    struct stat status {};
    if (fstat(input.Descriptor(), &status) != 0)
        return ErrorText(errno);
    if (!S_ISREG(status.st_mode))
        return NotRegular;
    return ReadAll(input.Descriptor(), static_cast<unsigned long long>(status.st_size), use);
}

std::string ReadInputInPieces(const std::string& name, const UsePiece& use) {
    constexpr unsigned long long Unknown = 0;
    return name == Standard ? ReadAll(STDIN_FILENO, Unknown, use) : ReadInPieces(name, use);
}

} // namespace Examples
