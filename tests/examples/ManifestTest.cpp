#include "support/ExampleTest.h"
#include "support/Program.h"
#include "support/Terminal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Publisher.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using VornTest::Outcome;
using VornTest::Program;
using VornTest::RunProgram;
using VornTest::Surroundings;
using VornTest::Terminal;

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

const char* const Begin = R"(<?xml version="1.0" encoding="UTF-8"?>
<manifest version="1">
  <!-- One element for each entry; lines counts line feeds. -->
)";
const char* const SomeId = "0f8fad5b-d9cb-469f-a165-70867728950e";

const std::string IdForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
const std::string DigestForm(32, 'x');
const std::string TimeForm = "9999-99-99T99:99:99.999";

/// True when the text is the form, with any digit for a 9 and any lower-case hexadecimal one for an x.
bool HasForm(const std::string& text, const std::string& form) {
    const std::string digits = "0123456789abcdef";
    return std::equal(text.begin(), text.end(), form.begin(), form.end(), [&](char c, char wanted) {
        if (wanted != '9' && wanted != 'x')
            return c == wanted;
        return digits.find(c) < (wanted == '9' ? 10U : 16U);
    });
}

/// Replaces what has the form, which begins with its first quotation mark's text, with a short one.
void Shorten(std::string& text, const std::string& form, const std::string& shortForm) {
    const std::string begin = form.substr(0, form.find('"') + 1);
    for (std::size_t i = 0; (i = text.find(begin, i)) != std::string::npos; ++i)
        if (HasForm(text.substr(i, form.size()), form))
            text.replace(i, form.size(), shortForm);
}

std::string WithoutPaths(std::string text) {
    const std::string begin = "  <path ";
    for (std::size_t i = 0; (i = text.find(begin, i)) != std::string::npos;)
        text.erase(i, text.find('\n', i) + 1 - i);
    return text;
}

Names IdsIn(const std::string& text) {
    const std::string attribute = " id=\"";
    Names ids;
    for (std::size_t i = text.find(attribute); i != std::string::npos;
         i = text.find(attribute, i)) {
        i += attribute.size();
        const std::string id = text.substr(i, text.find('"', i) - i);
        if (HasForm(id, IdForm))
            ids.push_back(id);
    }
    return ids;
}

std::string LastLine(const std::string& text) {
    const std::size_t begin = text.rfind('\n', text.size() - 2) + 1;
    return text.substr(begin, text.size() - begin - 1);
}

/// The digests of a manifest's files, in their order.
Names DigestsIn(const std::string& text) {
    const std::string attribute = " md5=\"";
    Names digests;
    for (std::size_t i = text.find(attribute); i != std::string::npos;
         i = text.find(attribute, i)) {
        i += attribute.size();
        digests.push_back(text.substr(i, text.find('"', i) - i));
    }
    return digests;
}

class ManifestProgram : public VornTest::ExampleTest {
protected:
    ManifestProgram() : ExampleTest(VORN_MANIFEST) {}

    // What a killed run left in shared memory goes with the next run for the same manifest.
    void TearDown() override { const Manifest::Publisher next(m_dir.File("out.xml")); }

    Outcome Manifest(const Names& arguments, const std::string& locale = "C.UTF-8") const {
        return Run(arguments, {}, locale);
    }

    Outcome Manifest(const Names& arguments, const std::function<void()>& prepare) const {
        return Run(arguments, prepare);
    }

    /// The content with md5, and written-utc, written-local and id, cut to "md5" and "written id"
    /// wherever the text between is a digest, a time or an identifier; and without the paths.
    std::string Steady(const std::string& name) const {
        std::string text = WithoutPaths(Content(name));
        Shorten(text,
                "written-utc=\"" + TimeForm + "\" written-local=\"" + TimeForm + "\" id=\"" +
                    IdForm + "\"",
                "written id");
        Shorten(text, "md5=\"" + DigestForm + "\"", "md5");
        return text;
    }

    /// Another program's opinion of a file's digest.
    std::string Md5Sum(const std::string& name) const {
        const Outcome outcome = RunProgram({"/usr/bin/md5sum", m_dir.File(name)}, Here());
        EXPECT_EQ(0, outcome.status) << outcome.err;
        return outcome.out.substr(0, 32);
    }

    /// Another parser's opinion of the document.
    void ExpectWellFormed(const std::string& name) const {
        const Outcome outcome = RunProgram({VORN_XMLLINT, "--noout", name}, Here());
        EXPECT_EQ(0, outcome.status) << outcome.err << Content(name);
    }
};

// Keeps the superuser from reading and writing what its owner may not; nothing changes for others.
// Ends the new process with a status of its own where that is not possible.
constexpr int CannotGiveUp = 126;

void GiveUpPrivileges() {
    if (geteuid() != 0)
        return;
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> data{};
    bool done = syscall(SYS_capget, &header, data.data()) == 0;
    for (const int capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
        data[0].inheritable &= ~(1U << static_cast<unsigned int>(capability));
        done = done && prctl(PR_CAPBSET_DROP, capability) == 0;
    }
    if (!done || syscall(SYS_capset, &header, data.data()) != 0)
        _exit(CannotGiveUp);
}

/// Makes a socket with this path and returns it.
int BoundSocket(const std::string& path) {
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw std::length_error(path);
    path.copy(address.sun_path, path.size());
    if (bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::system_error(errno, std::generic_category(), path);
    return socket;
}

void LimitFileSize(rlim_t size) {
    const rlimit limit{size, size};
    setrlimit(RLIMIT_FSIZE, &limit);
}

/// Makes everything that is written to standard output fail.
void PrintNowhere() { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO); }

/// Waits until the process has a file of this name open.
bool OpensWithin(pid_t pid, const std::string& name, std::chrono::seconds limit) {
    const fs::path descriptors = "/proc/" + std::to_string(pid) + "/fd";
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < deadline) {
        std::error_code gone; // a descriptor may be closed while it is looked at
        for (const auto& entry : fs::directory_iterator(descriptors, gone))
            if (fs::read_symlink(entry.path(), gone).filename() == name)
                return true;
        std::this_thread::yield();
    }
    return false;
}

// Concerns: exact document; counts over the edges of the pieces in which files are read; order,
// repetition and number of files; fresh identifiers; silence.

class ManifestCreate : public ManifestProgram {};

TEST_F(ManifestCreate, RecordsNameBytesAndLinesOfEveryFileInTheOrderGiven) {
    Make("b", "one\ntwo\n");
    Make("a", "no line feed");
    Make("empty");
    const Outcome outcome = Manifest({"create", "out.xml", "b", "a", "empty", "b"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ("", outcome.err);
    EXPECT_EQ(std::string(Begin) +
                  R"(  <file name="b" bytes="8" size="8 B" lines="2" md5 written id/>
  <file name="a" bytes="12" size="12 B" lines="0" md5 written id/>
  <file name="empty" bytes="0" size="0 B" lines="0" md5 written id/>
  <file name="b" bytes="8" size="8 B" lines="2" md5 written id/>
</manifest>
)",
              Steady("out.xml"));
    ExpectWellFormed("out.xml");
    EXPECT_THAT(Directory(), ElementsAre("a", "b", "empty", "out.xml"));
}

TEST_F(ManifestCreate, CountsOverTheEdgesOfItsPieces) {
    constexpr std::size_t Piece = 65536;
    for (const std::size_t size : {Piece - 1, Piece, Piece + 1, 3 * Piece + 7})
        Make(std::to_string(size), std::string(size - 1, '\n') + "x");
    ASSERT_EQ(0, Manifest({"create", "out.xml", "65535", "65536", "65537", "196615"}).status);
    EXPECT_EQ(
        std::string(Begin) +
            R"(  <file name="65535" bytes="65535" size="64.0 KiB" lines="65534" md5 written id/>
  <file name="65536" bytes="65536" size="64.0 KiB" lines="65535" md5 written id/>
  <file name="65537" bytes="65537" size="64.0 KiB" lines="65536" md5 written id/>
  <file name="196615" bytes="196615" size="192.0 KiB" lines="196614" md5 written id/>
</manifest>
)",
        Steady("out.xml"));
}

TEST_F(ManifestCreate, RecordsTheDigestOfTheWholeContent) {
    Make("empty");
    Make("short", "message digest");
    Names arguments{"create", "out.xml", "empty", "short"};
    Names expected{"d41d8cd98f00b204e9800998ecf8427e", "f96b697d7cb7938d525a2f31aaf161d0"};
    constexpr std::size_t Piece = 65536;
    for (const std::size_t size : {Piece - 1, Piece, Piece + 1, 3 * Piece + 7}) {
        arguments.push_back(std::to_string(size));
        Make(arguments.back(), std::string(size / 2, '\0') + std::string(size - size / 2, 'x'));
        expected.push_back(Md5Sum(arguments.back()));
    }
    ASSERT_EQ(0, Manifest(arguments).status);
    EXPECT_EQ(expected, DigestsIn(Content("out.xml")));
}

