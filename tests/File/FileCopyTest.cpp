// SPDX-License-Identifier: MIT
// Copying a file, by the kernel and by reading and writing, with every failure.

#include "File/FileSysTest.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/sendfile.h>

#include <gmock/gmock.h>

#include "support/ClosedInput.h"
#include "support/Unprivileged.h"

namespace {

namespace fs = std::filesystem;
namespace FileSys = Vorn::FileSys;

using testing::_;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;
using namespace VornTest;

// Different at every distance that a lost or repeated part could shift by.
std::string Bytes(std::size_t size) {
    std::mt19937 random(20240229);
    std::string bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    return bytes;
}

// Concerns: the bytes at sizes around that of the copy buffer, large and sparse files; permissions,
// umask, owner and times; targets and sources that are not plain files; failed and partial reads
// and writes; the kernel's own copy, wherever it stops; descriptors, also when a step fails.

class Copying : public testing::Test {
protected:
    // Calls CopyFile and checks that every descriptor it had is closed afterwards.
    bool Copy() const {
        const auto before = OpenDescriptors();
        const bool copied = FileSys::CopyFile(from, to);
        EXPECT_EQ(before, OpenDescriptors());
        return copied;
    }

    // As on a kernel that copies nothing by itself.
    static void LeaveAllToTheLoop() {
        Platform::copy_file_range.Fail(ENOSYS);
        Platform::sendfile.Fail(EINVAL);
    }

    static constexpr std::size_t Part = 1024;

