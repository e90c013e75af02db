// SPDX-License-Identifier: MIT
// FileIo: an open file, and the handle before and after.

#include "File/FileIoTest.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

namespace FileAccess = Vorn::FileAccess;
namespace Platform = VornTest::Platform;

using testing::_;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;
using testing::SizeIs;
using VornTest::ChangeErrnoByPuts;
using VornTest::ListenToFileIo;
using VornTest::OpenDescriptors;
using VornTest::OpenedFile;
using VornTest::StdoutOf;
using VornTest::TempDir;
using VornTest::TextOf;
using VornTest::WriteFile;

std::string Fifo(const TempDir& dir) {
    std::string path = dir.File("fifo");
    EXPECT_EQ(0, mkfifo(path.c_str(), 0600));
    return path;
}

// Concerns: what a handle is before, between and after being open; that only its destructor is
// virtual; that it cannot be copied; that a closed handle answers without asking the system.

struct Unrelated {};

// Compiles only while none of the operations that it hides is virtual: an override could not differ
// in its result.
struct HidesEveryOperation : Vorn::FileIo {
    Unrelated Open(const std::string&, unsigned int, unsigned int, unsigned int);
    Unrelated Close();
    Unrelated IsOpened();
    Unrelated Read(void*, unsigned int);
    Unrelated Write(void*, unsigned int);
    Unrelated Seek(long long, unsigned int);
    Unrelated Tell();
    Unrelated SeekToBegin();
    Unrelated SeekToEnd();
    Unrelated SeekFromBegin(long long);
    Unrelated SeekFromEnd(long long);
    Unrelated SetEndOfFile();
    Unrelated SetFileSize(long long);
    Unrelated GetFileSize();
    Unrelated Flush();
    Unrelated GetPath();
    Unrelated GetPath(std::string&);
};

TEST(FileIoHandle, HasAVirtualDestructorAndNoCopies) {
    static_assert(std::has_virtual_destructor_v<Vorn::FileIo>);
    static_assert(!std::is_copy_constructible_v<Vorn::FileIo>);
    static_assert(!std::is_copy_assignable_v<Vorn::FileIo>);
    static_assert(!std::is_move_constructible_v<Vorn::FileIo>);
    static_assert(!std::is_move_assignable_v<Vorn::FileIo>);
    EXPECT_EQ(sizeof(Vorn::FileIo), sizeof(HidesEveryOperation));
}

TEST(FileIoHandle, IsInvalidAsMinusOneAlsoByReference) {
    static_assert(std::is_same_v<decltype(Vorn::FileIo::InvalidFileIoHandle), const int>);
    static_assert(Vorn::FileIo::InvalidFileIoHandle == -1);
    const int* address = &Vorn::FileIo::InvalidFileIoHandle;
    EXPECT_EQ(-1, *address);
}

TEST(FileIoHandle, IsClosedAtFirst) {
    Vorn::FileIo file;
    EXPECT_FALSE(file.IsOpened());
    EXPECT_STREQ("", file.GetPath());
}

TEST(FileIoHandle, AnswersWithoutTheSystemWhenClosed) {
    Vorn::FileIo file;
    ListenToFileIo();
    std::array<char, 4> buffer{'k', 'e', 'p', 't'};
    const std::string output = StdoutOf([&] {
        errno = EDOM;
        EXPECT_EQ(0U, file.Read(buffer.data(), 4));
        EXPECT_EQ(0U, file.Write(buffer.data(), 4));
        EXPECT_EQ(0, file.Tell());
        EXPECT_FALSE(file.SetEndOfFile());
        EXPECT_FALSE(file.SetFileSize(5));
        EXPECT_EQ(0, file.GetFileSize());
        EXPECT_FALSE(file.Flush());
        EXPECT_EQ(EDOM, errno);
    });
    EXPECT_EQ("", output);
    EXPECT_EQ("kept", std::string(buffer.data(), 4));
    EXPECT_THAT(Platform::Order(), IsEmpty());
}

