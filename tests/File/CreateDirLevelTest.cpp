// SPDX-License-Identifier: MIT
// CreateDirLevel: which directories it makes, in which order, and what it returns.

#include <Bases/File.h>

#include "fault/Platform.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"
#include "support/Unprivileged.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;
using Vorn::FileSys::CreateDir;
using Vorn::FileSys::CreateDirLevel;
using VornTest::OpenToAll;
using VornTest::StdoutOf;
using VornTest::TempDir;
using VornTest::Unprivileged;

namespace fs = std::filesystem;
namespace Platform = VornTest::Platform;

namespace {

int Fail(int error) {
    errno = error;
    return -1;
}

// Stands in for the real file system while it lives.
class StandIn {
public:
    StandIn() : m_before(s_current) { s_current = this; }
    virtual ~StandIn() { s_current = m_before; }
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;

    static StandIn* Current() { return s_current; }

    virtual int Access(const std::string& path) = 0;
    virtual int Mkdir(const std::string& path) = 0;
    virtual int Stat(const std::string& path, mode_t& kind) = 0;

private:
    static inline StandIn* s_current = nullptr;

    StandIn* m_before;
};

// A file system with directories only, which writes down what it is asked to look at and to make.
class Pretended : public StandIn {
public:
    int Access(const std::string& path) override { return Look(path, "look "); }

    int Mkdir(const std::string& path) override {
        log.push_back("make " + path);
        if (refused.count(path) != 0)
            return Fail(EACCES);
        existing.insert(path);
        return madeByOthers.count(path) == 0 ? 0 : Fail(EEXIST);
    }

    int Stat(const std::string& path, mode_t& kind) override {
        kind = S_IFDIR;
        return Look(path, "kind ");
    }

    // Another process makes those of the last set between the check and the creation.
    std::set<std::string> existing, refused, madeByOthers;
    std::vector<std::string> log;

private:
    int Look(const std::string& path, const char* question) {
        log.push_back(question + path);
        return existing.count(path) != 0 ? 0 : Fail(ENOENT);
    }
};

// While it lives directories can be made on disk, but only below this one. A slip of the library
// must not make any elsewhere, least of all where the tests run as the superuser.
class PrivateRoot {
public:
    explicit PrivateRoot(const std::string& path)
        : m_before(s_current), m_root(fs::canonical(path)) {
        s_current = this;
    }
    ~PrivateRoot() { s_current = m_before; }
    PrivateRoot(const PrivateRoot&) = delete;
    PrivateRoot& operator=(const PrivateRoot&) = delete;

    static bool Allows(const char* path) { return s_current != nullptr && s_current->Holds(path); }

private:
    bool Holds(const char* path) const {
        std::error_code error;
        const fs::path whole = fs::weakly_canonical(fs::absolute(path), error);
        if (error) // With a name too long in it, it leads nowhere and cannot be made.
            return error == std::errc::filename_too_long;
        const fs::path below = whole.lexically_relative(m_root);
        return !below.empty() && below != "." && *below.begin() != "..";
    }

    static inline const PrivateRoot* s_current = nullptr;

    const PrivateRoot* m_before;
    fs::path m_root;
};

int Access(const char* path, int mode) {
    EXPECT_EQ(F_OK, mode); // not whether it may be read, which is always so for the superuser
    StandIn* const standIn = StandIn::Current();
    return standIn == nullptr ? access(path, mode) : standIn->Access(path);
}

int Mkdir(const char* path, mode_t mode) {
    EXPECT_EQ(0755U, mode);
    if (StandIn::Current() != nullptr)
        return StandIn::Current()->Mkdir(path);
    if (PrivateRoot::Allows(path))
        return mkdir(path, mode);
    ADD_FAILURE() << "a directory would be made outside of the test's own: " << path;
    return Fail(EPERM);
}

int Stat(const char* path, struct stat* status) {
    StandIn* const standIn = StandIn::Current();
    if (standIn == nullptr)
        return stat(path, status);
    *status = {};
    return standIn->Stat(path, status->st_mode);
}

class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::string& path) : m_before(fs::current_path()) {
        fs::current_path(path);
    }
    ~WorkingDirectory() { fs::current_path(m_before); }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    fs::path m_before;
};

