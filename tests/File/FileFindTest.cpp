// SPDX-License-Identifier: MIT
// FindFirst, FindNext and FindClose: the entries of a directory, and what each one is.

#include <Bases/File.h>

#include "fault/Platform.h"
#include "support/Files.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using Vorn::FileFind;
using VornTest::OpenDescriptors;
using VornTest::StdoutOf;
using VornTest::TempDir;

namespace fs = std::filesystem;
namespace Platform = VornTest::Platform;

namespace {

struct stat Status(mode_t kind, off_t size = 0) {
    struct stat status {};
    status.st_mode = kind | 0600;
    status.st_size = size;
    return status;
}

// While it lives every directory holds these entries, in this order; those without a status are
// links that lead nowhere. As a system may, it frees an entry at the next call, makes it no longer
// than its name, and overwrites the status that it fails to get.
class Pretended {
public:
    struct Entry {
        std::string name;
        std::optional<struct stat> status;
    };

    explicit Pretended(std::vector<Entry> entries) : m_entries(std::move(entries)) {
        Platform::opendir.Do([this](const char* path) { return Open(path); });
        Platform::readdir.Do([this](DIR*) { return Read(); });
        Platform::closedir.Do([this](DIR* stream) { return Close(stream); });
        Platform::stat.Do(
            [this](const char* path, struct stat* status) { return Stat(path, status); });
    }
    ~Pretended() { Platform::Reset(); }
    Pretended(const Pretended&) = delete;
    Pretended& operator=(const Pretended&) = delete;

    std::vector<std::string> opens, stats;
    int closes = 0;
    int endError = 0; // why the directory cannot be read beyond its entries; 0: it ends there

private:
    DIR* Open(const char* path) {
        opens.emplace_back(path);
        m_next = 0;
        return opendir("/");
    }

    dirent* Read() {
        if (m_next == m_entries.size()) {
            m_entry.reset();
            if (endError != 0)
                errno = endError;
            return nullptr;
        }
        const std::string& name = m_entries[m_next++].name;
        constexpr std::size_t NameAt = offsetof(dirent, d_name);
        m_entry = std::make_unique<char[]>(NameAt + name.size() + 1);
        std::memcpy(m_entry.get() + NameAt, name.c_str(), name.size() + 1);
        return reinterpret_cast<dirent*>(m_entry.get());
    }

    int Stat(const std::string& path, struct stat* status) {
        stats.push_back(path);
        for (const Entry& entry : m_entries) {
            if (entry.status && path.size() >= entry.name.size() &&
                path.compare(path.size() - entry.name.size(), std::string::npos, entry.name) == 0) {
                *status = *entry.status;
                return 0;
            }
        }
        std::memset(status, 0x55, sizeof(*status));
        errno = ENOENT;
        return -1;
    }

    int Close(DIR* stream) {
        ++closes;
        m_entry.reset();
        return closedir(stream);
    }

