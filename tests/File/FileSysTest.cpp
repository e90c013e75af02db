#include <Bases/File.h>

#include "support/StdoutCapture.h"
#include "support/TempDir.h"
#include "support/Unprivileged.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;
using VornTest::OpenToAll;
using VornTest::StdoutOf;
using VornTest::TempDir;
using VornTest::Unprivileged;

namespace fs = std::filesystem;
namespace FileSys = Vorn::FileSys;

namespace {

// What stands in for the platform's functions while it lives; one that is not set reaches the
// system.
struct Seams {
    Seams() { s_current = this; }
    ~Seams() { s_current = nullptr; }
    Seams(const Seams&) = delete;
    Seams& operator=(const Seams&) = delete;

    std::function<int(const char*)> access;
    std::function<int(int)> close;
    std::function<int(int, uid_t, gid_t)> fchown;
    std::function<int(int, struct stat*)> fstat;
    std::function<int(int)> fsync;
    std::function<int(const char*, int, unsigned int)> open;
    std::function<ssize_t(int, void*, size_t)> read;
    std::function<int(const char*)> remove;
    std::function<int(const char*, struct statvfs*)> statvfs;
    std::function<ssize_t(int, const void*, size_t)> write;

    static inline Seams* s_current = nullptr;
};

template <typename Seam, typename Real, typename... Arguments>
auto Ask(Seam Seams::*seam, Real real, Arguments... arguments) {
    if (Seams::s_current != nullptr && Seams::s_current->*seam)
        return (Seams::s_current->*seam)(arguments...);
    return real(arguments...);
}

int Fail(int error) {
    errno = error;
    return -1;
}

} // namespace

extern "C" {

int __real_access(const char* path, int mode);
int __real_close(int descriptor);
int __real_fchown(int descriptor, uid_t owner, gid_t group);
int __real_fstat(int descriptor, struct stat* status);
int __real_fsync(int descriptor);
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int descriptor, void* buffer, size_t size);
int __real_remove(const char* path);
int __real_statvfs(const char* path, struct statvfs* disk);
ssize_t __real_write(int descriptor, const void* buffer, size_t size);

int __wrap_access(const char* path, int mode) {
    EXPECT_EQ(F_OK, mode); // not whether it may be read, which is always so for the superuser
    return Ask(
        &Seams::access, [mode](const char* p) { return __real_access(p, mode); }, path);
}

int __wrap_close(int descriptor) { return Ask(&Seams::close, __real_close, descriptor); }

int __wrap_fchown(int descriptor, uid_t owner, gid_t group) {
    return Ask(&Seams::fchown, __real_fchown, descriptor, owner, group);
}

int __wrap_fstat(int descriptor, struct stat* status) {
    return Ask(&Seams::fstat, __real_fstat, descriptor, status);
}

int __wrap_fsync(int descriptor) { return Ask(&Seams::fsync, __real_fsync, descriptor); }

int __wrap_open(const char* path, int flags, ...) {
    unsigned int mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start above, not seen by Clang 14
        mode = va_arg(arguments, unsigned int);
        va_end(arguments);
    }
    return Ask(
        &Seams::open, [](const char* p, int f, unsigned int m) { return __real_open(p, f, m); },
        path, flags, mode);
}

ssize_t __wrap_read(int descriptor, void* buffer, size_t size) {
    return Ask(&Seams::read, __real_read, descriptor, buffer, size);
}

int __wrap_remove(const char* path) { return Ask(&Seams::remove, __real_remove, path); }

int __wrap_statvfs(const char* path, struct statvfs* disk) {
    return Ask(&Seams::statvfs, __real_statvfs, path, disk);
}

ssize_t __wrap_write(int descriptor, const void* buffer, size_t size) {
    return Ask(&Seams::write, __real_write, descriptor, buffer, size);
}

} // extern "C"

namespace {

void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    ASSERT_TRUE(file.flush().good()) << path;
}

std::string TextOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

// Different at every distance that a lost or repeated part could shift by.
std::string Bytes(std::size_t size) {
    std::mt19937 random(20240229);
    std::string bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    return bytes;
}

struct stat StatusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(0, lstat(path.c_str(), &status)) << path;
    return status;
}

std::string Node(const TempDir& dir, const char* name, mode_t kind) {
    std::string path = dir.File(name);
    EXPECT_EQ(0, mknod(path.c_str(), kind | 0600, 0)) << path;
    return path;
}

std::string Link(const TempDir& dir, const char* name, const std::string& target) {
    std::string path = dir.File(name);
    EXPECT_EQ(0, symlink(target.c_str(), path.c_str())) << path;
    return path;
}

