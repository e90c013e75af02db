// SPDX-License-Identifier: MIT
// The program seal.

#include "support/ExampleTest.h"
#include "support/Prepare.h"
#include "support/Program.h"
#include "support/Sanitizers.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Bases/Version.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using VornTest::AppendTo;
using VornTest::FailWritesBeyond;
using VornTest::Outcome;
using VornTest::PrintNowhere;
using VornTest::ReadFrom;

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

const char* const Usage = "usage: seal encipher KEYFILE IN OUT | seal decipher KEYFILE IN OUT | "
                          "seal help\n";
const std::string Key("\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10", 16);
const std::string Message = "Meet me at midnight.";

// Made from the two by another implementation; SealPartsTest says how.
const std::string SealedMessage =
    "Sealed file, version 1\n"
    "Length: 20\n"
    "ORAy+NLLiYozXp5XEZCIVlfCRXR9JaJyXi55fCms2ExSvdBI3GjLLl16MLcylCbO\n"
    "End of sealed file\n";

/// Bytes of every value that do not repeat soon.
std::string Bytes(std::size_t count) {
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i)
        bytes.push_back(static_cast<char>(i * i >> 3U));
    return bytes;
}

/// Every test works in a directory of its own with a key in it, which the program runs in.
class SealProgram : public VornTest::ExampleTest {
protected:
    SealProgram() : ExampleTest(VORN_SEAL) { Make("key", Key); }

    void ExpectSuccess(const Names& arguments) const {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(0, outcome.status);
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ("", outcome.err);
    }

    /// Expects the complaint, and an output and a directory that are as before. What the program
    /// says on standard output is the library's.
    void ExpectFailure(const Names& arguments, const std::string& complaint,
                       const std::function<void()>& prepare = {}) const {
        Make("out", "old");
        const std::set<std::string> before = Directory();
        const Outcome outcome = Run(arguments, prepare);
        EXPECT_EQ(1, outcome.status);
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ("seal: " + complaint + "\n", outcome.err);
        EXPECT_EQ("old", Content("out"));
        EXPECT_EQ(before, Directory());
    }

    void ExpectRefused(const std::string& sealed, const std::string& reason) const {
        Make("in", sealed);
        ExpectFailure({"decipher", "key", "in", "out"}, "in: " + reason);
        fs::remove(m_dir.File("out"));
        EXPECT_EQ(1, Run({"decipher", "key", "in", "out"}).status);
        EXPECT_FALSE(fs::exists(m_dir.File("out")));
    }
};

// Concerns: the exact text, and back; every size around blocks and lines; contents and names of any
// bytes; the same file in two roles; permissions.

class SealRoundTrip : public SealProgram {};

TEST_F(SealRoundTrip, MakesTheKnownTextAndTheMessageAgain) {
    Make("in", Message);
    ExpectSuccess({"encipher", "key", "in", "sealed"});
    EXPECT_EQ(SealedMessage, Content("sealed"));
    ExpectSuccess({"decipher", "key", "sealed", "out"});
    EXPECT_EQ(Message, Content("out"));
    EXPECT_THAT(Directory(), ElementsAre("in", "key", "out", "sealed"));
}

TEST_F(SealRoundTrip, KeepsEverySize) {
    for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 31U, 32U, 33U, 47U, 48U, 100U}) {
        Make("in", std::string(size, '\0'));
        ExpectSuccess({"encipher", "key", "in", "sealed"});
        EXPECT_THAT(Content("sealed"), HasSubstr("\nLength: " + std::to_string(size) + "\n"));
        ExpectSuccess({"decipher", "key", "sealed", "out"});
        EXPECT_EQ(Content("in"), Content("out"));
    }
}

TEST_F(SealRoundTrip, KeepsAMebibyteOfAnyBytes) {
    Make("in", Bytes((1U << 20U) + 1));
    ExpectSuccess({"encipher", "key", "in", "sealed"});
    const std::string sealed = Content("sealed");
    EXPECT_EQ(std::string::npos, sealed.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                                          "abcdefghijklmnopqrstuvwxyz"
                                                          "0123456789+/=\n:, "));
    ExpectSuccess({"decipher", "key", "sealed", "out"});
    EXPECT_TRUE(Content("in") == Content("out"));
}

