// SPDX-License-Identifier: MIT
// FileFind, which iterates over a directory, and FileSys, the operations on paths.

#include <Bases/File.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <Bases/Impl/Port/FileCopy.h>
#include <Bases/Impl/Port/FileTimes.h>

namespace Vorn {

namespace {

constexpr long long MaxFileNameSize = 1024;

// Some file systems store times beyond the range of 64-bit milliseconds; these wrap.
Time Milliseconds(time_t seconds, long nanoseconds) {
    const auto wholeSeconds = static_cast<unsigned long long>(seconds);
    return static_cast<Time>(wholeSeconds * 1000 +
                             static_cast<unsigned long long>(nanoseconds / 1000000));
}

bool IsSelfOrParent(std::string_view name) { return name == "." || name == ".."; }

} // namespace

// The current entry. Its name is a copy, since the stream reuses its own entry and frees it when
// closed; it stands behind the directory's, so that both are the path without a new string for
// every entry.
class FileFind::FileInfo {
public:
    /// `directory` ends in a separator where one is needed.
    void SetDirectory(const std::string& directory) {
        m_strPath = directory;
        m_nNameAt = directory.size();
    }

    /// Asks for the status of the entry. Returns false when the system refuses; the status is then
    /// still that of the entry before.
    bool SetName(const char* name) {
        m_strPath.replace(m_nNameAt, std::string::npos, name);
        struct stat status {};
        if (stat(m_strPath.c_str(), &status) < 0)
            return false;
        m_status = status;
        return true;
    }