bool IsThere(const std::string& path) {
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

std::ptrdiff_t OpenDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

// Ends a test that hangs, instead of letting it wait for ever.
class Deadline {
public:
    Deadline() { alarm(60); }
    ~Deadline() { alarm(0); }
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;
};

class Umask {
public:
    explicit Umask(mode_t mask) : m_before(umask(mask)) {}
    ~Umask() { umask(m_before); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t m_before;
};

// Concerns: the result never depends on the path, and the output stays unchanged.

TEST(RootPath, IsNeverFound) {
    std::string root = "kept";
    for (const char* path : {"", "/", "/tmp/file", "C:\\file"})
        EXPECT_FALSE(FileSys::GetRootPath(path, root)) << path;
    EXPECT_EQ("kept", root);
}

// Concerns: the last dot of the whole text, separators and embedded zeros or not; results point
// into the caller's own text; null pointers; the output on failure and when it is the path itself.

struct ExtensionCase {
    const char* path;
    const char* extension; // null for none
};

constexpr ExtensionCase Extensions[] = {
    {"archive.tar.gz", ".gz"},
    {"dir.d/file", ".d/file"},
    {"README", nullptr},
    {"", nullptr},
    {".", "."},
    {"..", "."},
    {".profile", ".profile"},
    {"end.", "."},
    {"./file", "./file"},
    {"a/b.c/", ".c/"},
    {"/", nullptr},
};

TEST(FileExtension, BeginsAtTheLastDotOfTheWholePath) {
    for (const ExtensionCase& item : Extensions) {
        const std::string path = item.path;
        EXPECT_STREQ(item.extension, FileSys::GetFileExt(path)) << path;
        EXPECT_STREQ(item.extension, FileSys::GetFileExt(item.path)) << path;
        std::string extension = "kept";
        EXPECT_EQ(item.extension != nullptr, FileSys::GetFileExt(path, extension)) << path;
        EXPECT_EQ(item.extension != nullptr ? item.extension : "kept", extension) << path;
    }
}

TEST(FileExtension, PointsIntoTheTextOfThePath) {
    const std::string shortPath = "a.b.c";
    const std::string longPath(1000, 'x');
    const std::string withDot = longPath + ".ext" + longPath;
    EXPECT_EQ(shortPath.c_str() + 3, FileSys::GetFileExt(shortPath));
    EXPECT_EQ(withDot.c_str() + 1000, FileSys::GetFileExt(withDot));
}

TEST(FileExtension, PointsIntoTheCallersOwnArray) {
    std::array<char, 8> text{"a.b.c"};
    EXPECT_EQ(text.data() + 3, FileSys::GetFileExt(text.data()));
    const std::string longText = std::string(1000, 'x') + ".ext";
    EXPECT_EQ(longText.c_str() + 1000, FileSys::GetFileExt(longText.c_str()));
}

TEST(FileExtension, OfANullPointerIsNull) { EXPECT_EQ(nullptr, FileSys::GetFileExt(nullptr)); }

TEST(FileExtension, IsSearchedBehindAnEmbeddedZeroOfAString) {
    const std::string path("a.b\0c.d\0e", 9);
    EXPECT_EQ(path.c_str() + 5, FileSys::GetFileExt(path));
    std::string extension;
    EXPECT_TRUE(FileSys::GetFileExt(path, extension));
    EXPECT_EQ(std::string(".d\0e", 4), extension);
    EXPECT_EQ(path.c_str() + 1, FileSys::GetFileExt(path.c_str()));
}

TEST(FileExtension, MayReplaceThePath) {
    std::string path = std::string(100, 'x') + ".extension that is not stored in the object";
    EXPECT_TRUE(FileSys::GetFileExt(path, path));
    EXPECT_EQ(".extension that is not stored in the object", path);
}

// Concerns: lengths, also beyond 32 bits; measuring never creates, empties, changes or waits for
// anything; what cannot be opened leaves the size unchanged and prints FileIo's line; no descriptor
// stays open.

constexpr unsigned long long Untouched = 0xABCDEF;

// What is printed when the file cannot be measured; "measured" or "size changed" if that goes
// wrong.
std::string LineOfFailure(const std::string& path) {
    const Deadline deadline;
    unsigned long long size = Untouched;
    bool measured = true;
    std::string line = StdoutOf([&] { measured = FileSys::GetFileSize(path, size); });
    if (measured)
        return "measured";
    return size == Untouched ? line : "size changed";
}

TEST(FileSize, IsTheLengthInBytes) {
    const TempDir dir;
    const std::string path = dir.File("file");
    for (const std::size_t length : {0U, 1U, 511U, 4096U, 100000U}) {
        WriteFile(path, std::string(length, 'x'));
        unsigned long long size = Untouched;
        EXPECT_TRUE(FileSys::GetFileSize(path, size));
        EXPECT_EQ(length, size);
    }
}

TEST(FileSize, MayExceed32Bits) {
    const TempDir dir;
    const std::string path = dir.File("file");
    WriteFile(path, "");
    ASSERT_EQ(0, truncate(path.c_str(), 0x1'2345'6789));
    unsigned long long size = 0;
    EXPECT_TRUE(FileSys::GetFileSize(path, size));
    EXPECT_EQ(0x1'2345'6789U, size);
}

TEST(FileSize, OfALinkIsThatOfItsTarget) {
    const TempDir dir;
    WriteFile(dir.File("file"), "1234567");
    unsigned long long size = 0;
    EXPECT_TRUE(FileSys::GetFileSize(Link(dir, "link", "file"), size));
    EXPECT_EQ(7U, size);
}

TEST(FileSize, IsMeasuredWithoutChangingAnything) {
    const TempDir dir;
    const std::string path = dir.File("file");
    WriteFile(path, "1234567");
    const struct stat before = StatusOf(path);
    const auto descriptors = OpenDescriptors();
    unsigned long long size = 0;
    EXPECT_EQ("", StdoutOf([&] { EXPECT_TRUE(FileSys::GetFileSize(path, size)); }));
    EXPECT_EQ(descriptors, OpenDescriptors());
    EXPECT_EQ("1234567", TextOf(path));
    const struct stat after = StatusOf(path);
    EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
    EXPECT_EQ(before.st_ctim.tv_nsec, after.st_ctim.tv_nsec);
}

TEST(FileSize, IsOpenedToReadAndNeverToMakeOrEmpty) {
    const TempDir dir;
    WriteFile(dir.File("file"), "1234567");
    Seams seams;
    std::vector<int> flags;
    seams.open = [&flags](const char* path, int openFlags, unsigned int mode) {
        flags.push_back(openFlags);
        return __real_open(path, openFlags, mode);
    };
    unsigned long long size = 0;
    EXPECT_TRUE(FileSys::GetFileSize(dir.File("file"), size));
    EXPECT_THAT(flags, ElementsAre(O_RDONLY));
    LineOfFailure(dir.File("missing"));
    LineOfFailure(dir.Path());
    EXPECT_EQ(3U, flags.size());
    for (const int one : flags)
        EXPECT_EQ(0, one & (O_CREAT | O_TRUNC | O_EXCL));
}

TEST(FileSize, NeedsNoPermissionToWrite) {
    const TempDir dir;
    OpenToAll(dir);
    const std::string path = dir.File("file");
    WriteFile(path, "1234567");
    ASSERT_EQ(0, chmod(path.c_str(), 0444));
    const Unprivileged unprivileged;
    if (unprivileged.Failed())
        GTEST_SKIP() << Unprivileged::WhyFailed;
    unsigned long long size = 0;
    EXPECT_TRUE(FileSys::GetFileSize(path, size));
    EXPECT_EQ(7U, size);
}

TEST(FileSize, NeedsThePermissionToRead) {
    const TempDir dir;
    OpenToAll(dir);
    const std::string path = dir.File("file");
    WriteFile(path, "1234567");
    ASSERT_EQ(0, chmod(path.c_str(), 0));
    const Unprivileged unprivileged;
    if (unprivileged.Failed())
        GTEST_SKIP() << Unprivileged::WhyFailed;
    EXPECT_EQ("[FileIo] Open : Access Denied\r\n", LineOfFailure(path));
}

TEST(FileSize, OfAMissingFileFailsAndDoesNotMakeIt) {
    const TempDir dir;
    EXPECT_EQ("[FileIo] Open : Not found.\r\n", LineOfFailure(dir.File("missing")));
    EXPECT_FALSE(IsThere(dir.File("missing")));
    EXPECT_EQ("[FileIo] Open : Not found.\r\n", LineOfFailure(""));
}

TEST(FileSize, OfALinkThatLeadsNowhereFailsAndDoesNotMakeItsTarget) {
    const TempDir dir;
    EXPECT_EQ("[FileIo] Open : Not found.\r\n", LineOfFailure(Link(dir, "link", "missing")));
    EXPECT_FALSE(IsThere(dir.File("missing")));
}

TEST(FileSize, OfADirectoryFails) {
    const TempDir dir;
    EXPECT_EQ("[FileIo] Open : Access Denied\r\n", LineOfFailure(dir.Path()));
    EXPECT_EQ("[FileIo] Open : Access Denied\r\n", LineOfFailure(Link(dir, "link", ".")));
}

TEST(FileSize, BelowAFileFails) {
    const TempDir dir;
    WriteFile(dir.File("file"), "");
    EXPECT_EQ("[FileIo] Open : Not a directory.\r\n", LineOfFailure(dir.File("file/below")));
}

TEST(FileSize, OfAPipeFailsWithoutWaitingForAWriter) {
    const TempDir dir;
    const std::string pipe = Node(dir, "pipe", S_IFIFO);
    EXPECT_EQ("", LineOfFailure(pipe));
    EXPECT_EQ("", LineOfFailure(Link(dir, "link", "pipe")));
    // Also with a writer, whose bytes are not taken either.
    const int writer = open(pipe.c_str(), O_RDWR);
    ASSERT_GE(writer, 0);
    EXPECT_EQ("", LineOfFailure(pipe));
    close(writer);
}

TEST(FileSize, OfASocketFails) {
    const TempDir dir;
    EXPECT_EQ("[FileIo] Open : Failed.\r\n", LineOfFailure(Node(dir, "socket", S_IFSOCK)));
}

TEST(FileSize, OfADeviceWithoutLengthIsZero) {
    unsigned long long size = Untouched;
    EXPECT_TRUE(FileSys::GetFileSize("/dev/null", size));
    EXPECT_EQ(0U, size);
}

TEST(FileSize, LeavesNoDescriptorOpenOnFailure) {
    const TempDir dir;
    const auto before = OpenDescriptors();
    LineOfFailure(dir.Path());
    LineOfFailure(dir.File("missing"));
    LineOfFailure(Node(dir, "pipe", S_IFIFO));
    EXPECT_EQ(before, OpenDescriptors());
}

// Concerns: which fields of the record count, in 64 bits; one system call each; the outputs on
// failure; a real file system.

struct statvfs Disk(unsigned long blockSize, unsigned long blocks, unsigned long available) {
    struct statvfs disk {};
    disk.f_bsize = blockSize;
    disk.f_frsize = 512;
    disk.f_blocks = blocks;
    disk.f_bfree = available + 111;
    disk.f_bavail = available;
    return disk;
}

class DiskSizes : public testing::Test {
protected:
    void Answer(const struct statvfs& answer) {
        seams.statvfs = [this, answer](const char* path, struct statvfs* disk) {
            paths.emplace_back(path);
            *disk = answer;
            return 0;
        };
    }

    Seams seams;
    std::vector<std::string> paths;
    unsigned long long total = 1, used = 2, free = 3;
};

TEST_F(DiskSizes, CountTheReservedBlocksAsUsedAndTheTransferSizeAsTheUnit) {
    Answer(Disk(4096, 1000, 500));
    EXPECT_TRUE(FileSys::GetDiskSize("/some/where", total, used, free));
    EXPECT_EQ(1000U * 4096, total);
    EXPECT_EQ(500U * 4096, used);
    EXPECT_EQ(500U * 4096, free);
    Answer(Disk(3, 1000, 1));
    EXPECT_TRUE(FileSys::GetDiskSize("/some/where", total, used, free));
    EXPECT_EQ(3000U, total);
    EXPECT_EQ(2997U, used);
    EXPECT_EQ(3U, free);
    EXPECT_THAT(paths, ElementsAre("/some/where", "/some/where"));
}

TEST_F(DiskSizes, AreHadOneByOneToo) {
    Answer(Disk(4096, 1000, 300));
    EXPECT_TRUE(FileSys::GetDiskTotalSize("/a", total));
    EXPECT_TRUE(FileSys::GetDiskUsedSize("/b", used));
    EXPECT_TRUE(FileSys::GetDiskFreeSize("/c", free));
    EXPECT_EQ(1000U * 4096, total);
    EXPECT_EQ(700U * 4096, used);
    EXPECT_EQ(300U * 4096, free);
    EXPECT_THAT(paths, ElementsAre("/a", "/b", "/c"));
}

TEST_F(DiskSizes, Use64Bits) {
    Answer(Disk(1UL << 20, 1UL << 42, 1UL << 30));
    EXPECT_TRUE(FileSys::GetDiskSize("/", total, used, free));
    EXPECT_EQ(1ULL << 62, total);
    EXPECT_EQ((1ULL << 62) - (1ULL << 50), used);
    EXPECT_EQ(1ULL << 50, free);
}

TEST_F(DiskSizes, WrapWhereMoreIsAvailableThanThereIs) {
    Answer(Disk(10, 5, 7));
    EXPECT_TRUE(FileSys::GetDiskSize("/", total, used, free));
    EXPECT_EQ(50U, total);
    EXPECT_EQ(ULLONG_MAX - 19, used);
    EXPECT_EQ(70U, free);
}

TEST_F(DiskSizes, StayOnFailure) {
    seams.statvfs = [](const char*, struct statvfs* disk) {
        *disk = Disk(1, 2, 1);
        return Fail(EIO);
    };
    EXPECT_FALSE(FileSys::GetDiskSize("/", total, used, free));
    EXPECT_FALSE(FileSys::GetDiskTotalSize("/", total));
    EXPECT_FALSE(FileSys::GetDiskUsedSize("/", used));
    EXPECT_FALSE(FileSys::GetDiskFreeSize("/", free));
    EXPECT_EQ(1U, total);
    EXPECT_EQ(2U, used);
    EXPECT_EQ(3U, free);
}

TEST_F(DiskSizes, AreThoseOfTheFileSystemThatHoldsThePath) {
    const TempDir dir;
    struct statvfs disk {};
    ASSERT_EQ(0, statvfs(dir.Path().c_str(), &disk));
    EXPECT_TRUE(FileSys::GetDiskSize(dir.Path(), total, used, free));
    EXPECT_EQ(disk.f_blocks * disk.f_bsize, total);
    EXPECT_EQ(total, used + free);
    EXPECT_FALSE(FileSys::GetDiskSize(dir.File("missing"), total, used, free));
}

// Concerns: what each moves or removes, links themselves, and what it refuses.

TEST(Moving, RenamesFilesDirectoriesAndLinks) {
    const TempDir dir;
    WriteFile(dir.File("file"), "text");
    ASSERT_TRUE(fs::create_directories(dir.File("directory/below")));
    Link(dir, "link", "nowhere");
    EXPECT_TRUE(FileSys::MoveFile(dir.File("file"), dir.File("directory/file")));
    EXPECT_EQ("text", TextOf(dir.File("directory/file")));
    EXPECT_FALSE(IsThere(dir.File("file")));
    EXPECT_TRUE(FileSys::MoveFile(dir.File("directory"), dir.File("moved")));
    EXPECT_TRUE(fs::is_directory(dir.File("moved/below")));
    EXPECT_TRUE(FileSys::MoveFile(dir.File("link"), dir.File("link2")));
    EXPECT_EQ("nowhere", fs::read_symlink(dir.File("link2")));
}

TEST(Moving, ReplacesAnExistingFile) {
    const TempDir dir;
    WriteFile(dir.File("from"), "new");
    WriteFile(dir.File("to"), "old");
    EXPECT_TRUE(FileSys::MoveFile(dir.File("from"), dir.File("to")));
    EXPECT_EQ("new", TextOf(dir.File("to")));
}

TEST(Moving, FailsWithoutSourceOrOntoADirectoryThatIsNotEmpty) {
    const TempDir dir;
    ASSERT_TRUE(fs::create_directories(dir.File("full/below")));
    ASSERT_TRUE(fs::create_directories(dir.File("other")));
    EXPECT_FALSE(FileSys::MoveFile(dir.File("missing"), dir.File("to")));
    EXPECT_FALSE(FileSys::MoveFile(dir.File("other"), dir.File("full")));
    EXPECT_FALSE(FileSys::MoveFile("", dir.File("to")));
    EXPECT_TRUE(fs::is_directory(dir.File("other")));
}

TEST(Deleting, TakesAwayFilesLinksAndEmptyDirectories) {
    const TempDir dir;
    WriteFile(dir.File("file"), "text");
    WriteFile(dir.File("kept"), "text");
    Link(dir, "link", "kept");
    ASSERT_TRUE(fs::create_directory(dir.File("directory")));
    for (const char* name : {"file", "link", "directory"}) {
        EXPECT_TRUE(FileSys::DeleteFile(dir.File(name))) << name;
        EXPECT_FALSE(IsThere(dir.File(name))) << name;
    }
    EXPECT_EQ("text", TextOf(dir.File("kept")));
}

TEST(Deleting, FailsForWhatIsMissingOrHoldsSomething) {
    const TempDir dir;
    ASSERT_TRUE(fs::create_directories(dir.File("full/below")));
    EXPECT_FALSE(FileSys::DeleteFile(dir.File("missing")));
    EXPECT_FALSE(FileSys::DeleteFile(dir.File("full")));
    EXPECT_TRUE(fs::is_directory(dir.File("full/below")));
}

TEST(Deleting, OfAnEmptyPathFailsWithoutAskingTheSystem) {
    const TempDir dir;
    const std::string path = dir.File("x");
    Seams seams;
    std::vector<std::string> asked;
    seams.remove = [&asked](const char* name) {
        asked.emplace_back(name);
        return 0;
    };
    EXPECT_FALSE(FileSys::DeleteFile(""));
    EXPECT_THAT(asked, IsEmpty());
    EXPECT_TRUE(FileSys::DeleteFile(path));
    EXPECT_THAT(asked, ElementsAre(path));
}

TEST(DeletingADirectory, TakesAwayOnlyEmptyDirectories) {
    const TempDir dir;
    ASSERT_TRUE(fs::create_directories(dir.File("full/below")));
    WriteFile(dir.File("file"), "text");
    Link(dir, "link", "full/below");
    for (const char* name : {"missing", "full", "file", "link"})
        EXPECT_FALSE(FileSys::DeleteDir(dir.File(name))) << name;
    EXPECT_FALSE(FileSys::DeleteDir(""));
    EXPECT_TRUE(IsThere(dir.File("file")));
    EXPECT_TRUE(FileSys::DeleteDir(dir.File("full/below")));
    EXPECT_TRUE(FileSys::DeleteDir(dir.File("full")));
    EXPECT_FALSE(IsThere(dir.File("full")));
}

// Concerns: one level, the permissions with and without a umask, and what is there already.

TEST(MakingADirectory, GivesItTheUsualPermissionsLessTheMask) {
    const TempDir dir;
    for (const mode_t mask : {0000U, 0022U, 0077U, 0027U}) {
        const std::string path = dir.File(std::to_string(mask));
        const Umask umask(mask);
        EXPECT_TRUE(FileSys::CreateDir(path));
        EXPECT_EQ(S_IFDIR | (0755U & ~mask), StatusOf(path).st_mode & (S_IFMT | 0777U)) << mask;
    }
}

TEST(MakingADirectory, FailsWithoutItsParentOrWhenSomethingIsThere) {
    const TempDir dir;
    WriteFile(dir.File("file"), "text");
    Link(dir, "link", "nowhere");
    for (const char* name : {"missing/below", "file", "link", "file/below", "."})
        EXPECT_FALSE(FileSys::CreateDir(dir.File(name))) << name;
    EXPECT_FALSE(FileSys::CreateDir(""));
    EXPECT_FALSE(IsThere(dir.File("missing")));
    EXPECT_FALSE(IsThere(dir.File("nowhere")));
}

// Concerns: every kind of thing that can be at a path, links, and nothing at all.

TEST(Existence, IsThatOfAnythingALinkLeadsTo) {
    const TempDir dir;
    WriteFile(dir.File("file"), "");
    ASSERT_EQ(0, chmod(dir.File("file").c_str(), 0));
    Node(dir, "pipe", S_IFIFO);
    Node(dir, "socket", S_IFSOCK);
    Link(dir, "link", "file");
    Link(dir, "broken", "missing");
    Link(dir, "circle", "circle");
    for (const char* name : {"file", "pipe", "socket", "link", "."}) {
        EXPECT_TRUE(FileSys::IsExistFile(dir.File(name))) << name;
        EXPECT_TRUE(FileSys::IsExistFile(dir.File(name).c_str())) << name;
    }
    for (const char* name : {"missing", "broken", "circle", "file/below", "file/"}) {
        EXPECT_FALSE(FileSys::IsExistFile(dir.File(name))) << name;
        EXPECT_FALSE(FileSys::IsExistFile(dir.File(name).c_str())) << name;
    }
    EXPECT_FALSE(FileSys::IsExistFile(""));
}

TEST(Existence, OfANullPointerIsDeniedWithoutAskingTheSystem) {
    Seams seams;
    int asked = 0;
    seams.access = [&asked](const char*) { return asked++; };
    EXPECT_FALSE(FileSys::IsExistFile(nullptr));
    EXPECT_EQ(0, asked);
}

TEST(DirectoryKind, IsThatOfWhatALinkLeadsTo) {
    const TempDir dir;
    WriteFile(dir.File("file"), "");
    Node(dir, "pipe", S_IFIFO);
    Link(dir, "link", ".");
    Link(dir, "fileLink", "file");
    Link(dir, "broken", "missing");
    for (const char* name : {"", ".", "link", "link/", "link/link"})
        EXPECT_TRUE(FileSys::IsDirectory(dir.File(name))) << name;
    for (const char* name : {"file", "pipe", "fileLink", "broken", "missing"})
        EXPECT_FALSE(FileSys::IsDirectory(dir.File(name))) << name;
    EXPECT_FALSE(FileSys::IsDirectory(""));
}

// Concerns: the bytes at sizes around that of the copy buffer, large and sparse files; permissions,
// umask, owner and times; targets and sources that are not plain files; failed and partial reads
// and writes; descriptors, also when a step fails.

class Copying : public testing::Test {
protected:
    // Calls CopyFile and checks that every descriptor it had is closed afterwards.
    bool Copy() const {
        const auto before = OpenDescriptors();
        const bool copied = FileSys::CopyFile(from, to);
        EXPECT_EQ(before, OpenDescriptors());
        return copied;
    }

    static constexpr std::size_t Part = 1024;

    Deadline deadline;
    TempDir dir;
    const std::string from = dir.File("from");
    const std::string to = dir.File("to");
    Seams seams;
};

TEST_F(Copying, GivesTheSameBytesWhateverTheLength) {
    std::vector<std::size_t> lengths{0, 1, 1023, 1024, 1025, 2047, 2048, 2049, 10240, 1000003};
    for (const std::size_t length : lengths) {
        const std::string bytes = Bytes(length);
        WriteFile(from, bytes);
        EXPECT_TRUE(Copy()) << length;
        EXPECT_TRUE(bytes == TextOf(to)) << length;
        EXPECT_TRUE(bytes == TextOf(from)) << length;
        fs::remove(to);
    }
}

TEST_F(Copying, GivesTheSameBytesOf100Megabytes) {
    constexpr std::uint64_t Blocks = 100;
    std::string block = Bytes(1U << 20);
    const auto number = [&block](std::uint64_t index) {
        std::copy_n(reinterpret_cast<const char*>(&index), sizeof(index), block.begin());
    };
    std::ofstream out(from, std::ios::binary);
    for (std::uint64_t index = 0; index < Blocks; ++index) {
        number(index);
        out << block;
    }
    out << "the rest";
    ASSERT_TRUE(out.flush().good());
    EXPECT_TRUE(Copy());
    std::ifstream in(to, std::ios::binary);
    std::string copied(block.size(), '\0');
    for (std::uint64_t index = 0; index < Blocks; ++index) {
        number(index);
        ASSERT_TRUE(in.read(copied.data(), static_cast<std::streamsize>(copied.size())).good());
        ASSERT_TRUE(block == copied) << index;
    }
    EXPECT_EQ("the rest", std::string(std::istreambuf_iterator<char>(in), {}));
}

TEST_F(Copying, GivesTheZerosOfAHole) {
    WriteFile(from, "begin");
    ASSERT_EQ(0, truncate(from.c_str(), 2 << 20));
    std::ofstream(from, std::ios::binary | std::ios::app) << "end";
    EXPECT_TRUE(Copy());
    std::string expected = "begin" + std::string((2U << 20) - 5, '\0') + "end";
    EXPECT_TRUE(expected == TextOf(to));
}

TEST_F(Copying, GivesThePermissionsLessTheMask) {
    for (const mode_t mode : {0777U, 0755U, 0640U, 0600U, 0444U, 0421U, 0400U}) {
        for (const mode_t mask : {0000U, 0022U, 0077U, 0777U}) {
            WriteFile(from, "text");
            ASSERT_EQ(0, chmod(from.c_str(), mode));
            {
                const Umask umask(mask);
                EXPECT_TRUE(Copy());
            }
            EXPECT_EQ(S_IFREG | (mode & ~mask), StatusOf(to).st_mode) << mode << " " << mask;
            fs::remove(from);
            fs::remove(to);
        }
    }
}

// The system may take the bits away again when the owner is set, so the same steps by hand tell.
TEST_F(Copying, GivesTheSpecialPermissionsThatTheSystemLeaves) {
    const std::string model = dir.File("model");
    for (const mode_t mode : {04755U, 02755U, 01755U, 04644U, 02644U, 01644U, 07600U}) {
        WriteFile(from, "");
        ASSERT_EQ(0, chmod(from.c_str(), mode));
        const struct stat status = StatusOf(from);
        const int byHand = open(model.c_str(), O_WRONLY | O_CREAT, status.st_mode);
        ASSERT_GE(byHand, 0);
        ASSERT_EQ(0, fchown(byHand, status.st_uid, status.st_gid));
        ASSERT_EQ(0, close(byHand));
        EXPECT_TRUE(Copy());
        EXPECT_EQ(StatusOf(model).st_mode, StatusOf(to).st_mode) << mode;
        for (const std::string& path : {from, to, model})
            fs::remove(path);
    }
}

TEST_F(Copying, HandsTheWholeModeOverWhenTheTargetIsMade) {
    WriteFile(from, "text");
    ASSERT_EQ(0, chmod(from.c_str(), 04751));
    std::vector<std::pair<int, unsigned int>> opens;
    seams.open = [&opens](const char* path, int flags, unsigned int mode) {
        opens.emplace_back(flags & ~O_CLOEXEC, mode);
        return __real_open(path, flags, mode);
    };
    EXPECT_TRUE(Copy());
    EXPECT_THAT(opens, ElementsAre(std::pair(O_RDONLY, 0U),
                                   std::pair(O_WRONLY | O_CREAT, unsigned{S_IFREG | 04751})));
}

TEST_F(Copying, GivesTheOwnerAwayAfterTheBytes) {
    WriteFile(from, "text");
    seams.fstat = [](int descriptor, struct stat* status) {
        const int result = __real_fstat(descriptor, status);
        status->st_uid = 12345;
        status->st_gid = 54321;
        return result;
    };
    std::vector<std::string> owners;
    seams.fchown = [&](int descriptor, uid_t owner, gid_t group) {
        EXPECT_EQ("text", TextOf(to));
        EXPECT_TRUE(fs::equivalent("/proc/self/fd/" + std::to_string(descriptor), to));
        owners.push_back(std::to_string(owner) + ":" + std::to_string(group));
        return Fail(EPERM);
    };
    EXPECT_TRUE(Copy());
    EXPECT_THAT(owners, ElementsAre("12345:54321"));
}

TEST_F(Copying, GivesTheOwnerWhereTheProcessMay) {
    WriteFile(from, "text");
    if (chown(from.c_str(), 12345, 54321) != 0)
        GTEST_SKIP() << "this process may not give files away";
    EXPECT_TRUE(Copy());
    EXPECT_EQ(12345U, StatusOf(to).st_uid);
    EXPECT_EQ(54321U, StatusOf(to).st_gid);
}

TEST_F(Copying, KeepsTheCopyWhereTheProcessMayNotGiveItAway) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs a file of another user, which only the superuser can make";
    OpenToAll(dir);
    WriteFile(from, "text");
    ASSERT_EQ(0, chmod(from.c_str(), 0644));
    {
        const Unprivileged unprivileged;
        if (unprivileged.Failed())
            GTEST_SKIP() << Unprivileged::WhyFailed;
        EXPECT_TRUE(Copy());
    }
    EXPECT_EQ("text", TextOf(to));
    EXPECT_EQ(Unprivileged::Nobody, StatusOf(to).st_uid);
}

TEST_F(Copying, LeavesTheTimesToTheSystemAndDoesNotWaitForTheDisk) {
    WriteFile(from, "text");
    const std::array<timespec, 2> old{{{1000000000, 0}, {1000000000, 0}}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, from.c_str(), old.data(), 0));
    seams.fsync = [](int) {
        ADD_FAILURE() << "fsync";
        return 0;
    };
    EXPECT_TRUE(Copy());
    EXPECT_LT(1000000000, StatusOf(to).st_mtim.tv_sec);
    EXPECT_EQ(1000000000, StatusOf(from).st_mtim.tv_sec);
}

