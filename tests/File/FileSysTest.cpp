// SPDX-License-Identifier: MIT
// FileSys: existence, sizes, extensions, disk space; moving and deleting.

#include "File/FileSysTest.h"

#include <array>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/statvfs.h>

#include <gmock/gmock.h>

#include "support/StdoutCapture.h"
#include "support/Unprivileged.h"

namespace {

namespace fs = std::filesystem;
namespace FileSys = Vorn::FileSys;

using testing::_;
using testing::Each;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;
using namespace VornTest;

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

TEST(FileExtension, IsAlsoFoundAfterAnEmbeddedZeroOfAString) {
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

TEST(FileSize, OpensTheFileToReadAndNeverCreatesOrEmptiesIt) {
    const TempDir dir;
    WriteFile(dir.File("file"), "1234567");
    Platform::open.Record();
    unsigned long long size = 0;
    EXPECT_TRUE(FileSys::GetFileSize(dir.File("file"), size));
    EXPECT_THAT(Platform::open.Calls(), ElementsAre(FieldsAre(_, O_RDONLY, _)));
    LineOfFailure(dir.File("missing"));
    LineOfFailure(dir.Path());
    EXPECT_EQ(3U, Platform::open.Count());
    for (const auto& [path, flags, mode] : Platform::open.Calls())
        EXPECT_EQ(0, flags & (O_CREAT | O_TRUNC | O_EXCL)) << path;
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

TEST(FileSize, OfAMissingFileFailsAndDoesNotCreateIt) {
    const TempDir dir;
    EXPECT_EQ("[FileIo] Open : Not found.\r\n", LineOfFailure(dir.File("missing")));
    EXPECT_FALSE(IsThere(dir.File("missing")));
    EXPECT_EQ("[FileIo] Open : Not found.\r\n", LineOfFailure(""));
}

TEST(FileSize, OfADanglingLinkFailsAndDoesNotCreateItsTarget) {
    const TempDir dir;
    EXPECT_EQ("[FileIo] Open : Not found.\r\n", LineOfFailure(Link(dir, "link", "missing")));
    EXPECT_FALSE(IsThere(dir.File("missing")));
}

TEST(FileSize, OfADirectoryFails) {
    const TempDir dir;
    EXPECT_EQ("[FileIo] Open : Access Denied\r\n", LineOfFailure(dir.Path()));
    EXPECT_EQ("[FileIo] Open : Access Denied\r\n", LineOfFailure(Link(dir, "link", ".")));
}

TEST(FileSize, OfAPathThroughAFileFails) {
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

TEST(FileSize, NeedsOneDescriptorOnly) {
    const TempDir dir;
    WriteFile(dir.File("file"), "1234567");
    Platform::dup.Fail(EMFILE);
    unsigned long long size = 0;
    EXPECT_TRUE(FileSys::GetFileSize(dir.File("file"), size));
    EXPECT_EQ(7U, size);
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
        Platform::statvfs.Do([this, answer](const char* path, struct statvfs* disk) {
            paths.emplace_back(path);
            *disk = answer;
            return 0;
        });
    }

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

TEST_F(DiskSizes, MayBeQueriedOneByOne) {
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

TEST_F(DiskSizes, WrapWhenMoreIsAvailableThanTheTotal) {
    Answer(Disk(10, 5, 7));
    EXPECT_TRUE(FileSys::GetDiskSize("/", total, used, free));
    EXPECT_EQ(50U, total);
    EXPECT_EQ(ULLONG_MAX - 19, used);
    EXPECT_EQ(70U, free);
}

TEST_F(DiskSizes, StayOnFailure) {
    Platform::statvfs.Do([](const char*, struct statvfs* disk) {
        *disk = Disk(1, 2, 1);
        errno = EIO;
        return -1;
    });
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
    struct statvfs disk {}; // as the library sees it: others write to the file system meanwhile
    Platform::statvfs.At(1).Do([&](const char* path, struct statvfs* seen) {
        EXPECT_EQ(dir.Path(), path);
        const int result = Platform::statvfs.Real(path, seen);
        disk = *seen;
        return result;
    });
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

TEST(Deleting, RemovesFilesLinksAndEmptyDirectories) {
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
    Platform::remove.Record();
    Platform::remove.Answer(0);
    EXPECT_FALSE(FileSys::DeleteFile(""));
    EXPECT_THAT(Platform::remove.Calls(), IsEmpty());
    EXPECT_TRUE(FileSys::DeleteFile(path));
    EXPECT_THAT(Platform::remove.Calls(), ElementsAre(path));
}

TEST(DeleteDir, RemovesOnlyEmptyDirectories) {
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

TEST(CreateDir, GivesTheDirectoryTheUsualPermissionsLessTheMask) {
    const TempDir dir;
    for (const mode_t mask : {0000U, 0022U, 0077U, 0027U}) {
        const std::string path = dir.File(std::to_string(mask));
        const Umask umask(mask);
        EXPECT_TRUE(FileSys::CreateDir(path));
        EXPECT_EQ(S_IFDIR | (0755U & ~mask), StatusOf(path).st_mode & (S_IFMT | 0777U)) << mask;
    }
}

TEST(CreateDir, FailsWithoutItsParentOrWhenSomethingIsThere) {
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
    Platform::access.Record();
    for (const char* name : {"file", "pipe", "socket", "link", "."}) {
        EXPECT_TRUE(FileSys::IsExistFile(dir.File(name))) << name;
        EXPECT_TRUE(FileSys::IsExistFile(dir.File(name).c_str())) << name;
    }
    for (const char* name : {"missing", "broken", "circle", "file/below", "file/"}) {
        EXPECT_FALSE(FileSys::IsExistFile(dir.File(name))) << name;
        EXPECT_FALSE(FileSys::IsExistFile(dir.File(name).c_str())) << name;
    }
    EXPECT_FALSE(FileSys::IsExistFile(""));
    // Not whether it may be read, which is always so for the superuser.
    EXPECT_THAT(Platform::access.Calls(), Each(FieldsAre(_, F_OK)));
}

TEST(Existence, OfANullPointerIsDeniedWithoutAskingTheSystem) {
    Platform::access.Record();
    Platform::access.Answer(0);
    EXPECT_FALSE(FileSys::IsExistFile(nullptr));
    EXPECT_THAT(Platform::access.Calls(), IsEmpty());
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
