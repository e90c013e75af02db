// SPDX-License-Identifier: MIT
// The set-up and release of the library, processes, and the directory of the program.

#include <Bases/Bases.h>
#include <Bases/Text.h>
#include <Bases/Xml.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <locale>
#include <new>
#include <sstream>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fault/Platform.h"
#include "fault/Xml.h"
#include "support/Locale.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

namespace {

namespace fs = std::filesystem;
namespace Platform = VornTest::Platform;

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using VornTest::Latin1Locale;
using VornTest::Utf8Locale;

// The steps of set-up and tear-down in the order made, each with the locale at that time.
std::vector<std::string> g_steps;

void AddStep(const std::string& step) { g_steps.push_back(step + " in " + std::locale().name()); }

class Setup : public VornTest::LocaleTest {
protected:
    Setup() {
        g_steps.clear();
        Platform::gmtime_r.Do([](const std::time_t* time, std::tm* fields) {
            AddStep("gmtime_r " + std::to_string(*time));
            return gmtime_r(time, fields);
        });
        Platform::xmlInitParser.Do([] {
            AddStep("xmlInitParser");
            xmlInitParser();
        });
        Platform::xmlCleanupParser.Do([] {
            AddStep("xmlCleanupParser");
            xmlCleanupParser();
        });
    }
};

// The fixture of one more test, made within a test.
class Surroundings : public VornTest::LocaleTest {
    void TestBody() override {}
};

// Concerns: the environment's locale, whichever variable names it, becomes the global one of C++
// and C; the three steps and their order; a locale that does not exist stops them; tear-down is the
// parser's alone, and both can be repeated. The locale variables of the desktop play no part.

TEST_F(Setup, InstallsTheClassicLocaleWithoutALocaleVariable) {
    std::locale::global(std::locale(Utf8Locale));
    EXPECT_EQ(1, Vorn::BasesInit());
    EXPECT_EQ("C", std::locale().name());
    EXPECT_STREQ("C", std::setlocale(LC_ALL, nullptr));
}

TEST_F(Setup, InstallsTheLocaleThatTheEnvironmentNames) {
    for (const char* variable : {"LC_ALL", "LANG"})
        for (const char* name : {Utf8Locale, Latin1Locale, VornTest::KoreanLocale, "C"}) {
            SetVariable(variable, name);
            EXPECT_EQ(1, Vorn::BasesInit());
            EXPECT_EQ(name, std::locale().name());
            EXPECT_STREQ(name, std::setlocale(LC_ALL, nullptr));
            SetVariable(variable, nullptr);
        }
}

TEST_F(Setup, LetsLcAllOverrideTheOtherVariables) {
    SetVariable("LANG", Utf8Locale);
    SetVariable("LC_CTYPE", Utf8Locale);
    SetVariable("LC_ALL", Latin1Locale);
    EXPECT_EQ(1, Vorn::BasesInit());
    EXPECT_EQ(Latin1Locale, std::locale().name());
}

TEST_F(Setup, InstallsALocaleOfMixedCategories) {
    SetVariable("LC_CTYPE", Utf8Locale);
    SetVariable("LC_NUMERIC", Latin1Locale);
    EXPECT_EQ(1, Vorn::BasesInit());
    EXPECT_STREQ(Utf8Locale, std::setlocale(LC_CTYPE, nullptr));
    EXPECT_STREQ(Latin1Locale, std::setlocale(LC_NUMERIC, nullptr));
    EXPECT_STREQ("C", std::setlocale(LC_TIME, nullptr));
    EXPECT_THAT(std::locale().name(), HasSubstr("LC_NUMERIC=de_DE.ISO-8859-1"));
}

TEST_F(Setup, DecidesTheEncodingOfTheConversions) {
    SetVariable("LC_ALL", Utf8Locale);
    Vorn::BasesInit();
    EXPECT_EQ(L"\U0001F600", Vorn::utf8_to_wcs("\xF0\x9F\x98\x80"));
    EXPECT_EQ(L"\U0001F600", Vorn::mbs_to_wcs("\xF0\x9F\x98\x80"));
    SetVariable("LC_ALL", Latin1Locale);
    Vorn::BasesInit();
    EXPECT_EQ(L"\u00E9", Vorn::utf8_to_wcs("\xE9"));
    EXPECT_EQ(L"\u00E9", Vorn::mbs_to_wcs("\xE9"));
}

TEST_F(Setup, GivesItsLocaleToNewStreams) {
    SetVariable("LC_ALL", Latin1Locale);
    Vorn::BasesInit();
    std::ostringstream stream;
    stream << 1234.5;
    EXPECT_EQ("1.234,5", stream.str());
}

TEST_F(Setup, TakesItsStepsInOrder) {
    SetVariable("LC_ALL", Utf8Locale);
    Vorn::BasesInit();
    EXPECT_THAT(g_steps, ElementsAre("gmtime_r 1234567890123 in C", "xmlInitParser in C.UTF-8"));
}

TEST_F(Setup, TakesEveryStepAgainWhenItIsRepeated) {
    SetVariable("LC_ALL", Utf8Locale);
    Vorn::BasesInit();
    SetVariable("LC_ALL", Latin1Locale);
    EXPECT_EQ(1, Vorn::BasesInit());
    EXPECT_THAT(g_steps, ElementsAre("gmtime_r 1234567890123 in C", "xmlInitParser in C.UTF-8",
                                     "gmtime_r 1234567890123 in C.UTF-8",
                                     "xmlInitParser in de_DE.ISO-8859-1"));
}

TEST_F(Setup, ThrowsForALocaleThatDoesNotExistAndStopsThere) {
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LC_PAPER", "LANG"}) {
        g_steps.clear();
        SetVariable(variable, "xx_XX.NOWHERE");
        EXPECT_THROW(Vorn::BasesInit(), std::runtime_error) << variable;
        EXPECT_THAT(g_steps, ElementsAre("gmtime_r 1234567890123 in C"));
        EXPECT_EQ("C", std::locale().name());
        EXPECT_STREQ("C", std::setlocale(LC_ALL, nullptr));
        SetVariable(variable, nullptr);
    }
}