    const char* Name() const { return m_strPath.c_str() + m_nNameAt; }
    const struct stat& Status() const { return m_status; }

private:
    std::string m_strPath;
    std::size_t m_nNameAt = 0; // in the path
    struct stat m_status {};
};

class FileFind::Stream {
public:
    explicit Stream(const std::string& dir) : m_pDir(opendir(dir.c_str())) {}
    ~Stream() {
        if (IsOpened())
            closedir(m_pDir);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    bool IsOpened() const { return m_pDir != nullptr; }

    /// Returns the next name, valid until the next call, or null when there is none.
    const char* NextName() {
        const dirent* entry = readdir(m_pDir);
        return entry == nullptr ? nullptr : entry->d_name;
    }

private:
    DIR* m_pDir;
};

FileFind::FileFind() = default;

FileFind::FileFind(const std::string& dir, const std::string& pattern) : FileFind() {
    FindFirst(dir, pattern);
    m_pInfo.reset();
}

FileFind::~FileFind() { FindClose(); }

bool FileFind::FindFirst(const std::string& dir, const std::string& /*pattern*/) {
    if (m_pStream != nullptr)
        return false;
    if (m_pInfo == nullptr)
        m_pInfo = std::make_unique<FileInfo>();
    auto pStream = std::make_unique<Stream>(dir);
    if (!pStream->IsOpened())
        return false;
    const char* name = pStream->NextName();
    while (name != nullptr && IsSelfOrParent(name))
        name = pStream->NextName();
    if (name == nullptr)
        return false;
    m_pInfo->SetDirectory(dir);
    if (!m_pInfo->SetName(name))
        return false;
    m_pStream = std::move(pStream);
    return true;
}

bool FileFind::FindNext() {
    if (Current() == nullptr)
        return false;
    const char* name = m_pStream->NextName();
    return name != nullptr && m_pInfo->SetName(name);
}

void FileFind::FindClose() { m_pStream.reset(); }

const char* FileFind::GetFileName() {
    const FileInfo* pInfo = Current();
    return pInfo == nullptr ? nullptr : pInfo->Name();
}

long long FileFind::GetFileSize() {
    const FileInfo* pInfo = Current();
    return pInfo == nullptr ? 0 : pInfo->Status().st_size;
}

unsigned int FileFind::GetFileType() {
    const FileInfo* pInfo = Current();
    if (pInfo == nullptr)
        return FileType::None;
    switch (pInfo->Status().st_mode & S_IFMT) {
    case S_IFREG:
        return FileType::Regular;
    case S_IFDIR:
        return FileType::Directory;
    default:
        return FileType::Other;
    }
}

// The creation time combines the second of one stamp with the fraction of another, and the access
// time is not that of the last access. Callers compare these values with stored ones, so they stay.
Time FileFind::GetFileCreationTime() {
    const FileInfo* pInfo = Current();
    if (pInfo == nullptr)
        return 0;
    return Milliseconds(ChangeTime(pInfo->Status()).tv_sec, AccessTime(pInfo->Status()).tv_nsec);
}

Time FileFind::GetFileLastAccessTime() {
    const FileInfo* pInfo = Current();
    if (pInfo == nullptr)
        return 0;
    return Milliseconds(ChangeTime(pInfo->Status()).tv_sec, ChangeTime(pInfo->Status()).tv_nsec);
}

Time FileFind::GetFileLastWriteTime() {
    const FileInfo* pInfo = Current();
    if (pInfo == nullptr)
        return 0;
    const timespec& written = ModificationTime(pInfo->Status());
    return Milliseconds(written.tv_sec, written.tv_nsec);
}

long long FileFind::GetMaxFileNameSize() { return Current() == nullptr ? 0 : MaxFileNameSize; }

const FileFind::FileInfo* FileFind::Current() const {
    return m_pStream == nullptr ? nullptr : m_pInfo.get();
}

namespace FileSys {

namespace {

constexpr mode_t DirectoryMode = 0755;
constexpr std::size_t CopyPart = 1024;

class Descriptor {
public:
    explicit Descriptor(int descriptor) : m_hFile(descriptor) {}
    ~Descriptor() {
        if (IsOpened())
            close(m_hFile);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool IsOpened() const { return m_hFile >= 0; }
    int Get() const { return m_hFile; }

private:
    int m_hFile;
};

// Copies what the kernel has left, which is nothing as a rule.
//
// A copy counts as done once its target is created. What the target does not accept is lost: no
// part is written twice, and callers that care compare the lengths.
void CopyBytes(int from, int to) {
    std::array<char, CopyPart> part{};
    for (;;) {
        const ssize_t length = read(from, part.data(), part.size());
        if (length <= 0)
            return;
        [[maybe_unused]] const ssize_t written =
            write(to, part.data(), static_cast<std::size_t>(length));
    }
}

// Returns where an absolute path's third directory begins; npos when the path ends before it.
std::string::size_type ThirdDirectory(const std::string& path) {
    const std::string::size_type first = path.find('/', 2);
    if (first == std::string::npos)
        return first;
    const std::string::size_type second = path.find('/', first + 1);
    return second == std::string::npos ? second : second + 1;
}

bool MakeIfMissing(const std::string& path) { return IsExistFile(path) || CreateDir(path); }

bool MakeParents(const std::string& path, std::string::size_type level) {
    for (auto slash = path.find('/', level); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string parent = path.substr(0, slash + 1);
        if (parent.size() != 2 && !MakeIfMissing(parent))
            return false;
    }
    return true;
}

} // namespace

bool GetRootPath(const std::string& /*path*/, std::string& /*root*/) { return false; }

const char* GetFileExt(const std::string& path) {
    const std::string::size_type dot = path.rfind('.');
    return dot == std::string::npos ? nullptr : path.c_str() + dot;
}

const char* GetFileExt(const char* path) {
    return path == nullptr ? nullptr : std::strrchr(path, '.');
}

bool GetFileExt(const std::string& path, std::string& ext) {
    const std::string::size_type dot = path.rfind('.');
    if (dot == std::string::npos)
        return false;
    ext = path.substr(dot);
    return true;
}

bool GetFileSize(const std::string& path, unsigned long long& size) {
    struct stat status {};
    const mode_t kind = stat(path.c_str(), &status) == 0 ? status.st_mode & S_IFMT : 0;
    if (kind == S_IFIFO)
        return false;
    // A directory can be opened for reading although it has no length, but never for writing.
    const unsigned int desiredAccess = kind == S_IFDIR ? FileAccess::ReadWrite : FileAccess::Read;
    FileIo file;
    if (!file.Open(path, desiredAccess, FileShare::ReadWrite, FileDisposition::OpenExisting))
        return false;
    size = static_cast<unsigned long long>(file.SeekToEnd());
    return true;
}

bool GetDiskSize(const std::string& path, unsigned long long& total, unsigned long long& used,
                 unsigned long long& free) {
    struct statvfs disk {};
    if (statvfs(path.c_str(), &disk) != 0)
        return false;
    const unsigned long long blockSize = disk.f_bsize;
    const unsigned long long blocks = disk.f_blocks;
    const unsigned long long available = disk.f_bavail;
    total = blocks * blockSize;
    used = (blocks - available) * blockSize;
    free = available * blockSize;
    return true;
}

bool GetDiskTotalSize(const std::string& path, unsigned long long& total) {
    unsigned long long used = 0;
    unsigned long long free = 0;
    return GetDiskSize(path, total, used, free);
}

bool GetDiskUsedSize(const std::string& path, unsigned long long& used) {
    unsigned long long total = 0;
    unsigned long long free = 0;
    return GetDiskSize(path, total, used, free);
}

bool GetDiskFreeSize(const std::string& path, unsigned long long& free) {
    unsigned long long total = 0;
    unsigned long long used = 0;
    return GetDiskSize(path, total, used, free);
}

bool MoveFile(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0;
}

bool DeleteFile(const std::string& path) { return !path.empty() && std::remove(path.c_str()) == 0; }

bool DeleteDir(const std::string& path) { return rmdir(path.c_str()) == 0; }

bool CreateDir(const std::string& path) { return mkdir(path.c_str(), DirectoryMode) == 0; }

bool IsDirectory(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool IsExistFile(const char* path) { return path != nullptr && access(path, F_OK) == 0; }

bool IsExistFile(const std::string& path) { return IsExistFile(path.c_str()); }

bool CopyFile(const std::string& from, const std::string& to) {
    if (IsExistFile(to))
        return false;
    const Descriptor source(open(from.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!source.IsOpened() || fstat(source.Get(), &status) != 0)
        return false;
    const Descriptor target(open(to.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, status.st_mode));
    if (!target.IsOpened())
        return false;
    // A file that claims no length, as those of /proc do, may have content: only reading tells.
    if (S_ISREG(status.st_mode) && status.st_size > 0)
        CopyInKernel(source.Get(), target.Get());
    CopyBytes(source.Get(), target.Get());
    [[maybe_unused]] const int owned = fchown(target.Get(), status.st_uid, status.st_gid);
    return true;
}

bool CreateDirLevel(const std::string& path, unsigned long level, int createLast) {
    if (path.empty())
        return false;
    if (level >= path.size())
        level = 0;
    if (level == 0 && path.front() == '/') {
        level = ThirdDirectory(path);
        if (level == std::string::npos)
            return true;
    }
    bool made = MakeParents(path, level);
    if (createLast != 0 && !MakeIfMissing(path))
        made = false;
    return made && IsDirectory(path);
}

} // namespace FileSys

} // namespace Vorn