TEST_F(Copying, NeverOverwrites) {
    WriteFile(from, "new");
    WriteFile(to, "old");
    EXPECT_FALSE(Copy());
    EXPECT_EQ("old", TextOf(to));
    EXPECT_FALSE(FileSys::CopyFile(from, from));
    EXPECT_EQ("new", TextOf(from));
    EXPECT_FALSE(FileSys::CopyFile(from, dir.Path()));
    EXPECT_FALSE(FileSys::CopyFile(from, Node(dir, "pipe", S_IFIFO)));
    EXPECT_FALSE(FileSys::CopyFile(from, Link(dir, "link", "to")));
    EXPECT_EQ("old", TextOf(to));
}

TEST_F(Copying, OntoALinkThatLeadsNowhereMakesTheFileThere) {
    WriteFile(from, "text");
    Link(dir, "to", "there");
    EXPECT_TRUE(Copy());
    EXPECT_TRUE(fs::is_symlink(to));
    EXPECT_EQ("text", TextOf(dir.File("there")));
}

TEST_F(Copying, OfALinkCopiesWhatItLeadsTo) {
    WriteFile(dir.File("file"), "text");
    Link(dir, "from", "file");
    EXPECT_TRUE(Copy());
    EXPECT_FALSE(fs::is_symlink(to));
    EXPECT_EQ("text", TextOf(to));
}