TEST_F(Setup, LeavesTheLocaleAloneWhenMemoryRunsOut) {
    SetVariable("LC_ALL", Latin1Locale); // whose name is so long that it needs memory, too
    bool throws = true;
    for (std::size_t n = 1; throws; ++n) {
        Platform::operator_new.At(n).Fail(ENOMEM);
        try {
            Vorn::BasesInit();
            throws = false;
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(std::locale::classic(), std::locale()) << "allocation " << n;
            EXPECT_STREQ("C", std::setlocale(LC_ALL, nullptr)) << "allocation " << n;
        }
        Platform::operator_new.Reset();
    }
    EXPECT_STREQ(Latin1Locale, std::setlocale(LC_ALL, nullptr));
}

TEST_F(Setup, IsTestedWithoutTheLocaleVariablesOfTheDesktop) {
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LC_NUMERIC", "LC_TIME", "LC_COLLATE",
                                 "LC_MONETARY", "LC_MESSAGES", "LC_PAPER", "LC_NAME", "LC_ADDRESS",
                                 "LC_TELEPHONE", "LC_MEASUREMENT", "LC_IDENTIFICATION", "LANG"}) {
        SetVariable(variable, "xx_XX.NOWHERE");
        {
            const Surroundings surroundings;
            EXPECT_EQ(1, Vorn::BasesInit()) << variable;
        }
        EXPECT_STREQ("xx_XX.NOWHERE", std::getenv(variable));
        SetVariable(variable, nullptr);
    }
}

TEST_F(Setup, IsUndoneForTheParserOnly) {
    SetVariable("LC_ALL", Latin1Locale);
    Vorn::BasesInit();
    g_steps.clear();
    Vorn::BasesRelease();
    EXPECT_THAT(g_steps, ElementsAre("xmlCleanupParser in de_DE.ISO-8859-1"));
    EXPECT_EQ(Latin1Locale, std::locale().name());
    EXPECT_STREQ(Latin1Locale, std::setlocale(LC_ALL, nullptr));
}

TEST_F(Setup, CleansTheParserUpOnEveryRelease) {
    Vorn::BasesInit();
    g_steps.clear();
    Vorn::BasesRelease();
    Vorn::BasesRelease();
    EXPECT_THAT(g_steps, ElementsAre("xmlCleanupParser in C", "xmlCleanupParser in C"));
}

// The parser's clean-up frees what they need.
TEST_F(Setup, IsNotUndoneUnderADocumentThatIsBeingWritten) {
    Vorn::BasesInit();
    Vorn::XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.BeginElement("a"));
    Vorn::BasesRelease();
    EXPECT_FALSE(writer.BeginElement("b"));
    EXPECT_FALSE(writer.EndDocument());
}