// Every test here runs in a directory of its own, and only when a first chain shows that what the
// library asks of the system comes to the functions above: the tests below name paths anywhere.
class InOwnDirectory : public testing::Test {
protected:
    InOwnDirectory() {
        Platform::access.OnAnyThread().Do(Access);
        Platform::mkdir.OnAnyThread().Do(Mkdir);
        Platform::stat.OnAnyThread().Do(Stat);
    }

    void SetUp() override {
        const Pretended pretended;
        const std::string canary = dir.File("canary/");
        CreateDirLevel(canary, dir.Path().size() + 1, 0);
        ASSERT_THAT(pretended.log,
                    ElementsAre("look " + canary, "make " + canary, "kind " + canary));
        ASSERT_TRUE(fs::is_empty(dir.Path()));
    }

    const TempDir dir;

private:
    const WorkingDirectory m_inside{dir.Path()};
};

// Concerns: that no directory is made on disk but below a root that a test has named, whatever way
// a path takes there.

class CreationOnDisk : public InOwnDirectory {
protected:
    static void ExpectDenied(const std::string& path) {
        bool made = true;
        int error = 0;
        EXPECT_NONFATAL_FAILURE(
            {
                made = CreateDir(path);
                error = errno;
            },
            "outside of the test's own: " + path);
        EXPECT_EQ(EPERM, error) << path;
        EXPECT_FALSE(made) << path;
    }
};

TEST_F(CreationOnDisk, IsDeniedWithoutARoot) {
    ExpectDenied(dir.File("x"));
    ExpectDenied("x/");
    EXPECT_TRUE(fs::is_empty(dir.Path()));
}

TEST_F(CreationOnDisk, IsDeniedOutsideOfTheRootWhateverTheWayThere) {
    const std::string inner = dir.File("inner");
    fs::create_directory(inner);
    fs::create_directory_symlink(dir.Path(), inner + "/out");
    {
        const PrivateRoot root(inner);
        for (const char* path : {"x", "inner2", "inner", "inner/", "inner/../x", "inner/out/x",
                                 "inner/new/../../x", "inner/.", "inner/new/.."}) {
            ExpectDenied(path);
            ExpectDenied(dir.File(path));
        }
        EXPECT_TRUE(CreateDir("inner/a"));
        EXPECT_TRUE(CreateDir(dir.File("inner/out/inner/b/")));
    }
    ExpectDenied("inner/c");
    EXPECT_EQ(1, std::distance(fs::directory_iterator(dir.Path()), fs::directory_iterator()));
    EXPECT_EQ(3, std::distance(fs::directory_iterator(inner), fs::directory_iterator()));
}

// Concerns: which directories are checked and created, in which order, from which level; the two of
// an absolute path that are assumed to exist; the parts of two characters; the last one; what stays
// after a failure; the whole against a model, over random paths.

class DirectoryChain : public InOwnDirectory {
protected:
    void TearDown() override { EXPECT_TRUE(fs::is_empty(dir.Path())); }

    Pretended pretended;
    std::set<std::string>& existing = pretended.existing;
    std::set<std::string>& refused = pretended.refused;
    std::vector<std::string>& log = pretended.log;
};

