// SPDX-License-Identifier: MIT
// The command line of manifest.

#include "ManifestProgram.h"
#include "support/Prepare.h"
#include "support/Terminal.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Bases/Version.h>

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using VornTest::ManifestProgram;
using VornTest::Names;
using VornTest::Outcome;
using VornTest::PrintNowhere;
using VornTest::Program;
using VornTest::Surroundings;
using VornTest::Terminal;

// Concerns: arguments that make no sense, and an environment that does not, get a clear answer and
// a status of their own, and nothing is made; help is given on standard output to who asks for it.

class ManifestCommandLine : public ManifestProgram {};

TEST_F(ManifestCommandLine, WrongArgumentsAreReported) {
    Make("a");
    const auto expect = [this](const Names& arguments, const std::string& fault) {
        const Outcome outcome = Manifest(arguments);
        EXPECT_EQ(2, outcome.status);
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ("manifest: " + fault + "\nsee manifest help\n", outcome.err);
    };
    expect({}, "a command is missing");
    expect({""}, "there is no command $''");
    expect({"update", "out.xml", "a"}, "there is no command update");
    expect({"help", "a"}, "help takes no arguments");
    expect({"create"}, "create needs more arguments");
    expect({"create", "out.xml"}, "create needs more arguments");
    expect({"create", "--", "--help"}, "create needs more arguments");
    expect({"create", "--sha", "out.xml", "a"}, "there is no option --sha");
    expect({"create", "-bz", "out.xml", "a"}, "there is no option -z");
    expect({"create", "--brief=no", "out.xml", "a"}, "--brief takes no value");
    expect({"create", "out.xml", "a", "--digest"}, "--digest needs a value");
    expect({"create", "out.xml", "a", "-d"}, "--digest needs a value");
    expect({"create", "-d", "md4", "out.xml", "a"}, "there is no digest md4");
    for (const char* jobs : {"", "x", "-1", "2x", "257"})
        expect({"create", "-j", jobs, "out.xml", "a"}, "--jobs needs a number up to 256");
    expect({"show", "--jobs=1", "a"}, "there is no option --jobs");
    expect({"--jobs=1"}, "there is no option --jobs");
    expect({"show"}, "show needs more arguments");
    expect({"show", "a", "a"}, "show takes fewer arguments");
    expect({"verify"}, "verify needs more arguments");
    expect({"verify", "a", "a"}, "verify takes fewer arguments");
    expect({"watch"}, "watch needs more arguments");
    EXPECT_THAT(Directory(), ElementsAre("a"));
}

TEST_F(ManifestCommandLine, HelpListsCommandsAndExitStatuses) {
    for (const char* argument : {"help", "--help", "-h"}) {
        const Outcome outcome = Manifest({argument}, std::string("xx_XX.nowhere")); // matters not
        EXPECT_EQ(0, outcome.status);
        EXPECT_EQ("", outcome.err);
        EXPECT_THAT(outcome.out, StartsWith("usage: manifest COMMAND [ARGUMENT...]\n"));
        for (const char* text : {"\n  create [OPTION...] OUT.xml PATH...\n", "\n  show OUT.xml\n",
                                 "\n  verify [OPTION...] OUT.xml\n", "\n  export OUT.xml\n",
                                 "replaced all the same", "exit status: 0 "})
            EXPECT_THAT(outcome.out, HasSubstr(text));
    }
}

TEST_F(ManifestCommandLine, HelpOfACommandIsAboutThatCommand) {
    for (const char* command : {"create", "show", "verify", "export", "watch"})
        for (const char* option : {"--help", "-h"}) {
            const Outcome outcome = Manifest({command, "a", option});
            EXPECT_EQ(0, outcome.status);
            EXPECT_THAT(outcome.out, StartsWith("usage: manifest COMMAND [ARGUMENT...]\n\n  " +
                                                std::string(command) + " "));
            EXPECT_EQ("", outcome.err);
        }
}

TEST_F(ManifestCommandLine, TheVersionIsThatOfTheLibrary) {
    const Outcome outcome = Manifest({"--version"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("manifest (Vorn Bases) " VORN_BASES_VERSION_TEXT "\n", outcome.out);
}

TEST_F(ManifestCommandLine, NothingIsAnOptionAfterTwoHyphens) {
    Make("-q");
    EXPECT_EQ(0, Manifest({"create", "-q", "--", "out.xml", "-q"}).status);
    EXPECT_THAT(Content("out.xml"), HasSubstr("<file name=\"-q\" "));
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
    // On a slow machine another line, with a rate, may have followed the first.
    const std::size_t blanks = cleared.rfind('\r', cleared.size() - 2);
    const std::size_t width =
        cleared.find_last_not_of(' ', blanks - 1) - cleared.rfind('\r', blanks - 1);
    EXPECT_THAT(cleared, EndsWith("\r" + std::string(width, ' ') + "\r"));
}

TEST_F(ManifestProgress, ShowsRateAndTimeLeftWithinTheTerminalsWidth) {
    MakeEndless("endless");
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

} // namespace