TEST_F(Setup, CanBeMadeAgainAfterARelease) {
    Vorn::BasesInit();
    Vorn::BasesRelease();
    EXPECT_EQ(1, Vorn::BasesInit());
    const char document[] = "<root/>";
    const xmlDocPtr parsed = xmlReadMemory(document, sizeof document - 1, nullptr, nullptr, 0);
    EXPECT_NE(nullptr, parsed);
    xmlFreeDoc(parsed);
    Vorn::BasesRelease();
}

// Runs the body in a child process and returns its result, which is at most 255.
template <typename Body>
int InChild(Body body) {
    const pid_t child = fork();
    if (child == 0)
        _exit(body());
    if (child < 0) {
        ADD_FAILURE() << "fork";
        return 255;
    }
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status));
    return WEXITSTATUS(status);
}

using Process = testing::Test;

// Concerns: the system's identifier; the probe delivers no signal; only "no such process" means
// absence, also for zombies and threads; errno stays as the system set it.

TEST_F(Process, HasTheIdentifierThatTheSystemGaveIt) {
    EXPECT_EQ(static_cast<unsigned int>(getpid()), Vorn::GetProcessId());
    EXPECT_EQ(0, InChild([] {
                  return Vorn::GetProcessId() == static_cast<unsigned int>(getpid()) ? 0 : 1;
              }));
}

TEST_F(Process, ExistsWhenItIsTheCallingOne) {
    EXPECT_EQ(1, Vorn::IsExistProcess(Vorn::GetProcessId()));
}

TEST_F(Process, IsProbedWithoutASignal) {
    Platform::kill.Record();
    EXPECT_EQ(1, Vorn::IsExistProcess(Vorn::GetProcessId()));
    EXPECT_THAT(Platform::kill.Calls(), ElementsAre(std::tuple(getpid(), 0)));
}

TEST_F(Process, ExistsUntilItHasBeenWaitedFor) {
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    siginfo_t info;
    ASSERT_EQ(0, waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT));
    EXPECT_EQ(1, Vorn::IsExistProcess(static_cast<unsigned int>(child)));
    ASSERT_EQ(child, waitpid(child, nullptr, 0));
    EXPECT_EQ(0, Vorn::IsExistProcess(static_cast<unsigned int>(child)));
}

TEST_F(Process, ExistsByTheIdentifierOfAThreadToo) {
    int exists = 0;
    std::thread([&exists] {
        EXPECT_NE(getpid(), gettid());
        exists = Vorn::IsExistProcess(static_cast<unsigned int>(gettid()));
    }).join();
    EXPECT_EQ(1, exists);
}

TEST_F(Process, ExistsWhenItBelongsToAnotherUser) {
    constexpr uid_t Nobody = 65534;
    constexpr int NoSuchUser = 100;
    EXPECT_EQ(1, Vorn::IsExistProcess(1));
    const int exists = InChild([] {
        if (geteuid() == 0 && setuid(Nobody) != 0)
            return errno == EINVAL ? NoSuchUser : 101;
        return Vorn::IsExistProcess(1);
    });
    if (exists == NoSuchUser)
        GTEST_SKIP() << "root has no other user to become here, as in a rootless container";
    EXPECT_EQ(1, exists);
}

TEST_F(Process, IsAbsentOnlyWhenTheSystemKnowsNoSuchProcess) {
    Platform::kill.Answer(0);
    EXPECT_EQ(1, Vorn::IsExistProcess(12345));
    for (const int error : {EPERM, EINVAL, EAGAIN, ENOSYS}) {
        Platform::kill.Fail(error);
        EXPECT_EQ(1, Vorn::IsExistProcess(12345)) << error;
    }
    Platform::kill.Record();
    Platform::kill.Fail(ESRCH);
    EXPECT_EQ(0, Vorn::IsExistProcess(12345));
    EXPECT_THAT(Platform::kill.Calls(), ElementsAre(std::tuple(12345, 0)));
}

TEST_F(Process, IsProbedWithTheUnchangedIdentifier) {
    const std::pair<unsigned int, pid_t> probes[] = {
        {0U, 0}, {0x7FFFFFFFU, INT_MAX}, {0xFFFFFFFFU, -1}, {0xFFFFFFFBU, -5}};
    Platform::kill.Fail(ESRCH);
    Platform::kill.Record();
    for (const auto& [identifier, pid] : probes) {
        EXPECT_EQ(0, Vorn::IsExistProcess(identifier)) << identifier;
        EXPECT_THAT(Platform::kill.Calls(), ElementsAre(std::tuple(pid, 0))) << identifier;
        Platform::kill.Forget();
    }
}