TEST_F(ManifestCreate, RecordsThePathsThatItWasGiven) {
    fs::create_directory(m_dir.File("d"));
    Make("d/a");
    const Outcome outcome =
        Manifest({"create", "out.xml", "d/", "gone", "\n", "./d/a", "gone", ""});
    EXPECT_EQ(1, outcome.status);
    EXPECT_THAT(Content("out.xml"), StartsWith(std::string(Begin) + R"(  <path name="d/"/>
  <path name="gone"/>
  <path name="%0A" escaped="percent"/>
  <path name="./d/a"/>
  <path name="gone"/>
  <path name=""/>
  <directory name="d/" )"));
    ExpectWellFormed("out.xml");
}

TEST_F(ManifestCreate, GivesEveryFileAFreshIdentifierInEveryRun) {
    Make("a");
    std::set<std::string> ids;
    for (const char* out : {"1.xml", "2.xml"}) {
        ASSERT_EQ(0, Manifest({"create", out, "a", "a", "a"}).status);
        for (const std::string& id : IdsIn(Content(out)))
            ids.insert(id);
    }
    EXPECT_EQ(6U, ids.size());
}

TEST_F(ManifestCreate, TakesTenThousandFiles) {
    constexpr std::size_t Count = 10000;
    Names arguments{"create", "out.xml"};
    for (std::size_t i = 0; i < Count; ++i) {
        arguments.push_back("f" + std::to_string(i));
        Make(arguments.back(), "x\n");
    }
    EXPECT_EQ(0, Manifest(arguments).status);
    ExpectWellFormed("out.xml");
    const Outcome shown = Manifest({"show", "out.xml"});
    EXPECT_EQ(Count + 2, std::count(shown.out.begin(), shown.out.end(), '\n'));
    const std::string total = LastLine(shown.out);
    EXPECT_THAT(total, StartsWith("total  20000  19.5 KiB  10000  "));
    EXPECT_THAT(total, EndsWith("  10000 files, 0 others, 0 failed"));
}

TEST_F(ManifestCreate, FollowsLinksToFiles) {
    Make("file", "text");
    fs::create_symlink("file", m_dir.File("link"));
    EXPECT_EQ(0, Manifest({"create", "out.xml", "link"}).status);
    EXPECT_THAT(Steady("out.xml"),
                HasSubstr(R"(<file name="link" bytes="4" size="4 B" lines="0" md5 written id/>)"));
}

// Concerns: whatever cannot be measured is named with its reason, on standard error and in an
// element of its own in its place, makes the exit status 1, and costs no other file; nothing blocks.

class ManifestFailures : public ManifestProgram {
protected:
    /// Creates a manifest of a good file, the bad one, and another good one.
    void ExpectReported(const std::string& name, const std::string& reason,
                        const std::function<void()>& prepare = {}) {
        Make("good", "x\n");
        const Outcome outcome = Manifest({"create", "out.xml", "good", name, "good"}, prepare);
        if (outcome.status == CannotGiveUp)
            GTEST_SKIP() << "the superuser's privileges cannot be given up here";
        EXPECT_EQ(1, outcome.status);
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ("manifest: " + name + ": " + reason + "\n", outcome.err);
        std::string expected = Begin;
        expected += R"(  <file name="good" bytes="2" size="2 B" lines="1" md5 written id/>)";
        expected += "\n  <failure name=\"" + name + "\">" + reason + "</failure>\n";
        expected += R"(  <file name="good" bytes="2" size="2 B" lines="1" md5 written id/>)";
        EXPECT_EQ(expected + "\n</manifest>\n", Steady("out.xml"));
        ExpectWellFormed("out.xml");
    }
};

TEST_F(ManifestFailures, AMissingFileIsReported) {
    ExpectReported("missing.txt", "No such file or directory");
}

TEST_F(ManifestFailures, AFileBehindAFileIsReported) {
    Make("file");
    ExpectReported("file/below", "Not a directory");
}

TEST_F(ManifestFailures, AnUnreadableFileIsReported) {
    Make("secret", "text");
    fs::permissions(m_dir.File("secret"), fs::perms::none);
    ExpectReported("secret", "Permission denied", GiveUpPrivileges);
}

TEST_F(ManifestFailures, AFileThatFailsWhileItIsReadIsReported) {
    // A regular file that opens, and whose first page is never there.
    ExpectReported("/proc/self/mem", "Input/output error");
}

TEST_F(ManifestFailures, AFifoIsReportedWithoutWaitingForItsWriter) {
    ASSERT_EQ(0, mkfifo(m_dir.File("fifo").c_str(), 0600));
    ExpectReported("fifo", "not a regular file");
}

TEST_F(ManifestFailures, ASocketIsReported) {
    const int socket = BoundSocket(m_dir.File("socket"));
    ExpectReported("socket", "not a regular file");
    close(socket);
}

TEST_F(ManifestFailures, AnEndlessDeviceIsReported) {
    ExpectReported("/dev/zero", "not a regular file");
}

TEST_F(ManifestFailures, ALinkThatLeadsNowhereIsReported) {
    fs::create_symlink("nowhere", m_dir.File("link"));
    ExpectReported("link", "No such file or directory");
}

TEST_F(ManifestFailures, AllOfThemAreReportedInOneRun) {
    const Outcome outcome = Manifest({"create", "out.xml", "x", "y", "z"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: x: No such file or directory\nmanifest: y: No such file or directory\n"
              "manifest: z: No such file or directory\n",
              outcome.err);
    ExpectWellFormed("out.xml");
}

TEST_F(ManifestFailures, ARefusedWorkerThreadIsReportedInsteadOfWaitedFor) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the thread sanitizer cannot start with a stack limit like this";
#endif
    // A new thread's stack is as large as the limit of the first one's; none is as large as this.
    const Outcome outcome = Manifest({"create", "out.xml", "x"}, [] {
        rlimit limit{};
        getrlimit(RLIMIT_STACK, &limit);
        limit.rlim_cur = rlim_t{1} << 47U;
        if (setrlimit(RLIMIT_STACK, &limit) != 0)
            _exit(CannotGiveUp);
    });
    if (outcome.status == CannotGiveUp)
        GTEST_SKIP() << "the stack cannot be made that large here";
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: out.xml: no worker thread could be started\n", outcome.err);
    EXPECT_THAT(Directory(), IsEmpty());
}

// Concerns: directories are recorded with all that is below them, in an order that does not depend on
// the file system's; links never lead out of the walk or around in it; nothing but files is opened;
// what cannot be looked at costs nothing else; the manifest itself is not in the manifest.

class ManifestWalk : public ManifestProgram {
protected:
    void MakeDirectory(const std::string& name) const {
        ASSERT_TRUE(fs::create_directory(m_dir.File(name)));
    }

    void MakeLink(const std::string& to, const std::string& name) const {
        fs::create_symlink(to, m_dir.File(name));
    }

    static std::string Directory(const std::string& name) { return Other("directory", name); }

    static std::string Other(const std::string& kind, const std::string& name) {
        return "  <" + kind + " name=\"" + name + "\" written id/>\n";
    }

    static std::string Empty(const std::string& name) {
        return "  <file name=\"" + name +
               "\" bytes=\"0\" size=\"0 B\" lines=\"0\" md5 written id/>\n";
    }

    static std::string Failure(const std::string& name, const std::string& reason) {
        return "  <failure name=\"" + name + "\">" + reason + "</failure>\n";
    }

    void ExpectManifest(const std::string& elements, const std::string& out = "out.xml") const {
        EXPECT_EQ(Begin + elements + "</manifest>\n", Steady(out));
        ExpectWellFormed(out);
    }

    /// Runs without the superuser's privileges and expects failures, which are complained of.
    void ExpectFailures(const std::string& elements, const Names& complaints) const {
        const Outcome outcome = Manifest({"create", "out.xml", "d"}, GiveUpPrivileges);
        if (outcome.status == CannotGiveUp)
            GTEST_SKIP() << "the superuser's privileges cannot be given up here";
        EXPECT_EQ(1, outcome.status);
        std::string expected;
        for (const std::string& complaint : complaints)
            expected += "manifest: " + complaint + "\n";
        EXPECT_EQ(expected, outcome.err);
        ExpectManifest(elements);
    }
};

TEST_F(ManifestWalk, GoesDepthFirstInTheOrderOfTheBytesOfTheNames) {
    for (const char* directory : {"d", "d/a", "d/a/deep", "d/a/deep/er", "d/empty"})
        MakeDirectory(directory);
    for (const char* file : {"d/ä", "d/b", "d/a.b", "d/B", "d/a/z", "d/a/deep/er/x", "d/10", "d/9"})
        Make(file);
    const Outcome outcome = Manifest({"create", "out.xml", "d"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.err);
    ExpectManifest(Directory("d") + Empty("d/10") + Empty("d/9") + Empty("d/B") + Directory("d/a") +
                   Directory("d/a/deep") + Directory("d/a/deep/er") + Empty("d/a/deep/er/x") +
                   Empty("d/a/z") + Empty("d/a.b") + Empty("d/b") + Directory("d/empty") +
                   Empty("d/ä"));
}

TEST_F(ManifestWalk, KeepsTheOrderOfThePathsGiven) {
    for (const char* directory : {"b", "a"})
        MakeDirectory(directory);
    for (const char* file : {"b/x", "a/x", "c"})
        Make(file);
    EXPECT_EQ(0, Manifest({"create", "out.xml", "c", "b/", "a", "c"}).status);
    ExpectManifest(Empty("c") + Directory("b/") + Empty("b/x") + Directory("a") + Empty("a/x") +
                   Empty("c"));
}

TEST_F(ManifestWalk, RecordsLinksAndDoesNotFollowThem) {
    MakeDirectory("outside");
    Make("outside/file", "x");
    MakeDirectory("d");
    MakeDirectory("d/sub");
    MakeLink("..", "d/sub/around");
    MakeLink("nowhere", "d/dangling");
    MakeLink("../outside", "d/directory");
    MakeLink("../outside/file", "d/file");
    MakeLink("self", "d/self");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    ExpectManifest(Directory("d") + Other("link", "d/dangling") + Other("link", "d/directory") +
                   Other("link", "d/file") + Other("link", "d/self") + Directory("d/sub") +
                   Other("link", "d/sub/around"));
}

TEST_F(ManifestWalk, FindsEverythingBesideManyLinksThatLeadNowhere) {
    constexpr std::size_t Count = 50; // wherever the system puts them, also at both ends
    MakeDirectory("d");
    std::string expected = Directory("d");
    for (std::size_t i = 0; i < Count; ++i) {
        const std::string name = "d/" + std::to_string(100 + i);
        MakeLink("nowhere", name);
        Make(name + "f");
        expected += Other("link", name) + Empty(name + "f");
    }
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    ExpectManifest(expected);
}

TEST_F(ManifestWalk, RecordsADirectoryWithNothingButALinkThatLeadsNowhere) {
    MakeDirectory("d");
    MakeLink("nowhere", "d/link");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    ExpectManifest(Directory("d") + Other("link", "d/link"));
}

TEST_F(ManifestWalk, FollowsALinkThatIsGivenAsAPath) {
    MakeDirectory("d");
    Make("d/x");
    MakeLink("d", "link");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "link"}).status);
    ExpectManifest(Directory("link") + Empty("link/x"));
}