TEST_F(Copying, OfADirectoryMakesAnEmptyFile) {
    ASSERT_EQ(0, mkdir(from.c_str(), 0750));
    WriteFile(from + "/file", "text");
    const Umask umask(0);
    EXPECT_TRUE(Copy());
    EXPECT_EQ(mode_t{S_IFREG | 0750}, StatusOf(to).st_mode);
    EXPECT_EQ("", TextOf(to));
}

TEST_F(Copying, FailsWithoutASourceAndMakesNothing) {
    EXPECT_FALSE(Copy());
    EXPECT_FALSE(FileSys::CopyFile("", to));
    EXPECT_FALSE(IsThere(to));
}

TEST_F(Copying, FailsForASourceThatMayNotBeRead) {
    OpenToAll(dir);
    WriteFile(from, "text");
    ASSERT_EQ(0, chmod(from.c_str(), 0));
    const Unprivileged unprivileged;
    if (unprivileged.Failed())
        GTEST_SKIP() << Unprivileged::WhyFailed;
    EXPECT_FALSE(Copy());
    EXPECT_FALSE(IsThere(to));
}

TEST_F(Copying, FailsForATargetThatCannotBeMade) {
    WriteFile(from, "text");
    const auto before = OpenDescriptors();
    EXPECT_FALSE(FileSys::CopyFile(from, dir.File("missing/to")));
    EXPECT_FALSE(FileSys::CopyFile(from, from + "/below"));
    EXPECT_FALSE(FileSys::CopyFile(from, ""));
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_FALSE(IsThere(dir.File("missing")));
}