TEST_F(Process, LeavesTheErrorOfTheSystem) {
    for (const int error : {ESRCH, EPERM}) {
        Platform::kill.Fail(error);
        Vorn::IsExistProcess(12345);
        EXPECT_EQ(error, errno);
    }
}

TEST_F(Process, QueriesPrintNothing) {
    Platform::kill.Fail(ESRCH);
    EXPECT_EQ("", VornTest::StdoutOf([] {
                  Vorn::IsExistProcess(12345);
                  Vorn::GetProcessId();
                  char buffer[1];
                  Vorn::GetModulePath(buffer, 1);
                  Vorn::GetModuleDir(nullptr, 1);
              }));
}

using BufferForm = int (*)(char*, unsigned long);
using StringForm = void (*)(std::string&);

constexpr BufferForm BufferForms[] = {&Vorn::GetModulePath, &Vorn::GetModuleDir};
constexpr StringForm StringForms[] = {&Vorn::GetModulePath, &Vorn::GetModuleDir};

// Pretends that the program lies in other directories.
class Module : public testing::Test {
protected:
    /// Lets the link to the running program hold this.
    static void LinkTo(const std::string& program) {
        Platform::readlink.Do([program](const char*, char* buffer, std::size_t size) {
            return static_cast<ssize_t>(program.copy(buffer, size));
        });
    }

    /// Returns a directory name of that length, slashes included.
    static std::string DirectoryOfLength(std::size_t length) {
        std::string directory;
        while (directory.size() + 200 < length)
            directory += '/' + std::string(99, 'd');
        return directory + '/' + std::string(length - directory.size() - 1, 'e');
    }

    /// Expects both buffer forms to write the directory into `size` bytes, and nothing after it.
    static void ExpectWritten(const std::string& directory, unsigned long size) {
        for (const BufferForm form : BufferForms) {
            std::vector<char> buffer(size + 16, '#');
            EXPECT_EQ(1, form(buffer.data(), size));
            EXPECT_STREQ(directory.c_str(), buffer.data());
            EXPECT_THAT(std::vector<char>(buffer.begin() + static_cast<long>(directory.size()) + 1,
                                          buffer.end()),
                        Each('#'));
        }
    }

    /// Expects both buffer forms to return 0 and leave the buffer unchanged.
    static void ExpectRefused(unsigned long size) {
        for (const BufferForm form : BufferForms) {
            std::vector<char> buffer(size + 16, '#');
            EXPECT_EQ(0, form(buffer.data(), size)) << size;
            EXPECT_THAT(buffer, Each('#')) << size;
        }
    }

    static void ExpectText(const std::string& expected) {
        for (const StringForm form : StringForms) {
            std::string text = "old";
            form(text);
            EXPECT_EQ(expected, text);
        }
    }
};

// Concerns: the directory without separator and file name, the same from all four forms; exact fit,
// one byte too few, guards after the buffer; null and 0; the string form's 1024 bytes; a link that
// cannot be read or holds nonsense.

TEST_F(Module, IsTheDirectoryOfTheRunningProgram) {
    const std::string directory = fs::read_symlink("/proc/self/exe").parent_path();
    ExpectWritten(directory, 4096);
    ExpectText(directory);
    EXPECT_TRUE(fs::exists(fs::path(directory) / "BasesTest"));
}

TEST_F(Module, NeedsCapacityForTheTerminator) {
    const std::string directory = fs::read_symlink("/proc/self/exe").parent_path();
    ExpectWritten(directory, directory.size() + 1);
    ExpectRefused(directory.size());
    ExpectRefused(directory.size() - 1);
    ExpectRefused(1);
}

TEST_F(Module, RefusesASizeOfZeroAndANullBuffer) {
    ExpectRefused(0);
    EXPECT_EQ(0, Vorn::GetModulePath(nullptr, 1024));
    EXPECT_EQ(0, Vorn::GetModuleDir(nullptr, 1024));
    EXPECT_EQ(0, Vorn::GetModuleDir(nullptr, 0));
}