TEST_F(ManifestWalk, RecordsFifosAndSocketsWithoutOpeningThem) {
    MakeDirectory("d");
    ASSERT_EQ(0, mkfifo(m_dir.File("d/fifo").c_str(), 0600));
    const int socket = BoundSocket(m_dir.File("d/socket"));
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    close(socket);
    ExpectManifest(Directory("d") + Other("fifo", "d/fifo") + Other("socket", "d/socket"));
}

TEST_F(ManifestWalk, RecordsDevicesWithoutOpeningThem) {
    MakeDirectory("d");
    if (mknod(m_dir.File("d/zero").c_str(), S_IFCHR | 0600, makedev(1, 5)) != 0)
        GTEST_SKIP() << "no device can be made here";
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    ExpectManifest(Directory("d") + Other("device", "d/zero"));
}

TEST_F(ManifestWalk, AnUnreadableDirectoryIsAFailureThatCostsNothingElse) {
    for (const char* directory : {"d", "d/closed"})
        MakeDirectory(directory);
    for (const char* file : {"d/a", "d/closed/x", "d/z"})
        Make(file);
    fs::permissions(m_dir.File("d/closed"), fs::perms::none);
    ExpectFailures(Directory("d") + Empty("d/a") + Failure("d/closed", "Permission denied") +
                       Empty("d/z"),
                   {"d/closed: Permission denied"});
}

TEST_F(ManifestWalk, WhatCannotBeLookedAtIsAFailureUnderItsName) {
    for (const char* directory : {"d", "d/list"})
        MakeDirectory(directory);
    for (const char* file : {"d/a", "d/list/x", "d/list/y", "d/z"})
        Make(file);
    fs::permissions(m_dir.File("d/list"), fs::perms::owner_read); // names, but nothing else
    ExpectFailures(Directory("d") + Empty("d/a") + Directory("d/list") +
                       Failure("d/list/x", "Permission denied") +
                       Failure("d/list/y", "Permission denied") + Empty("d/z"),
                   {"d/list/x: Permission denied", "d/list/y: Permission denied"});
}

TEST_F(ManifestWalk, LeavesTheManifestOut) {
    MakeDirectory("d");
    MakeDirectory("d/sub");
    MakeLink(".", "here");
    for (const char* file : {"d/a", "d/sub/out.xml"})
        Make(file);
    const std::string expected =
        Directory("d") + Empty("d/a") + Directory("d/sub") + Empty("d/sub/out.xml");
    for (const char* out : {"d/out.xml", "d/out.xml", "here/d/out.xml", "./d/sub/../out.xml"}) {
        EXPECT_EQ(0, Manifest({"create", out, "d"}).status);
        ExpectManifest(expected, "d/out.xml");
    }
}

TEST_F(ManifestWalk, LeavesTheManifestOutOfTheCurrentDirectory) {
    Make("a");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, Manifest({"create", "out.xml", "."}).status);
        ExpectManifest(Directory(".") + Empty("./a"));
    }
}

TEST_F(ManifestWalk, LeavesTheManifestOutWhereALinkLeadsToIt) {
    for (const char* directory : {"d", "d/real"})
        MakeDirectory(directory);
    Make("d/real/out.xml", "old");
    MakeLink("real/out.xml", "d/link.xml");
    EXPECT_EQ(0, Manifest({"create", "d/link.xml", "d"}).status);
    ExpectManifest(Directory("d") + Directory("d/real"), "d/real/out.xml");
}

TEST_F(ManifestWalk, LeavesOutWhatAKilledRunLeftBesideTheManifest) {
    MakeDirectory("d");
    const std::string left = std::string(".manifest-") + SomeId + ".tmp";
    for (const std::string& file : {"d/" + left, left, std::string("d/.manifest-x.tmp")})
        Make(file);
    EXPECT_EQ(0, Manifest({"create", "d/out.xml", "d"}).status);
    ExpectManifest(Directory("d") + Empty("d/.manifest-x.tmp"), "d/out.xml");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status); // whose place is another one
    EXPECT_THAT(Steady("out.xml"), HasSubstr(Empty("d/" + left)));
}

TEST_F(ManifestWalk, FindsNamesOfAnyBytes) {
    MakeDirectory("d");
    MakeDirectory("d/\xff");
    for (const char* file : {"d/\xff/\n", "d/a&b", "d/ ", "d/...", "d/-"})
        Make(file);
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    const std::string begin = R"(  <file name="d/%FF/%0A" escaped="percent")";
    ExpectManifest(Directory("d") + Empty("d/ ") + Empty("d/-") + Empty("d/...") +
                   Empty("d/a&amp;b") +
                   "  <directory name=\"d/%FF\" escaped=\"percent\" written id/>\n" + begin +
                   " bytes=\"0\" size=\"0 B\" lines=\"0\" md5 written id/>\n");
}

TEST_F(ManifestWalk, TakesTenThousandFiles) {
    constexpr std::size_t Count = 10000;
    for (std::size_t i = 0; i < Count; ++i) {
        if (i % 100 == 0)
            fs::create_directories(m_dir.File("d/" + std::to_string(i / 100)));
        Make("d/" + std::to_string(i / 100) + "/" + std::to_string(i), "x\n");
    }
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    ExpectWellFormed("out.xml");
    const Outcome shown = Manifest({"show", "out.xml"});
    EXPECT_EQ(Count + 101 + 2, std::count(shown.out.begin(), shown.out.end(), '\n'));
    EXPECT_THAT(LastLine(shown.out), EndsWith("  10000 files, 101 others, 0 failed"));
}

// Concerns: times are those of the last writing, to the millisecond, in universal time and in the
// local zone; the date program is asked.

class ManifestTimes : public ManifestProgram {
protected:
    std::string DateOf(const std::string& file, const std::string& options) const {
        const Outcome outcome = RunProgram(
            {"/bin/sh", "-c", "date " + options + " -r " + file + " +%Y-%m-%dT%H:%M:%S.%3N"},
            InZone());
        EXPECT_EQ(0, outcome.status) << outcome.err;
        return outcome.out.substr(0, outcome.out.find('\n'));
    }

    Surroundings InZone() const {
        Surroundings surroundings = Here();
        surroundings.environment.emplace_back("TZ", "EST5EDT,M3.2.0,M11.1.0");
        return surroundings;
    }
};

TEST_F(ManifestTimes, AreWhatDateSays) {
    const std::vector<timespec> times{
        {1700000000, 123999999}, {1720000000, 0}, {0, 0}, {-2, 250000000}, {4102444800, 999000000}};
    for (const timespec& time : times) {
        Make("file");
        const std::array<timespec, 2> both{time, time};
        ASSERT_EQ(0, utimensat(AT_FDCWD, m_dir.File("file").c_str(), both.data(), 0));
        const Names create = Arguments({"create", "out.xml", "file"});
        ASSERT_EQ(0, RunProgram(create, InZone()).status);
        EXPECT_THAT(Content("out.xml"),
                    HasSubstr(" written-utc=\"" + DateOf("file", "-u") + "\" written-local=\"" +
                              DateOf("file", "") + "\" "));
        const Outcome shown = Manifest({"show", "out.xml"});
        EXPECT_THAT(shown.out, HasSubstr("  " + DateOf("file", "") + "  "));
    }
}

TEST_F(ManifestTimes, OfALinkAreItsOwn) {
    fs::create_directory(m_dir.File("d"));
    Make("file");
    fs::create_symlink("../file", m_dir.File("d/link"));
    const std::array<timespec, 2> both{timespec{1000, 0}, timespec{1000, 0}};
    ASSERT_EQ(0,
              utimensat(AT_FDCWD, m_dir.File("d/link").c_str(), both.data(), AT_SYMLINK_NOFOLLOW));
    ASSERT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    EXPECT_THAT(Content("out.xml"),
                HasSubstr("<link name=\"d/link\" written-utc=\"1970-01-01T00:16:40.000\""));
}

// Concerns: on a terminal a line shows how far the work has come, and is gone at the end; anywhere
// else nothing is written.

class ManifestProgress : public ManifestProgram {
protected:
    Surroundings On(int standardError) const {
        Surroundings surroundings = Here();
        surroundings.prepare = [standardError] { dup2(standardError, STDERR_FILENO); };
        return surroundings;
    }
};