TEST(FileIoHandle, CloseDoesNothingWhenClosed) {
    ListenToFileIo();
    Vorn::FileIo file;
    file.Close();
    file.Close();
    EXPECT_FALSE(file.IsOpened());
    EXPECT_THAT(Platform::close.Calls(), IsEmpty());
}

TEST_F(OpenedFile, ClosesItsDescriptorOnce) {
    ListenToFileIo();
    ASSERT_TRUE(file.Open(path, FileAccess::Read, 3, 4));
    Platform::close.Forget();
    file.Close();
    EXPECT_FALSE(file.IsOpened());
    file.Close();
    EXPECT_EQ(1U, Platform::close.Count());
    EXPECT_EQ(Platform::open.Results(), Platform::close.Calls());
}

TEST_F(OpenedFile, IsClosedAlsoWhenTheSystemReportsAFailedClose) {
    ListenToFileIo();
    ASSERT_TRUE(file.Open(path, FileAccess::Read, 3, 4));
    Platform::close.At(1).Fail(EIO);
    errno = EDOM;
    file.Close();
    EXPECT_FALSE(file.IsOpened());
    EXPECT_EQ(EDOM, errno);
    EXPECT_EQ(-1, Platform::close.Real(Platform::open.Results().front()));
}

TEST_F(OpenedFile, IsClosedByItsDestructor) {
    const auto before = OpenDescriptors();
    {
        const std::unique_ptr<Vorn::FileIo> other(new Vorn::FileIo);
        ASSERT_TRUE(other->Open(path, FileAccess::Read, 3, 4));
        EXPECT_EQ(before + 1, OpenDescriptors());
    }
    EXPECT_EQ(before, OpenDescriptors());
}

TEST_F(OpenedFile, DoesNotReportItsPath) {
    std::string out = "something";
    EXPECT_STREQ("", file.GetPath());
    file.GetPath(out);
    EXPECT_EQ("", out);
    file.Close();
    out = "something";
    EXPECT_STREQ("", file.GetPath());
    file.GetPath(out);
    EXPECT_EQ("", out);
}

TEST_F(OpenedFile, IsClosedBeforeItIsOpenedAgain) {
    WriteFile(dir.File("other"), "other");
    ListenToFileIo();
    ASSERT_TRUE(file.Open(dir.File("other"), FileAccess::Read, 3, 4));
    EXPECT_THAT(Platform::Order(), ElementsAre("close", "open"));
    std::array<char, 8> buffer{};
    EXPECT_EQ(5U, file.Read(buffer.data(), 8));
    EXPECT_STREQ("other", buffer.data());
}

TEST_F(OpenedFile, StaysClosedAfterEveryFailedOpen) {
    struct {
        unsigned int access, disposition;
    } const failing[] = {{0, 4}, {FileAccess::Read, 0}, {FileAccess::Read, 4}};
    for (const auto& words : failing) {
        ASSERT_TRUE(file.Open(path, FileAccess::Read, 3, 4));
        const auto before = OpenDescriptors();
        bool opened = true;
        StdoutOf(
            [&] { opened = file.Open(dir.File("missing"), words.access, 3, words.disposition); });
        EXPECT_FALSE(opened);
        EXPECT_FALSE(file.IsOpened());
        EXPECT_EQ(before - 1, OpenDescriptors());
    }
}

// Concerns: every read and write is one call with the size that was asked; what the system moved is
// the result; a failure is 0.

TEST_F(OpenedFile, ReadsFromThePositionOn) {
    std::array<char, 4> buffer{};
    EXPECT_EQ(4U, file.Read(buffer.data(), 4));
    EXPECT_EQ("0123", std::string(buffer.data(), 4));
    EXPECT_EQ(4U, file.Read(buffer.data(), 4));
    EXPECT_EQ("4567", std::string(buffer.data(), 4));
    EXPECT_EQ(2U, file.Read(buffer.data(), 4));
    EXPECT_EQ("8967", std::string(buffer.data(), 4));
    EXPECT_EQ(0U, file.Read(buffer.data(), 4));
    EXPECT_EQ(0U, file.Read(buffer.data(), 4));
}