TEST_F(SealRoundTrip, TakesNamesOfAnyBytes) {
    const std::string key = "k\xff\n";
    const std::string in = " in\x1b[31m";
    const std::string out = "-\xfe";
    Make(key, Key);
    Make(in, Message);
    ExpectSuccess({"encipher", "--", key, in, out});
    EXPECT_EQ(SealedMessage, Content(out));
    ExpectSuccess({"decipher", "--", key, out, in + "2"});
    EXPECT_EQ(Message, Content(in + "2"));
}

TEST_F(SealRoundTrip, MayReplaceItsInput) {
    Make("file", Message);
    ExpectSuccess({"encipher", "key", "file", "file"});
    EXPECT_EQ(SealedMessage, Content("file"));
    ExpectSuccess({"decipher", "key", "file", "file"});
    EXPECT_EQ(Message, Content("file"));
}

TEST_F(SealRoundTrip, WritesThroughALink) {
    Make("in", Message);
    Make("target", "old");
    MakeLink("target", "link");
    ExpectSuccess({"encipher", "key", "in", "link"});
    EXPECT_TRUE(fs::is_symlink(m_dir.File("link")));
    EXPECT_EQ(SealedMessage, Content("target"));
}

TEST_F(SealRoundTrip, MakesFilesForTheirOwnerOnlyAndKeepsPermissionsOfOthers) {
    Make("in", Message);
    Make("kept", "old");
    Permit("kept", fs::perms{0644});
    const auto openMask = [] { umask(0); };
    for (const char* name : {"new", "kept"})
        EXPECT_EQ(0, Run({"encipher", "key", "in", name}, openMask).status);
    EXPECT_EQ(0, Run({"decipher", "key", "new", "opened"}, openMask).status);
    EXPECT_EQ(fs::perms{0600}, Permissions("new"));
    EXPECT_EQ(fs::perms{0600}, Permissions("opened"));
    EXPECT_EQ(fs::perms{0644}, Permissions("kept"));
}

TEST_F(SealRoundTrip, WritesToItsStandardOutputAsItIs) {
    Make("in", Message);
    Make("kept", "before\n");
    const auto append = [path = m_dir.File("kept")] { AppendTo(path); };
    EXPECT_EQ(0, Run({"encipher", "key", "in", "/dev/stdout"}, append).status);
    EXPECT_EQ("before\n" + SealedMessage, Content("kept"));
    Make("sealed", SealedMessage);
    EXPECT_EQ(Message, Run({"decipher", "key", "sealed", "/dev/stdout"}).out);
}

TEST_F(SealRoundTrip, TakesAHyphenForStandardInputAndOutput) {
    Make("in", Message);
    Make("-", "another file");
    const std::string program = VORN_SEAL;
    const Outcome outcome =
        VornTest::RunProgram({"/bin/sh", "-c",
                              "cat in | " + program + " encipher key - - | tee sealed | " +
                                  program + " decipher key - -"},
                             Here());
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ(Message, outcome.out);
    EXPECT_EQ(SealedMessage, Content("sealed"));
    EXPECT_EQ("another file", Content("-"));
    EXPECT_EQ("seal: KEYFILE and IN cannot both be standard input\n",
              Run({"encipher", "-", "-", "out"}).err);
}

TEST_F(SealRoundTrip, WorksWithoutStandardInput) {
    Make("in", Message);
    EXPECT_EQ(0, Run({"encipher", "key", "in", "out"}, [] { close(STDIN_FILENO); }).status);
    EXPECT_EQ(SealedMessage, Content("out"));
}

// Concerns: the exact length of a wrong key, however large; the key file is never the output.

class SealKey : public SealProgram {
protected:
    void ExpectLength(const std::string& told) const {
        for (const char* command : {"encipher", "decipher"})
            ExpectFailure({command, "wrong", "key", "out"},
                          "the key in wrong has " + told + "; SEED needs 16");
    }
};