TEST_F(ManifestProgress, AppearsOnATerminalAndIsGoneBeforeTheComplaints) {
    Make("a", "12345");
    Terminal terminal;
    Program program(Arguments({"create", "out.xml", "a", "x"}), On(terminal.ProgramsEnd()));
    terminal.LeaveToProgram();
    const std::string text = terminal.ReadUntil("directory\r\n");
    EXPECT_EQ(1, program.Wait().status);
    const std::string line = "0 of 1 files, 0 B of 5 B";
    EXPECT_THAT(text, StartsWith("\r" + line));
    const std::size_t end = text.find("manifest: x: No such file or directory\r\n");
    ASSERT_NE(std::string::npos, end) << text;
    const std::string cleared = text.substr(0, end);
    EXPECT_THAT(cleared, EndsWith("\r" + std::string(line.size(), ' ') + "\r"));
}

TEST_F(ManifestProgress, TellsRateAndTimeLeftWithinTheTerminalsWidth) {
    Make("endless");
    fs::resize_file(m_dir.File("endless"), std::uintmax_t{1} << 40U); // holes; nothing is stored
    Terminal terminal;
    Program program(Arguments({"create", "out.xml", "endless"}), On(terminal.ProgramsEnd()));
    terminal.LeaveToProgram();
    const std::string text = terminal.ReadUntil("/s, ") + terminal.ReadUntil("\r");
    program.Kill(SIGKILL);
    program.Wait();
    EXPECT_THAT(text, testing::ContainsRegex("\r0 of 1 files, [0-9.]+ [KMG]iB of 1.0 TiB, "
                                             "[0-9.]+ [KMG]?i?B/s, [0-9]+:"));
    std::size_t longest = 0;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = text.find('\r', begin)) != std::string::npos; begin = end + 1)
        longest = std::max(longest, end - begin);
    EXPECT_LE(longest, 59U);
}

TEST_F(ManifestProgress, AppearsWhileVerifyingToo) {
    Make("a", "12345");
    ASSERT_EQ(0, Manifest({"create", "out.xml", "a"}).status);
    Terminal terminal;
    Program program(Arguments({"verify", "out.xml"}), On(terminal.ProgramsEnd()));
    terminal.LeaveToProgram();
    EXPECT_THAT(terminal.ReadUntil("5 B"), StartsWith("\r0 of 1 files, 0 B of 5 B"));
    terminal.ReadUntil("the end");
    EXPECT_EQ(0, program.Wait().status);
}

TEST_F(ManifestProgress, IsSilentOnAPipe) {
    Make("a", "12345");
    std::array<int, 2> ends{};
    ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
    Program program(Arguments({"create", "out.xml", "a"}), On(ends[1]));
    close(ends[1]);
    char byte = 0;
    EXPECT_EQ(0, read(ends[0], &byte, 1)); // the end, and nothing before it
    close(ends[0]);
    EXPECT_EQ(0, program.Wait().status);
}

// Concerns: a name may be any bytes; the document stays well formed in every locale, the name can be
// told back exactly, and nothing that reaches the terminal can control it.

class ManifestNames : public ManifestProgram {
protected:
    /// Creates a manifest of the one file in one locale and returns the row that another one shows.
    std::string Row(const std::string& name, const std::string& creating,
                    const std::string& showing) {
        Make(name, "x\n");
        EXPECT_EQ(0, Manifest({"create", "out.xml", name}, creating).status) << name;
        ExpectWellFormed("out.xml");
        const Outcome shown = Manifest({"show", "out.xml"}, showing);
        EXPECT_EQ(0, shown.status) << shown.err;
        const Names ids = IdsIn(Content("out.xml"));
        const std::size_t id = ids.empty() ? std::string::npos : shown.out.find(ids.front() + "  ");
        if (id == std::string::npos)
            return "(no row)";
        const std::size_t begin = id + ids.front().size() + 2;
        return shown.out.substr(begin, shown.out.find('\n', begin) - begin);
    }
};

TEST_F(ManifestNames, MarkupIsAnOrdinaryName) {
    for (const char* name : {"a&b", "<file>", "\"quoted\"", "it's", "]]>", "-->", "&amp;", "&#65;"})
        EXPECT_EQ(name, Row(name, "C.UTF-8", "C.UTF-8"));
}

TEST_F(ManifestNames, SpacesAndPercentSignsStay) {
    for (const char* name : {" lead", "trail ", "two  spaces", "100%", "%41", "%%"})
        EXPECT_EQ(name, Row(name, "C.UTF-8", "C.UTF-8"));
}

TEST_F(ManifestNames, LettersOfTheLocaleStandAsTheyAre) {
    EXPECT_EQ("Grüße 😀", Row("Grüße 😀", "C.UTF-8", "C.UTF-8"));
    EXPECT_THAT(Content("out.xml"), HasSubstr("name=\"Grüße 😀\" bytes"));
}

TEST_F(ManifestNames, LettersBeyondTheLocaleAreEscapedAndComeBackWhereTheyExist) {
    EXPECT_EQ("Grüße 5%", Row("Grüße 5%", "C", "C.UTF-8"));
    EXPECT_THAT(Content("out.xml"), HasSubstr(R"(name="Gr%C3%BC%C3%9Fe 5%25" escaped="percent")"));
    EXPECT_EQ(R"($'Gr\xC3\xBC\xC3\x9Fe')", Row("Grüße", "C", "C"));
}

TEST_F(ManifestNames, AManifestOfAnotherLocaleShowsAllItCan) {
    EXPECT_EQ("(a name that this locale cannot show)", Row("Grüße", "C.UTF-8", "C"));
}

TEST_F(ManifestNames, ControlCharactersNeverReachTheTerminal) {
    EXPECT_EQ(R"($'a\x0Ab')", Row("a\nb", "C.UTF-8", "C.UTF-8"));
    EXPECT_THAT(Content("out.xml"), HasSubstr(R"(name="a%0Ab" escaped="percent")"));
    EXPECT_EQ(R"($'\x1B[31m\x7F')", Row("\x1b[31m\x7f", "C.UTF-8", "C.UTF-8"));
    EXPECT_EQ(R"($'\xC2\x9B31m')", Row("\xc2\x9b"
                                       "31m",
                                       "C.UTF-8", "C.UTF-8"));
    EXPECT_EQ(R"($'\xE2\x80\xAEgpj.sh')", Row("\xe2\x80\xaegpj.sh", "C.UTF-8", "C.UTF-8"));
    EXPECT_EQ(R"($'\x0D\x27\x5C')", Row("\r'\\", "C.UTF-8", "C.UTF-8"));
}

TEST_F(ManifestNames, BytesThatAreNoCharactersSurvive) {
    EXPECT_EQ(R"($'\xFFx\xC3')", Row("\xffx\xc3", "C.UTF-8", "C.UTF-8"));
    EXPECT_THAT(Content("out.xml"), HasSubstr(R"(name="%FFx%C3" escaped="percent")"));
}

TEST_F(ManifestNames, CharactersThatNoDocumentMayHoldAreEscaped) {
    EXPECT_EQ(R"($'\xEF\xBF\xBE')", Row("\xef\xbf\xbe", "C.UTF-8", "C.UTF-8"));
    EXPECT_EQ(R"($'\xED\xA0\x80')", Row("\xed\xa0\x80", "C.UTF-8", "C.UTF-8"));
}

TEST_F(ManifestNames, ComplaintsShowThemSafely) {
    const Outcome outcome = Manifest({"create", "out.xml", "\x1b[2J", ""});
    EXPECT_EQ("manifest: $'\\x1B[2J': No such file or directory\n"
              "manifest: $'': No such file or directory\n",
              outcome.err);
    ExpectWellFormed("out.xml");
}

TEST_F(ManifestNames, TheManifestsOwnNameMayBeStrangeToo) {
    Make("a");
    for (const char* out : {"-", "a%20b.xml", "sp ace\n.xml", "\xff.xml", "http:x"}) {
        EXPECT_EQ(0, Manifest({"create", out, "a"}).status) << out;
        EXPECT_EQ(0, Manifest({"show", out}).status) << out;
    }
}

// Concerns: whoever looks at OUT.xml finds the old manifest or the new one, whatever goes wrong and
// whenever the program dies; after a failure that it survives nothing is left behind; what stands at
// OUT.xml and is no file of the user's is not replaced.

class ManifestSaving : public ManifestProgram {
protected:
    void ExpectFailure(const std::string& out, const std::string& reason,
                       const std::function<void()>& prepare = {}) {
        Make("a", "x\n");
        const Outcome outcome = Manifest({"create", out, "a"}, prepare);
        if (outcome.status == CannotGiveUp)
            GTEST_SKIP() << "the superuser's privileges cannot be given up here";
        EXPECT_EQ(1, outcome.status);
        EXPECT_EQ("manifest: " + out + ": " + reason + "\n", outcome.err);
    }

    /// A manifest's arguments that need more than a limit of a thousand bytes.
    static Names Long() {
        Names arguments{"create", "out.xml"};
        arguments.resize(arguments.size() + 100, "a");
        return arguments;
    }
};

TEST_F(ManifestSaving, ReplacesAnOlderManifestAndKeepsItsPermissions) {
    Make("a");
    Make("out.xml", "old");
    const auto permissions = fs::perms::owner_read | fs::perms::owner_write;
    fs::permissions(m_dir.File("out.xml"), permissions);
    EXPECT_EQ(0, Manifest({"create", "out.xml", "a"}).status);
    ExpectWellFormed("out.xml");
    EXPECT_EQ(permissions, fs::status(m_dir.File("out.xml")).permissions());
    EXPECT_THAT(Directory(), ElementsAre("a", "out.xml"));
}

TEST_F(ManifestSaving, MakesANewManifestAsTheMaskAllows) {
    Make("a");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "a"}, [] { umask(0027); }).status);
    EXPECT_EQ(fs::perms{0640}, fs::status(m_dir.File("out.xml")).permissions());
}