    std::vector<Entry> m_entries;
    std::size_t m_next = 0;
    std::unique_ptr<char[]> m_entry;
};

// A file of this length, without blocks on the disk.
void MakeFile(const std::string& path, off_t size = 0) {
    ASSERT_EQ(0, mknod(path.c_str(), S_IFREG | 0600, 0)) << path;
    ASSERT_EQ(0, truncate(path.c_str(), size)) << path;
}

void MakeLink(const std::string& path, const std::string& target) {
    ASSERT_EQ(0, symlink(target.c_str(), path.c_str())) << path;
}

std::string NameOf(FileFind& find) {
    const char* name = find.GetFileName();
    return name == nullptr ? "(null)" : name;
}

// Everything that the object reports, in one text.
std::string Report(FileFind& find) {
    std::ostringstream text;
    text << NameOf(find) << " size " << find.GetFileSize() << " type " << find.GetFileType()
         << " times " << find.GetFileCreationTime() << " " << find.GetFileLastAccessTime() << " "
         << find.GetFileLastWriteTime() << " longest " << find.GetMaxFileNameSize();
    return text.str();
}

const std::string Nothing = "(null) size 0 type 0 times 0 0 0 longest 0";

// The names from the first one up to the end or the first that cannot be stat'ed.
std::vector<std::string> NamesFrom(FileFind& find, const std::string& dir) {
    std::vector<std::string> names;
    for (bool found = find.FindFirst(dir, "*"); found; found = find.FindNext())
        names.push_back(NameOf(find));
    return names;
}

// Concerns: only the destructor is virtual, there are no copies; what an object reports before and
// after a search, and after the constructor that opens; who closes the stream.

struct Unrelated {};

// Compiles only while none of the operations that it hides is virtual: an override could not differ
// in its result.
struct HidesEveryOperation : FileFind {
    Unrelated FindFirst(const std::string&, const std::string&);
    Unrelated FindNext();
    Unrelated FindClose();
    Unrelated GetFileName();
    Unrelated GetFileSize();
    Unrelated GetFileType();
    Unrelated GetFileCreationTime();
    Unrelated GetFileLastAccessTime();
    Unrelated GetFileLastWriteTime();
    Unrelated GetMaxFileNameSize();
};

TEST(FileFindObject, HasAVirtualDestructorAndNoCopies) {
    static_assert(std::has_virtual_destructor_v<FileFind>);
    static_assert(!std::is_copy_constructible_v<FileFind>);
    static_assert(!std::is_copy_assignable_v<FileFind>);
    static_assert(!std::is_move_constructible_v<FileFind>);
    static_assert(!std::is_move_assignable_v<FileFind>);
    EXPECT_EQ(sizeof(FileFind), sizeof(HidesEveryOperation));
}

TEST(FileFindObject, ReportsNothingBeforeASearch) {
    FileFind find;
    EXPECT_EQ(Nothing, Report(find));
    EXPECT_EQ(nullptr, find.GetFileName());
    EXPECT_FALSE(find.FindNext());
    find.FindClose();
    EXPECT_EQ(Nothing, Report(find));
}

TEST(FileFindObject, ReportsNothingAfterASearch) {
    const TempDir dir;
    MakeFile(dir.File("file"), 7);
    FileFind find;
    ASSERT_TRUE(find.FindFirst(dir.Path() + "/", "*"));
    EXPECT_NE(Nothing, Report(find));
    find.FindClose();
    EXPECT_EQ(Nothing, Report(find));
    EXPECT_FALSE(find.FindNext());
    find.FindClose();
}

TEST(FileFindObject, ClosesTheStreamWithFindCloseOrAtItsEnd) {
    Pretended directory({{"a", Status(S_IFREG)}});
    {
        FileFind find;
        ASSERT_TRUE(find.FindFirst("/x/", "*"));
        find.FindClose();
        EXPECT_EQ(1, directory.closes);
        ASSERT_TRUE(find.FindFirst("/x/", "*"));
    }
    EXPECT_EQ(2, directory.closes);
    std::unique_ptr<FileFind> byBase = std::make_unique<HidesEveryOperation>();
    ASSERT_TRUE(byBase->FindFirst("/x/", "*"));
    EXPECT_EQ(2, directory.closes);
    byBase.reset();
    EXPECT_EQ(3, directory.closes);
}

TEST(FileFindConstructor, OnlyOpens) {
    const TempDir dir;
    MakeFile(dir.File("a"), 7);
    MakeFile(dir.File("b"), 7);
    const auto before = OpenDescriptors();
    {
        FileFind find(dir.Path() + "/", "*");
        EXPECT_EQ(before + 1, OpenDescriptors());
        EXPECT_EQ(Nothing, Report(find));
        EXPECT_FALSE(find.FindNext());
        EXPECT_EQ(Nothing, Report(find));
        EXPECT_FALSE(find.FindFirst(dir.Path() + "/", "*"));
        EXPECT_EQ(before + 1, OpenDescriptors());
        find.FindClose();
        EXPECT_EQ(before, OpenDescriptors());
        EXPECT_THAT(NamesFrom(find, dir.Path() + "/").size(), testing::Ge(2U));
    }
    { const FileFind find(dir.Path() + "/", "*"); }
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(FileFindConstructor, OpensNothingWhereFindFirstFails) {
    const TempDir dir;
    MakeFile(dir.File("file"));
    const auto before = OpenDescriptors();
    FileFind find(dir.File("missing/"), "*");
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_EQ(Nothing, Report(find));
    EXPECT_FALSE(find.FindNext());
    EXPECT_TRUE(find.FindFirst(dir.Path() + "/", "*"));
    EXPECT_EQ("file", NameOf(find));
}

// Concerns: which entry is the first; what is asked of the system; pattern and separator; failures,
// after which nothing is open and the object can be used; a search under way.

TEST(FirstEntry, IsTheFirstThatIsNeitherTheDirectoryNorItsParent) {
    Pretended directory({{".", Status(S_IFDIR)},
                         {"..", Status(S_IFDIR)},
                         {".", Status(S_IFDIR)},
                         {"entry", Status(S_IFREG, 7)}});
    FileFind find;
    EXPECT_TRUE(find.FindFirst("/some/dir/", "*"));
    EXPECT_EQ("entry", NameOf(find));
    EXPECT_EQ(7, find.GetFileSize());
    EXPECT_THAT(directory.opens, ElementsAre("/some/dir/"));
    EXPECT_THAT(directory.stats, ElementsAre("/some/dir/entry"));
}

TEST(FirstEntry, MayBeginWithADot) {
    for (const char* name : {"...", ".a", "..a", ". ", " ."}) {
        const Pretended directory({{"..", Status(S_IFDIR)}, {name, Status(S_IFREG)}});
        FileFind find;
        EXPECT_TRUE(find.FindFirst("/x/", "*"));
        EXPECT_EQ(name, NameOf(find));
    }
}

TEST(FirstEntry, MatchesEveryPattern) {
    const Pretended directory({{"picture.png", Status(S_IFREG)}, {"b", Status(S_IFREG)}});
    for (const char* pattern : {"*.txt", "*", "", "b", "picture.png", "/", "["}) {
        FileFind find;
        EXPECT_TRUE(find.FindFirst("/x/", pattern)) << pattern;
        EXPECT_EQ("picture.png", NameOf(find)) << pattern;
    }
}

TEST(FirstEntry, FailsWithoutASeparatorAtTheEndOfTheDirectory) {
    const TempDir dir;
    MakeFile(dir.File("file"), 7);
    const auto before = OpenDescriptors();
    FileFind find;
    EXPECT_FALSE(find.FindFirst(dir.Path(), "*"));
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_EQ(Nothing, Report(find));
    EXPECT_TRUE(find.FindFirst(dir.Path() + "/", "*"));
    EXPECT_EQ("file", NameOf(find));
}

TEST(FirstEntry, WithoutASeparatorReportsOnTheFileOfTheJoinedName) {
    const TempDir dir;
    ASSERT_TRUE(fs::create_directory(dir.File("some")));
    MakeFile(dir.File("some/file"), 7);
    MakeFile(dir.File("somefile"), 11);
    FileFind find;
    EXPECT_TRUE(find.FindFirst(dir.File("some"), "*"));
    EXPECT_EQ("file", NameOf(find));
    EXPECT_EQ(11, find.GetFileSize());
}

TEST(FirstEntry, IsNotFoundWhereTheDirectoryCannotBeOpened) {
    const TempDir dir;
    MakeFile(dir.File("file"));
    FileFind find;
    for (const std::string& path :
         {dir.File("missing/"), dir.File("file/"), dir.File("file"), std::string()}) {
        EXPECT_FALSE(find.FindFirst(path, "*")) << path;
        EXPECT_EQ(Nothing, Report(find)) << path;
    }
    EXPECT_TRUE(find.FindFirst(dir.Path() + "/", "*"));
}

TEST(FirstEntry, IsNotFoundInAnEmptyDirectory) {
    const TempDir dir;
    const auto before = OpenDescriptors();
    FileFind find;
    EXPECT_FALSE(find.FindFirst(dir.Path() + "/", "*"));
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_EQ(Nothing, Report(find));
    EXPECT_FALSE(find.FindNext());
    MakeFile(dir.File("file"));
    EXPECT_TRUE(find.FindFirst(dir.Path() + "/", "*"));
}

TEST(FirstEntry, ThatCannotBeReadDiffersFromAnEmptyDirectoryByErrno) {
    Pretended directory({});
    for (const int error : {0, EIO}) {
        directory.endError = error;
        FileFind find;
        errno = 0;
        EXPECT_FALSE(find.FindFirst("/x/", "*"));
        EXPECT_EQ(error, errno);
    }
}

TEST(FirstEntry, FailsTheSearchWhenItIsADanglingLink) {
    Pretended directory({{"broken", {}}, {"file", Status(S_IFREG)}});
    FileFind find;
    EXPECT_FALSE(find.FindFirst("/x/", "*"));
    EXPECT_EQ(1, directory.closes);
    EXPECT_EQ(Nothing, Report(find));
    EXPECT_FALSE(find.FindNext());
    EXPECT_FALSE(find.FindFirst("/x/", "*"));
    EXPECT_EQ(2, directory.closes);
}

TEST(FirstEntry, IsNotLookedForWhileASearchIsOpen) {
    const TempDir dir;
    MakeFile(dir.File("file"), 7);
    ASSERT_TRUE(fs::create_directory(dir.File("directory")));
    MakeFile(dir.File("directory/other"), 11);
    FileFind find;
    ASSERT_TRUE(find.FindFirst(dir.File("directory/"), "*"));
    const auto before = OpenDescriptors();
    const std::string report = Report(find);
    for (const std::string& path : {dir.File("directory/"), dir.Path() + "/", std::string()}) {
        EXPECT_FALSE(find.FindFirst(path, "*")) << path;
        EXPECT_EQ(report, Report(find)) << path;
    }
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_EQ("other", NameOf(find));
}

TEST(FirstEntry, IsThatOfTheDirectoryOfTheNewSearch) {
    const TempDir dir;
    ASSERT_TRUE(fs::create_directories(dir.File("one")));
    ASSERT_TRUE(fs::create_directories(dir.File("two")));
    MakeFile(dir.File("one/same"), 7);
    MakeFile(dir.File("two/same"), 11);
    MakeFile(dir.File("two/other"), 11);
    FileFind find;
    ASSERT_TRUE(find.FindFirst(dir.File("one/"), "*"));
    EXPECT_EQ(7, find.GetFileSize());
    find.FindClose();
    ASSERT_TRUE(find.FindFirst(dir.File("two/"), "*"));
    EXPECT_EQ(11, find.GetFileSize());
    while (find.FindNext()) {
        if (NameOf(find)[0] != '.') {
            EXPECT_EQ(11, find.GetFileSize());
        }
    }
}

// Concerns: every entry in the system's order, "." and ".." too; an entry that cannot be stat'ed;
// the end; entries that the system frees at the next call.

TEST(NextEntry, IsWhateverTheSystemGivesNext) {
    Pretended directory({{"..", Status(S_IFDIR)},
                         {"b", Status(S_IFREG)},
                         {".", Status(S_IFDIR)},
                         {"a", Status(S_IFIFO)},
                         {"..", Status(S_IFDIR)}});
    FileFind find;
    EXPECT_THAT(NamesFrom(find, "/x/"), ElementsAre("b", ".", "a", ".."));
    EXPECT_THAT(directory.stats, ElementsAre("/x/b", "/x/.", "/x/a", "/x/.."));
}

TEST(NextEntry, MayBeTheDirectoryItself) {
    const Pretended directory({{"a", Status(S_IFREG, 7)}, {".", Status(S_IFDIR, 4096)}});
    FileFind find;
    ASSERT_TRUE(find.FindFirst("/x/", "*"));
    EXPECT_TRUE(find.FindNext());
    EXPECT_EQ(". size 4096 type 3 times 0 0 0 longest 1024", Report(find));
}

TEST(NextEntry, KeepsTheStatusOfTheEntryBeforeWhenItCannotBeStated) {
    const Pretended directory(
        {{"a", Status(S_IFREG, 7)}, {"broken", {}}, {"gone", {}}, {"c", Status(S_IFDIR, 11)}});
    FileFind find;
    ASSERT_TRUE(find.FindFirst("/x/", "*"));
    EXPECT_FALSE(find.FindNext());
    EXPECT_EQ("broken size 7 type 2 times 0 0 0 longest 1024", Report(find));
    EXPECT_FALSE(find.FindNext());
    EXPECT_EQ("gone size 7 type 2 times 0 0 0 longest 1024", Report(find));
    EXPECT_TRUE(find.FindNext());
    EXPECT_EQ("c size 11 type 3 times 0 0 0 longest 1024", Report(find));
}

// The walk that the header shows.
std::vector<std::string> CompleteWalk(const std::string& dir) {
    std::vector<std::string> names;
    FileFind find;
    std::string last;
    bool found = find.FindFirst(dir, "");
    while (found || (find.GetFileName() != nullptr && find.GetFileName() != last)) {
        last = find.GetFileName();
        if (found)
            names.push_back(last);
        found = find.FindNext();
    }
    return names;
}

TEST(NextEntry, IsReachedInACompleteWalkDespiteDanglingLinks) {
    {
        const Pretended directory({{"a", Status(S_IFREG)},
                                   {"broken", {}},
                                   {"gone", {}},
                                   {"c", Status(S_IFDIR)},
                                   {"last", {}}});
        EXPECT_THAT(CompleteWalk("/x/"), ElementsAre("a", "c"));
    }
    const Pretended empty({});
    EXPECT_THAT(CompleteWalk("/x/"), ElementsAre());
}

TEST(NextEntry, IsTheLastOneFromTheEndOn) {
    Pretended directory({{"a", Status(S_IFREG, 7)}, {"last", Status(S_IFREG, 11)}});
    FileFind find;
    ASSERT_TRUE(find.FindFirst("/x/", "*"));
    ASSERT_TRUE(find.FindNext());
    const std::string report = Report(find);
    EXPECT_EQ("last size 11 type 2 times 0 0 0 longest 1024", report);
    for (int again = 0; again < 3; ++again) {
        EXPECT_FALSE(find.FindNext());
        EXPECT_EQ(report, Report(find));
    }
    EXPECT_EQ(0, directory.closes);
    EXPECT_FALSE(find.FindFirst("/x/", "*"));
    find.FindClose();
    EXPECT_TRUE(find.FindFirst("/x/", "*"));
    EXPECT_EQ("a", NameOf(find));
}

TEST(NextEntry, ThatCannotBeReadDiffersFromTheEndByErrno) {
    Pretended directory({{"a", Status(S_IFREG, 7)}, {"last", Status(S_IFREG, 11)}});
    for (const int error : {0, EIO, EBADF}) {
        directory.endError = error;
        FileFind find;
        ASSERT_TRUE(find.FindFirst("/x/", "*"));
        ASSERT_TRUE(find.FindNext());
        for (int again = 0; again < 2; ++again) {
            errno = 0;
            EXPECT_FALSE(find.FindNext());
            EXPECT_EQ(error, errno);
            EXPECT_EQ("last", NameOf(find));
        }
    }
}

TEST(NextEntry, MayHaveALongName) {
    const std::string longName(1000, 'n');
    const Pretended directory({{"a", Status(S_IFREG)}, {longName, Status(S_IFREG)}});
    FileFind find;
    EXPECT_THAT(NamesFrom(find, "/x/"), ElementsAre("a", longName));
}

// Concerns: every kind of file, links followed, sizes beyond 32 bits.

TEST(EntryType, SaysFileDirectoryOrNeither) {
    const Pretended directory({{"file", Status(S_IFREG)},
                               {"directory", Status(S_IFDIR)},
                               {"pipe", Status(S_IFIFO)},
                               {"socket", Status(S_IFSOCK)},
                               {"terminal", Status(S_IFCHR)},
                               {"disk", Status(S_IFBLK)},
                               {"link", Status(S_IFLNK)},
                               {"unknown", Status(0)}});
    FileFind find;
    std::vector<unsigned int> types;
    for (bool found = find.FindFirst("/x/", "*"); found; found = find.FindNext())
        types.push_back(find.GetFileType());
    EXPECT_THAT(types, ElementsAre(2U, 3U, 1U, 1U, 1U, 1U, 1U, 1U));
}

TEST(EntryType, IsThatOfWhatALinkLeadsTo) {
    const TempDir dir;
    ASSERT_TRUE(fs::create_directories(dir.File("in")));
    MakeFile(dir.File("file"), 0x1'2345'6789);
    MakeLink(dir.File("in/toDirectory"), dir.Path());
    FileFind find;
    ASSERT_TRUE(find.FindFirst(dir.File("in/"), "*"));
    EXPECT_EQ(3U, find.GetFileType());
    find.FindClose();
    ASSERT_EQ(0, unlink(dir.File("in/toDirectory").c_str()));
    MakeLink(dir.File("in/toFile"), dir.File("file"));
    ASSERT_TRUE(find.FindFirst(dir.File("in/"), "*"));
    EXPECT_EQ(2U, find.GetFileType());
    EXPECT_EQ(0x1'2345'6789, find.GetFileSize());
}

// Concerns: which second goes with which fraction; times before 1970; truncation; counts beyond 64
// bits; the times of real files.

struct stat Stamps(timespec accessed, timespec modified, timespec changed) {
    struct stat status = Status(S_IFREG);
    status.st_atim = accessed;
    status.st_mtim = modified;
    status.st_ctim = changed;
    return status;
}

struct Times {
    Vorn::Time created, accessed, written;
    bool operator==(const Times& other) const = default;
};

std::ostream& operator<<(std::ostream& out, const Times& times) {
    return out << "created " << times.created << " accessed " << times.accessed << " written "
               << times.written;
}

Times TimesOf(FileFind& find) {
    return {find.GetFileCreationTime(), find.GetFileLastAccessTime(), find.GetFileLastWriteTime()};
}

Times TimesOfPretended(const struct stat& status) {
    const Pretended directory({{"a", status}});
    FileFind find;
    EXPECT_TRUE(find.FindFirst("/x/", "*"));
    return TimesOf(find);
}

TEST(EntryTimes, MixTheStampsOfTheStatus) {
    EXPECT_EQ((Times{3000111, 3000333, 2000222}),
              TimesOfPretended(Stamps({1000, 111999999}, {2000, 222999999}, {3000, 333999999})));
    EXPECT_EQ((Times{3999, 3000, 2001}),
              TimesOfPretended(Stamps({1, 999999999}, {2, 1999999}, {3, 999999})));
}

TEST(EntryTimes, AreUtcInEveryZone) {
    setenv("TZ", "XXX-9", 1);
    tzset();
    EXPECT_EQ((Times{3000000, 3000000, 2000000}),
              TimesOfPretended(Stamps({1000, 0}, {2000, 0}, {3000, 0})));
}

TEST(EntryTimes, AreNegativeBefore1970) {
    EXPECT_EQ((Times{-2900, -2750, -4500}),
              TimesOfPretended(Stamps({-1, 100000000}, {-5, 500000000}, {-3, 250000000})));
    EXPECT_EQ((Times{-1, -1000, -1000}),
              TimesOfPretended(Stamps({7, 999999999}, {-1, 0}, {-1, 999999})));
}

TEST(EntryTimes, TruncateTheFractionTowardZero) {
    EXPECT_EQ((Times{5000, 4999, 5000}),
              TimesOfPretended(Stamps({0, -999999}, {5, 0}, {5, -1999999})));
}

TEST(EntryTimes, WrapBeyond64Bits) {
    constexpr time_t Many = LLONG_MAX / 1000 + 1; // one second too many
    EXPECT_EQ((Times{LLONG_MIN + 192, LLONG_MIN + 193, 807}),
              TimesOfPretended(Stamps({0, 0}, {0, 807000000}, {Many, 1000000})));
}

// The times that an entry should have, by stat.
Times TimesOnDisk(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(0, stat(path.c_str(), &status)) << path;
    return {status.st_ctim.tv_sec * 1000 + status.st_atim.tv_nsec / 1000000,
            status.st_ctim.tv_sec * 1000 + status.st_ctim.tv_nsec / 1000000,
            status.st_mtim.tv_sec * 1000 + status.st_mtim.tv_nsec / 1000000};
}

TEST(EntryTimes, OfARealFileAreThoseOfItsStatus) {
    const TempDir dir;
    const std::string path = dir.File("file");
    MakeFile(path);
    const std::array<std::array<timespec, 2>, 4> stamps{{{{{0, 0}, {0, 1}}},
                                                         {{{-7, 456789012}, {-5, 250999999}}},
                                                         {{{1700000000, 987654321}, {1, 999999}}},
                                                         {{{5, 1000000}, {-2000000000, 0}}}}};
    for (const std::array<timespec, 2>& pair : stamps) {
        ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), pair.data(), 0));
        FileFind find;
        ASSERT_TRUE(find.FindFirst(dir.Path() + "/", "*"));
        EXPECT_EQ(TimesOnDisk(path), TimesOf(find));
        EXPECT_EQ(pair[1].tv_sec * 1000 + pair[1].tv_nsec / 1000000, find.GetFileLastWriteTime());
        EXPECT_LT(1600000000000, find.GetFileLastAccessTime());
        EXPECT_EQ(pair[0].tv_nsec / 1000000, find.GetFileCreationTime() % 1000);
    }
}

