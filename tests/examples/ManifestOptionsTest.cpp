// SPDX-License-Identifier: MIT
// The options of manifest create and verify.

#include "ManifestProgram.h"
#include "support/Prepare.h"
#include "support/Sanitizers.h"
#include "support/Terminal.h"

#include <cstddef>
#include <filesystem>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using VornTest::Begin;
using VornTest::ManifestProgram;
using VornTest::Names;
using VornTest::Outcome;
using VornTest::Program;
using VornTest::ReadFrom;
using VornTest::RunProgram;
using VornTest::Surroundings;
using VornTest::Terminal;

namespace fs = std::filesystem;

const char* const AllAsRecorded = " as recorded, 0 missing, 0 changed, 0 new, 0 unread\n";

class ManifestOptions : public ManifestProgram {
protected:
    void Create(const Names& arguments) const {
        Names all{"create"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        const Outcome outcome = Manifest(all);
        ASSERT_EQ(0, outcome.status) << outcome.err;
        EXPECT_EQ("", outcome.err);
    }

    void ExpectVerified(const std::string& out, const Names& options = {}) const {
        Names all{"verify", "out.xml"};
        all.insert(all.end(), options.begin(), options.end());
        const Outcome outcome = Manifest(all);
        EXPECT_EQ(out.ends_with(AllAsRecorded) && out.find('\n') == out.size() - 1 ? 0 : 1,
                  outcome.status);
        EXPECT_EQ(out, outcome.out);
        EXPECT_EQ("", outcome.err);
    }

    static std::string All(std::size_t count) { return std::to_string(count) + AllAsRecorded; }
};

// Concerns: a short manifest verifies like a long one; how long it is.

TEST_F(ManifestOptions, BriefLeavesOutWhatIsNotCompared) {
    MakeDirectory("d");
    Make("d/a", "a\n");
    for (const char* brief : {"-b", "--brief"}) {
        Create({brief, "out.xml", "d"});
        EXPECT_EQ(std::string(Begin) + R"(  <path name="d"/>
  <directory name="d"/>
  <file name="d/a" bytes="2" lines="1" md5="YLcl8QychccNl4gN/oGRsw=="/>
</manifest>
)",
                  Content("out.xml"));
        ExpectVerified(All(2));
    }
}

TEST_F(ManifestOptions, BriefTakesAtMost120BytesForAFile) {
    constexpr std::size_t Count = 1000;
    MakeDirectory("tree/files");
    for (std::size_t i = 0; i < Count; ++i)
        Make("tree/files/file-" + std::to_string(10000 + i) + ".txt", "content\n");
    for (const char* digest : {"md5", "sha256"}) {
        Create({"-b", "-d", digest, "out.xml", "tree"});
        EXPECT_LE(fs::file_size(m_dir.File("out.xml")), 120 * Count) << digest;
        ExpectVerified(All(Count + 2));
    }
}

// Concerns: the other digest is that of another program, and verify uses it by itself.

TEST_F(ManifestOptions, DigestMayBeSha256) {
    Make("empty");
    Make("pieces", std::string(3 * 65536 + 7, 'x'));
    const Outcome sums = RunProgram({"/usr/bin/sha256sum", "empty", "pieces"}, Here());
    for (const Names& option : {Names{"-d", "sha256"}, Names{"-dsha256"}, Names{"--digest=sha256"},
                                Names{"--digest", "sha256"}}) {
        Names arguments = option;
        arguments.insert(arguments.end(), {"out.xml", "empty", "pieces"});
        Create(arguments);
        const std::string text = Content("out.xml");
        EXPECT_THAT(text, HasSubstr(" sha256=\"" + sums.out.substr(0, 64) + "\""));
        EXPECT_THAT(text, HasSubstr(" sha256=\"" + sums.out.substr(sums.out.find('\n') + 1, 64)));
        EXPECT_THAT(text, Not(HasSubstr("md5")));
        ExpectVerified(All(2));
    }
    Make("pieces", std::string(3 * 65536 + 7, 'y'));
    EXPECT_THAT(Manifest({"verify", "out.xml"}).out,
                StartsWith("changed  pieces (sha256 " +
                           sums.out.substr(sums.out.find('\n') + 1, 64) + " -> "));
}