TEST_F(ManifestSaving, ReplacesWhatALinkLeadsToAndKeepsTheLink) {
    Make("a");
    fs::create_directory(m_dir.File("elsewhere"));
    Make("elsewhere/real.xml", "old");
    fs::create_symlink("elsewhere/real.xml", m_dir.File("out.xml"));
    EXPECT_EQ(0, Manifest({"create", "out.xml", "a"}).status);
    EXPECT_TRUE(fs::is_symlink(m_dir.File("out.xml")));
    ExpectWellFormed("elsewhere/real.xml");
}

TEST_F(ManifestSaving, AManifestMayListItsOwnPredecessor) {
    Make("out.xml", "old\n");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "out.xml"}).status);
    EXPECT_THAT(Steady("out.xml"), HasSubstr(R"(name="out.xml" bytes="4" size="4 B" lines="1")"));
}

TEST_F(ManifestSaving, FailsInADirectoryThatDoesNotExist) {
    ExpectFailure("nowhere/out.xml", "No such file or directory");
    EXPECT_THAT(Directory(), ElementsAre("a"));
}

TEST_F(ManifestSaving, FailsInADirectoryThatIsNotWritable) {
    fs::create_directory(m_dir.File("closed"));
    fs::permissions(m_dir.File("closed"), fs::perms::owner_read | fs::perms::owner_exec);
    ExpectFailure("closed/out.xml", "Permission denied", GiveUpPrivileges);
    EXPECT_TRUE(fs::is_empty(m_dir.File("closed")));
}