// Concerns: a large directory of everything that can be in one, compared with what the standard
// library and the system report; streams kept open.

struct Found {
    std::string name;
    bool found; // false for a dangling link
    unsigned int type;
    long long size;
    Times times;
    bool operator==(const Found& other) const = default;
};

bool ByName(const Found& left, const Found& right) { return left.name < right.name; }

Found OnDisk(const fs::directory_entry& entry) {
    const std::string path = entry.path().string();
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return {entry.path().filename().string(), false, 0, 0, {}};
    const fs::file_type type = fs::status(path).type();
    return {entry.path().filename().string(), true,
            type == fs::file_type::regular     ? 2U
            : type == fs::file_type::directory ? 3U
                                               : 1U,
            status.st_size, TimesOnDisk(path)};
}

std::vector<Found> ListingOf(const std::string& dir) {
    std::vector<Found> listing;
    for (const fs::directory_entry& entry : fs::directory_iterator(dir))
        listing.push_back(OnDisk(entry));
    std::sort(listing.begin(), listing.end(), ByName);
    return listing;
}

// The rest of a search that has begun, without "." and "..".
std::vector<Found> RestOf(FileFind& find) {
    std::vector<Found> listing;
    std::string last;
    for (bool found = true; found || NameOf(find) != last; found = find.FindNext()) {
        last = NameOf(find);
        if (last == "." || last == "..")
            continue;
        if (found)
            listing.push_back({last, true, find.GetFileType(), find.GetFileSize(), TimesOf(find)});
        else
            listing.push_back({last, false, 0, 0, {}});
    }
    std::sort(listing.begin(), listing.end(), ByName);
    return listing;
}