TEST_F(DirectoryChain, OfAnEmptyPathFails) {
    EXPECT_FALSE(CreateDirLevel("", 0, 0));
    EXPECT_FALSE(CreateDirLevel("", 7, 1));
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(DirectoryChain, AssumesTheFirstTwoDirectoriesOfAnAbsolutePathToExist) {
    EXPECT_TRUE(CreateDirLevel("/a/b/c/d/", 0, 0));
    EXPECT_THAT(log, ElementsAre("look /a/b/c/", "make /a/b/c/", "look /a/b/c/d/", "make /a/b/c/d/",
                                 "kind /a/b/c/d/"));
}

TEST_F(DirectoryChain, OfAnAbsolutePathWithFewerDirectoriesIsTrueUnchecked) {
    for (const char* path : {"/", "/x", "//", "///", "/x/", "/x/y", "//x", "//x/y", "/ab/cd"}) {
        EXPECT_TRUE(CreateDirLevel(path, 0, 1)) << path;
        EXPECT_TRUE(CreateDirLevel(path, 0, 0)) << path;
        EXPECT_TRUE(CreateDirLevel(path, 100, 1)) << path;
    }
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(DirectoryChain, FindsTheFirstTwoSeparatorsFromTheThirdCharacterOn) {
    EXPECT_FALSE(CreateDirLevel("/x/y/", 0, 0));
    EXPECT_THAT(log, ElementsAre("kind /x/y/"));
    log.clear();
    EXPECT_FALSE(CreateDirLevel("//x/y/z", 0, 0));
    EXPECT_THAT(log, ElementsAre("kind //x/y/z"));
    log.clear();
    EXPECT_FALSE(CreateDirLevel("////z", 0, 0));
    EXPECT_THAT(log, ElementsAre("kind ////z"));
    log.clear();
    EXPECT_FALSE(CreateDirLevel("//x//y/z", 0, 0));
    EXPECT_THAT(log, ElementsAre("look //x//y/", "make //x//y/", "kind //x//y/z"));
}

TEST_F(DirectoryChain, TakesTwoSeparatorsInARowForTwoDirectories) {
    EXPECT_TRUE(CreateDirLevel("/new//sub/", 0, 0));
    EXPECT_THAT(log, ElementsAre("look /new//sub/", "make /new//sub/", "kind /new//sub/"));
    log.clear();
    EXPECT_TRUE(CreateDirLevel("/a/b//c/", 0, 0));
    EXPECT_THAT(log, ElementsAre("look /a/b//", "make /a/b//", "look /a/b//c/", "make /a/b//c/",
                                 "kind /a/b//c/"));
}

TEST_F(DirectoryChain, OfARelativePathBeginsAtItsFirstCharacter) {
    EXPECT_TRUE(CreateDirLevel("one/two/", 0, 0));
    EXPECT_THAT(log, ElementsAre("look one/", "make one/", "look one/two/", "make one/two/",
                                 "kind one/two/"));
}

TEST_F(DirectoryChain, NeverCreatesAPartOfTwoCharacters) {
    EXPECT_TRUE(CreateDirLevel("a/b/", 0, 0));
    EXPECT_THAT(log, ElementsAre("look a/b/", "make a/b/", "kind a/b/"));
    log.clear();
    EXPECT_FALSE(CreateDirLevel("./", 0, 0));
    EXPECT_THAT(log, ElementsAre("kind ./"));
    log.clear();
    EXPECT_TRUE(CreateDirLevel("c/", 0, 1));
    EXPECT_THAT(log, ElementsAre("look c/", "make c/", "kind c/"));
    log.clear();
    EXPECT_FALSE(CreateDirLevel("//x", 1, 0));
    EXPECT_THAT(log, ElementsAre("kind //x"));
}

TEST_F(DirectoryChain, CreatesTheFirstOfOneCharacterWhenAskedTo) {
    EXPECT_FALSE(CreateDirLevel("/x/y", 1, 0));
    EXPECT_THAT(log, ElementsAre("look /x/", "make /x/", "kind /x/y"));
}

TEST_F(DirectoryChain, LooksForSeparatorsFromTheLevelOn) {
    EXPECT_TRUE(CreateDirLevel("one/two/three/", 4, 0));
    EXPECT_THAT(log, ElementsAre("look one/two/", "make one/two/", "look one/two/three/",
                                 "make one/two/three/", "kind one/two/three/"));
    log.clear();
    EXPECT_FALSE(CreateDirLevel("uno/due/tre", 7, 0));
    EXPECT_THAT(log, ElementsAre("look uno/due/", "make uno/due/", "kind uno/due/tre"));
    log.clear();
    EXPECT_FALSE(CreateDirLevel("un/deux/trois", 8, 0));
    EXPECT_THAT(log, ElementsAre("kind un/deux/trois"));
    log.clear();
    EXPECT_TRUE(CreateDirLevel("/a/b/", 1, 0));
    EXPECT_THAT(log, ElementsAre("look /a/", "make /a/", "look /a/b/", "make /a/b/", "kind /a/b/"));
}

TEST_F(DirectoryChain, TakesALevelBeyondTheTextForZero) {
    existing = {"one/", "/a/b/c/"};
    for (const unsigned long level : {9UL, 10UL, ULONG_MAX}) {
        log.clear();
        EXPECT_FALSE(CreateDirLevel("one/three", level, 0));
        EXPECT_THAT(log, ElementsAre("look one/", "kind one/three"));
        log.clear();
        EXPECT_TRUE(CreateDirLevel("/a/b/c/", level, 0));
        EXPECT_THAT(log, ElementsAre("look /a/b/c/", "kind /a/b/c/"));
    }
    log.clear();
    EXPECT_FALSE(CreateDirLevel("one/three", 8, 0));
    EXPECT_THAT(log, ElementsAre("kind one/three"));
}

TEST_F(DirectoryChain, CreatesTheLastOneOnlyWhenAskedTo) {
    existing = {"one/"};
    EXPECT_FALSE(CreateDirLevel("one/two", 0, 0));
    EXPECT_THAT(log, ElementsAre("look one/", "kind one/two"));
    for (const int createLast : {1, -1, 256}) {
        log.clear();
        existing = {"one/"};
        EXPECT_TRUE(CreateDirLevel("one/two", 0, createLast));
        EXPECT_THAT(log, ElementsAre("look one/", "look one/two", "make one/two", "kind one/two"));
    }
    log.clear();
    EXPECT_TRUE(CreateDirLevel("one/two", 0, 1));
    EXPECT_THAT(log, ElementsAre("look one/", "look one/two", "kind one/two"));
}

TEST_F(DirectoryChain, CreatesThePathItselfWhereTheSamePartIsNotCreated) {
    for (const std::string path : {"/x/y/", "q/", "./"}) {
        log.clear();
        EXPECT_FALSE(CreateDirLevel(path, 0, 0));
        EXPECT_THAT(log, ElementsAre("kind " + path));
        log.clear();
        EXPECT_TRUE(CreateDirLevel(path, 0, 1));
        EXPECT_THAT(log, ElementsAre("look " + path, "make " + path, "kind " + path));
    }
}

TEST_F(DirectoryChain, EndsAtTheFirstFailureButTriesTheLastOneAllTheSame) {
    refused = {"one/two/"};
    EXPECT_FALSE(CreateDirLevel("one/two/three/four", 0, 0));
    EXPECT_THAT(log, ElementsAre("look one/", "make one/", "look one/two/", "make one/two/"));
    log.clear();
    EXPECT_FALSE(CreateDirLevel("one/two/three/four", 0, 1));
    EXPECT_THAT(log, ElementsAre("look one/", "look one/two/", "make one/two/",
                                 "look one/two/three/four", "make one/two/three/four"));
    EXPECT_EQ(1U, existing.count("one/two/three/four"));
}

TEST_F(DirectoryChain, FailsWhenTheLastOneCannotBeCreated) {
    existing = {"one/"};
    refused = {"one/two"};
    EXPECT_FALSE(CreateDirLevel("one/two", 0, 1));
    EXPECT_THAT(log, ElementsAre("look one/", "look one/two", "make one/two"));
}

TEST_F(DirectoryChain, FailsWhereAnotherProcessIsFaster) {
    pretended.madeByOthers = {"one/"};
    EXPECT_FALSE(CreateDirLevel("one/two/", 0, 0));
    EXPECT_THAT(log, ElementsAre("look one/", "make one/"));
    log.clear();
    EXPECT_TRUE(CreateDirLevel("one/two/", 0, 0));
    EXPECT_THAT(log, ElementsAre("look one/", "look one/two/", "make one/two/", "kind one/two/"));
    pretended.madeByOthers = {"one/last"};
    EXPECT_FALSE(CreateDirLevel("one/last", 0, 1));
    EXPECT_EQ(1U, existing.count("one/last"));
}

// Closing a written file can take long on a busy disk; this makes an empty one without opening it.
void MakeFile(const std::string& path) {
    ASSERT_EQ(0, mknod(path.c_str(), S_IFREG | 0600, 0)) << path;
}

class DirectoryChainOnDisk : public InOwnDirectory {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(InOwnDirectory::SetUp());
        ASSERT_NO_FATAL_FAILURE(OpenToAll(dir));
        m_root.emplace(dir.Path());
        if (m_unprivileged.emplace().Failed())
            GTEST_SKIP() << Unprivileged::WhyFailed;
    }

private:
    std::optional<PrivateRoot> m_root;
    std::optional<Unprivileged> m_unprivileged;
};

TEST_F(DirectoryChainOnDisk, IsCreatedFromTheFirstMissingDirectoryOn) {
    EXPECT_FALSE(CreateDirLevel(dir.File("b/c"), 0, 0));
    EXPECT_TRUE(fs::is_directory(dir.File("b")));
    EXPECT_FALSE(fs::exists(dir.File("b/c")));
    EXPECT_TRUE(CreateDirLevel(dir.File("b/c"), 0, 1));
    EXPECT_TRUE(fs::is_directory(dir.File("b/c")));
    EXPECT_TRUE(CreateDirLevel(dir.File("b/c"), 0, 0));
}

TEST_F(DirectoryChainOnDisk, PrintsNothing) {
    MakeFile(dir.File("file"));
    const std::string printed = StdoutOf([this] {
        CreateDirLevel(dir.File("file/below"), 0, 1);
        CreateDirLevel(dir.File("made/below"), 0, 1);
        CreateDirLevel(dir.File("missing"), 0, 0);
    });
    EXPECT_EQ("", printed);
    EXPECT_TRUE(fs::is_directory(dir.File("made/below")));
}

TEST_F(DirectoryChainOnDisk, DoesNotPassThroughAFile) {
    MakeFile(dir.File("file"));
    EXPECT_FALSE(CreateDirLevel(dir.File("file"), 0, 1));
    EXPECT_FALSE(CreateDirLevel(dir.File("file/below/"), 0, 0));
    EXPECT_TRUE(fs::is_regular_file(dir.File("file")));
}

// The model's own file system: what there is, by absolute path without a trailing separator, and
// where links lead. It resolves a path as the system does.
class Tree {
public:
    enum class Kind { Directory, File, Link };
    enum class Found { Nothing, Unreachable, Directory, Other };

    explicit Tree(const fs::path& cwd) : m_cwd(cwd.string()) {
        for (fs::path path = cwd; path != path.root_path(); path = path.parent_path())
            m_nodes[path.string()] = Kind::Directory;
        m_nodes[""] = Kind::Directory;
    }

    void Add(const std::string& path, Kind kind, const std::string& target = "") {
        m_nodes[path] = kind;
        m_targets[path] = target;
    }

    bool Exists(const std::string& path) const {
        const Found found = Resolve(path).found;
        return found == Found::Directory || found == Found::Other;
    }

    bool IsDirectory(const std::string& path) const {
        return Resolve(path).found == Found::Directory;
    }

    bool Make(const std::string& path) {
        const Place place = Resolve(path);
        if (place.found != Found::Nothing)
            return false;
        m_nodes[place.path] = Kind::Directory;
        return true;
    }

    /// Everything below `root`, directories with a trailing separator.
    std::set<std::string> Below(const std::string& root) const {
        std::set<std::string> below;
        for (const auto& [path, kind] : m_nodes) {
            if (path.compare(0, root.size() + 1, root + "/") == 0)
                below.insert(kind == Kind::Directory ? path + "/" : path);
        }
        return below;
    }

private:
    struct Place {
        Found found;
        std::string path;
    };

    Place Resolve(const std::string& path) const {
        if (path.empty())
            return {Found::Unreachable, {}};
        Place place{Found::Directory, path.front() == '/' ? "" : m_cwd};
        std::size_t begin = 0;
        while ((begin = path.find_first_not_of('/', begin)) != std::string::npos) {
            const std::size_t end = std::min(path.find('/', begin), path.size());
            // Only what is last may be missing.
            if (place.found != Found::Directory)
                return {Found::Unreachable, {}};
            place = Enter(place.path, path.substr(begin, end - begin));
            begin = end;
        }
        if (place.found == Found::Other && path.back() == '/')
            return {Found::Unreachable, {}};
        return place;
    }

    Place Enter(const std::string& directory, const std::string& name) const {
        if (name == ".")
            return {Found::Directory, directory};
        if (name == "..")
            return {Found::Directory, directory.substr(0, directory.rfind('/'))};
        if (name.size() > NAME_MAX)
            return {Found::Unreachable, {}};
        return Look(directory + "/" + name);
    }

    Place Look(const std::string& path) const {
        const auto node = m_nodes.find(path);
        if (node == m_nodes.end())
            return {Found::Nothing, path};
        if (node->second == Kind::Directory)
            return {Found::Directory, path};
        if (node->second == Kind::File)
            return {Found::Other, path};
        // A directory cannot be made in the place of a link, wherever that leads.
        const Place target = Look(m_targets.at(path));
        return target.found == Found::Nothing ? Place{Found::Unreachable, {}} : target;
    }

    std::string m_cwd;
    std::map<std::string, Kind> m_nodes;
    std::map<std::string, std::string> m_targets;
};

// The operation, character by character, on the model's file system.
bool ModelCreateDirLevel(Tree& tree, const std::string& path, unsigned long level, int createLast) {
    if (path.empty())
        return false;
    std::size_t at = level < path.size() ? level : 0;
    if (at == 0 && path[0] == '/') {
        int separators = 0;
        for (at = 2; at < path.size() && separators < 2; ++at)
            separators += path[at] == '/' ? 1 : 0;
        if (separators < 2)
            return true;
    }
    bool made = true;
    for (; at < path.size() && made; ++at) {
        const std::string part(path, 0, at + 1);
        if (path[at] == '/' && part.size() != 2 && !tree.Exists(part))
            made = tree.Make(part);
    }
    if (createLast != 0 && !tree.Exists(path) && !tree.Make(path))
        made = false;
    return made && tree.IsDirectory(path);
}

std::set<std::string> OnDiskBelow(const std::string& root) {
    std::set<std::string> below;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const bool directory = entry.symlink_status().type() == fs::file_type::directory;
        below.insert(entry.path().string() + (directory ? "/" : ""));
    }
    return below;
}