TEST_F(OpenedFile, WritesAtThePosition) {
    char text[] = "abcd";
    EXPECT_EQ(8, file.SeekFromBegin(8));
    EXPECT_EQ(4U, file.Write(text, 4));
    EXPECT_EQ(12, file.Tell());
    EXPECT_EQ("01234567abcd", TextOf(path));
    EXPECT_STREQ("abcd", text);
}

TEST_F(OpenedFile, AsksOnceWithTheWholeSizeAndGivesBackWhatWasMoved) {
    ListenToFileIo();
    char byte = 'x';
    for (const unsigned int moved : {3U, 0U, 0xFFFFFFFFU}) {
        Platform::read.Answer(moved);
        Platform::write.Answer(moved);
        EXPECT_EQ(moved, file.Read(&byte, 0xFFFFFFFF));
        EXPECT_EQ(moved, file.Write(&byte, 0xFFFFFFFF));
    }
    EXPECT_THAT(Platform::read.Calls(), AllOf(SizeIs(3), Each(FieldsAre(_, &byte, 0xFFFFFFFFU))));
    EXPECT_THAT(Platform::write.Calls(), AllOf(SizeIs(3), Each(FieldsAre(_, &byte, 0xFFFFFFFFU))));
}

TEST_F(OpenedFile, GivesZeroForAFailedTransferAndDoesNotTryAgain) {
    ListenToFileIo();
    char byte = 'x';
    for (const int error : {EINTR, EIO, ENOSPC}) {
        Platform::read.At(1).Fail(error);
        Platform::write.At(1).Fail(error);
        EXPECT_EQ(0U, file.Read(&byte, 1));
        EXPECT_EQ(error, errno);
        EXPECT_EQ(0U, file.Write(&byte, 1));
        EXPECT_EQ(error, errno);
    }
    EXPECT_EQ(3U, Platform::read.Count());
    EXPECT_EQ(3U, Platform::write.Count());
}

TEST_F(OpenedFile, GivesZeroForATransferThatItsAccessDoesNotAllow) {
    char byte = 'x';
    ASSERT_TRUE(file.Open(path, FileAccess::Read, 0, 4));
    EXPECT_EQ("", StdoutOf([&] { EXPECT_EQ(0U, file.Write(&byte, 1)); }));
    ASSERT_TRUE(file.Open(path, FileAccess::Write, 0, 4));
    EXPECT_EQ("", StdoutOf([&] { EXPECT_EQ(0U, file.Read(&byte, 1)); }));
    EXPECT_EQ("0123456789", TextOf(path));
}

TEST_F(OpenedFile, GivesZeroForATransferWithoutABuffer) {
    EXPECT_EQ(0U, file.Read(nullptr, 4));
    EXPECT_EQ(0U, file.Write(nullptr, 4));
    EXPECT_EQ("0123456789", TextOf(path));
}

TEST(FileIoPipe, GivesWhatIsThereAlthoughMoreWasAsked) {
    const TempDir dir;
    Vorn::FileIo file;
    // For both, so that opening does not wait.
    ASSERT_TRUE(file.Open(Fifo(dir), FileAccess::ReadWrite, 3, 4));
    char text[] = "hello";
    EXPECT_EQ(5U, file.Write(text, 5));
    std::array<char, 100> buffer{};
    EXPECT_EQ(5U, file.Read(buffer.data(), 100));
    EXPECT_STREQ("hello", buffer.data());
}

// Concerns: where each operation leads, also past the end and beyond 4 GB; what a closed handle
// gives; failures leave the position; the one line, and when it is printed.

TEST_F(OpenedFile, SeeksFromBeginPositionAndEnd) {
    EXPECT_EQ(7, file.Seek(7, 0));
    EXPECT_EQ(7, file.Tell());
    EXPECT_EQ(9, file.Seek(2, 1));
    EXPECT_EQ(4, file.Seek(-5, 1));
    EXPECT_EQ(9, file.Seek(-1, 2));
    EXPECT_EQ(12, file.Seek(2, 2));
    EXPECT_EQ(12, file.Tell());
    EXPECT_EQ(0, file.Seek(0, 0));
}