// Few directories: they are what takes long to make and to remove.
void MakeOneOfMany(const std::string& dir, int number) {
    const std::string digits = std::to_string(number);
    const std::string path =
        dir + (number % 3 == 0 ? "name with spaces " : "n\xFF\xFEme.") + digits;
    const std::array<timespec, 2> times{{{number, number * 99999L}, {-number, number * 77777L}}};
    switch (number % 7) {
    case 0:
        return MakeLink(path, "nowhere" + digits);
    case 1:
        return MakeLink(path, "name with spaces 3");
    case 2:
        return MakeLink(path, "name with spaces 6");
    case 3:
        MakeFile(path, off_t{number} << 20);
        break;
    case 4:
        ASSERT_EQ(0, mknod(path.c_str(), S_IFIFO | 0600, 0)) << path;
        break;
    case 5:
        ASSERT_EQ(0, mknod(path.c_str(), S_IFSOCK | 0600, 0)) << path;
        break;
    default:
        ASSERT_EQ(0, number % 50 == 6 ? mkdir(path.c_str(), 0700)
                                      : mknod(path.c_str(), S_IFREG | 0600, 0))
            << path;
    }
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), 0)) << path;
}

TEST(LargeDirectory, IsListedAsTheStandardLibraryListsIt) {
    const TempDir dir;
    const std::string path = dir.Path() + "/";
    for (int number = 0; number < 10000; ++number)
        MakeOneOfMany(path, number);
    ASSERT_FALSE(testing::Test::HasFailure());
    const auto descriptors = OpenDescriptors();
    FileFind find;
    // A dangling link fails the search where the system happens to list it first.
    while (!find.FindFirst(path, "*")) {
        ASSERT_EQ(descriptors, OpenDescriptors());
        const auto first = fs::directory_iterator(path);
        ASSERT_EQ(fs::file_type::not_found, fs::status(first->path()).type());
        fs::remove(first->path());
    }
    EXPECT_EQ(descriptors + 1, OpenDescriptors());
    const std::vector<Found> expected = ListingOf(path);
    const std::vector<Found> found = RestOf(find);
    EXPECT_LT(9900U, found.size());
    ASSERT_EQ(expected.size(), found.size());
    for (std::size_t index = 0; index < found.size(); ++index)
        ASSERT_TRUE(expected[index] == found[index])
            << found[index].name << " " << found[index].times << ", should be "
            << expected[index].name << " " << expected[index].times;
    EXPECT_EQ(descriptors + 1, OpenDescriptors());
    find.FindClose();
    EXPECT_EQ(descriptors, OpenDescriptors());
}