    Deadline deadline;
    TempDir dir;
    const std::string from = dir.File("from");
    const std::string to = dir.File("to");
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

// The system may clear the bits again when the owner is set, so the same steps by hand show what is
// to be expected.
TEST_F(Copying, GivesTheSpecialPermissionsThatTheSystemLeaves) {
    const std::string model = dir.File("model");
    for (const mode_t mode : {04755U, 02755U, 01755U, 04644U, 02644U, 01644U, 07600U}) {
        WriteFile(from, "text");
        ASSERT_EQ(0, chmod(from.c_str(), mode));
        const struct stat status = StatusOf(from);
        const int byHand = open(model.c_str(), O_WRONLY | O_CREAT, status.st_mode);
        ASSERT_GE(byHand, 0);
        ASSERT_EQ(4, write(byHand, "text", 4));
        ASSERT_EQ(0, fchown(byHand, status.st_uid, status.st_gid));
        ASSERT_EQ(0, close(byHand));
        EXPECT_TRUE(Copy());
        EXPECT_EQ(StatusOf(model).st_mode, StatusOf(to).st_mode) << mode;
        for (const std::string& path : {from, to, model})
            fs::remove(path);
    }
}

TEST_F(Copying, PassesTheWholeModeWhenItCreatesTheTarget) {
    WriteFile(from, "text");
    ASSERT_EQ(0, chmod(from.c_str(), 04751));
    std::vector<std::pair<int, mode_t>> opens;
    Platform::open.Do([&opens](const char* path, int flags, mode_t mode) {
        opens.emplace_back(flags & ~O_CLOEXEC, (flags & O_CREAT) != 0 ? mode : 0);
        return open(path, flags, mode);
    });
    EXPECT_TRUE(Copy());
    EXPECT_THAT(opens, ElementsAre(std::pair(O_RDONLY, 0U),
                                   std::pair(O_WRONLY | O_CREAT, unsigned{S_IFREG | 04751})));
}

// Another thread may execute a program at any time.
TEST_F(Copying, OpensNothingThatExecutedProgramsInherit) {
    WriteFile(from, "text");
    Platform::open.Record();
    EXPECT_TRUE(Copy());
    ASSERT_EQ(2U, Platform::open.Count());
    for (const auto& [path, flags, mode] : Platform::open.Calls())
        EXPECT_EQ(O_CLOEXEC, flags & O_CLOEXEC) << path;
}

TEST_F(Copying, WorksWhereStandardInputIsClosed) {
    WriteFile(from, "text");
    const ClosedInput input;
    Platform::open.Record();
    EXPECT_TRUE(Copy());
    EXPECT_THAT(Platform::open.Results(), Contains(STDIN_FILENO));
    EXPECT_EQ("text", TextOf(to));
}

TEST_F(Copying, SetsTheOwnerAfterTheBytes) {
    WriteFile(from, "text");
    Platform::fstat.Do([](int descriptor, struct stat* status) {
        const int result = fstat(descriptor, status);
        status->st_uid = 12345;
        status->st_gid = 54321;
        return result;
    });
    Platform::fchown.Record();
    Platform::fchown.Do([&](int descriptor, uid_t, gid_t) {
        EXPECT_EQ("text", TextOf(to));
        EXPECT_TRUE(fs::equivalent("/proc/self/fd/" + std::to_string(descriptor), to));
        errno = EPERM;
        return -1;
    });
    EXPECT_TRUE(Copy());
    EXPECT_THAT(Platform::fchown.Calls(), ElementsAre(FieldsAre(_, 12345U, 54321U)));
}

TEST_F(Copying, SetsTheOwnerWhereTheProcessMay) {
    WriteFile(from, "text");
    if (chown(from.c_str(), 12345, 54321) != 0)
        GTEST_SKIP() << "this process may not give files away";
    EXPECT_TRUE(Copy());
    EXPECT_EQ(12345U, StatusOf(to).st_uid);
    EXPECT_EQ(54321U, StatusOf(to).st_gid);
}

TEST_F(Copying, KeepsTheCopyWhenTheProcessMayNotSetTheOwner) {
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
    Platform::fsync.Record();
    EXPECT_TRUE(Copy());
    EXPECT_THAT(Platform::fsync.Calls(), IsEmpty());
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

TEST_F(Copying, OntoADanglingLinkCreatesTheFileWhereItLeads) {
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

TEST_F(Copying, OfADirectoryCreatesAnEmptyFile) {
    ASSERT_EQ(0, mkdir(from.c_str(), 0750));
    WriteFile(from + "/file", "text");
    const Umask umask(0);
    EXPECT_TRUE(Copy());
    EXPECT_EQ(mode_t{S_IFREG | 0750}, StatusOf(to).st_mode);
    EXPECT_EQ("", TextOf(to));
}

TEST_F(Copying, FailsWithoutASourceAndCreatesNothing) {
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

TEST_F(Copying, FailsForATargetThatCannotBeCreated) {
    WriteFile(from, "text");
    const auto before = OpenDescriptors();
    EXPECT_FALSE(FileSys::CopyFile(from, dir.File("missing/to")));
    EXPECT_FALSE(FileSys::CopyFile(from, from + "/below"));
    EXPECT_FALSE(FileSys::CopyFile(from, ""));
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_FALSE(IsThere(dir.File("missing")));
}

TEST_F(Copying, FailsWhenTheSourceCannotBeStated) {
    WriteFile(from, "text");
    Platform::fstat.Fail(EIO);
    EXPECT_FALSE(Copy());
    EXPECT_FALSE(IsThere(to));
}

TEST_F(Copying, ReadsPartsIntoABufferThatIsZeroAtFirst) {
    LeaveAllToTheLoop();
    WriteFile(from, Bytes(Part + 1));
    std::vector<size_t> sizes;
    std::string first;
    Platform::read.Do([&](int descriptor, void* buffer, size_t size) {
        if (sizes.empty())
            first.assign(static_cast<const char*>(buffer), size);
        sizes.push_back(size);
        return read(descriptor, buffer, size);
    });
    EXPECT_TRUE(Copy());
    EXPECT_THAT(sizes, ElementsAre(Part, Part, Part));
    EXPECT_EQ(std::string(Part, '\0'), first);
}

TEST_F(Copying, CopiesWhatAShortReadGives) {
    LeaveAllToTheLoop();
    const std::string bytes = Bytes(5000);
    WriteFile(from, bytes);
    size_t limit = 0;
    Platform::read.Do([&limit](int descriptor, void* buffer, size_t size) {
        limit = limit % 700 + 13;
        return read(descriptor, buffer, std::min(size, limit));
    });
    EXPECT_TRUE(Copy());
    EXPECT_TRUE(bytes == TextOf(to));
}

TEST_F(Copying, EndsAtAReadErrorAsAtTheEndOfTheFile) {
    LeaveAllToTheLoop();
    const std::string bytes = Bytes(10 * Part);
    WriteFile(from, bytes);
    Platform::read.Record();
    Platform::read.At(3).Fail(EIO);
    EXPECT_TRUE(Copy());
    EXPECT_EQ(3U, Platform::read.Count());
    EXPECT_EQ(bytes.substr(0, 2 * Part), TextOf(to));
}

TEST_F(Copying, LosesWhatAWriteDoesNotAcceptAndContinues) {
    LeaveAllToTheLoop();
    const std::string bytes = Bytes(4 * Part);
    WriteFile(from, bytes);
    Platform::write.Record();
    Platform::write.At(2).Fail(ENOSPC);
    Platform::write.At(3).Do(
        [](int descriptor, const void* buffer, size_t) { return write(descriptor, buffer, 100); });
    EXPECT_TRUE(Copy());
    EXPECT_EQ(4U, Platform::write.Count());
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

TEST_F(Copying, CreatesATargetThatAcceptsNoBytes) {
    WriteFile(from, "text");
    bool copied = false;
    {
        const FileSizeLimit limit(0);
        copied = FileSys::CopyFile(from, to);
    }
    EXPECT_TRUE(copied);
    EXPECT_EQ("", TextOf(to));
}

// --- The kernel's own copy -----------------------------------------------------------------------

TEST_F(Copying, LeavesTheBytesToTheKernel) {
    const std::string bytes = Bytes(1000003);
    WriteFile(from, bytes);
    Platform::write.Record();
    EXPECT_TRUE(Copy());
    EXPECT_TRUE(bytes == TextOf(to));
    EXPECT_EQ(0U, Platform::write.Count());
}

TEST_F(Copying, AsksForPiecesSoThatTheThreadCanBeCancelled) {
    constexpr std::size_t Piece = std::size_t{8} << 20;
    WriteFile(from, Bytes(2 * Piece + 1));
    Platform::copy_file_range.Record();
    EXPECT_TRUE(Copy());
    EXPECT_THAT(Platform::copy_file_range.Calls(), Each(FieldsAre(_, _, _, _, Piece, 0U)));
    EXPECT_EQ(4U, Platform::copy_file_range.Count());
    EXPECT_EQ(2 * Piece + 1, fs::file_size(to));
}

class CopyingInTheKernel : public Copying, public testing::WithParamInterface<bool> {
protected:
    // Each call fails in each way, after some bytes if the parameter says so. All bytes arrive.
    template <typename Call, typename CopySome>
    void FailInEveryWay(Call& call, CopySome copySome) {
        const std::string bytes = Bytes(100 * Part + 3);
        WriteFile(from, bytes);
        for (const int error : call.Errors()) {
            call.Reset();
            call.Fail(error);
            if (GetParam())
                call.At(1).Do(copySome);
            EXPECT_TRUE(Copy());
            EXPECT_LE(GetParam() ? 2U : 1U, call.Scripted()) << error;
            EXPECT_TRUE(bytes == TextOf(to)) << error;
            fs::remove(to);
        }
    }

    static constexpr std::size_t Some = 7 * Part + 100;

    static ssize_t CopySome(int source, off64_t* sourceOffset, int target, off64_t* targetOffset,
                            std::size_t, unsigned int flags) {
        return copy_file_range(source, sourceOffset, target, targetOffset, Some, flags);
    }
    static ssize_t SendSome(int target, int source, off_t* offset, std::size_t) {
        return sendfile(target, source, offset, Some);
    }
};

TEST_P(CopyingInTheKernel, ContinuesWithTheOtherCallWhereTheFirstFails) {
    Platform::write.Record();
    FailInEveryWay(Platform::copy_file_range, CopySome);
    EXPECT_EQ(0U, Platform::write.Count());
}

TEST_P(CopyingInTheKernel, ContinuesWithTheLoopWhereBothCallsFail) {
    Platform::copy_file_range.Fail(EXDEV);
    FailInEveryWay(Platform::sendfile, SendSome);
}

TEST_P(CopyingInTheKernel, ContinuesWithTheLoopWhereBothCallsFailAfterSomeBytes) {
    Platform::copy_file_range.Fail(EIO);
    Platform::copy_file_range.At(1).Do(CopySome);
    FailInEveryWay(Platform::sendfile, SendSome);
}

INSTANTIATE_TEST_SUITE_P(, CopyingInTheKernel, testing::Bool(),
                         [](const auto& made) { return made.param ? "AfterSomeBytes" : "AtOnce"; });

TEST_F(Copying, LeavesErrnoAloneWhereTheKernelRefuses) {
    WriteFile(from, Bytes(Part));
    LeaveAllToTheLoop();
    EXPECT_TRUE(Copy());
    EXPECT_EQ(ENOENT, errno); // of the look at the target, which was not there
}

TEST_F(Copying, GoesOnWhereTheKernelReportsTheEndTooEarly) {
    const std::string bytes = Bytes(10 * Part);
    WriteFile(from, bytes);
    Platform::copy_file_range.Answer(0);
    Platform::sendfile.Answer(0);
    EXPECT_TRUE(Copy());
    EXPECT_TRUE(bytes == TextOf(to));
}

TEST_F(Copying, EndsAtAReadErrorWhereverTheKernelStopped) {
    const std::string bytes = Bytes(10 * Part);
    WriteFile(from, bytes);
    Platform::copy_file_range.Fail(EIO);
    Platform::sendfile.Fail(EIO);
    Platform::sendfile.At(1).Do([](int target, int source, off_t* offset, std::size_t) {
        return sendfile(target, source, offset, 3 * Part);
    });
    Platform::read.Fail(EIO);
    EXPECT_TRUE(Copy());
    EXPECT_EQ(bytes.substr(0, 3 * Part), TextOf(to));
}

TEST_F(Copying, BetweenFileSystemsGivesTheSameBytes) {
    const std::string path = "/dev/shm/" + fs::path(dir.Path()).filename().string();
    const std::string bytes = Bytes(1000003);
    WriteFile(path, bytes);
    const bool isOther = StatusOf(path).st_dev != StatusOf(dir.Path()).st_dev;
    const bool copied = FileSys::CopyFile(path, to);
    fs::remove(path);
    EXPECT_TRUE(copied);
    EXPECT_TRUE(bytes == TextOf(to));
    if (!isOther)
        GTEST_SKIP() << "the directory is on the file system of /dev/shm too";
}

// It has content and claims a length of 0.
TEST_F(Copying, ReadsAFileThatClaimsNoLength) {
    Platform::copy_file_range.Record();
    Platform::sendfile.Record();
    EXPECT_TRUE(FileSys::CopyFile("/proc/version", to));
    EXPECT_EQ(TextOf("/proc/version"), TextOf(to));
    EXPECT_NE("", TextOf(to));
    EXPECT_EQ(0U, Platform::copy_file_range.Count() + Platform::sendfile.Count());
}

// The second call would find the end of the file, so that a thread that is not cancelled ends too.
TEST_F(Copying, CanBeCancelledBetweenTwoPieces) {
    WriteFile(from, "text");
    const auto before = OpenDescriptors();
    std::atomic<int> calls = 0;
    Platform::copy_file_range.OnAnyThread().Fail(EXDEV);
    Platform::sendfile.OnAnyThread().Do([&](int target, int source, off_t* offset, size_t size) {
        ++calls;
        pthread_cancel(pthread_self());
        return sendfile(target, source, offset, size);
    });
    std::pair<std::string, std::string> paths(from, to);
    pthread_t thread{};
    const auto copy = [](void* argument) -> void* {
        const auto& [source, target] = *static_cast<decltype(paths)*>(argument);
        FileSys::CopyFile(source, target);
        return nullptr;
    };
    ASSERT_EQ(0, pthread_create(&thread, nullptr, copy, &paths));
    void* result = nullptr;
    ASSERT_EQ(0, pthread_join(thread, &result));
    Platform::sendfile.Reset();
    EXPECT_EQ(PTHREAD_CANCELED, result);
    EXPECT_EQ(1, calls);
    EXPECT_EQ("text", TextOf(to));
    EXPECT_EQ(before, OpenDescriptors());
}

} // namespace