TEST_F(OpenedFile, SeeksToBothEndsAndFromThem) {
    EXPECT_EQ(10, file.SeekToEnd());
    EXPECT_EQ(10, file.Tell());
    EXPECT_EQ(0, file.SeekToBegin());
    EXPECT_EQ(0, file.Tell());
    EXPECT_EQ(6, file.SeekFromBegin(6));
    EXPECT_EQ(6, file.Tell());
    EXPECT_EQ(25, file.SeekFromBegin(25));
}

TEST_F(OpenedFile, SeeksFromTheEndBackwards) {
    EXPECT_EQ(10, file.SeekFromEnd(0));
    EXPECT_EQ(9, file.SeekFromEnd(1));
    EXPECT_EQ(9, file.Tell());
    EXPECT_EQ(0, file.SeekFromEnd(10));
    EXPECT_EQ(13, file.SeekFromEnd(-3));
}

TEST_F(OpenedFile, CountsPositionsInSixtyFourBits) {
    constexpr long long Far = 5'000'000'000;
    EXPECT_EQ(Far, file.SeekFromBegin(Far));
    EXPECT_EQ(Far, file.Tell());
    EXPECT_EQ(Far + 1, file.Seek(1, 1));
    EXPECT_EQ(Far + 10, file.SeekFromEnd(-Far));
}

TEST_F(OpenedFile, StaysWhereItIsWhenASeekFails) {
    ASSERT_EQ(5, file.SeekFromBegin(5));
    EXPECT_EQ("", StdoutOf([&] {
                  EXPECT_EQ(0, file.Seek(-1, 0));
                  EXPECT_EQ(0, file.Seek(-6, 1));
                  EXPECT_EQ(0, file.Seek(-11, 2));
                  EXPECT_EQ(0, file.SeekFromBegin(-1));
                  EXPECT_EQ(0, file.SeekFromEnd(11));
                  EXPECT_EQ(0, file.SeekFromEnd(LLONG_MAX));
              }));
    EXPECT_EQ(5, file.Tell());
}

TEST_F(OpenedFile, GivesZeroForTheSmallestDistanceFromTheEnd) {
    ASSERT_EQ(5, file.SeekFromBegin(5));
    EXPECT_EQ(0, file.SeekFromEnd(LLONG_MIN));
    EXPECT_EQ(5, file.Tell());
}

TEST_F(OpenedFile, RefusesOtherMoveMethods) {
    ASSERT_EQ(5, file.SeekFromBegin(5));
    ListenToFileIo();
    ChangeErrnoByPuts(EIO);
    for (const unsigned int method : {3U, 4U, 0x80000000U, 0xFFFFFFFFU}) {
        long long position = -2;
        int error = 0;
        EXPECT_EQ("[FileIo] Seek : Invalid Parameter. Move Method Miss\r\n", StdoutOf([&] {
                      errno = EDOM;
                      position = file.Seek(0, method);
                      error = errno;
                  }));
        EXPECT_EQ(0, position);
        EXPECT_EQ(EDOM, error);
    }
    EXPECT_THAT(Platform::lseek.Calls(), IsEmpty());
    EXPECT_EQ(5, file.Tell());
}

TEST_F(OpenedFile, GivesZeroForEveryPositionThatTheSystemRefuses) {
    ListenToFileIo();
    Platform::lseek.Fail(EIO);
    EXPECT_EQ(0, file.Seek(1, 0));
    EXPECT_EQ(0, file.Seek(1, 1));
    EXPECT_EQ(0, file.Seek(1, 2));
    EXPECT_EQ(0, file.Tell());
    EXPECT_EQ(0, file.SeekToBegin());
    EXPECT_EQ(0, file.SeekToEnd());
    EXPECT_EQ(0, file.SeekFromBegin(1));
    EXPECT_EQ(0, file.SeekFromEnd(1));
    EXPECT_EQ(8U, Platform::lseek.Count());
}