TEST_F(Copying, FailsWhenNothingIsKnownOfTheSource) {
    WriteFile(from, "text");
    seams.fstat = [](int, struct stat*) { return Fail(EIO); };
    EXPECT_FALSE(Copy());
    EXPECT_FALSE(IsThere(to));
}

TEST_F(Copying, ReadsPartsIntoABufferThatIsZeroAtFirst) {
    WriteFile(from, Bytes(Part + 1));
    std::vector<size_t> sizes;
    std::string first;
    seams.read = [&](int descriptor, void* buffer, size_t size) {
        if (sizes.empty())
            first.assign(static_cast<const char*>(buffer), size);
        sizes.push_back(size);
        return __real_read(descriptor, buffer, size);
    };
    EXPECT_TRUE(Copy());
    EXPECT_THAT(sizes, ElementsAre(Part, Part, Part));
    EXPECT_EQ(std::string(Part, '\0'), first);
}

TEST_F(Copying, CopiesWhatAShortReadGives) {
    const std::string bytes = Bytes(5000);
    WriteFile(from, bytes);
    size_t limit = 0;
    seams.read = [&limit](int descriptor, void* buffer, size_t size) {
        limit = limit % 700 + 13;
        return __real_read(descriptor, buffer, std::min(size, limit));
    };
    EXPECT_TRUE(Copy());
    EXPECT_TRUE(bytes == TextOf(to));
}