struct ChainCase {
    std::string path;
    unsigned long level;
    int createLast;
};

class ChainCases {
public:
    explicit ChainCases(std::string cwd, unsigned int seed)
        : m_cwd(std::move(cwd)), m_random(seed) {}

    ChainCase Next() {
        ChainCase item{Below(2) == 0 ? m_cwd + "/" : "", 0, static_cast<int>(Below(3)) - 1};
        const std::size_t parts = Below(Depth + 1);
        for (std::size_t part = 0; part < parts; ++part)
            item.path += Name(item.path) + (part + 1 < parts || Below(2) == 0 ? "/" : "");
        if (Below(2) == 0)
            item.level = Below(item.path.size() + 3);
        return item;
    }

    /// How many parts a path can have, and so how many directories it can lead upwards.
    static constexpr std::size_t Depth = 6;

private:
    std::size_t Below(std::size_t limit) { return m_random() % limit; }

    // The name that follows `path`. An empty one cannot be the first: the path would begin with "/"
    // and lead out of the private directory.
    std::string Name(const std::string& path) {
        static const std::vector<std::string> names{"a",    "b",  "cc",   "d.e", "f",
                                                    "link", "up", "away", ".",   "..",
                                                    "",     "g",  "hhh",  "i j", "\xFF"};
        if (Below(50) == 0)
            return std::string(NAME_MAX + 1, 'x');
        const std::string& name = names[Below(names.size())];
        return path.empty() && name.empty() ? "." : name;
    }

