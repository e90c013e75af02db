#include "ManifestWatch.h"
#include "support/Program.h"
#include "support/Unprivileged.h"

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Publisher.h"

namespace {

using Manifest::Publisher;
using testing::ElementsAre;
using VornTest::g_hooks;
using VornTest::ManifestWatch;
using VornTest::NoRun;
using VornTest::Outcome;
using VornTest::RunProgram;
using VornTest::Surroundings;
using VornTest::Unprivileged;

namespace fs = std::filesystem;

// Concerns: without privilege everything but the counters is as ever, and nothing is left behind.

class ManifestWatchUnprivileged : public ManifestWatch {
protected:
    void SetUp() override {} // anybody can do without

    static void GiveUpWriting() {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        std::array<__user_cap_data_struct, 2> data{};
        bool done = syscall(SYS_capget, &header, data.data()) == 0;
        const unsigned int bit = 1U << static_cast<unsigned int>(CAP_IPC_OWNER);
        const bool has = (data[0].permitted & bit) != 0;
        if (!done || !has)
            return;
        data[0].inheritable &= ~bit;
        done = prctl(PR_CAPBSET_DROP, CAP_IPC_OWNER) == 0;
        if (!done || syscall(SYS_capset, &header, data.data()) != 0)
            _exit(126);
    }
};

TEST_F(ManifestWatchUnprivileged, ProgramDoesItsJobUnseen) {
    Make("file", "12345");
    Surroundings surroundings = Here();
    surroundings.prepare = GiveUpWriting;
    const Outcome outcome = RunProgram(Arguments({"create", "out.xml", "file"}), surroundings);
    if (outcome.status == 126)
        GTEST_SKIP() << "the privilege cannot be given up here";
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.out + outcome.err);
    EXPECT_TRUE(fs::exists(m_manifest));
    EXPECT_EQ(0, RunProgram(Arguments({"verify", "out.xml"}), surroundings).status);
    ExpectNothingLeft();
    EXPECT_EQ(1, RunProgram(Arguments({"watch", "out.xml"}), surroundings).status);
}

TEST_F(ManifestWatchUnprivileged, RunPublishesNothingAndLeavesNothing) {
    const Unprivileged unprivileged;
    if (unprivileged.Failed())
        GTEST_SKIP() << Unprivileged::WhyFailed;
    Publisher publisher(m_manifest);
    EXPECT_FALSE(publisher.IsPublic());
    publisher.Show({1, 2, 3, 4});
    EXPECT_EQ(NoRun, WhyNot());
    publisher.Finish();
    ExpectNothingLeft();
    CleanUp(); // by this user's names
}

TEST_F(ManifestWatchUnprivileged, RunRemovesOnlyWhatItHasMapped) {
    const Unprivileged unprivileged;
    if (unprivileged.Failed())
        GTEST_SKIP() << Unprivileged::WhyFailed;
    std::vector<shmatt_t> mappings;
    g_hooks.removing = [&](const shmid_ds& status) { mappings.push_back(status.shm_nattch); };
    const Publisher publisher(m_manifest);
    EXPECT_THAT(mappings, ElementsAre(1U));
    ExpectNothingLeft();
}

TEST_F(ManifestWatchUnprivileged, UsersHaveNamesOfTheirOwn) {
    const std::string own = Name(0);
    const Unprivileged unprivileged;
    if (unprivileged.Failed() || getuid() != 0)
        GTEST_SKIP() << Unprivileged::WhyFailed;
    EXPECT_NE(own, Name(0));
}

} // namespace