TEST_F(Copying, EndsAtAReadErrorAsAtTheEndOfTheFile) {
    const std::string bytes = Bytes(10 * Part);
    WriteFile(from, bytes);
    int reads = 0;
    seams.read = [&reads](int descriptor, void* buffer, size_t size) -> ssize_t {
        return ++reads == 3 ? Fail(EIO) : __real_read(descriptor, buffer, size);
    };
    EXPECT_TRUE(Copy());
    EXPECT_EQ(3, reads);
    EXPECT_EQ(bytes.substr(0, 2 * Part), TextOf(to));
}

TEST_F(Copying, LosesWhatAWriteDoesNotTakeAndGoesOn) {
    const std::string bytes = Bytes(4 * Part);
    WriteFile(from, bytes);
    int writes = 0;
    seams.write = [&writes](int descriptor, const void* buffer, size_t size) -> ssize_t {
        switch (++writes) {
        case 2:
            return Fail(ENOSPC);
        case 3:
            return __real_write(descriptor, buffer, 100);
        default:
            return __real_write(descriptor, buffer, size);
        }
    };
    EXPECT_TRUE(Copy());
    EXPECT_EQ(4, writes);
    EXPECT_EQ(bytes.substr(0, Part) + bytes.substr(2 * Part, 100) + bytes.substr(3 * Part),
              TextOf(to));
}