TEST_F(ManifestSaving, FailsWithoutAName) {
    Make("a");
    const Outcome outcome = Manifest({"create", "", "a"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: $'': No such file or directory\n", outcome.err);
    EXPECT_THAT(Directory(), ElementsAre("a"));
}

TEST_F(ManifestSaving, DoesNotReplaceADirectory) {
    fs::create_directory(m_dir.File("out.xml"));
    ExpectFailure("out.xml", "not a regular file");
    EXPECT_TRUE(fs::is_directory(m_dir.File("out.xml")));
    EXPECT_THAT(Directory(), ElementsAre("a", "out.xml"));
}

TEST_F(ManifestSaving, DoesNotReplaceAFifo) {
    ASSERT_EQ(0, mkfifo(m_dir.File("out.xml").c_str(), 0600));
    ExpectFailure("out.xml", "not a regular file");
    EXPECT_TRUE(fs::is_fifo(m_dir.File("out.xml")));
}

TEST_F(ManifestSaving, DoesNotReplaceALinkThatLeadsNowhere) {
    fs::create_symlink("nowhere", m_dir.File("out.xml"));
    ExpectFailure("out.xml", "No such file or directory");
    EXPECT_TRUE(fs::is_symlink(m_dir.File("out.xml")));
}

TEST_F(ManifestSaving, KeepsTheOldManifestWhenTheDiskIsFull) {
    Make("a");
    Make("out.xml", "old");
    const Outcome outcome = Manifest(Long(), [] {
        std::signal(SIGXFSZ, SIG_IGN); // so that a write beyond the limit fails
        LimitFileSize(1000);
    });
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: out.xml: File too large\n", outcome.err);
    EXPECT_EQ("old", Content("out.xml"));
    EXPECT_THAT(Directory(), ElementsAre("a", "out.xml"));
}

TEST_F(ManifestSaving, KeepsTheOldManifestWhenKilledInTheMiddleOfWriting) {
    Make("a");
    Make("out.xml", "old");
    const Outcome outcome = Manifest(Long(), [] { LimitFileSize(1000); });
    EXPECT_EQ(SIGXFSZ, outcome.signal);
    EXPECT_EQ("old", Content("out.xml"));
    const std::set<std::string> names = Directory();
    ASSERT_EQ(3U, names.size()); // the half manifest is there, under another name
    EXPECT_THAT(*names.begin(), StartsWith(".manifest-"));
    EXPECT_EQ(1000U, fs::file_size(m_dir.File(*names.begin())));
}

// What a run that is killed has left shows what could be seen before.
TEST_F(ManifestSaving, NeverLaysAPrivateManifestOpen) {
    Make("a");
    for (const fs::perms permissions : {fs::perms{0600}, fs::perms{0640}, fs::perms{0666}}) {
        Make("out.xml", "old");
        fs::permissions(m_dir.File("out.xml"), permissions);
        const Outcome outcome = Manifest(Long(), [] {
            umask(0);
            LimitFileSize(1000);
        });
        EXPECT_EQ(SIGXFSZ, outcome.signal);
        const std::string half = m_dir.File(*Directory().begin());
        EXPECT_THAT(half, HasSubstr("/.manifest-"));
        EXPECT_EQ(fs::perms{0600}, fs::status(half).permissions());
        fs::remove(half);
    }
}

TEST_F(ManifestSaving, LeavesNothingWhenKilledWhileMeasuring) {
    Make("endless");
    fs::resize_file(m_dir.File("endless"), std::uintmax_t{1} << 40U); // holes; nothing is stored
    Program program(Arguments({"create", "out.xml", "endless"}), Here());
    ASSERT_TRUE(OpensWithin(program.Pid(), "endless", std::chrono::seconds(50)));
    program.Kill(SIGKILL);
    EXPECT_EQ(SIGKILL, program.Wait().signal);
    EXPECT_THAT(Directory(), ElementsAre("endless"));
}

// Concerns: a descriptor of the program's own is written to and not replaced, whatever it leads to
// and however it is named.

class ManifestDescriptor : public ManifestProgram {
protected:
    /// Runs the program with a file for its standard output, which it appends to.
    Outcome AppendTo(const std::string& file, const Names& arguments) const {
        return Manifest(arguments, [path = m_dir.File(file)] {
            dup2(open(path.c_str(), O_WRONLY | O_APPEND), STDOUT_FILENO);
        });
    }
};

TEST_F(ManifestDescriptor, GetsTheManifestBehindWhatIsAlreadyThere) {
    Make("a");
    ASSERT_EQ(0, Manifest({"create", "out.xml", "a"}).status);
    const std::string expected = "before\n" + Steady("out.xml");
    Make("kept");
    fs::create_hard_link(m_dir.File("kept"), m_dir.File("same"));
    fs::create_symlink("/dev/stdout", m_dir.File("link"));
    for (const char* out : {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1", "link"}) {
        Make("kept", "before\n");
        const Outcome outcome = AppendTo("kept", {"create", out, "a"});
        EXPECT_EQ(0, outcome.status) << out;
        EXPECT_EQ("", outcome.err) << out;
        EXPECT_EQ(expected, Steady("same")) << out;
    }
    EXPECT_THAT(Directory(), ElementsAre("a", "kept", "link", "out.xml", "same"));
}

TEST_F(ManifestDescriptor, MayBeAPipe) {
    Make("a");
    const std::string command = std::string(VORN_MANIFEST) + " create /dev/stdout a | cat >piped";
    EXPECT_EQ(0, RunProgram({"/bin/sh", "-c", command}, Here()).status);
    EXPECT_THAT(Steady("piped"), StartsWith(Begin));
    EXPECT_EQ(0, Manifest({"verify", "piped"}).status);
}

TEST_F(ManifestDescriptor, IsLeftOutWhereItsFileIsFound) {
    fs::create_directory(m_dir.File("d"));
    Make("d/out.xml");
    EXPECT_EQ(0, AppendTo("d/out.xml", {"create", "/dev/stdout", "d"}).status);
    EXPECT_EQ(std::string(Begin) + "  <directory name=\"d\" written id/>\n</manifest>\n",
              Steady("d/out.xml"));
}

TEST_F(ManifestDescriptor, ThatTakesNothingIsReported) {
    Make("a");
    const Outcome outcome = Manifest({"create", "/dev/stdout", "a"}, PrintNowhere);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: /dev/stdout: No space left on device\n", outcome.err);
    const Outcome closed = Manifest({"create", "/dev/stdout", "a"}, [] { close(STDOUT_FILENO); });
    EXPECT_EQ(1, closed.status);
    EXPECT_EQ("manifest: /dev/stdout: No such file or directory\n", closed.err);
}

// Concerns: the exact table; numbers beyond 32 bits; documents that are no manifests, are damaged or
// hostile; growth of the format; output that cannot be written.

class ManifestShow : public ManifestProgram {
protected:
    void MakeManifest(const std::string& elements) const {
        Make("in.xml", Begin + elements + "</manifest>\n");
    }

    void ExpectRefused(const std::string& name, const std::string& reason) const {
        const Outcome outcome = Manifest({"show", name});
        EXPECT_EQ(1, outcome.status) << Content(name);
        EXPECT_EQ("manifest: " + name + ": " + reason + "\n", outcome.err) << Content(name);
    }

    void ExpectRefusedContent(const std::string& content) const {
        Make("in.xml", content);
        ExpectRefused("in.xml", "not a manifest");
    }

    void ExpectRefusedAttributes(const std::string& attributes) const {
        ExpectRefusedContent(Begin + ("<file " + attributes) + "/></manifest>");
    }
};

TEST_F(ManifestShow, PrintsAlignedColumnsFailuresAndATotal) {
    const std::string id = SomeId;
    const std::string written = "written-local='2026-11-21T10:00:00.000' id='" + id + "'/>";
    MakeManifest("<directory name='d' " + written + //
                 "<file name='long' bytes='1234567' lines='89' " + written +
                 "<failure name='gone'>No such file or directory</failure>" +
                 "<file name='short' bytes='1' lines='0' " + written);
    const Outcome outcome = Manifest({"show", "in.xml"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.err);
    const std::string time = "2026-11-21T10:00:00.000  ";
    const std::string blank(36, ' ');
    EXPECT_EQ("KIND         BYTES     SIZE  LINES  WRITTEN                  ID" + blank +
                  "NAME\n"
                  "directory        -        -      -  " +
                  time + id +
                  "  d\n"
                  "file       1234567  1.2 MiB     89  " +
                  time + id +
                  "  long\n"
                  "failed           -        -      -  -                        -" +
                  blank +
                  " gone: No such file or directory\n"
                  "file             1      1 B      0  " +
                  time + id +
                  "  short\n"
                  "total      1234568  1.2 MiB     89                           " +
                  blank + "  2 files, 1 other, 1 failed\n",
              outcome.out);
}

TEST_F(ManifestShow, PrintsAnEmptyManifest) {
    MakeManifest("");
    EXPECT_EQ("KIND   BYTES  SIZE  LINES  WRITTEN  ID  NAME\n"
              "total      0   0 B      0               0 files, 0 others, 0 failed\n",
              Manifest({"show", "in.xml"}).out);
}

TEST_F(ManifestShow, PrintsNumbersBeyondThirtyTwoBitsInFull) {
    MakeManifest(
        std::string("<file name='a' bytes='18446744073709551615' lines='5000000000' id='") +
        SomeId + "'/>");
    EXPECT_THAT(Manifest({"show", "in.xml"}).out,
                HasSubstr("\nfile   18446744073709551615  8.0 EiB  5000000000  -        " +
                          std::string(SomeId) + "  a\n"));
}

TEST_F(ManifestShow, PrintsEveryKind) {
    const std::vector<std::string> kinds{"directory", "link", "fifo", "socket", "device"};
    std::string elements;
    for (const std::string& kind : kinds)
        elements += "<" + kind + " name='x' id='" + SomeId + "'/>";
    MakeManifest(elements);
    const Outcome outcome = Manifest({"show", "in.xml"});
    for (const std::string& kind : kinds)
        EXPECT_THAT(outcome.out, HasSubstr("\n" + kind + " "));
    EXPECT_THAT(outcome.out, EndsWith("  0 files, 5 others, 0 failed\n"));
}

TEST_F(ManifestShow, ShowsManifestsWithoutTimes) {
    MakeManifest(std::string("<file name='a' bytes='1' lines='0' id='") + SomeId + "'/>");
    EXPECT_THAT(
        Manifest({"show", "in.xml"}).out,
        HasSubstr("\nfile       1   1 B      0  -        " + std::string(SomeId) + "  a\n"));
}

TEST_F(ManifestShow, ListsNoPaths) {
    MakeManifest("<path name='a'/><path/><path name='%zz' escaped='percent'/>");
    EXPECT_EQ("KIND   BYTES  SIZE  LINES  WRITTEN  ID  NAME\n"
              "total      0   0 B      0               0 files, 0 others, 0 failed\n",
              Manifest({"show", "in.xml"}).out);
}

TEST_F(ManifestShow, IgnoresWhatLaterVersionsMayAdd) {
    MakeManifest(std::string("<archive name='d'/><file digest='1' name='a' bytes='1' lines='0' "
                             "id='") +
                 SomeId + "'><block/></file>");
    const Outcome outcome = Manifest({"show", "in.xml"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_THAT(outcome.out, EndsWith("  1 file, 0 others, 0 failed\n"));
}

TEST_F(ManifestShow, RefusesWhatIsNoManifest) {
    ExpectRefusedContent("");
    ExpectRefusedContent("plain text\n");
    ExpectRefusedContent(std::string(Begin) + "<file"); // cut off
    ExpectRefusedContent(R"(<?xml version="1.0" encoding="UTF-8"?><inventory version="1"/>)");
    ExpectRefusedContent(R"(<?xml version="1.0" encoding="UTF-8"?><manifest/>)");
    ExpectRefusedContent(R"(<?xml version="1.0" encoding="UTF-8"?><manifest version="x"/>)");
    ExpectRefusedContent(R"(<manifest version="1"/>)"); // no encoding declared
}

TEST_F(ManifestShow, RefusesFilesThatAreNotFullyDescribed) {
    const std::string id = SomeId;
    ExpectRefusedAttributes("name='a' lines='0' id='" + id + "'");
    ExpectRefusedAttributes("name='a' bytes='1' id='" + id + "'");
    ExpectRefusedAttributes("name='a' bytes='1' lines='0'");
    ExpectRefusedAttributes("name='a' bytes='' lines='0' id='" + id + "'");
    ExpectRefusedAttributes("name='a' bytes='-1' lines='0' id='" + id + "'");
    ExpectRefusedAttributes("name='a' bytes='1x' lines='0' id='" + id + "'");
    ExpectRefusedAttributes("name='a' bytes='18446744073709551616' lines='0' id='" + id + "'");
    ExpectRefusedAttributes("name='a' bytes='1' lines='0' id=''");
    ExpectRefusedAttributes("name='a' bytes='1' lines='0' id='0f8fad5b'");
    ExpectRefusedAttributes("name='a' bytes='1' lines='0' "
                            "id='00000000-0000-0000-0000-000000000000'");
    const std::string known = "name='a' bytes='1' lines='0' id='" + id + "' md5=";
    for (const std::string& digest :
         {std::string("''"), "'" + std::string(31, '0') + "'", "'" + std::string(33, '0') + "'",
          "'" + std::string(32, 'g') + "'", "'" + std::string(32, 'A') + "'",
          "'" + std::string(31, '0') + "&#x9b;'"})
        ExpectRefusedAttributes(known + digest);
}

TEST_F(ManifestShow, RefusesAManifestOfAnotherVersion) {
    Make("in.xml", R"(<?xml version="1.0" encoding="UTF-8"?><manifest version="2"/>)");
    ExpectRefused("in.xml", "a manifest of a version that this program does not know");
}

TEST_F(ManifestShow, RefusesWhatCannotBeRead) {
    ExpectRefused("missing.xml", "No such file or directory");
    ExpectRefused(".", "not a regular file");
    ASSERT_EQ(0, mkfifo(m_dir.File("fifo").c_str(), 0600));
    ExpectRefused("fifo", "not a regular file");
}

TEST_F(ManifestShow, LetsNoDocumentControlTheTerminal) {
    const std::string rest = std::string("' bytes='1' lines='0' id='") + SomeId + "'/>";
    MakeManifest("<file name='&#x9b;31m" + rest + "<file escaped='percent' name='%1B%zz%4" + rest +
                 "<file escaped='percent' name='ends?%00%1B" + rest +
                 "<directory name='d' written-local='&#x9b;31m' id='" + SomeId + "'/>" +
                 "<failure name='a'>&#x9b;31m</failure>");
    const Outcome outcome = Manifest({"show", "in.xml"});
    EXPECT_EQ(0, outcome.status) << outcome.err;
    for (const char* name :
         {R"($'\xC2\x9B31m')", R"($'\x1B%zz%4')", R"($'ends?\x00\x1B')", R"(a: $'\xC2\x9B31m')"})
        EXPECT_THAT(outcome.out, HasSubstr("  " + std::string(name) + "\n"));
    EXPECT_THAT(outcome.out, HasSubstr(R"(-  $'\xC2\x9B31m')")); // the time
    EXPECT_THAT(outcome.out, Not(HasSubstr("\x9b")));
}

TEST_F(ManifestShow, FailsWhenTheTableCannotBePrinted) {
    MakeManifest("");
    const Outcome outcome = Manifest({"show", "in.xml"}, PrintNowhere);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: in.xml: the table could not be printed\n", outcome.err);
}

// Concerns: everything that differs from what was recorded is found, told once, in the order of the
// names, and gives the exit status 1; nothing else does. What cannot be known is told as that, and a
// manifest that does not say enough is refused.

class ManifestVerify : public ManifestProgram {
protected:
    void MakeDirectory(const std::string& name) const {
        ASSERT_TRUE(fs::create_directories(m_dir.File(name)));
    }

    void MakeLink(const std::string& to, const std::string& name) const {
        fs::create_symlink(to, m_dir.File(name));
    }

    void Remove(const std::string& name) const { ASSERT_NE(0U, fs::remove_all(m_dir.File(name))); }

    void Create(const Names& paths, int status = 0) const {
        Names arguments{"create", "out.xml"};
        arguments.insert(arguments.end(), paths.begin(), paths.end());
        ASSERT_EQ(status, Manifest(arguments).status);
    }

    /// A directory with a file of two bytes and another directory with an empty one, recorded.
    void MakeAndRecord() const {
        MakeDirectory("d/sub");
        Make("d/a", "a\n");
        Make("d/sub/empty");
        Create({"d"});
    }

    void ExpectAllAsRecorded(std::size_t count) const {
        const Outcome outcome = Manifest({"verify", "out.xml"});
        EXPECT_EQ(0, outcome.status);
        EXPECT_EQ(std::to_string(count) + " as recorded, 0 missing, 0 changed, 0 new, 0 unread\n",
                  outcome.out);
        EXPECT_EQ("", outcome.err);
    }

    void ExpectDifferences(const std::string& out, const std::string& err = "",
                           const std::function<void()>& prepare = {}) const {
        const Outcome outcome = Manifest({"verify", "out.xml"}, prepare);
        if (outcome.status == CannotGiveUp)
            GTEST_SKIP() << "the superuser's privileges cannot be given up here";
        EXPECT_EQ(1, outcome.status);
        EXPECT_EQ(out, outcome.out);
        EXPECT_EQ(err, outcome.err);
    }

    void ExpectRefused(const std::string& reason, const std::string& locale = "C.UTF-8") const {
        const Outcome outcome = Manifest({"verify", "out.xml"}, locale);
        EXPECT_EQ(1, outcome.status) << Content("out.xml");
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ("manifest: out.xml: " + reason + "\n", outcome.err);
    }

    void ExpectRefusedContent(const std::string& elements, const std::string& reason) const {
        Make("out.xml", Begin + elements + "</manifest>\n");
        ExpectRefused(reason);
    }
};

TEST_F(ManifestVerify, SaysNothingButTheSummaryWhenAllIsAsRecorded) {
    MakeDirectory("d/sub/empty");
    Make("d/empty");
    Make("d/sub/two", "1\n2\n");
    MakeLink("nowhere", "d/link");
    ASSERT_EQ(0, mkfifo(m_dir.File("d/fifo").c_str(), 0600));
    const int socket = BoundSocket(m_dir.File("d/socket"));
    Create({"d", "d/sub/two"});
    ExpectAllAsRecorded(8);
    ExpectAllAsRecorded(8); // the first time has changed nothing
    close(socket);
}

TEST_F(ManifestVerify, IsNotConcernedWithTimes) {
    MakeAndRecord();
    for (const char* name : {"d", "d/a"})
        fs::last_write_time(m_dir.File(name),
                            fs::file_time_type::clock::now() - std::chrono::hours(9));
    ExpectAllAsRecorded(4);
}

TEST_F(ManifestVerify, FindsWhatIsMissing) {
    MakeAndRecord();
    Remove("d/a");
    ExpectDifferences("missing  d/a\n3 as recorded, 1 missing, 0 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsARemovedDirectoryWithAllThatWasInIt) {
    MakeAndRecord();
    Remove("d/sub");
    ExpectDifferences("missing  d/sub\nmissing  d/sub/empty\n"
                      "2 as recorded, 2 missing, 0 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsThatAPathIsGoneWithAllThatWasBelowIt) {
    MakeDirectory("d/sub");
    Make("d/sub/x");
    Make("file");
    Create({"d/", "file"});
    Remove("d");
    Remove("file");
    ExpectDifferences("missing  d/\nmissing  d/sub\nmissing  d/sub/x\nmissing  file\n"
                      "0 as recorded, 4 missing, 0 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsWhatIsNewBelowThePaths) {
    MakeAndRecord();
    Make("outside");
    Make("d/sub/new");
    MakeDirectory("d/directory");
    Make("d/directory/new");
    ExpectDifferences("new      d/directory\nnew      d/directory/new\nnew      d/sub/new\n"
                      "4 as recorded, 0 missing, 0 changed, 3 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsOtherBytesLinesAndDigest) {
    MakeAndRecord();
    const std::string before = Md5Sum("d/a");
    std::ofstream(m_dir.File("d/a"), std::ios::app) << "more\n";
    ExpectDifferences("changed  d/a (bytes 2 -> 7, lines 1 -> 2, md5 " + before + " -> " +
                      Md5Sum("d/a") + ")\n3 as recorded, 0 missing, 1 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsOtherContentOfTheSameLengthAndTime) {
    MakeAndRecord();
    const std::string before = Md5Sum("d/a");
    const std::string path = m_dir.File("d/a");
    struct stat status {};
    ASSERT_EQ(0, stat(path.c_str(), &status));
    Make("d/a", "b\n");
    const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), 0));
    ExpectDifferences("changed  d/a (md5 " + before + " -> " + Md5Sum("d/a") +
                      ")\n3 as recorded, 0 missing, 1 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsThatAFileWasEmptied) {
    MakeAndRecord();
    const std::string before = Md5Sum("d/a");
    Make("d/a");
    ExpectDifferences("changed  d/a (bytes 2 -> 0, lines 1 -> 0, md5 " + before +
                      " -> d41d8cd98f00b204e9800998ecf8427e)\n"
                      "3 as recorded, 0 missing, 1 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsOtherKinds) {
    MakeAndRecord();
    MakeLink("a", "d/link");
    Make("copy", "a\n");
    Create({"d"});
    for (const char* name : {"d/a", "d/link", "d/sub"})
        Remove(name);
    MakeLink("../copy", "d/a"); // where the same content is
    MakeDirectory("d/link");
    ASSERT_EQ(0, mkfifo(m_dir.File("d/sub").c_str(), 0600));
    ExpectDifferences("changed  d/a (file -> link)\nchanged  d/link (link -> directory)\n"
                      "changed  d/sub (directory -> fifo)\nmissing  d/sub/empty\n"
                      "1 as recorded, 1 missing, 3 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, DoesNotLookThroughALinkInADirectorysPlace) {
    MakeAndRecord();
    fs::rename(m_dir.File("d/sub"), m_dir.File("moved"));
    MakeLink("../moved", "d/sub");
    ExpectDifferences("changed  d/sub (directory -> link)\nmissing  d/sub/empty\n"
                      "2 as recorded, 1 missing, 1 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, SortsByNameWhateverTheOrderOfThePaths) {
    for (const char* name : {"z", "m", "a"})
        Make(name);
    MakeDirectory("n");
    Create({"z", "n", "m", "a"});
    Remove("a");
    Make("n/new");
    Make("m", "x");
    Remove("z");
    ExpectDifferences("missing  a\n"
                      "changed  m (bytes 0 -> 1, md5 d41d8cd98f00b204e9800998ecf8427e -> "
                      "9dd4e461268c8034f5c8564e155c67a6)\n"
                      "new      n/new\nmissing  z\n"
                      "1 as recorded, 2 missing, 1 changed, 1 new, 0 unread\n");
}

TEST_F(ManifestVerify, TakesNamesOfAnyBytesAndShowsThemSafely) {
    MakeDirectory("\xff %\n");
    for (const char* name : {"\xff %\n/ two  spaces", "\xff %\n/\x1b[31m", "100%41"})
        Make(name);
    Create({"\xff %\n", "100%41"});
    ExpectAllAsRecorded(4);
    Remove("\xff %\n/\x1b[31m");
    Make("\xff %\n/\n");
    Remove("100%41");
    ExpectDifferences(R"(missing  100%41
new      $'\xFF %\x0A/\x0A'
missing  $'\xFF %\x0A/\x1B[31m'
2 as recorded, 2 missing, 0 changed, 1 new, 0 unread
)");
}

TEST_F(ManifestVerify, TellsOfPathsThatOverlapOnlyOnce) {
    MakeDirectory("d");
    for (const char* name : {"d/a", "d/b", "d/c"})
        Make(name);
    Create({"d/a", "d", "d", "d/a", "d/c"});
    ExpectAllAsRecorded(4);
    Make("d/a", "\n");
    Make("d/new");
    Remove("d/c");
    ExpectDifferences("changed  d/a (bytes 0 -> 1, lines 0 -> 1, md5 "
                      "d41d8cd98f00b204e9800998ecf8427e -> 68b329da9893e34099c7d8ad5cb9c940)\n"
                      "missing  d/c\nnew      d/new\n"
                      "2 as recorded, 1 missing, 1 changed, 1 new, 0 unread\n");
}

TEST_F(ManifestVerify, KnowsALinkThatIsAPathFromTheSameOneInADirectory) {
    MakeDirectory("d");
    Make("file", "x");
    MakeLink("../file", "d/link");
    for (const Names& paths : {Names{"d/link", "d"}, Names{"d", "d/link"}}) {
        Create(paths);
        ExpectAllAsRecorded(2);
    }
    fs::rename(m_dir.File("file"), m_dir.File("moved")); // the link is still there
    ExpectDifferences("missing  d/link\n1 as recorded, 1 missing, 0 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, LeavesTheManifestOutAsCreateDoes) {
    MakeDirectory("d");
    Make("d/a");
    ASSERT_EQ(0, Manifest({"create", "d/out.xml", "d"}).status);
    Make(std::string("d/.manifest-") + SomeId + ".tmp");
    for (const char* out : {"d/out.xml", "./d/../d/out.xml"}) {
        const Outcome outcome = Manifest({"verify", out});
        EXPECT_EQ(0, outcome.status);
        EXPECT_EQ("2 as recorded, 0 missing, 0 changed, 0 new, 0 unread\n", outcome.out);
    }
}

TEST_F(ManifestVerify, LeavesTheManifestOutAlsoWhereItIsAPath) {
    Make("a");
    for (int run = 0; run < 2; ++run) { // there is no manifest before the first one
        const bool exists = run > 0;
        Create({"out.xml", "a", "./out.xml"}, exists ? 0 : 1);
        ExpectAllAsRecorded(1);
    }
    Create({"out.xml"});
    ExpectAllAsRecorded(0);
}

TEST_F(ManifestVerify, LooksForRelativePathsWhereItRuns) {
    Make("a");
    MakeDirectory("elsewhere");
    Create({"a"});
    Surroundings elsewhere = Here();
    elsewhere.directory = m_dir.File("elsewhere");
    const Outcome outcome = RunProgram(Arguments({"verify", "../out.xml"}), elsewhere);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("missing  a\n0 as recorded, 1 missing, 0 changed, 0 new, 0 unread\n", outcome.out);
    ASSERT_EQ(0, Manifest({"create", "out.xml", m_dir.File("a")}).status);
    EXPECT_EQ(0, RunProgram(Arguments({"verify", "../out.xml"}), elsewhere).status);
}

TEST_F(ManifestVerify, TakesTenThousandFiles) {
    constexpr std::size_t Count = 10000;
    for (std::size_t i = 0; i < Count; ++i) {
        if (i % 100 == 0)
            fs::create_directories(m_dir.File("d/" + std::to_string(i / 100)));
        Make("d/" + std::to_string(i / 100) + "/" + std::to_string(i));
    }
    Create({"d"});
    Remove("d/7/777");
    ExpectDifferences(
        "missing  d/7/777\n10100 as recorded, 1 missing, 0 changed, 0 new, 0 unread\n");
}

// Concerns: no failure is taken for a difference, and none for a success.

class ManifestVerifyFailures : public ManifestVerify {};

TEST_F(ManifestVerifyFailures, ThatWereRecordedAndStayAreNoDifference) {
    Make("a");
    MakeLink("nowhere", "link");
    Create({"gone", "a", "link", "gone"}, 1);
    const Outcome outcome = Manifest({"verify", "out.xml"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("1 as recorded, 0 missing, 0 changed, 0 new, 0 unread, 2 failing as before\n",
              outcome.out);
    EXPECT_EQ("", outcome.err);
}

TEST_F(ManifestVerifyFailures, ThatAreOverAreChanges) {
    Create({"a", "d"}, 1);
    Make("a");
    MakeDirectory("d");
    Make("d/x");
    ExpectDifferences(
        "changed  a (failed -> file)\nchanged  d (failed -> directory)\nnew      d/x\n"
        "0 as recorded, 0 missing, 2 changed, 1 new, 0 unread\n");
}

TEST_F(ManifestVerifyFailures, ForAnotherReasonAreComplainedOf) {
    Create({"a"}, 1);
    ASSERT_EQ(0, mkfifo(m_dir.File("a").c_str(), 0600));
    ExpectDifferences("0 as recorded, 0 missing, 0 changed, 0 new, 1 unread\n",
                      "manifest: a: not a regular file\n");
    Create({"a"}, 1);
    Remove("a");
    ExpectDifferences("missing  a\n0 as recorded, 1 missing, 0 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerifyFailures, OfAFifoInAPathsPlaceHideNothing) {
    MakeAndRecord();
    Remove("d");
    ASSERT_EQ(0, mkfifo(m_dir.File("d").c_str(), 0600));
    ExpectDifferences("missing  d/a\nmissing  d/sub\nmissing  d/sub/empty\n"
                      "0 as recorded, 3 missing, 0 changed, 0 new, 1 unread\n",
                      "manifest: d: not a regular file\n");
}

TEST_F(ManifestVerifyFailures, OfAFileThatCannotBeReadAreComplainedOf) {
    MakeAndRecord();
    fs::permissions(m_dir.File("d/a"), fs::perms::none);
    ExpectDifferences("3 as recorded, 0 missing, 0 changed, 0 new, 1 unread\n",
                      "manifest: d/a: Permission denied\n", GiveUpPrivileges);
}

TEST_F(ManifestVerifyFailures, OfADirectoryThatCannotBeListedMakeNothingInItMissing) {
    MakeAndRecord();
    Make("d/sub.x");
    Create({"d/"});
    Remove("d/sub.x");
    fs::permissions(m_dir.File("d/sub"), fs::perms::owner_exec);
    ExpectDifferences("missing  d/sub.x\n2 as recorded, 1 missing, 0 changed, 0 new, 2 unread\n",
                      "manifest: d/sub: Permission denied\n", GiveUpPrivileges);
    fs::permissions(m_dir.File("d"), fs::perms::none);
    ExpectDifferences("0 as recorded, 0 missing, 0 changed, 0 new, 5 unread\n",
                      "manifest: d/: Permission denied\n", GiveUpPrivileges);
}

TEST_F(ManifestVerifyFailures, OfPathsThatOverlapAreToldOnce) {
    MakeDirectory("d");
    Make("d/a");
    Create({"d/a", "d"});
    fs::permissions(m_dir.File("d"), fs::perms::none);
    ExpectDifferences("0 as recorded, 0 missing, 0 changed, 0 new, 2 unread\n",
                      "manifest: d: Permission denied\nmanifest: d/a: Permission denied\n",
                      GiveUpPrivileges);
}

TEST_F(ManifestVerifyFailures, OfWhatCannotBeLookedAtMakeNothingInItMissing) {
    MakeDirectory("d/sub/deep");
    Make("d/sub/deep/x");
    Create({"d"});
    fs::permissions(m_dir.File("d/sub"), fs::perms::owner_read); // names, but nothing else
    ExpectDifferences("2 as recorded, 0 missing, 0 changed, 0 new, 2 unread\n",
                      "manifest: d/sub/deep: Permission denied\n", GiveUpPrivileges);
}

TEST_F(ManifestVerifyFailures, OfWhatIsNewAreOnlyThatItIsNew) {
    MakeAndRecord();
    Make("d/new");
    fs::permissions(m_dir.File("d/new"), fs::perms::none);
    ExpectDifferences("new      d/new\n4 as recorded, 0 missing, 0 changed, 1 new, 0 unread\n", "",
                      GiveUpPrivileges);
}

TEST_F(ManifestVerifyFailures, OfPrintingAreFailures) {
    MakeAndRecord();
    ExpectDifferences("", "manifest: out.xml: the result could not be printed\n", PrintNowhere);
}

TEST_F(ManifestVerifyFailures, OfManifestsWithoutDigestsOrPathsAreTold) {
    const std::string noDigests = "it records no digests to verify with; create it anew";
    const std::string noPaths = "it does not record what paths it was made of; create it anew";
    const std::string rest = std::string(" id='") + SomeId + "'/>";
    const std::string old = "<file name='a' bytes='1' lines='0'" + rest;
    const std::string digest =
        "<file name='a' bytes='1' lines='0' md5='" + std::string(32, '0') + "'" + rest;
    ExpectRefusedContent(old, noDigests);
    ExpectRefusedContent("<path name='a'/>" + old, noDigests);
    ExpectRefusedContent("<path name='a'/>" + digest + old, noDigests);
    ExpectRefusedContent(digest, noPaths);
    ExpectRefusedContent("<directory name='a'" + rest, noPaths);
    ExpectRefusedContent("", noPaths);
}

TEST_F(ManifestVerifyFailures, OfManifestsThatCannotBeLoadedAreTold) {
    ExpectRefused("No such file or directory");
    MakeAndRecord();
    const std::string whole = Content("out.xml");
    Make("out.xml", whole.substr(0, whole.size() / 2));
    ExpectRefused("not a manifest");
    std::string damaged = whole;
    damaged.replace(damaged.find(" md5=\"") + 6, 1, "x");
    Make("out.xml", damaged);
    ExpectRefused("not a manifest");
}

TEST_F(ManifestVerifyFailures, OfALocaleWithoutTheNamesCharactersAreTold) {
    Make("ü");
    Create({"ü"});
    ExpectRefused(
        "it has names that this locale cannot show; verify it in the locale in which it was "
        "created",
        "C");
    Make("out.xml", Begin + std::string("<path name='ü'/></manifest>"));
    ExpectRefused(
        "it has names that this locale cannot show; verify it in the locale in which it was "
        "created",
        "C");
    ASSERT_EQ(0, Manifest({"create", "out.xml", "ü"}, std::string("C")).status);
    ExpectAllAsRecorded(1); // in another one, as what does not exist in C was escaped
}

// Concerns: arguments that make no sense, and an environment that does not, get a clear answer and
// a status of their own, and nothing is made; help is given on standard output to who asks for it.

class ManifestCommandLine : public ManifestProgram {};

TEST_F(ManifestCommandLine, WhatIsWrongWithTheArgumentsIsTold) {
    Make("a");
    const auto expect = [this](const Names& arguments, const std::string& fault) {
        const Outcome outcome = Manifest(arguments);
        EXPECT_EQ(2, outcome.status);
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ("manifest: " + fault + "\nmanifest help tells more\n", outcome.err);
    };
    expect({}, "a command is missing");
    expect({""}, "there is no command $''");
    expect({"update", "out.xml", "a"}, "there is no command update");
    expect({"help", "a"}, "help takes no arguments");
    expect({"create"}, "create needs more arguments");
    expect({"create", "out.xml"}, "create needs more arguments");
    expect({"create", "--help"}, "create needs more arguments");
    expect({"show"}, "show needs more arguments");
    expect({"show", "a", "a"}, "show takes fewer arguments");
    expect({"verify"}, "verify needs more arguments");
    expect({"verify", "a", "a"}, "verify takes fewer arguments");
    expect({"watch"}, "watch needs more arguments");
    EXPECT_THAT(Directory(), ElementsAre("a"));
}

TEST_F(ManifestCommandLine, HelpTellsCommandsAndExitStatuses) {
    for (const char* argument : {"help", "--help", "-h"}) {
        const Outcome outcome = Manifest({argument}, std::string("xx_XX.nowhere")); // matters not
        EXPECT_EQ(0, outcome.status);
        EXPECT_EQ("", outcome.err);
        EXPECT_THAT(outcome.out, StartsWith("usage: manifest COMMAND [ARGUMENT...]\n"));
        for (const char* text :
             {"\n  create OUT.xml PATH...\n", "\n  show OUT.xml\n", "\n  verify OUT.xml\n",
              "replaced all the same", "exit status: 0 when"})
            EXPECT_THAT(outcome.out, HasSubstr(text));
    }
}

TEST_F(ManifestCommandLine, HelpThatCannotBePrintedIsAFailure) {
    const Outcome outcome = Manifest({"help"}, PrintNowhere);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: the help could not be printed\n", outcome.err);
}

TEST_F(ManifestCommandLine, ALocaleThatDoesNotExistGetsAClearMessage) {
    Make("a");
    const Outcome outcome = Manifest({"create", "out.xml", "a"}, std::string("xx_XX.nowhere"));
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: the environment asks for a locale that this machine does not have; "
              "LC_ALL=C will do\n",
              outcome.err);
    EXPECT_THAT(Directory(), ElementsAre("a"));
}

} // namespace