TEST_F(ManifestOptions, DigestIsMd5Otherwise) {
    Make("a");
    Create({"--digest=md5", "-b", "out.xml", "a"});
    const std::string chosen = Content("out.xml");
    Create({"-b", "out.xml", "a"});
    EXPECT_EQ(chosen, Content("out.xml"));
    EXPECT_THAT(chosen, HasSubstr(" md5=\"1B2M2Y8AsgTpgAmY7PhCfg==\""));
}

// Concerns: the number of workers changes nothing in the result.

TEST_F(ManifestOptions, JobsChangeNothingInTheManifest) {
    for (int i = 0; i < 100; ++i)
        Make("f" + std::to_string(i), std::string(static_cast<std::size_t>(i), 'x'));
    Names paths;
    for (int i = 0; i < 100; ++i)
        paths.push_back("f" + std::to_string(i));
    std::string alone;
    for (const char* jobs : {"-j1", "-j2", "-j7", "-j0", "-j256"}) {
        Names arguments{"-b", jobs, "out.xml"};
        arguments.insert(arguments.end(), paths.begin(), paths.end());
        Create(arguments);
        if (alone.empty())
            alone = Content("out.xml");
        EXPECT_EQ(alone, Content("out.xml")) << jobs;
        ExpectVerified(All(100), {jobs});
    }
}

// Concerns: patterns match names or paths, and take all that is below; verify knows them.

