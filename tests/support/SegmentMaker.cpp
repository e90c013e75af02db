// SPDX-License-Identifier: MIT
// A test program that makes shared memory and says with what identifier. OwnSegmentsTest runs it.
#include <cstdio>

#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

int Make() {
    const int id = shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0666);
    std::printf("made %d.\n", id);
    std::fflush(stdout);
    return id;
}

TEST(SegmentMaker, LeavesOne) { EXPECT_NE(-1, Make()); }

TEST(SegmentMaker, RemovesOne) { EXPECT_EQ(0, shmctl(Make(), IPC_RMID, nullptr)); }

TEST(SegmentMaker, KeepsARemovedOneMapped) {
    const int id = Make();
    ASSERT_NE(nullptr, shmat(id, nullptr, 0));
    EXPECT_EQ(0, shmctl(id, IPC_RMID, nullptr));
}

TEST(SegmentMaker, LetsAChildLeaveOne) {
    const pid_t child = fork();
    if (child == 0)
        _exit(Make() == -1 ? 1 : 0);
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
}

} // namespace