    std::string m_cwd;
    std::mt19937 m_random;
};

// A directory with a file, a link to a directory that may come to exist, one upwards and one to
// nowhere in it, all in the model's file system only; so deep below `root` that no path of the
// cases leaves that.
class ChainRound {
public:
    explicit ChainRound(const std::string& root) : m_cwd(DeepBelow(root)), m_tree(m_cwd) {
        m_tree.Add(File(), Tree::Kind::File);
        for (const auto& [name, target] : Links())
            m_tree.Add(name, Tree::Kind::Link, target);
    }

    const Tree& Model() const { return m_tree; }
    const std::string& Cwd() const { return m_cwd; }

    void MakeOnDisk() const {
        fs::create_directories(m_cwd);
        MakeFile(File());
        for (const auto& [name, target] : Links())
            fs::create_symlink(target, name);
    }

    // Compares the library with the model, chain by chain.
    void Check(unsigned int seed, int count) {
        ChainCases cases(m_cwd, seed);
        for (int number = 0; number < count; ++number)
            ASSERT_NO_FATAL_FAILURE(CheckOne(cases.Next())) << "seed " << seed;
    }

private:
    // One level more than a path can lead upwards.
    static std::string DeepBelow(std::string root) {
        for (std::size_t level = 0; level < ChainCases::Depth + 1; ++level)
            root += "/" + std::to_string(level);
        return root;
    }

