// SPDX-License-Identifier: MIT
// manifest watch without the privilege to write shared memory.

#include "ManifestWatch.h"
#include "support/Prepare.h"
#include "support/Program.h"
#include "support/Unprivileged.h"

#include <filesystem>
#include <string>
#include <vector>

#include <linux/capability.h>
#include <sys/shm.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Publisher.h"

namespace {

using Manifest::Publisher;
using testing::ElementsAre;
using VornTest::CannotGiveUp;
using VornTest::GiveUp;
using VornTest::ManifestWatch;
using VornTest::NoRun;
using VornTest::Outcome;
using VornTest::RunProgram;
using VornTest::Surroundings;
using VornTest::Unprivileged;
using VornTest::WhyNotGivenUp;

namespace fs = std::filesystem;

// Concerns: without privilege everything but the counters is as ever, and nothing is left behind.

class ManifestWatchUnprivileged : public ManifestWatch {
protected:
    void SetUp() override {} // anybody can do without
};

TEST_F(ManifestWatchUnprivileged, ProgramDoesItsJobUnseen) {
    Make("file", "12345");
    Surroundings surroundings = Here();
    surroundings.prepare = [] { GiveUp({CAP_IPC_OWNER}); };
    const Outcome outcome = RunProgram(Arguments({"create", "out.xml", "file"}), surroundings);
    if (outcome.status == CannotGiveUp)
        GTEST_SKIP() << WhyNotGivenUp;
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
    BeforeRemoving([&](const shmid_ds& status) { mappings.push_back(status.shm_nattch); });
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