TEST_F(Module, IsASlashForAProgramInTheRoot) {
    LinkTo("/prog");
    ExpectWritten("/", 100);
    ExpectWritten("/", 2);
    ExpectRefused(1);
    ExpectText("/");
}

TEST_F(Module, HasNoTrailingSeparatorAndNoFileName) {
    LinkTo("/opt/engine/bin/prog");
    ExpectWritten("/opt/engine/bin", 100);
    ExpectText("/opt/engine/bin");
    LinkTo("/o/prog");
    ExpectText("/o");
}

TEST_F(Module, IsTheSameForBothNamesAtEverySize) {
    LinkTo("/opt/engine/bin/prog");
    for (unsigned long size = 0; size < 40; ++size) {
        char path[64] = {};
        char directory[64] = {};
        EXPECT_EQ(Vorn::GetModulePath(path, size), Vorn::GetModuleDir(directory, size)) << size;
        EXPECT_EQ(0, std::memcmp(path, directory, sizeof path)) << size;
    }
}

TEST_F(Module, FitsIntoTheStringUpTo1024Bytes) {
    const std::string fits = DirectoryOfLength(1023);
    LinkTo(fits + "/prog");
    ExpectText(fits);
    LinkTo(DirectoryOfLength(1024) + "/prog");
    ExpectText("");
    ExpectWritten(DirectoryOfLength(1024), 1025);
    LinkTo(DirectoryOfLength(4000) + "/prog");
    ExpectText("");
    ExpectWritten(DirectoryOfLength(4000), 4001);
    ExpectRefused(1024);
}

TEST_F(Module, IsUnknownWhenTheSystemDoesNotTell) {
    Platform::readlink.Fail(ENAMETOOLONG);
    ExpectRefused(8192);
    ExpectText("");
    for (const std::string& link : {std::string("prog"), std::string(PATH_MAX, '/')}) {
        LinkTo(link);
        ExpectRefused(8192);
        ExpectText("");
    }
}

TEST_F(Module, MayBeAskedForFromSeveralThreads) {
    const std::string expected = fs::read_symlink("/proc/self/exe").parent_path();
    std::vector<int> good(4);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int& count : good)
        threads.emplace_back([&count, &expected] {
            for (int i = 0; i < 100; ++i) {
                std::string text;
                Vorn::GetModuleDir(text);
                count += text == expected && Vorn::GetProcessId() != 0 ? 1 : 0;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(good, ElementsAre(100, 100, 100, 100));
}

// Makes a directory whose full name has that length below another one, with a copy of the probe.
std::string DirectoryWithProbe(const VornTest::TempDir& parent, std::size_t length) {
    std::string name = fs::canonical(parent.Path());
    while (length - name.size() > 201)
        name += '/' + std::string(100, 'd');
    name += '/' + std::string(length - name.size() - 1, 'e');
    fs::create_directories(name);
    fs::copy_file(VORN_MODULE_PROBE, name + "/probe");
    return name;
}

std::string Output(const std::string& command) {
    std::string output;
    std::FILE* pipe = popen(command.c_str(), "r"); // NOLINT(cert-env33-c)
    if (pipe == nullptr)
        return "no process";
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe))
        output += static_cast<char>(c);
    if (pclose(pipe) != 0)
        output += "failed";
    return output;
}

// Concerns: the same from real programs, wherever they lie and however they are started.

TEST(ModuleOfAProgram, IsFoundInADeepDirectory) {
    const VornTest::TempDir scratch;
    for (const std::size_t length : {1023U, 1024U, 3500U}) {
        const std::string directory = DirectoryWithProbe(scratch, length);
        ASSERT_EQ(length, directory.size());
        EXPECT_EQ("1\n" + directory + '\n' + (length < 1024 ? directory : "") + '\n',
                  Output("'" + directory + "/probe'"));
    }
}

TEST(ModuleOfAProgram, IsAbsoluteHoweverTheProgramWasStarted) {
    const VornTest::TempDir scratch;
    const std::string directory =
        DirectoryWithProbe(scratch, fs::canonical(scratch.Path()).string().size() + 20);
    const std::string expected = "1\n" + directory + '\n' + directory + '\n';
    EXPECT_EQ(expected, Output("cd '" + directory + "' && ./probe"));
    EXPECT_EQ(expected, Output("cd '" + directory + "' && PATH=. probe"));

    fs::create_symlink(directory + "/probe", scratch.File("link"));
    EXPECT_EQ(expected, Output("'" + scratch.File("link") + "'"));
}

} // namespace
