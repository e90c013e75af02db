// SPDX-License-Identifier: MIT
// What tests share: directories of their own, captured output, and programs that they start.

#include "support/Program.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using VornTest::RunProgram;
using VornTest::StdoutCapture;
using VornTest::StdoutOf;
using VornTest::TempDir;

namespace fs = std::filesystem;

// Concerns: two directories at a time are different, nothing is left behind whatever a test created
// or removed there, and links are removed without what they lead to.

TEST(TempDirs, AreEmptyDirectoriesOfTheirOwn) {
    const TempDir first;
    const TempDir second;
    EXPECT_NE(first.Path(), second.Path());
    EXPECT_TRUE(fs::path(first.Path()).is_absolute());
    EXPECT_TRUE(fs::is_directory(first.Path()));
    EXPECT_TRUE(fs::is_empty(first.Path()));
}

TEST(TempDirs, GiveThePathOfAFileWithoutCreatingIt) {
    const TempDir dir;
    EXPECT_EQ(dir.Path() + "/name", dir.File("name"));
    EXPECT_FALSE(fs::exists(dir.File("name")));
}

TEST(TempDirs, VanishWithEverythingInside) {
    std::optional<TempDir> dir(std::in_place);
    const std::string path = dir->Path();
    fs::create_directories(dir->File("a/b"));
    std::ofstream(dir->File("a/b/file")) << "text";
    dir.reset();
    EXPECT_FALSE(fs::exists(path));
}

TEST(TempDirs, VanishAlsoWithoutPermissions) {
    std::optional<TempDir> dir(std::in_place);
    const std::string path = dir->Path();
    fs::create_directories(dir->File("a/b"));
    std::ofstream(dir->File("a/b/file")) << "text";
    fs::permissions(dir->File("a/b"), fs::perms::none);
    fs::permissions(dir->File("a"), fs::perms::none);
    dir.reset();
    EXPECT_FALSE(fs::exists(path));
}

TEST(TempDirs, LeaveAloneWhatALinkInsideLeadsTo) {
    const TempDir kept;
    std::ofstream(kept.File("file")) << "text";
    std::optional<TempDir> dir(std::in_place);
    fs::create_directory_symlink(kept.Path(), dir->File("link"));
    dir.reset();
    EXPECT_TRUE(fs::exists(kept.File("file")));
}

// Concerns: what stdio holds back is seen, order is kept, text around the capture is not part of
// it, and standard output works again afterwards.

TEST(StdoutCaptures, SeeStdioAndTheDescriptorInOrder) {
    const std::string text = StdoutOf([] {
        std::puts("one\r");
        std::fflush(stdout);
        ASSERT_EQ(3, write(STDOUT_FILENO, "two", 3));
        std::printf("%s", "three");
    });
    EXPECT_EQ("one\r\ntwothree", text);
}

TEST(StdoutCaptures, ContinueAfterTheTextWasTaken) {
    std::string first;
    std::string second;
    {
        const StdoutCapture capture;
        std::puts("a");
        first = capture.Text();
        std::puts("b");
        second = capture.Text();
    }
    EXPECT_EQ("a\n", first);
    EXPECT_EQ("a\nb\n", second);
}

TEST(StdoutCaptures, AreNestedIntoWhatWasThereBefore) {
    std::string inner;
    const std::string outer = StdoutOf([&inner] {
        std::printf("before ");
        inner = StdoutOf([] { std::printf("inside"); });
        std::printf("after");
    });
    EXPECT_EQ("inside", inner);
    EXPECT_EQ("before after", outer);
}

TEST(StdoutCaptures, LeaveTheLowDescriptorsAsTheyAre) {
    const int lowest = dup(STDERR_FILENO);
    close(lowest);
    int during = -1;
    StdoutOf([&during] {
        during = dup(STDERR_FILENO);
        close(during);
    });
    EXPECT_EQ(lowest, during);
}

TEST(StdoutCaptures, ReadMoreThanOnePart) {
    const std::string line(9999, 'x');
    EXPECT_EQ(line + "\n", StdoutOf([&line] { std::puts(line.c_str()); }));
}

// Concerns: what a test starts is in surroundings of its own.

TEST(Programs, MeetSignalsAsUsualWhateverTheirStarterIgnores) {
    auto* const before = std::signal(SIGINT, SIG_IGN);
    EXPECT_EQ(SIGINT, RunProgram({"/bin/sh", "-c", "kill -INT $$"}).signal);
    std::signal(SIGINT, before);
}

} // namespace