TEST_F(SealKey, OfAnotherLengthIsRefusedWithThatLength) {
    for (const std::size_t size : {0U, 2U, 15U, 17U, 32U, 100000U}) {
        Make("wrong", std::string(size, 'k'));
        ExpectLength(std::to_string(size) + " bytes");
    }
    Make("wrong", "k");
    ExpectLength("1 byte");
}

TEST_F(SealKey, OfATebibyteIsNotRead) {
    MakeHoles("wrong", std::uintmax_t{1} << 40U);
    ExpectLength("1099511627776 bytes");
}

TEST_F(SealKey, IsAnyBytesAndNotText) {
    Make("zeros", std::string(16, '\0'));
    Make("lines", std::string(16, '\n'));
    Make("in", Message);
    std::set<std::string> texts;
    for (const char* key : {"key", "zeros", "lines"}) {
        ExpectSuccess({"encipher", key, "in", "sealed"});
        texts.insert(Content("sealed"));
        ExpectSuccess({"decipher", key, "sealed", "out"});
        EXPECT_EQ(Message, Content("out"));
    }
    EXPECT_EQ(3U, texts.size());
}

TEST_F(SealKey, ThatIsAnotherOneIsNoticed) {
    Make("sealed", SealedMessage);
    Make("other", Key.substr(0, 15) + "\x11");
    ExpectFailure({"decipher", "other", "sealed", "out"},
                  "sealed: sealed with another key, or damaged");
}

TEST_F(SealKey, ThatCannotBeReadIsReported) {
    Make("in", Message);
    MakeFifo("fifo");
    ExpectFailure({"encipher", "missing", "in", "out"}, "missing: No such file or directory");
    ExpectFailure({"encipher", ".", "in", "out"}, ".: not a regular file");
    ExpectFailure({"encipher", "fifo", "in", "out"}, "fifo: not a regular file");
    ExpectFailure({"encipher", "", "in", "out"}, "$'': No such file or directory");
    ExpectFailure({"encipher", "\x1b[31m", "in", "out"}, "$'\\x1B[31m': No such file or directory");
}

TEST_F(SealKey, IsNeverReplaced) {
    Make("in", Message);
    MakeLink("key", "link");
    for (const std::string name : {"key", "./key", "link"})
        ExpectFailure({"encipher", "key", "in", name},
                      name + ": holds the key, which would be lost");
    EXPECT_EQ(Key, Content("key"));
}

TEST_F(SealKey, IsNotReplacedEitherWhenItComesFromStandardInput) {
    Make("in", Message);
    Make("-", "another file");
    const auto takeKey = [key = m_dir.File("key")] { ReadFrom(key); };
    for (const std::string name : {"key", "./key"}) {
        EXPECT_EQ("seal: " + name + ": holds the key, which would be lost\n",
                  Run({"encipher", "-", "in", name}, takeKey).err);
        EXPECT_EQ(Key, Content("key"));
    }
    EXPECT_EQ(0, Run({"encipher", "-", "in", "./-"}, takeKey).status);
    EXPECT_EQ(SealedMessage, Content("-"));
}

// Concerns: each kind of damage has its message, with the file's name; the output stays as it was,
// also when there was none.

class SealDamage : public SealProgram {
protected:
    static std::string With(const std::string& what, const std::string& instead) {
        std::string text = SealedMessage;
        const std::size_t at = text.find(what);
        EXPECT_NE(std::string::npos, at) << what;
        return text.replace(at, what.size(), instead);
    }
};