// Files of this process cannot grow beyond the limit; a write that would is cut or fails.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t limit) : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        EXPECT_EQ(0, getrlimit(RLIMIT_FSIZE, &m_before));
        const rlimit now{limit, m_before.rlim_max};
        EXPECT_EQ(0, setrlimit(RLIMIT_FSIZE, &now));
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    void (*m_handler)(int);
    rlimit m_before{};
};

TEST_F(Copying, ToAFullTargetSucceedsAndLeavesWhatFits) {
    const std::string bytes = Bytes(64 * Part);
    WriteFile(from, bytes);
    bool copied = false;
    {
        const FileSizeLimit limit(10 * Part + 300);
        copied = FileSys::CopyFile(from, to);
    }
    EXPECT_TRUE(copied);
    EXPECT_EQ(bytes.substr(0, 10 * Part + 300), TextOf(to));
}

TEST_F(Copying, MakesATargetThatTakesNothing) {
    WriteFile(from, "text");
    bool copied = false;
    {
        const FileSizeLimit limit(0);
        copied = FileSys::CopyFile(from, to);
    }
    EXPECT_TRUE(copied);
    EXPECT_EQ("", TextOf(to));
}

// Concern: of all these operations only GetFileSize prints anything.

TEST(FileSystemOperations, PrintNothing) {
    const TempDir dir;
    const std::string missing = dir.File("missing/below");
    std::string text;
    unsigned long long size = 0;
    const std::string printed = StdoutOf([&] {
        FileSys::GetRootPath(missing, text);
        FileSys::GetFileExt(missing, text);
        FileSys::GetDiskSize(missing, size, size, size);
        FileSys::MoveFile(missing, missing);
        FileSys::DeleteFile(missing);
        FileSys::DeleteDir(missing);
        FileSys::CreateDir(missing);
        FileSys::IsDirectory(missing);
        FileSys::IsExistFile(missing);
        FileSys::CopyFile(missing, missing);
        FileSys::CopyFile(dir.Path(), missing);
    });
    EXPECT_EQ("", printed);
}

} // namespace