    std::string File() const { return m_cwd + "/f"; }

    std::map<std::string, std::string> Links() const {
        return {{m_cwd + "/link", m_cwd + "/hhh"},
                {m_cwd + "/up", m_cwd.substr(0, m_cwd.rfind('/'))},
                {m_cwd + "/away", m_cwd + "/not/there"}};
    }

    void CheckOne(const ChainCase& item) {
        ASSERT_TRUE(item.path.compare(0, 1, "/") != 0 || item.path.find(m_cwd + "/") == 0);
        const bool expected = ModelCreateDirLevel(m_tree, item.path, item.level, item.createLast);
        EXPECT_EQ(expected, CreateDirLevel(item.path, item.level, item.createLast))
            << "CreateDirLevel(\"" << item.path << "\", " << item.level << ", " << item.createLast
            << ")";
    }

    std::string m_cwd;
    Tree m_tree;
};

TEST_F(DirectoryChainOnDisk, AgreesWithTheModelForRandomPaths) {
    for (unsigned int seed = 1; seed <= 10; ++seed) {
        const std::string root = dir.File(std::to_string(seed));
        ChainRound round(root);
        round.MakeOnDisk();
        {
            const PrivateRoot only(root);
            const WorkingDirectory inside(round.Cwd());
            round.Check(seed, 50);
        }
        EXPECT_EQ(round.Model().Below(root), OnDiskBelow(root));
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
    }
}

// The model's file system in the place of the real one, which takes long on a busy disk.
class PretendedTree : public StandIn {
public:
    explicit PretendedTree(const Tree& tree) : m_tree(tree) {}

    const Tree& Made() const { return m_tree; }

    int Access(const std::string& path) override { return m_tree.Exists(path) ? 0 : Fail(ENOENT); }

    int Mkdir(const std::string& path) override { return m_tree.Make(path) ? 0 : Fail(EEXIST); }

    int Stat(const std::string& path, mode_t& kind) override {
        kind = m_tree.IsDirectory(path) ? S_IFDIR : S_IFREG;
        return Access(path);
    }

private:
    Tree m_tree;
};

TEST_F(DirectoryChain, AgreesWithTheModelForRandomPaths) {
    for (unsigned int seed = 11; seed <= 100; ++seed) {
        ChainRound round(dir.Path());
        const PretendedTree pretendedTree(round.Model());
        round.Check(seed, 50);
        EXPECT_EQ(round.Model().Below(dir.Path()), pretendedTree.Made().Below(dir.Path()));
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
    }
}

} // namespace
