// SPDX-License-Identifier: MIT
// The example programs, killed before each of their system calls.
//
// Concerns: a program that is killed at any moment leaves the old output or the new one, never a
// part, and at most its own temporary file beside it; the next run works. Plan: a traced child,
// killed before its call n, for every n up to its end; ./dev soak does so, the tests take a sample.

#include "support/KillAtCall.h"
#include "support/Program.h"
#include "support/TempDir.h"

#include "soak/Soak.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <sys/types.h>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

// A run that is killed between making its lock and saying so leaves the lock, which nobody uses.
void RemoveLocksOf(pid_t process) {
    const std::string begin = "sem.manifest-" + std::to_string(process) + "-";
    for (const auto& entry : fs::directory_iterator("/dev/shm"))
        if (entry.path().filename().string().rfind(begin, 0) == 0)
            fs::remove(entry.path());
}

std::string Content(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// What a file may hold besides what it held before.
using IsComplete = bool (*)(const std::string&);

class Killed : public testing::Test {
protected:
    void SetUp() override {
        VornTest::TakeOwnSemaphoreFiles();
        std::ofstream(In()) << std::string(16, 'k');
        std::ofstream(Key()) << std::string(16, 'k');
    }

    std::string In() const { return m_dir.File("in"); }
    std::string Key() const { return m_dir.File("key"); }
    fs::path Out() const { return m_dir.File("out/file"); }

    void KillEverywhere(const std::vector<std::string>& arguments, const std::string& program,
                        IsComplete isComplete) {
        const unsigned long stride = VornTest::IsWholeSoak() ? 1 : 41;
        unsigned long kills = 0;
        for (unsigned long n = 1;; n += stride, ++kills) {
            fs::remove_all(Out().parent_path());
            fs::create_directory(Out().parent_path());
            std::ofstream(Out()) << "old";
            const VornTest::KilledAtCall killed(arguments, n);
            if (killed.HasEndedBefore())
                break;
            RemoveLocksOf(killed.Pid());
            const std::string content = Content(Out());
            ASSERT_TRUE(content == "old" || isComplete(content)) << n << content;
            ExpectOnlyATemporaryFileBesides(program, n);
            ASSERT_EQ(0, VornTest::RunProgram(arguments).status) << n;
            ASSERT_TRUE(isComplete(Content(Out()))) << n;
        }
        EXPECT_GT(kills, 3U);
        ASSERT_TRUE(isComplete(Content(Out())));
        if (VornTest::IsWholeSoak())
            std::printf("%-44s killed before each of %lu calls\n", program.c_str(), kills);
    }

private:
    void ExpectOnlyATemporaryFileBesides(const std::string& program, unsigned long n) const {
        int others = 0;
        for (const auto& entry : fs::directory_iterator(Out().parent_path())) {
            const std::string name = entry.path().filename();
            if (name == "file")
                continue;
            ++others;
            EXPECT_EQ(0U, name.find("." + program + "-")) << n;
        }
        EXPECT_LE(others, 1) << n;
    }

    VornTest::TempDir m_dir;
};

TEST_F(Killed, SealLeavesTheOldFileOrTheNewOne) {
    KillEverywhere({VORN_SEAL, "encipher", Key(), In(), Out()}, "seal",
                   [](const std::string& text) {
                       return text.rfind("Sealed file", 0) == 0 &&
                              text.find("End of sealed file\n") != std::string::npos;
                   });
}

TEST_F(Killed, ManifestLeavesTheOldFileOrTheNewOne) {
    KillEverywhere(
        {VORN_MANIFEST, "create", Out(), In(), Key()}, "manifest", [](const std::string& text) {
            return text.rfind("<?xml", 0) == 0 && text.find("</manifest>") != std::string::npos;
        });
}

} // namespace