TEST_F(SealDamage, IsReportedWithItsCause) {
    ExpectRefused("", "not a sealed file");
    ExpectRefused(Message, "not a sealed file");
    ExpectRefused(With("version 1", "version 2"), "a sealed file of an unknown version");
    ExpectRefused(With("Length: 20", "Length: many"), "line 2 does not state the length");
    ExpectRefused(With("Length: 20", "Length: 1073741825"),
                  "line 2 states a length above 1073741824, the most that can be sealed");
    ExpectRefused(With("ORAy", "OR-y"), "line 3 holds a character that is not Base64");
    ExpectRefused(With("ORAy", "OR\xC1y"), "line 3 holds a character that is not Base64");
    ExpectRefused(With("ORAy", "ORy"), "63 characters of Base64, where the length needs 64");
    ExpectRefused(With("ORAy", "O=Ay"), "the Base64 text is not padded correctly");
    ExpectRefused(With("ORAy", "ORBy"), "sealed with another key, or damaged");
    ExpectRefused(With("Length: 20", "Length: 21"), "sealed with another key, or damaged");
    ExpectRefused(With("End of sealed file\n", ""), "cut off: the last line is missing");
    ExpectRefused(SealedMessage + "\n", "there is more after the last line");
}

// SealPartsTest tries every byte and every length.
TEST_F(SealDamage, OfAnyByteNeverGivesAnotherMessage) {
    for (std::size_t i = 0; i + 1 < SealedMessage.size(); i += 5) {
        std::string damaged = SealedMessage;
        damaged[i] = static_cast<char>(damaged[i] ^ 1);
        Make("in", damaged);
        const Outcome outcome = Run({"decipher", "key", "in", "out"});
        EXPECT_EQ(1, outcome.status) << i;
        EXPECT_THAT(outcome.err, StartsWith("seal: in: ")) << i;
        EXPECT_FALSE(fs::exists(m_dir.File("out"))) << i;
    }
}

TEST_F(SealDamage, ByMissingBytesAtTheEndIsNoticed) {
    for (std::size_t size = 0; size + 1 < SealedMessage.size(); size += 5) {
        Make("in", SealedMessage.substr(0, size));
        EXPECT_EQ(1, Run({"decipher", "key", "in", "out"}).status) << size;
        EXPECT_FALSE(fs::exists(m_dir.File("out"))) << size;
    }
}

TEST_F(SealDamage, IsNotDoneByOtherLineEnds) {
    std::string crlf;
    for (const char c : SealedMessage)
        crlf += c == '\n' ? "\r\n" : std::string(1, c);
    for (const std::string& text : {crlf, SealedMessage.substr(0, SealedMessage.size() - 1)}) {
        Make("in", text);
        ExpectSuccess({"decipher", "key", "in", "out"});
        EXPECT_EQ(Message, Content("out"));
    }
}

// Concerns: inputs and outputs that cannot be; limits; nothing is left behind.

class SealFailure : public SealProgram {};

TEST_F(SealFailure, OfTheInputIsReported) {
    MakeFifo("fifo");
    for (const char* command : {"encipher", "decipher"}) {
        ExpectFailure({command, "key", "missing", "out"}, "missing: No such file or directory");
        ExpectFailure({command, "key", "key/in", "out"}, "key/in: Not a directory");
        ExpectFailure({command, "key", ".", "out"}, ".: not a regular file");
        ExpectFailure({command, "key", "fifo", "out"}, "fifo: not a regular file");
        ExpectFailure({command, "key", "in\x9b", "out"}, "$'in\\x9B': No such file or directory");
    }
}

TEST_F(SealFailure, OfTheOutputIsReported) {
    Make("in", Message);
    MakeFifo("fifo");
    MakeDirectory("d");
    const auto expect = [this](const char* out, const std::string& reason) {
        ExpectFailure({"encipher", "key", "in", out}, out + (": " + reason));
    };
    expect("missing/out", "No such file or directory");
    expect("in/out", "Not a directory");
    expect("d", "not a regular file");
    expect("fifo", "not a regular file");
    EXPECT_TRUE(fs::is_fifo(m_dir.File("fifo")));
    EXPECT_TRUE(fs::is_empty(m_dir.File("d")));
}

TEST_F(SealFailure, ToStoreLeavesTheOldFileAndNothingElse) {
    Make("in", Bytes(100000));
    ExpectFailure({"encipher", "key", "in", "out"}, "out: File too large",
                  [] { FailWritesBeyond(1000); });
}