TEST_F(ManifestOptions, ExcludeLeavesOutNamesAndPaths) {
    MakeDirectory("d/cache/deep");
    MakeDirectory("d/sub");
    for (const char* name : {"d/a.o", "d/b.c", "d/sub/c.o", "d/sub/d.c", "d/cache/deep/x"})
        Make(name);
    Create({"-b", "-x", "*.o", "--exclude=cache", "--exclude", "d/s*/d.?", "out.xml", "d"});
    EXPECT_THAT(Content("out.xml"), EndsWith(R"(  <path name="d"/>
  <exclude name="*.o"/>
  <exclude name="cache"/>
  <exclude name="d/s*/d.?"/>
  <directory name="d"/>
  <file name="d/b.c" bytes="0" lines="0" md5="1B2M2Y8AsgTpgAmY7PhCfg=="/>
  <directory name="d/sub"/>
</manifest>
)"));
    ExpectVerified(All(3));
    Make("d/new.o");
    Make("d/cache/new");
    ExpectVerified(All(3));
    Make("d/new.c");
    ExpectVerified("new      d/new.c\n3 as recorded, 0 missing, 0 changed, 1 new, 0 unread\n");
}

TEST_F(ManifestOptions, ExcludeLeavesThePathsThemselves) {
    Make("a.o");
    Create({"-x", "*.o", "out.xml", "a.o"});
    EXPECT_THAT(Content("out.xml"), HasSubstr("<file name=\"a.o\""));
}

// Concerns: quiet is silent unless something differs.

TEST_F(ManifestOptions, QuietPrintsNothingButTheDifferences) {
    Make("a");
    Make("b");
    Create({"-q", "out.xml", "a", "b"});
    for (const char* quiet : {"-q", "--quiet"}) {
        const Outcome outcome = Manifest({"verify", quiet, "out.xml"});
        EXPECT_EQ(0, outcome.status);
        EXPECT_EQ("", outcome.out);
    }
    Remove("b");
    const Outcome outcome = Manifest({"verify", "out.xml", "-q"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("missing  b\n", outcome.out);
}

TEST_F(ManifestOptions, QuietShowsNoProgressOnATerminal) {
    Make("a", "12345");
    Terminal terminal;
    Surroundings surroundings = Here();
    surroundings.prepare = [&] { dup2(terminal.ProgramsEnd(), STDERR_FILENO); };
    Program program(Arguments({"create", "-q", "out.xml", "a"}), surroundings);
    terminal.LeaveToProgram();
    EXPECT_EQ("", terminal.ReadUntil("the end"));
    EXPECT_EQ(0, program.Wait().status);
}

// Concerns: what is recorded on request is compared, and only then.

TEST_F(ManifestOptions, ModesOwnersAndTargetsAreComparedWhenTheyAreRecorded) {
    MakeDirectory("d");
    Make("d/a", "a\n");
    MakeLink("nowhere \xff", "d/link");
    Permit("d/a", fs::perms{04640});
    Create({"-b", "--modes", "--owners", "--targets", "out.xml", "d"});
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    EXPECT_THAT(Content("out.xml"),
                HasSubstr("<manifest version=\"1\" targets=\"compared\" modes=\"compared\" "
                          "owners=\"compared\">\n"));
    EXPECT_THAT(Content("out.xml"),
                HasSubstr(" mode=\"4640\" owner=\"" + user + "\" group=\"" + group + "\"/>\n"));
    EXPECT_THAT(Content("out.xml"),
                HasSubstr("target=\"nowhere %FF\" target-escaped=\"percent\"/>"));
    ExpectWellFormed("out.xml");
    ExpectVerified(All(3));
    Permit("d/a", fs::perms{0600});
    fs::remove(m_dir.File("d/link"));
    MakeLink("else", "d/link");
    ExpectVerified("changed  d/a (mode 4640 -> 0600)\n"
                   "changed  d/link (target $'nowhere \\xFF' -> else)\n"
                   "1 as recorded, 0 missing, 2 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestOptions, OwnersAreWhatTheManifestSays) {
    Make("a");
    Create({"-b", "--owners", "out.xml", "a"});
    std::string text = Content("out.xml");
    const std::string owner = " owner=\"" + std::to_string(geteuid()) + "\"";
    ASSERT_NE(std::string::npos, text.find(owner));
    text.replace(text.find(owner), owner.size(), " owner=\"12345\"");
    Make("out.xml", text);
    ExpectVerified("changed  a (owner 12345 -> " + std::to_string(geteuid()) +
                   ")\n0 as recorded, 0 missing, 1 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestOptions, ModesAndTargetsAreNotComparedOtherwise) {
    MakeDirectory("d");
    Make("d/a");
    MakeLink("a", "d/link");
    Create({"out.xml", "d"});
    Permit("d/a", fs::perms{0600});
    fs::remove(m_dir.File("d/link"));
    MakeLink("else", "d/link");
    ExpectVerified(All(3));
}

TEST_F(ManifestOptions, AManifestThatPromisesModesAndLacksThemIsRefused) {
    Make("out.xml", "<manifest version='1' modes='compared'>\n<path name='a'/>\n"
                    "<directory name='a'/></manifest>");
    const Outcome outcome = Manifest({"verify", "out.xml"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: out.xml: line 3: mode is missing\n", outcome.err);
}

// Concerns: a renamed file is told once, with both names.

TEST_F(ManifestOptions, VerifyTellsWhereAFileWent) {
    MakeDirectory("d/sub");
    Make("d/a", "some content\n");
    Make("d/empty");
    Create({"out.xml", "d"});
    fs::rename(m_dir.File("d/a"), m_dir.File("d/sub/b c"));
    fs::rename(m_dir.File("d/empty"), m_dir.File("d/void"));
    ExpectVerified("moved    d/a -> d/sub/b c\nmissing  d/empty\nnew      d/void\n"
                   "2 as recorded, 1 missing, 0 changed, 1 new, 0 unread, 1 moved\n");
}

// Concerns: colours and only on a terminal that has them.

class ManifestColours : public ManifestOptions {
protected:
    std::string VerifyOnTerminal(const std::string& type, const std::string& noColor) const {
        Terminal terminal;
        Surroundings surroundings = Here();
        surroundings.environment.emplace_back("TERM", type);
        surroundings.environment.emplace_back("NO_COLOR", noColor);
        surroundings.prepare = [&] { dup2(terminal.ProgramsEnd(), STDOUT_FILENO); };
        Program program(Arguments({"verify", "out.xml"}), surroundings);
        terminal.LeaveToProgram();
        const std::string text = terminal.ReadUntil("unread");
        EXPECT_EQ(1, program.Wait().status);
        return text.substr(0, text.find('\r'));
    }
};

TEST_F(ManifestColours, AreForTerminalsThatHaveThem) {
    Make("a");
    Create({"out.xml", "a"});
    Remove("a");
    EXPECT_EQ("\x1b[31mmissing\x1b[0m  a", VerifyOnTerminal("xterm", ""));
    EXPECT_EQ("missing  a", VerifyOnTerminal("dumb", ""));
    EXPECT_EQ("missing  a", VerifyOnTerminal("", ""));
    EXPECT_EQ("missing  a", VerifyOnTerminal("xterm", "1"));
}

// Concerns: a hyphen stands for standard output and input.

TEST_F(ManifestOptions, AHyphenIsStandardOutputAndStandardInput) {
    Make("a", "a\n");
    Create({"-b", "out.xml", "a"});
    const std::string program = VORN_MANIFEST;
    const Outcome outcome = RunProgram(
        {"/bin/sh", "-c", program + " create -b - a | tee piped | " + program + " verify -"},
        Here());
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(All(1), outcome.out);
    EXPECT_EQ(Content("out.xml"), Content("piped"));
    EXPECT_THAT(Directory(), ElementsAre("a", "out.xml", "piped"));
}

TEST_F(ManifestOptions, AManifestFromStandardInputIsLeftOutAndAFileNamedHyphenIsNot) {
    MakeDirectory("d");
    Make("d/-", "a\n");
    Make("-", "b\n");
    const Names arguments{"verify", "-"};
    const auto takeManifest = [out = m_dir.File("d/out.xml")] { ReadFrom(out); };
    Create({"d/out.xml", "d", "-"});
    EXPECT_EQ(All(3), Manifest(arguments, takeManifest).out);
    Make("d/-", "c\n");
    Make("-", "d\n");
    const std::string changed = Manifest(arguments, takeManifest).out;
    EXPECT_THAT(changed, HasSubstr("changed  - ("));
    EXPECT_THAT(changed, HasSubstr("changed  d/- ("));
    EXPECT_THAT(changed, HasSubstr("\n1 as recorded, 0 missing, 2 changed, 0 new, 0 unread\n"));
}

TEST_F(ManifestOptions, AManifestFromStandardInputIsLeftOutAlsoWhereItIsAPath) {
    Make("a", "a\n");
    Make("out.xml", "old");
    Create({"out.xml", "a", "out.xml"});
    EXPECT_EQ(All(1),
              Manifest({"verify", "-"}, [out = m_dir.File("out.xml")] { ReadFrom(out); }).out);
}

// Concerns: memory for what is held of many files, which a document as a whole would exceed.

TEST_F(ManifestOptions, VerifyHoldsLittleOfEveryFile) {
#if defined(VORN_ADDRESS_SANITIZER) || defined(VORN_THREAD_SANITIZER)
    GTEST_SKIP() << "the sanitizers take memory of their own";
#endif
    constexpr std::size_t Count = 20000;
    constexpr rlim_t Most = 40UL << 20U; // 24 MiB of it for threads and libraries
    MakeDirectory("d");
    for (std::size_t i = 0; i < Count; ++i)
        Make("d/a-file-with-a-longer-name-" + std::to_string(100000 + i));
    Create({"-b", "out.xml", "d"});
    const Outcome outcome = Manifest({"verify", "out.xml"}, [] {
        const rlimit limit{Most, Most};
        setrlimit(RLIMIT_DATA, &limit);
    });
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ(All(Count + 1), outcome.out);
}

} // namespace
