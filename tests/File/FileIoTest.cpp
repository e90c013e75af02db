#include <Bases/File.h>

#include "support/StdoutCapture.h"
#include "support/TempDir.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using VornTest::TempDir;
namespace FileAccess = Vorn::FileAccess;

namespace {

struct OpenCall {
    std::string path;
    int flags;
    unsigned int mode;
    bool operator==(const OpenCall& other) const = default;
};

std::ostream& operator<<(std::ostream& out, const OpenCall& call) {
    return out << call.path << " flags 0" << std::oct << call.flags << " mode 0" << call.mode
               << std::dec;
}

struct SeekCall {
    int descriptor;
    long long offset;
    int whence;
    bool operator==(const SeekCall& other) const = default;
};

std::ostream& operator<<(std::ostream& out, const SeekCall& call) {
    return out << "lseek(" << call.descriptor << ", " << call.offset << ", " << call.whence << ")";
}

struct TransferCall {
    int descriptor;
    const void* buffer;
    std::size_t size;
    bool operator==(const TransferCall& other) const = default;
};

// What a call answers instead of the system; a negative value comes with its errno.
struct Answer {
    long long value;
    int error = 0;
};

// An answer that is not there leaves the call to the system.
using Answers = std::deque<std::optional<Answer>>;

// While it lives, the platform's functions write down what they are asked and give the answers that
// are prepared here, first one first. Without a prepared answer the system gives it.
class Platform {
public:
    Platform() { s_current = this; }
    ~Platform() { s_current = nullptr; }
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    static Platform* Current() { return s_current; }

    /// Calls `action` and returns what it prints. The calls that capture it are neither written
    /// down nor answered from here.
    template <typename Action>
    static std::string Listen(Action action) {
        Platform* const current = std::exchange(s_current, nullptr);
        std::string text = VornTest::StdoutOf([&] {
            s_current = current;
            action();
            s_current = nullptr;
        });
        s_current = current;
        return text;
    }

    Answers open, close, dup, seek, sync, read, write;
    int errnoAfterPuts = 0; // what puts leaves in errno, if not 0

    std::vector<std::string> calls; // the names of open and close, in the order of the calls
    std::vector<OpenCall> opens;
    std::vector<int> opened; // what the system gave for opens
    std::vector<int> closes, dups, duplicates, syncs;
    std::vector<SeekCall> seeks;
    std::vector<TransferCall> reads, writes;

private:
    static inline Platform* s_current = nullptr;
};

// Takes the next prepared answer, or asks the system.
template <typename Result, typename Real>
Result AnswerOr(Answers& answers, Real real) {
    std::optional<Answer> answer;
    if (!answers.empty()) {
        answer = answers.front();
        answers.pop_front();
    }
    if (!answer)
        return real();
    if (answer->value < 0)
        errno = answer->error;
    return static_cast<Result>(answer->value);
}

} // namespace

extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_close(int descriptor);
int __real_dup(int descriptor);
off_t __real_lseek(int descriptor, off_t offset, int whence);
int __real_fsync(int descriptor);
ssize_t __real_read(int descriptor, void* buffer, size_t size);
ssize_t __real_write(int descriptor, const void* buffer, size_t size);
int __real_puts(const char* text);

