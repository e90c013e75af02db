// SPDX-License-Identifier: MIT
#include "ReplaceFile.h"

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <Bases/Utility.h>

namespace Examples {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view End = ".tmp";
constexpr std::size_t IdLength = 36;
constexpr int NoDescriptor = -1;

std::string BeginOfName(const std::string& program) { return "." + program + "-"; }

[[noreturn]] void Fail() { throw std::system_error(errno, std::generic_category()); }

// A path such as /dev/stdout leads through the directory of the process's descriptors. Only the
// descriptor knows where the output goes on; to replace or reopen its file would lose what is
// already there, and what the shell's other commands write afterwards.
int OwnDescriptor(fs::path path) {
    constexpr int MostLinks = 40; // as many as the system follows
    std::error_code missing;
    const fs::path descriptors = fs::canonical("/proc/self/fd", missing);
    for (int links = 0; links < MostLinks && fs::is_symlink(path, missing); ++links) {
        const fs::path directory = fs::canonical(fs::absolute(path).parent_path(), missing);
        if (directory == descriptors && !missing)
            return std::stoi(path.filename().string());
        path = directory / fs::read_symlink(path, missing);
    }
    return NoDescriptor;
}

// Renaming over a link would leave its target as it was; renaming over a device would remove it.
fs::path Resolve(const fs::path& target) {
    fs::path resolved = fs::is_symlink(target) ? fs::canonical(target) : target;
    if (fs::exists(resolved) && !fs::is_regular_file(resolved))
        throw std::runtime_error("not a regular file");
    return resolved;
}

// A unique name, short enough whatever the length of the target's.
fs::path PathBeside(const fs::path& target, const std::string& program) {
    Vorn::Guid unique;
    if (!unique.Generate())
        throw std::runtime_error("no temporary name could be made");
    return target.parent_path() / (BeginOfName(program) + unique.ToString(1) + std::string(End));
}

void WriteAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(written));
        else if (errno != EINTR)
            Fail();
    }
}

/// A new file, removed at the end unless it has replaced another. Not a FileIo, which creates every
/// file with the same permissions.
class TemporaryFile {
public:
    TemporaryFile(fs::path path, fs::perms permissions)
        : m_path(std::move(path)),
          m_descriptor(open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                            static_cast<mode_t>(permissions))) {
        if (m_descriptor < 0)
            Fail();
    }
    ~TemporaryFile() {
        close(m_descriptor);
        std::error_code ignored;
        fs::remove(m_path, ignored); // already renamed after Replace
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void Write(std::string_view bytes) const { WriteAll(m_descriptor, bytes); }

    void SetPermissions(fs::perms permissions) const { fs::permissions(m_path, permissions); }

    void Replace(const fs::path& target) const {
        if (fsync(m_descriptor) != 0)
            Fail();
        fs::rename(m_path, target);
    }

private:
    fs::path m_path;
    int m_descriptor;
};

/// Keeps the user's signals waiting, so that none of them leaves a temporary file behind.
class Uninterrupted {
public:
    Uninterrupted() {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP})
            sigaddset(&signals, signal);
        pthread_sigmask(SIG_BLOCK, &signals, &m_before);
    }
    ~Uninterrupted() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    Uninterrupted(const Uninterrupted&) = delete;
    Uninterrupted& operator=(const Uninterrupted&) = delete;

private:
    sigset_t m_before{};
};

void Replace(const fs::path& target, const std::string& program, fs::perms permissions,
             std::string_view bytes) {
    constexpr fs::perms OwnerOnly = fs::perms::owner_read | fs::perms::owner_write;
    const Uninterrupted uninterrupted;
    const bool exists = fs::exists(target);
    const TemporaryFile file(PathBeside(target, program), exists ? OwnerOnly : permissions);
    file.Write(bytes);
    if (exists)
        file.SetPermissions(fs::status(target).permissions());
    file.Replace(target);
}

} // namespace

void ReplaceFile(const fs::path& target, const std::string& program, fs::perms permissions,
                 std::string_view bytes) {
    try {
        if (const int descriptor = OwnDescriptor(target); descriptor != NoDescriptor)
            WriteAll(descriptor, bytes);
        else
            Replace(Resolve(target), program, permissions, bytes);
    } catch (const std::system_error& error) {
        throw std::runtime_error(
            error.code().message()); // not what(), whose paths may hold any bytes
    }
}

bool IsTemporaryName(const std::string& name, const std::string& program) {
    const std::string begin = BeginOfName(program);
    return name.size() == begin.size() + IdLength + End.size() && name.starts_with(begin) &&
           name.ends_with(End);
}

} // namespace Examples