TEST_F(SealFailure, IsTheAnswerToFilesAboveTheLimits) {
    MakeHoles("in", (std::uintmax_t{1} << 30U) + 1);
    ExpectFailure({"encipher", "key", "in", "out"},
                  "in: has 1073741825 bytes; at most 1073741824 can be taken");
    MakeHoles("in", (std::uintmax_t{1} << 31U) + 1);
    ExpectFailure({"decipher", "key", "in", "out"},
                  "in: has 2147483649 bytes; at most 2147483648 can be taken");
}

TEST_F(SealFailure, ForLackOfMemoryIsReported) {
#if defined(VORN_ADDRESS_SANITIZER) || defined(VORN_THREAD_SANITIZER)
    GTEST_SKIP() << "the sanitizers need more memory than they would be left";
#endif
    MakeHoles("in", std::uintmax_t{1} << 29U);
    ExpectFailure({"encipher", "key", "in", "out"}, "not enough memory", [] {
        const rlimit limit{1UL << 28U, 1UL << 28U};
        setrlimit(RLIMIT_AS, &limit);
    });
}

// Concerns: the help says what must be known; arguments that make no sense, and an environment that
// does not, get one clear line and a status of their own, and nothing is made.

class SealCommandLine : public SealProgram {};

TEST_F(SealCommandLine, HelpShowsUsageFormatLimitsAndTheWarning) {
    for (const char* argument : {"help", "--help", "-h"}) {
        const Outcome outcome = Run({argument}, {}, "xx_XX.nowhere");
        EXPECT_EQ(0, outcome.status);
        EXPECT_EQ("", outcome.err);
        EXPECT_THAT(outcome.out, StartsWith(Usage));
        for (const char* text :
             {"do not choose it for a new design", "block by block", "MD5 is", "1 GiB",
              "    Sealed file, version 1\n    Length: 20  ", "    End of sealed file\n",
              "head -c 16 /dev/urandom >key", "owner only", "exit status: 0 ", "; 1 ", "; 2 "})
            EXPECT_THAT(outcome.out, HasSubstr(text));
    }
}

TEST_F(SealCommandLine, TheVersionIsThatOfTheLibrary) {
    const Outcome outcome = Run({"--version"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("seal (Vorn Bases) " VORN_BASES_VERSION_TEXT "\n", outcome.out);
    EXPECT_EQ(outcome.out, Run({"encipher", "--version"}).out);
}

TEST_F(SealCommandLine, HelpOfACommandIsTheWholeHelp) {
    EXPECT_EQ(Run({"help"}).out, Run({"encipher", "--help"}).out);
    EXPECT_EQ(Run({"help"}).out, Run({"decipher", "a", "-h"}).out);
}

TEST_F(SealCommandLine, HelpThatCannotBePrintedIsAFailure) {
    const Outcome outcome = Run({"help"}, PrintNowhere);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("seal: the help could not be printed\n", outcome.err);
}

TEST_F(SealCommandLine, WrongArgumentsGetTheUsageLine) {
    Make("in", Message);
    for (const Names& arguments :
         {Names{}, Names{""}, Names{"encipher"}, Names{"encipher", "key", "in"},
          Names{"encipher", "key", "in", "out", "more"}, Names{"decipher", "key", "in"},
          Names{"Encipher", "key", "in", "out"}, Names{"key", "in", "out"}, Names{"help", "me"},
          Names{"-x"}, Names{"encipher", "--", "--help"}}) {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(2, outcome.status);
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ(Usage, outcome.err);
    }
    EXPECT_THAT(Directory(), ElementsAre("in", "key"));
}

TEST_F(SealCommandLine, ALocaleThatDoesNotExistGetsAClearMessage) {
    Make("in", Message);
    const Outcome outcome = Run({"encipher", "key", "in", "out"}, {}, "xx_XX.nowhere");
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("seal: the environment asks for a locale that this machine does not have; "
              "LC_ALL=C will do\n",
              outcome.err);
    EXPECT_THAT(Directory(), ElementsAre("in", "key"));
}

} // namespace