int __wrap_open(const char* path, int flags, ...) {
    Platform* platform = Platform::Current();
    unsigned int mode = 0;
    // The library passes a mode with every call; others only where it means something.
    if (platform != nullptr || (flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start above, not seen by Clang 14
        mode = va_arg(arguments, unsigned int);
        va_end(arguments);
    }
    if (platform == nullptr)
        return __real_open(path, flags, mode);
    platform->calls.emplace_back("open");
    platform->opens.push_back({path, flags, mode});
    return AnswerOr<int>(platform->open, [&] {
        platform->opened.push_back(__real_open(path, flags, mode));
        return platform->opened.back();
    });
}

int __wrap_close(int descriptor) {
    Platform* platform = Platform::Current();
    if (platform == nullptr)
        return __real_close(descriptor);
    platform->calls.emplace_back("close");
    platform->closes.push_back(descriptor);
    return AnswerOr<int>(platform->close, [=] { return __real_close(descriptor); });
}

int __wrap_dup(int descriptor) {
    Platform* platform = Platform::Current();
    if (platform == nullptr)
        return __real_dup(descriptor);
    platform->dups.push_back(descriptor);
    return AnswerOr<int>(platform->dup, [&] {
        platform->duplicates.push_back(__real_dup(descriptor));
        return platform->duplicates.back();
    });
}

off_t __wrap_lseek(int descriptor, off_t offset, int whence) {
    Platform* platform = Platform::Current();
    if (platform == nullptr)
        return __real_lseek(descriptor, offset, whence);
    platform->seeks.push_back({descriptor, offset, whence});
    return AnswerOr<off_t>(platform->seek,
                           [=] { return __real_lseek(descriptor, offset, whence); });
}

int __wrap_fsync(int descriptor) {
    Platform* platform = Platform::Current();
    if (platform == nullptr)
        return __real_fsync(descriptor);
    platform->syncs.push_back(descriptor);
    return AnswerOr<int>(platform->sync, [=] { return __real_fsync(descriptor); });
}

ssize_t __wrap_read(int descriptor, void* buffer, size_t size) {
    Platform* platform = Platform::Current();
    if (platform == nullptr)
        return __real_read(descriptor, buffer, size);
    platform->reads.push_back({descriptor, buffer, size});
    return AnswerOr<ssize_t>(platform->read, [=] { return __real_read(descriptor, buffer, size); });
}

ssize_t __wrap_write(int descriptor, const void* buffer, size_t size) {
    Platform* platform = Platform::Current();
    if (platform == nullptr)
        return __real_write(descriptor, buffer, size);
    platform->writes.push_back({descriptor, buffer, size});
    return AnswerOr<ssize_t>(platform->write,
                             [=] { return __real_write(descriptor, buffer, size); });
}

int __wrap_puts(const char* text) {
    const int result = __real_puts(text);
    Platform* platform = Platform::Current();
    if (platform != nullptr && platform->errnoAfterPuts != 0)
        errno = platform->errnoAfterPuts;
    return result;
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

// What `action` prints. An expectation that fails inside shows up in the result.
template <typename Action>
std::string Printed(Action action) {
    return Platform::Listen(action);
}

std::string Fifo(const TempDir& dir) {
    std::string path = dir.File("fifo");
    EXPECT_EQ(0, mkfifo(path.c_str(), 0600));
    return path;
}

int OpenDescriptors() {
    namespace fs = std::filesystem;
    return static_cast<int>(
        std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

// A file that holds "0123456789", open for reading and writing, positioned at the beginning.
class OpenedFile : public testing::Test {
protected:
    void SetUp() override {
        WriteFile(path, "0123456789");
        ASSERT_TRUE(file.Open(path, FileAccess::ReadWrite, 3, 4));
    }

    TempDir dir;
    const std::string path = dir.File("file");
    Vorn::FileIo file;
};

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
    const Platform platform;
    std::array<char, 4> buffer{'k', 'e', 'p', 't'};
    const std::string output = Printed([&] {
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
    EXPECT_THAT(platform.seeks, IsEmpty());
    EXPECT_THAT(platform.reads, IsEmpty());
    EXPECT_THAT(platform.writes, IsEmpty());
    EXPECT_THAT(platform.syncs, IsEmpty());
}

TEST(FileIoHandle, CloseDoesNothingWhenClosed) {
    const Platform platform;
    Vorn::FileIo file;
    file.Close();
    file.Close();
    EXPECT_FALSE(file.IsOpened());
    EXPECT_THAT(platform.closes, IsEmpty());
}

TEST_F(OpenedFile, ClosesItsDescriptorOnce) {
    Platform platform;
    ASSERT_TRUE(file.Open(path, FileAccess::Read, 3, 4));
    platform.closes.clear();
    file.Close();
    EXPECT_FALSE(file.IsOpened());
    file.Close();
    EXPECT_EQ(platform.opened, platform.closes);
}

TEST_F(OpenedFile, IsClosedAlsoWhenTheSystemReportsAFailedClose) {
    Platform platform;
    platform.close = {std::nullopt};
    ASSERT_TRUE(file.Open(path, FileAccess::Read, 3, 4));
    platform.close = {Answer{-1, EIO}};
    errno = EDOM;
    file.Close();
    EXPECT_FALSE(file.IsOpened());
    EXPECT_EQ(EDOM, errno);
    __real_close(platform.opened.front());
}

TEST_F(OpenedFile, IsClosedByItsDestructor) {
    const int before = OpenDescriptors();
    {
        const std::unique_ptr<Vorn::FileIo> other(new Vorn::FileIo);
        ASSERT_TRUE(other->Open(path, FileAccess::Read, 3, 4));
        EXPECT_EQ(before + 1, OpenDescriptors());
    }
    EXPECT_EQ(before, OpenDescriptors());
}

TEST_F(OpenedFile, NeverTellsItsPath) {
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

TEST_F(OpenedFile, IsClosedBeforeItIsOpenedAnew) {
    WriteFile(dir.File("other"), "other");
    const Platform platform;
    ASSERT_TRUE(file.Open(dir.File("other"), FileAccess::Read, 3, 4));
    EXPECT_THAT(platform.calls, ElementsAre("close", "open"));
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
        const int before = OpenDescriptors();
        bool opened = true;
        Printed(
            [&] { opened = file.Open(dir.File("missing"), words.access, 3, words.disposition); });
        EXPECT_FALSE(opened);
        EXPECT_FALSE(file.IsOpened());
        EXPECT_EQ(before - 1, OpenDescriptors());
    }
}

// Concerns: the exact flags and mode of each attempt for every combination of the three words, and
// when there is a second one. Each case is told to fail twice, so that all attempts are seen.

struct Attempts {
    int first;                   // flags beside the access mode
    std::optional<int> unshared; // of the second attempt, unless shared for reading and writing
    std::optional<int> shared;   // of the second attempt when shared for both
};

// By disposition; the index is the word's lowest three bits.
const std::array<std::optional<Attempts>, 8> AttemptsByDisposition = {
    std::nullopt,
    Attempts{O_CREAT | O_EXCL, O_CREAT | O_EXCL, O_CREAT | O_EXCL},
    Attempts{O_CREAT | O_TRUNC, O_CREAT | O_TRUNC | O_EXCL, O_CREAT | O_TRUNC},
    Attempts{O_CREAT | O_TRUNC, O_CREAT | O_TRUNC | O_EXCL, O_CREAT | O_TRUNC},
    Attempts{0, std::nullopt, std::nullopt},
    Attempts{O_CREAT | O_EXCL | O_TRUNC, std::nullopt, std::nullopt},
    Attempts{O_CREAT | O_TRUNC, std::nullopt, std::nullopt},
    Attempts{O_CREAT | O_TRUNC, std::nullopt, std::nullopt},
};

struct Access {
    unsigned int word;
    int mode;
};

const std::array<Access, 6> Accesses = {{{FileAccess::Read, O_RDONLY},
                                         {FileAccess::Write, O_WRONLY},
                                         {FileAccess::ReadWrite, O_RDWR},
                                         {FileAccess::Read | 0x3FFFFFFF, O_RDONLY},
                                         {FileAccess::Write | 0x00000001, O_WRONLY},
                                         {0xFFFFFFFF, O_RDWR}}};

// Dispositions that ask for truncation without write access are a programming error.
bool IsMistake(unsigned int access, unsigned int disposition) {
    return (disposition & 5) == 5 && (access & FileAccess::Write) == 0;
}

std::vector<OpenCall> Expected(const Access& access, unsigned int share, unsigned int disposition) {
    const Attempts& attempts = AttemptsByDisposition.at(disposition & 7).value();
    std::vector<OpenCall> calls = {{"some/path", access.mode | attempts.first, 0600}};
    const std::optional<int> second = (share & 3) == 3 ? attempts.shared : attempts.unshared;
    if (second)
        calls.push_back({"some/path", access.mode | *second, 0600});
    return calls;
}

void CheckAttempts(const Access& access, unsigned int share, unsigned int disposition) {
    SCOPED_TRACE(testing::Message() << std::hex << "access " << access.word << " share " << share
                                    << " disposition " << disposition);
    Platform platform;
    platform.open = {Answer{-1, ENOENT}, Answer{-1, ENOENT}};
    Vorn::FileIo file;
    bool opened = true;
    Printed([&] { opened = file.Open("some/path", access.word, share, disposition); });
    EXPECT_FALSE(opened);
    EXPECT_EQ(Expected(access, share, disposition), platform.opens);
}

void CheckAttempts(unsigned int disposition) {
    for (const Access& access : Accesses) {
        if (IsMistake(access.word, disposition))
            continue;
        for (const unsigned int share : {0U, 1U, 2U, 3U, 4U, 7U, 0xFFFFFFFCU, 0xFFFFFFFFU})
            CheckAttempts(access, share, disposition);
    }
}

std::string DispositionName(const testing::TestParamInfo<unsigned int>& info) {
    return "Disposition" + std::to_string(info.param);
}

class FileIoAttempts : public testing::TestWithParam<unsigned int> {};

TEST_P(FileIoAttempts, AreThoseOfTheLowestThreeBits) {
    CheckAttempts(GetParam());
    CheckAttempts(GetParam() | 0x8);
    CheckAttempts(GetParam() | 0xFFFFFFF8);
}

INSTANTIATE_TEST_SUITE_P(Dispositions, FileIoAttempts, testing::Values(1, 2, 3, 4, 5, 6, 7),
                         DispositionName);

TEST_P(FileIoAttempts, AreNoMoreThanOneWhenTheFirstSucceeds) {
    for (const unsigned int share : {0U, 1U, 2U, 3U}) {
        Platform platform;
        platform.open = {Answer{77}};
        platform.close = {Answer{0}};
        Vorn::FileIo file;
        bool result = false;
        EXPECT_EQ("",
                  Printed([&] { result = file.Open("p", FileAccess::Write, share, GetParam()); }));
        EXPECT_TRUE(result);
        EXPECT_TRUE(file.IsOpened());
        EXPECT_EQ(1U, platform.opens.size());
        platform.closes.clear();
        platform.close = {Answer{0}};
        file.Close();
        EXPECT_THAT(platform.closes, ElementsAre(77));
    }
}

class FileIoSecondAttempt : public testing::TestWithParam<unsigned int> {};

INSTANTIATE_TEST_SUITE_P(Dispositions, FileIoSecondAttempt, testing::Values(1, 2, 3),
                         DispositionName);

TEST_P(FileIoSecondAttempt, SucceedsSilentlyAfterAFailedFirst) {
    Platform platform;
    platform.open = {Answer{-1, EACCES}, Answer{77}};
    Vorn::FileIo file;
    bool result = false;
    EXPECT_EQ("", Printed([&] { result = file.Open("p", FileAccess::Read, 0, GetParam()); }));
    EXPECT_TRUE(result);
    platform.closes.clear();
    platform.close = {Answer{0}};
    file.Close();
    EXPECT_THAT(platform.closes, ElementsAre(77));
}

TEST_P(FileIoSecondAttempt, MayYieldDescriptorZero) {
    Platform platform;
    platform.open = {Answer{-1, EACCES}, Answer{0}};
    Vorn::FileIo file;
    EXPECT_TRUE(file.Open("p", FileAccess::Read, 0, GetParam()));
    EXPECT_TRUE(file.IsOpened());
    EXPECT_THAT(platform.closes, IsEmpty());
    platform.close = {Answer{0}};
    file.Close();
    EXPECT_THAT(platform.closes, ElementsAre(0));
}

TEST_P(FileIoSecondAttempt, ReplacesDescriptorZeroOfTheFirst) {
    Platform platform;
    platform.open = {Answer{0}, Answer{77}};
    platform.close = {Answer{0}, Answer{0}};
    Vorn::FileIo file;
    EXPECT_TRUE(file.Open("p", FileAccess::Read, 0, GetParam()));
    EXPECT_EQ(2U, platform.opens.size());
    EXPECT_THAT(platform.closes, ElementsAre(0));
    file.Close();
    EXPECT_THAT(platform.closes, ElementsAre(0, 77));
}

TEST_P(FileIoSecondAttempt, DecidesTheFailureAfterDescriptorZero) {
    Platform platform;
    platform.open = {Answer{0}, Answer{-1, EEXIST}};
    platform.close = {Answer{-1, EIO}};
    Vorn::FileIo file;
    bool result = true;
    int error = 0;
    EXPECT_EQ("[FileIo] Open : Always existing.\r\n", Printed([&] {
                  result = file.Open("p", FileAccess::Read, 0, GetParam());
                  error = errno;
              }));
    EXPECT_FALSE(result);
    EXPECT_FALSE(file.IsOpened());
    EXPECT_EQ(EEXIST, error);
    EXPECT_EQ(0, platform.closes.front());
}

TEST_P(FileIoSecondAttempt, KeepsDescriptorZeroWhenItYieldsItAnew) {
    // Another thread may close descriptor 0 between the attempts.
    Platform platform;
    platform.open = {Answer{0}, Answer{0}};
    platform.close = {Answer{0}};
    Vorn::FileIo file;
    EXPECT_TRUE(file.Open("p", FileAccess::Read, 0, GetParam()));
    EXPECT_THAT(platform.closes, IsEmpty());
    file.Close();
    EXPECT_THAT(platform.closes, ElementsAre(0));
}

TEST(FileIoOpen, AcceptsDescriptorZeroWhereThereIsNoSecondAttempt) {
    for (const unsigned int disposition : {4U, 5U, 6U, 7U}) {
        Platform platform;
        platform.open = {Answer{0}};
        platform.close = {Answer{0}};
        Vorn::FileIo file;
        EXPECT_TRUE(file.Open("p", FileAccess::Write, 0, disposition));
        EXPECT_TRUE(file.IsOpened());
        EXPECT_EQ(1U, platform.opens.size());
        EXPECT_THAT(platform.closes, IsEmpty());
        file.Close();
        EXPECT_THAT(platform.closes, ElementsAre(0));
    }
}

// Concerns: what the rule for descriptor 0 means on a real system, where standard input is closed.

class WithoutStandardInput : public testing::Test {
protected:
    void SetUp() override {
        m_saved = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 100);
        close(STDIN_FILENO);
    }

    void TearDown() override {
        if (m_saved < 0)
            return;
        dup2(m_saved, STDIN_FILENO);
        close(m_saved);
    }

    static bool IsZeroFree() { return fcntl(STDIN_FILENO, F_GETFD) < 0; }

    TempDir dir;

private:
    int m_saved = -1;
};

TEST_F(WithoutStandardInput, ASharedFileOpensWithAnotherDescriptor) {
    Vorn::FileIo file;
    Platform platform;
    ASSERT_TRUE(file.Open(dir.File("file"), FileAccess::Write, 3, 2));
    EXPECT_EQ(0, platform.opened.at(0));
    EXPECT_LT(0, platform.opened.at(1));
    EXPECT_TRUE(IsZeroFree());
    char text[] = "text";
    EXPECT_EQ(4U, file.Write(text, 4));
    EXPECT_EQ("text", TextOf(dir.File("file")));
}

TEST_F(WithoutStandardInput, MakingAFileFailsAndLeavesIt) {
    for (const unsigned int disposition : {1U, 2U, 3U}) {
        const std::string path = dir.File("file" + std::to_string(disposition));
        Vorn::FileIo file;
        bool result = true;
        EXPECT_EQ("[FileIo] Open : Always existing.\r\n",
                  Printed([&] { result = file.Open(path, FileAccess::Write, 0, disposition); }));
        EXPECT_FALSE(result);
        EXPECT_TRUE(std::filesystem::exists(path));
        EXPECT_TRUE(IsZeroFree());
    }
}

TEST_F(WithoutStandardInput, AFailedOpenHasEmptiedAnExistingFile) {
    const std::string path = dir.File("file");
    for (const unsigned int disposition : {2U, 3U}) {
        WriteFile(path, "text");
        ASSERT_TRUE(IsZeroFree());
        Vorn::FileIo file;
        bool result = true;
        EXPECT_EQ("[FileIo] Open : Always existing.\r\n",
                  Printed([&] { result = file.Open(path, FileAccess::Read, 0, disposition); }));
        EXPECT_FALSE(result);
        EXPECT_EQ("", TextOf(path));
    }
}

TEST_F(WithoutStandardInput, AnExistingFileOpensAsDescriptorZero) {
    WriteFile(dir.File("file"), "text");
    Vorn::FileIo file;
    ASSERT_TRUE(file.Open(dir.File("file"), FileAccess::Read, 0, 4));
    EXPECT_FALSE(IsZeroFree());
    EXPECT_TRUE(file.IsOpened());
    file.Close();
    EXPECT_TRUE(IsZeroFree());
}

// Concerns: the files that the dispositions make, empty and refuse, and the lines that callers see.

class FileIoDisposition : public testing::Test {
protected:
    // Opens and says what was printed; the result is kept in `opened`.
    std::string OpenAndListen(unsigned int access, unsigned int share, unsigned int disposition) {
        return Printed([&] { opened = file.Open(path, access, share, disposition); });
    }

    TempDir dir;
    const std::string path = dir.File("file");
    Vorn::FileIo file;
    bool opened = false;
};

TEST_F(FileIoDisposition, MakesAFileForItsOwnerOnly) {
    const mode_t mask = umask(0);
    const std::string output = OpenAndListen(FileAccess::Write, 0, 1);
    umask(mask);
    EXPECT_EQ("", output);
    EXPECT_TRUE(opened);
    struct stat status {};
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 07777U);
    EXPECT_EQ(0, status.st_size);
}

TEST_F(FileIoDisposition, OneRefusesAnExistingFile) {
    WriteFile(path, "text");
    EXPECT_EQ("[FileIo] Open : Always existing.\r\n", OpenAndListen(FileAccess::ReadWrite, 3, 1));
    EXPECT_FALSE(opened);
    EXPECT_EQ("text", TextOf(path));
}

TEST_F(FileIoDisposition, TwoAndThreeEmptyAnExistingFile) {
    for (const unsigned int disposition : {2U, 3U}) {
        WriteFile(path, "text");
        EXPECT_EQ("", OpenAndListen(FileAccess::Write, 0, disposition));
        EXPECT_TRUE(opened);
        EXPECT_EQ("", TextOf(path));
    }
}

TEST_F(FileIoDisposition, TwoAndThreeEmptyAFileThatIsOnlyRead) {
    for (const unsigned int disposition : {2U, 3U}) {
        WriteFile(path, "text");
        EXPECT_EQ("", OpenAndListen(FileAccess::Read, 0, disposition));
        EXPECT_TRUE(opened);
        EXPECT_EQ("", TextOf(path));
    }
}

TEST_F(FileIoDisposition, FourKeepsAnExistingFile) {
    WriteFile(path, "text");
    EXPECT_EQ("", OpenAndListen(FileAccess::ReadWrite, 0, 4));
    EXPECT_TRUE(opened);
    EXPECT_EQ("text", TextOf(path));
}

TEST_F(FileIoDisposition, OpensAFileThatAnotherHandleDoesNotShare) {
    WriteFile(path, "text");
    Vorn::FileIo other;
    ASSERT_TRUE(other.Open(path, FileAccess::ReadWrite, 0, 4));
    EXPECT_EQ("", OpenAndListen(FileAccess::ReadWrite, 0, 4));
    EXPECT_TRUE(opened);
}

TEST_F(FileIoDisposition, FourRefusesAMissingFile) {
    EXPECT_EQ("[FileIo] Open : Not found.\r\n", OpenAndListen(FileAccess::Read, 0, 4));
    EXPECT_FALSE(opened);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(FileIoDisposition, FiveMakesAFileAndRefusesAnExistingOne) {
    EXPECT_EQ("", OpenAndListen(FileAccess::Write, 0, 5));
    EXPECT_TRUE(opened);
    file.Close();
    WriteFile(path, "text");
    EXPECT_EQ("[FileIo] Open : Always existing.\r\n", OpenAndListen(FileAccess::Write, 3, 5));
    EXPECT_FALSE(opened);
    EXPECT_EQ("text", TextOf(path));
}

TEST_F(FileIoDisposition, TheCauseOfTheFirstAttemptIsLostUnlessSharedForBoth) {
    Platform platform;
    platform.open = {Answer{-1, EACCES}, Answer{-1, EEXIST}};
    EXPECT_EQ("[FileIo] Open : Always existing.\r\n", OpenAndListen(FileAccess::Write, 1, 2));
    platform.open = {Answer{-1, EACCES}, Answer{-1, EACCES}};
    EXPECT_EQ("[FileIo] Open : Access Denied\r\n", OpenAndListen(FileAccess::Write, 3, 2));
}

TEST_F(FileIoDisposition, LetsExecutedProgramsInheritTheDescriptor) {
    Platform platform;
    ASSERT_TRUE(file.Open(path, FileAccess::Write, 0, 2));
    EXPECT_EQ(0, fcntl(platform.opened.front(), F_GETFD) & FD_CLOEXEC);
}

// Concerns: one line for each cause, exactly; errno as the failure left it although puts changes
// it; parameter mistakes found in order and before the system is asked.

class FileIoFailure : public testing::Test {
protected:
    // Lets the one attempt fail with `error` and says what was printed.
    std::string LineOf(int error) {
        Platform platform;
        platform.open = {Answer{-1, error}};
        platform.errnoAfterPuts = EDOM;
        Vorn::FileIo file;
        bool opened = true;
        int after = 0;
        std::string line = Printed([&] {
            opened = file.Open("p", FileAccess::Read, 0, 4);
            after = errno;
        });
        EXPECT_FALSE(opened);
        EXPECT_FALSE(file.IsOpened());
        EXPECT_EQ(error, after);
        return line;
    }
};

TEST_F(FileIoFailure, HasALineForEachCommonCause) {
    struct {
        int error;
        const char* line;
    } const causes[] = {
        {EPERM, "[FileIo] Open : Access Denied\r\n"},
        {EACCES, "[FileIo] Open : Access Denied\r\n"},
        {EISDIR, "[FileIo] Open : Access Denied\r\n"},
        {EROFS, "[FileIo] Open : Access Denied\r\n"},
        {ENOENT, "[FileIo] Open : Not found.\r\n"},
        {ENOMEM, "[FileIo] Open : Not enough memory.\r\n"},
        {EEXIST, "[FileIo] Open : Always existing.\r\n"},
        {ENOTDIR, "[FileIo] Open : Not a directory.\r\n"},
        {EMFILE, "[FileIo] Open : Too many opened.\r\n"},
        {ETXTBSY, "[FileIo] Open : Busy.\r\n"},
        {ENOSPC, "[FileIo] Open : Not enough space.\r\n"},
    };
    for (const auto& cause : causes)
        EXPECT_EQ(cause.line, LineOf(cause.error)) << std::strerror(cause.error);
}

TEST_F(FileIoFailure, HasOneLineForEveryOtherCause) {
    const std::vector<int> named = {EPERM,  EACCES,  EISDIR, EROFS,   ENOENT, ENOMEM,
                                    EEXIST, ENOTDIR, EMFILE, ETXTBSY, ENOSPC};
    for (int error = 1; error < 140; ++error) {
        if (std::find(named.begin(), named.end(), error) != named.end())
            continue;
        EXPECT_EQ("[FileIo] Open : Failed.\r\n", LineOf(error)) << std::strerror(error);
    }
}

TEST_F(FileIoFailure, OfTheSystemIsNotTriedAgainWhenInterrupted) {
    Platform platform;
    platform.open = {Answer{-1, EINTR}};
    Vorn::FileIo file;
    bool opened = true;
    Printed([&] { opened = file.Open("p", FileAccess::Read, 0, 4); });
    EXPECT_FALSE(opened);
    EXPECT_EQ(1U, platform.opens.size());
}

// What Open prints and leaves in errno for words that it refuses by itself.
struct Refusal {
    std::string line;
    int error = 0;
    std::size_t attempts = 0;
};

Refusal Refuse(Vorn::FileIo& file, unsigned int access, unsigned int disposition) {
    Platform platform;
    platform.errnoAfterPuts = EIO;
    platform.close = {Answer{-1, EIO}};
    Refusal refusal;
    bool result = true;
    refusal.line = Printed([&] {
        errno = EDOM;
        result = file.Open("p", access, 3, disposition);
        refusal.error = errno;
    });
    EXPECT_FALSE(result);
    EXPECT_FALSE(file.IsOpened());
    refusal.attempts = platform.opens.size();
    return refusal;
}

TEST_F(FileIoFailure, OfAMissingDispositionIsNotSupported) {
    for (const unsigned int disposition : {0U, 8U, 0xFFFFFFF8U}) {
        Vorn::FileIo file;
        const Refusal refusal = Refuse(file, FileAccess::Read, disposition);
        EXPECT_EQ("[FileIo] Open : Invalid Parameter, Creation Disposition Miss.\r\n",
                  refusal.line);
        EXPECT_EQ(EOPNOTSUPP, refusal.error);
        EXPECT_EQ(0U, refusal.attempts);
    }
}

TEST_F(FileIoFailure, OfAMissingAccessLeavesErrnoAlone) {
    for (const unsigned int access : {0U, 1U, 0x3FFFFFFFU}) {
        for (unsigned int disposition = 1; disposition < 8; ++disposition) {
            Vorn::FileIo file;
            const Refusal refusal = Refuse(file, access, disposition);
            EXPECT_EQ("[FileIo] Open : Invalid Parameter, File Access Parameter Miss.\r\n",
                      refusal.line);
            EXPECT_EQ(EDOM, refusal.error);
            EXPECT_EQ(0U, refusal.attempts);
        }
    }
}

TEST_F(FileIoFailure, OfTheDispositionIsFoundBeforeThatOfTheAccess) {
    Vorn::FileIo file;
    EXPECT_EQ("[FileIo] Open : Invalid Parameter, Creation Disposition Miss.\r\n",
              Refuse(file, 0, 0).line);
}

TEST_F(OpenedFile, LeavesErrnoAloneWhenAMissingAccessClosesItWithAFailure) {
    EXPECT_EQ(EDOM, Refuse(file, 0, 4).error);
}

// Concerns: truncating without write access stops a build with assertions, by the text that hosts
// look for, and goes on in one without.

#ifndef NDEBUG
TEST(FileIoDeathTest, StopsAtTruncationWithoutWriteAccess) {
    Vorn::FileIo file;
    for (const unsigned int disposition : {5U, 7U, 13U}) {
        EXPECT_DEATH(
            file.Open("p", FileAccess::Read, 3, disposition),
            testing::AllOf(
                HasSubstr(": Bases/Impl/FileIo_posix.cpp:"), HasSubstr("bool Vorn::FileIo::Open("),
                HasSubstr("`(((nDesiredAccess)&((0x40000000L)))==((0x40000000L)))' failed")));
    }
}
#else
TEST(FileIoOpen, TruncatesWithoutWriteAccessWhereAssertionsAreCompiledOut) {
    Platform platform;
    platform.open = {Answer{77}};
    platform.close = {Answer{0}};
    Vorn::FileIo file;
    EXPECT_TRUE(file.Open("p", FileAccess::Read, 3, 5));
    EXPECT_THAT(platform.opens, ElementsAre(OpenCall{"p", O_CREAT | O_EXCL | O_TRUNC, 0600}));
    file.Close();
}
#endif

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
    Platform platform;
    char byte = 'x';
    platform.read = {Answer{3}, Answer{0}, Answer{0xFFFFFFFF}};
    platform.write = {Answer{3}, Answer{0}, Answer{0xFFFFFFFF}};
    for (const unsigned int moved : {3U, 0U, 0xFFFFFFFFU}) {
        EXPECT_EQ(moved, file.Read(&byte, 0xFFFFFFFF));
        EXPECT_EQ(moved, file.Write(&byte, 0xFFFFFFFF));
    }
    ASSERT_EQ(3U, platform.reads.size());
    ASSERT_EQ(3U, platform.writes.size());
    for (const auto& calls : {platform.reads, platform.writes}) {
        for (const TransferCall& call : calls) {
            EXPECT_EQ(&byte, call.buffer);
            EXPECT_EQ(0xFFFFFFFFU, call.size);
        }
    }
}

TEST_F(OpenedFile, GivesZeroForAFailedTransferAndDoesNotTryAgain) {
    Platform platform;
    char byte = 'x';
    for (const int error : {EINTR, EIO, ENOSPC}) {
        platform.read = {Answer{-1, error}};
        platform.write = {Answer{-1, error}};
        EXPECT_EQ(0U, file.Read(&byte, 1));
        EXPECT_EQ(error, errno);
        EXPECT_EQ(0U, file.Write(&byte, 1));
        EXPECT_EQ(error, errno);
    }
    EXPECT_EQ(3U, platform.reads.size());
    EXPECT_EQ(3U, platform.writes.size());
}

TEST_F(OpenedFile, GivesZeroForATransferThatItsAccessDoesNotAllow) {
    char byte = 'x';
    ASSERT_TRUE(file.Open(path, FileAccess::Read, 0, 4));
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(0U, file.Write(&byte, 1)); }));
    ASSERT_TRUE(file.Open(path, FileAccess::Write, 0, 4));
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(0U, file.Read(&byte, 1)); }));
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
    EXPECT_EQ("", Printed([&] {
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
    Platform platform;
    platform.errnoAfterPuts = EIO;
    for (const unsigned int method : {3U, 4U, 0x80000000U, 0xFFFFFFFFU}) {
        long long position = -2;
        int error = 0;
        EXPECT_EQ("[FileIo] Seek : Invalid Parameter. Move Method Miss\r\n", Printed([&] {
                      errno = EDOM;
                      position = file.Seek(0, method);
                      error = errno;
                  }));
        EXPECT_EQ(0, position);
        EXPECT_EQ(EDOM, error);
    }
    EXPECT_THAT(platform.seeks, IsEmpty());
    EXPECT_EQ(5, file.Tell());
}

TEST_F(OpenedFile, GivesZeroForEveryPositionThatTheSystemRefuses) {
    Platform platform;
    platform.seek = Answers(8, Answer{-1, EIO});
    EXPECT_EQ(0, file.Seek(1, 0));
    EXPECT_EQ(0, file.Seek(1, 1));
    EXPECT_EQ(0, file.Seek(1, 2));
    EXPECT_EQ(0, file.Tell());
    EXPECT_EQ(0, file.SeekToBegin());
    EXPECT_EQ(0, file.SeekToEnd());
    EXPECT_EQ(0, file.SeekFromBegin(1));
    EXPECT_EQ(0, file.SeekFromEnd(1));
    EXPECT_EQ(8U, platform.seeks.size());
}

TEST(FileIoPosition, OfAClosedHandleIsMinusOneBySeekOnly) {
    Vorn::FileIo file;
    long long position = 0;
    EXPECT_EQ("", Printed([&] { position = file.Seek(0, 0); }));
    EXPECT_EQ(-1, position);
    EXPECT_EQ("", Printed([&] { position = file.Seek(0, 3); }));
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
    const Platform platform;
    EXPECT_EQ("", Printed([&] {
                  EXPECT_EQ(0, file.SeekToBegin());
                  EXPECT_EQ(0, file.SeekToEnd());
                  EXPECT_EQ(0, file.SeekFromBegin(5));
                  EXPECT_EQ(0, file.SeekFromEnd(5));
                  EXPECT_EQ(EBADF, errno);
              }));
    EXPECT_THAT(platform.seeks, ElementsAre(SeekCall{-1, 0, SEEK_SET}, SeekCall{-1, 0, SEEK_END},
                                            SeekCall{-1, 5, SEEK_SET}, SeekCall{-1, -5, SEEK_END}));
    EXPECT_EQ(0, file.SeekFromEnd(LLONG_MIN));
}

TEST(FileIoPipe, HasNoPositionAndNoLength) {
    const TempDir dir;
    Vorn::FileIo file;
    ASSERT_TRUE(file.Open(Fifo(dir), FileAccess::ReadWrite, 3, 4));
    const int before = OpenDescriptors();
    EXPECT_EQ("", Printed([&] {
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
    Platform platform;
    platform.seek = {Answer{-1, EIO}};
    EXPECT_FALSE(file.SetFileSize(4));
    EXPECT_EQ(1U, platform.seeks.size());
    platform.seek = {std::nullopt, Answer{-1, EIO}};
    EXPECT_FALSE(file.SetFileSize(4));
    EXPECT_EQ(4, file.Tell());
    platform.seek = {Answer{-1, EIO}};
    EXPECT_FALSE(file.SetEndOfFile());
}

TEST_F(OpenedFile, IsAtItsEndAfterItWasMeasured) {
    ASSERT_EQ(3, file.SeekFromBegin(3));
    const int before = OpenDescriptors();
    EXPECT_EQ(10, file.GetFileSize());
    EXPECT_EQ(10, file.Tell());
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_TRUE(file.IsOpened());
}

TEST_F(OpenedFile, IsMeasuredThroughADuplicate) {
    const Platform platform;
    EXPECT_EQ(10, file.GetFileSize());
    ASSERT_EQ(1U, platform.duplicates.size());
    const int duplicate = platform.duplicates.front();
    EXPECT_NE(platform.dups.front(), duplicate);
    EXPECT_THAT(platform.seeks,
                ElementsAre(SeekCall{duplicate, 0, SEEK_SET}, SeekCall{duplicate, 0, SEEK_END}));
    EXPECT_THAT(platform.closes, ElementsAre(duplicate));
}

TEST_F(OpenedFile, HasLengthZeroWhenNoDuplicateCanBeHad) {
    ASSERT_EQ(3, file.SeekFromBegin(3));
    Platform platform;
    platform.dup = {Answer{-1, EMFILE}};
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(0, file.GetFileSize()); }));
    EXPECT_THAT(platform.seeks, IsEmpty());
    EXPECT_EQ(3, file.Tell());
}

TEST_F(OpenedFile, HasLengthZeroAndClosesTheDuplicateWhenAMoveFails) {
    const int before = OpenDescriptors();
    Platform platform;
    for (const Answers& answers : {Answers{Answer{-1, EIO}},                  // the first move
                                   Answers{std::nullopt, Answer{-1, EIO}}}) { // the second
        platform.closes.clear();
        platform.duplicates.clear();
        platform.seeks.clear();
        platform.seek = answers;
        EXPECT_EQ(0, file.GetFileSize());
        EXPECT_EQ(EIO, errno);
        EXPECT_EQ(answers.size(), platform.seeks.size());
        EXPECT_EQ(platform.duplicates, platform.closes);
    }
    EXPECT_EQ(before, OpenDescriptors());
}

TEST_F(OpenedFile, FlushesThroughTheSystem) {
    Platform platform;
    EXPECT_TRUE(file.Flush());
    EXPECT_EQ(1U, platform.syncs.size());
    platform.sync = {Answer{-1, EIO}};
    EXPECT_EQ("", Printed([&] { EXPECT_FALSE(file.Flush()); }));
    EXPECT_EQ(2U, platform.syncs.size());
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