TEST(FileIoPosition, OfAClosedHandleIsMinusOneBySeekOnly) {
    Vorn::FileIo file;
    long long position = 0;
    EXPECT_EQ("", StdoutOf([&] { position = file.Seek(0, 0); }));
    EXPECT_EQ(-1, position);
    EXPECT_EQ("", StdoutOf([&] { position = file.Seek(0, 3); }));
    EXPECT_EQ(-1, position);
    EXPECT_EQ(0, file.Tell());
}

TEST_F(OpenedFile, AnswersSeekWithMinusOneAgainOnceClosed) {
    EXPECT_EQ(3, file.Seek(3, 0));
    file.Close();
    EXPECT_EQ(-1, file.Seek(3, 0));
    EXPECT_EQ(0, file.Tell());
}

TEST(FileIoPosition, OfAClosedHandleIsAskedOfTheSystemByTheOthers) {
    Vorn::FileIo file;
    ListenToFileIo();
    EXPECT_EQ("", StdoutOf([&] {
                  EXPECT_EQ(0, file.SeekToBegin());
                  EXPECT_EQ(0, file.SeekToEnd());
                  EXPECT_EQ(0, file.SeekFromBegin(5));
                  EXPECT_EQ(0, file.SeekFromEnd(5));
                  EXPECT_EQ(EBADF, errno);
              }));
    EXPECT_THAT(Platform::lseek.Calls(),
                ElementsAre(std::tuple(-1, 0, SEEK_SET), std::tuple(-1, 0, SEEK_END),
                            std::tuple(-1, 5, SEEK_SET), std::tuple(-1, -5, SEEK_END)));
    EXPECT_EQ(0, file.SeekFromEnd(LLONG_MIN));
}

TEST(FileIoPipe, HasNoPositionAndNoLength) {
    const TempDir dir;
    Vorn::FileIo file;
    ASSERT_TRUE(file.Open(Fifo(dir), FileAccess::ReadWrite, 3, 4));
    const auto before = OpenDescriptors();
    EXPECT_EQ("", StdoutOf([&] {
                  EXPECT_EQ(0, file.Seek(1, 0));
                  EXPECT_EQ(0, file.Tell());
                  EXPECT_EQ(0, file.SeekFromBegin(1));
                  EXPECT_FALSE(file.SetEndOfFile());
                  EXPECT_FALSE(file.SetFileSize(1));
                  EXPECT_EQ(0, file.GetFileSize());
                  EXPECT_FALSE(file.Flush());
              }));
    EXPECT_EQ(before, OpenDescriptors());
}

// Concerns: the operations named after the end and the size only move; measuring moves to the end
// and closes its duplicate whatever fails.

TEST_F(OpenedFile, MovesToTheEndAndCutsNothingBySetEndOfFile) {
    ASSERT_EQ(4, file.SeekFromBegin(4));
    EXPECT_TRUE(file.SetEndOfFile());
    EXPECT_EQ(10, file.Tell());
    ASSERT_EQ(30, file.SeekFromBegin(30));
    EXPECT_TRUE(file.SetEndOfFile());
    EXPECT_EQ(10, file.Tell());
    EXPECT_EQ("0123456789", TextOf(path));
}

TEST_F(OpenedFile, MovesToAnEndThatIsTheBeginning) {
    ASSERT_EQ(0, truncate(path.c_str(), 0));
    EXPECT_TRUE(file.SetEndOfFile());
    EXPECT_TRUE(file.SetFileSize(4));
    EXPECT_EQ(0, file.Tell());
    EXPECT_EQ("", TextOf(path));
}

TEST_F(OpenedFile, KeepsItsLengthAndMovesToTheEndBySetFileSize) {
    for (const long long size : {0LL, 4LL, 10LL, 1000LL}) {
        ASSERT_EQ(2, file.SeekFromBegin(2));
        EXPECT_TRUE(file.SetFileSize(size));
        EXPECT_EQ(10, file.Tell());
        EXPECT_EQ("0123456789", TextOf(path));
    }
}