TEST(ManySearches, LeaveNoStreamOpen) {
    const TempDir dir;
    ASSERT_TRUE(fs::create_directories(dir.File("full")));
    ASSERT_TRUE(fs::create_directories(dir.File("empty")));
    ASSERT_TRUE(fs::create_directories(dir.File("broken")));
    MakeFile(dir.File("full/file"));
    MakeLink(dir.File("broken/link"), "nowhere");
    const auto before = OpenDescriptors();
    FileFind reused;
    for (int search = 0; search < 500; ++search) {
        EXPECT_TRUE(reused.FindFirst(dir.File("full/"), "*"));
        reused.FindClose();
        EXPECT_FALSE(reused.FindFirst(dir.File("full"), "*"));
        EXPECT_FALSE(reused.FindFirst(dir.File("empty/"), "*"));
        EXPECT_FALSE(reused.FindFirst(dir.File("broken/"), "*"));
        const FileFind constructed(dir.File("full/"), "*");
        const FileFind failed(dir.File("broken/"), "*");
    }
    EXPECT_EQ(before, OpenDescriptors());
}

// Concern: what a large directory costs.

TEST(Searching, AllocatesNothingForAnEntry) {
    const TempDir dir;
    for (int number = 100; number < 110; ++number)
        MakeFile(dir.File("longer than a text that fits into a string " + std::to_string(number)));
    FileFind find;
    ASSERT_TRUE(find.FindFirst(dir.Path() + "/", "*"));
    Platform::operator_new.Record();
    int found = 1;
    while (find.FindNext())
        ++found;
    EXPECT_LE(10, found);
    EXPECT_EQ(0U, Platform::operator_new.Count());
}

// Concern: failures are reported by results alone.

TEST(Searching, PrintsNothing) {
    const Pretended directory({{"a", Status(S_IFREG)}, {"broken", {}}});
    const std::string printed = StdoutOf([] {
        FileFind find("/x/", "*");
        find.FindFirst("/x/", "*");
        find.FindClose();
        while (find.FindFirst("/x/", "*") && find.FindNext()) {
        }
        find.FindNext();
        find.FindNext();
    });
    EXPECT_EQ("", printed);
}

} // namespace
