// SPDX-License-Identifier: MIT
// manifest create and verify when the user ends them.

#include "ManifestWatch.h"
#include "support/Program.h"

#include <csignal>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::SizeIs;
using VornTest::ManifestWatch;
using VornTest::Outcome;
using VornTest::Program;
using VornTest::Surroundings;

// Concerns: a run that is ended by a signal leaves no lock, no segment and no file, and a shell
// sees which signal it was; one that is told to ignore the signal goes on.

class ManifestInterrupt : public ManifestWatch {
protected:
    void ExpectShared(const Program& program) {
        Expect(program.Pid());
        ASSERT_TRUE(Sees("0 of 1 files, "));
        EXPECT_THAT(Segments(), ElementsAre("0"));
        EXPECT_THAT(Locks(), SizeIs(1));
    }
};

TEST_F(ManifestInterrupt, EndsARunAndLeavesNothing) {
    MakeEndless("endless");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        Program program(Arguments({"create", "-j2", "out.xml", "endless"}), Here());
        ExpectShared(program);
        program.Kill(signal);
        const Outcome outcome = program.Wait();
        EXPECT_EQ(signal, outcome.signal);
        EXPECT_EQ("manifest: out.xml: interrupted\n", outcome.err);
        ExpectNothingLeft();
        EXPECT_THAT(Directory(), ElementsAre("endless"));
    }
}

TEST_F(ManifestInterrupt, EndsAVerificationToo) {
    Make("file", "12345");
    ASSERT_EQ(0, Run({"create", "out.xml", "file"}).status);
    MakeEndless("file");
    Program program(Arguments({"verify", "out.xml"}), Here());
    ExpectShared(program);
    program.Kill(SIGINT);
    const Outcome outcome = program.Wait();
    EXPECT_EQ(SIGINT, outcome.signal);
    EXPECT_EQ("", outcome.out);
    ExpectNothingLeft();
}

TEST_F(ManifestInterrupt, IsLeftToARunThatIgnoresIt) {
    MakeEndless("endless");
    Surroundings surroundings = Here();
    surroundings.prepare = [] { signal(SIGHUP, SIG_IGN); };
    Program program(Arguments({"create", "out.xml", "endless"}), surroundings);
    ExpectShared(program);
    program.Kill(SIGHUP);
    program.Kill(SIGINT);
    EXPECT_EQ(SIGINT, program.Wait().signal);
    ExpectNothingLeft();
}

} // namespace