TEST_F(OpenedFile, StaysWhereItIsWhenSetFileSizeGetsANegativeSize) {
    ASSERT_EQ(2, file.SeekFromBegin(2));
    EXPECT_FALSE(file.SetFileSize(-1));
    EXPECT_EQ(2, file.Tell());
}

TEST_F(OpenedFile, ReportsWhenEitherMoveOfSetFileSizeFails) {
    ListenToFileIo();
    Platform::lseek.At(1).Fail(EIO);
    EXPECT_FALSE(file.SetFileSize(4));
    EXPECT_EQ(1U, Platform::lseek.Count());
    Platform::lseek.At(2).Fail(EIO);
    EXPECT_FALSE(file.SetFileSize(4));
    EXPECT_EQ(4, file.Tell());
    Platform::lseek.At(1).Fail(EIO);
    EXPECT_FALSE(file.SetEndOfFile());
}

TEST_F(OpenedFile, IsAtItsEndAfterItWasMeasured) {
    ASSERT_EQ(3, file.SeekFromBegin(3));
    const auto before = OpenDescriptors();
    EXPECT_EQ(10, file.GetFileSize());
    EXPECT_EQ(10, file.Tell());
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_TRUE(file.IsOpened());
}

TEST_F(OpenedFile, IsMeasuredThroughADuplicate) {
    ListenToFileIo();
    EXPECT_EQ(10, file.GetFileSize());
    ASSERT_EQ(1U, Platform::dup.Count());
    const int duplicate = Platform::dup.Results().front();
    EXPECT_NE(Platform::dup.Calls().front(), duplicate);
    EXPECT_THAT(Platform::lseek.Calls(), ElementsAre(std::tuple(duplicate, 0, SEEK_SET),
                                                     std::tuple(duplicate, 0, SEEK_END)));
    EXPECT_THAT(Platform::close.Calls(), ElementsAre(duplicate));
}

TEST_F(OpenedFile, HasLengthZeroWhenItsDescriptorCannotBeDuplicated) {
    ASSERT_EQ(3, file.SeekFromBegin(3));
    ListenToFileIo();
    Platform::dup.At(1).Fail(EMFILE);
    EXPECT_EQ("", StdoutOf([&] { EXPECT_EQ(0, file.GetFileSize()); }));
    EXPECT_THAT(Platform::lseek.Calls(), IsEmpty());
    EXPECT_EQ(3, file.Tell());
}

TEST_F(OpenedFile, HasLengthZeroAndClosesTheDuplicateWhenAMoveFails) {
    const auto before = OpenDescriptors();
    for (const std::size_t failing : {1U, 2U}) {
        ListenToFileIo();
        Platform::lseek.At(failing).Fail(EIO);
        EXPECT_EQ(0, file.GetFileSize());
        EXPECT_EQ(EIO, errno);
        EXPECT_EQ(failing, Platform::lseek.Count());
        EXPECT_EQ(1U, Platform::dup.Count());
        EXPECT_EQ(Platform::dup.Results(), Platform::close.Calls());
    }
    EXPECT_EQ(before, OpenDescriptors());
}

TEST_F(OpenedFile, FlushesThroughTheSystem) {
    ListenToFileIo();
    EXPECT_TRUE(file.Flush());
    EXPECT_EQ(1U, Platform::fsync.Count());
    Platform::fsync.At(1).Fail(EIO);
    EXPECT_EQ("", StdoutOf([&] { EXPECT_FALSE(file.Flush()); }));
    EXPECT_EQ(2U, Platform::fsync.Count());
}

// Concern: the header's example does what its comments say.

TEST(FileIoExample, WritesAndReadsBack) {
    const TempDir dir;
    Vorn::FileIo file;
    ASSERT_TRUE(file.Open(dir.File("notes.bin"), FileAccess::ReadWrite, Vorn::FileShare::None,
                          Vorn::FileDisposition::CreateOrEmpty));
    char text[] = "hello";
    EXPECT_EQ(5U, file.Write(text, 5));
    file.SeekToBegin();
    std::memset(text, 0, sizeof text);
    EXPECT_EQ(5U, file.Read(text, 5));
    EXPECT_STREQ("hello", text);
}

} // namespace
