// SPDX-License-Identifier: MIT
// Concerns: what is asked of the platform, and what becomes of each of its answers, is fixed.
#include <Bases/Thread.h>

#include <array>
#include <climits>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include "Thread/ShmTest.h"

namespace {

using namespace VornTest;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using ShmLayout = ShmFixture;

// Names and their keys, computed elsewhere.
struct NameAndKey {
    std::string name;
    key_t key;
};

std::vector<NameAndKey> NamesAndKeys() {
    return {
        {"", 5381},
        {"a", 177670},
        {"abc", 193485963},
        {"\xFF", 177572},
        {"\x80\xFF\x7Fz\xC3\xA4", -578797916},
        {"/a name, with anything in it\n", 1218896574},
        {"com.example.state", -1353640691},
        {std::string(300, 'x'), -1438960859},
    };
}

// Concerns: the object is the pointer to its virtual table and two 32-bit fields; the destructor is
// its only virtual operation; it owns its segment.

TEST_F(ShmLayout, IsTheIdentifierAndTheFlagAfterTheVirtualTable) {
    EXPECT_EQ(sizeof(void*) + 2 * sizeof(int), sizeof(Shm));
    EXPECT_TRUE(std::has_virtual_destructor_v<Shm>);
    g_platform.get = 7;
    g_platform.control = 0;
    Shm shm;
    EXPECT_EQ((Fields{0, 0}), FieldsOf(shm));
    ASSERT_TRUE(shm.Create(Size, "", 5, 0));
    EXPECT_EQ((Fields{7, 5}), FieldsOf(shm));
    shm.Close();
    EXPECT_EQ((Fields{0, 0}), FieldsOf(shm));
}

TEST_F(ShmLayout, IsNotCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<Shm>);
    EXPECT_FALSE(std::is_copy_assignable_v<Shm>);
}

// What a class of a host declares beside those of the base.
struct HostShm : Shm {
    bool Create(unsigned long, const char*, int, int) { return Called(); }
    bool Open(const char*, int) { return Called(); }
    unsigned char* Map() { return Called() ? Failure() : nullptr; }
    bool Unmap(unsigned char*) { return Called(); }
    void Close() { Called(); }
    bool IsOpened() { return Called(); }

    bool Called() { return bCalled = true; }
    bool bCalled = false;
};

TEST_F(ShmLayout, HasNoVirtualOperationButTheDestructor) {
    g_platform.get = 7;
    g_platform.control = 0;
    HostShm host;
    Shm& shm = host;
    EXPECT_EQ(nullptr, shm.Map());
    EXPECT_TRUE(shm.Create(Size, "", 1, 0));
    EXPECT_FALSE(shm.Open("", 1));
    EXPECT_FALSE(shm.Unmap(nullptr));
    EXPECT_TRUE(shm.IsOpened());
    shm.Close();
    EXPECT_FALSE(host.bCalled);
}

// Concerns: every argument of every system call, and every answer. A made-up platform gives them.

class MadeUpPlatform : public ShmFixture {
protected:
    MadeUpPlatform() {
        m_memory.fill(0xAA);
        g_platform.get = 7;
        g_platform.attach = m_memory.data();
        g_platform.detach = 0;
        g_platform.control = 0;
    }

    std::array<unsigned char, 16> m_memory{};
};

using ShmKey = MadeUpPlatform;
using ShmCreate = MadeUpPlatform;
using ShmOpen = MadeUpPlatform;
using ShmMap = MadeUpPlatform;
using ShmUnmap = MadeUpPlatform;
using ShmClose = MadeUpPlatform;
using ShmZeroFill = MadeUpPlatform;
using ShmRefusal = MadeUpPlatform;
using ShmIdentifierZero = MadeUpPlatform;

TEST_F(ShmKey, IsTheHashOfTheName) {
    for (const auto& [name, key] : NamesAndKeys()) {
        SCOPED_TRACE(key);
        g_platform.gets.clear();
        Shm created;
        EXPECT_TRUE(created.Create(Size, name.c_str(), 1, 0));
        Shm opened;
        EXPECT_TRUE(opened.Open(name.c_str(), 1));
        ASSERT_THAT(g_platform.gets, SizeIs(2));
        EXPECT_EQ(key, g_platform.gets[0].key);
        EXPECT_EQ(key, g_platform.gets[1].key);
    }
}

TEST_F(ShmKey, IsTheSameForNamesThatCollide) {
    Shm first;
    first.Open("ab", 1);
    Shm second;
    second.Open("bA", 1);
    EXPECT_THAT(g_platform.gets,
                ElementsAre(GetCall{5863208, 0, 01666}, GetCall{5863208, 0, 01666}));
}

TEST_F(ShmCreate, AsksForTheSizeAndExclusivelyWithThePermissionsOfItsFlag) {
    const std::vector<std::pair<int, int>> flags = {
        {0, 03555}, {1, 03666}, {2, 03666}, {-1, 03666}, {INT_MIN, 03666}};
    for (const auto& [bReadOnly, asked] : flags) {
        for (const unsigned long size : {0UL, 1UL, 16UL, 0x123456789UL, ULONG_MAX}) {
            g_platform.gets.clear();
            Shm shm;
            EXPECT_TRUE(shm.Create(size, "a", bReadOnly, 0));
            EXPECT_THAT(g_platform.gets, ElementsAre(GetCall{177670, size, asked}));
        }
    }
}

TEST_F(ShmOpen, AsksForNoSizeAndThePermissionsOfItsFlag) {
    const std::vector<std::pair<int, int>> flags = {
        {0, 01555}, {1, 01666}, {2, 01666}, {-1, 01666}, {INT_MIN, 01666}};
    for (const auto& [bReadOnly, asked] : flags) {
        g_platform.gets.clear();
        Shm shm;
        EXPECT_TRUE(shm.Open("a", bReadOnly));
        EXPECT_THAT(g_platform.gets, ElementsAre(GetCall{177670, 0, asked}));
    }
}

TEST_F(ShmCreate, RefusesAnOpenedObjectAndChangesNothing) {
    Shm shm;
    ASSERT_TRUE(shm.Create(Size, "a", 5, 0));
    g_platform.get = 8;
    EXPECT_FALSE(shm.Create(Size, "b", 0, 1));
    EXPECT_EQ((Fields{7, 5}), FieldsOf(shm));
    EXPECT_THAT(g_platform.gets, SizeIs(1));
    EXPECT_THAT(g_platform.attaches, IsEmpty());
    EXPECT_TRUE(shm.IsOpened());
}

TEST_F(ShmOpen, RefusesAnOpenedObjectAndChangesNothing) {
    Shm shm;
    ASSERT_TRUE(shm.Open("a", 5));
    g_platform.get = 8;
    EXPECT_FALSE(shm.Open("b", 0));
    EXPECT_EQ((Fields{7, 5}), FieldsOf(shm));
    EXPECT_THAT(g_platform.gets, SizeIs(1));
    EXPECT_TRUE(shm.IsOpened());
}

TEST_F(ShmMap, IsNullWithoutASegment) {
    Shm shm;
    EXPECT_EQ(nullptr, shm.Map());
    ASSERT_TRUE(shm.Open("a", 1));
    shm.Close();
    EXPECT_EQ(nullptr, shm.Map());
    EXPECT_THAT(g_platform.attaches, IsEmpty());
}

TEST_F(ShmMap, AttachesForReadingOnlyExactlyWhenTheFlagIsSet) {
    const std::vector<std::pair<int, int>> flags = {{0, 0}, {1, SHM_RDONLY}, {-2, SHM_RDONLY}};
    for (const auto& [bReadOnly, asked] : flags) {
        g_platform.attaches.clear();
        Shm created;
        ASSERT_TRUE(created.Create(Size, "a", bReadOnly, 0));
        EXPECT_EQ(m_memory.data(), created.Map());
        Shm opened;
        ASSERT_TRUE(opened.Open("a", bReadOnly));
        EXPECT_EQ(m_memory.data(), opened.Map());
        EXPECT_THAT(g_platform.attaches,
                    ElementsAre(AttachCall{7, nullptr, asked}, AttachCall{7, nullptr, asked}));
    }
}

TEST_F(ShmMap, ReturnsThePlatformsFailureValue) {
    Shm shm;
    ASSERT_TRUE(shm.Open("a", 1));
    g_platform.attach = Failure();
    EXPECT_EQ(Failure(), shm.Map());
    g_platform.attach = nullptr;
    EXPECT_EQ(nullptr, shm.Map());
}

TEST_F(ShmUnmap, OfNullIsFalseAndAsksNobody) {
    Shm shm;
    EXPECT_FALSE(shm.Unmap(nullptr));
    ASSERT_TRUE(shm.Open("a", 1));
    EXPECT_FALSE(shm.Unmap(nullptr));
    EXPECT_THAT(g_platform.detaches, IsEmpty());
}

TEST_F(ShmUnmap, IsWhetherThePlatformAnswersZero) {
    Shm shm;
    const std::vector<std::pair<int, bool>> answers = {{0, true}, {-1, false}, {1, false}};
    for (const auto& [answer, result] : answers) {
        g_platform.detach = answer;
        EXPECT_EQ(result, shm.Unmap(m_memory.data()));
    }
    EXPECT_THAT(g_platform.detaches, testing::AllOf(SizeIs(3), Each(m_memory.data())));
}

TEST_F(ShmClose, RemovesTheSegmentOnceAndResetsBothFields) {
    Shm shm;
    ASSERT_TRUE(shm.Create(Size, "a", 1, 0));
    EXPECT_TRUE(shm.IsOpened());
    shm.Close();
    EXPECT_FALSE(shm.IsOpened());
    EXPECT_EQ((Fields{0, 0}), FieldsOf(shm));
    shm.Close();
    EXPECT_THAT(g_platform.controls, ElementsAre(ControlCall{7, IPC_RMID, nullptr}));
}

TEST_F(ShmClose, RemovesWhatWasOnlyOpened) {
    Shm shm;
    ASSERT_TRUE(shm.Open("a", 1));
    shm.Close();
    EXPECT_THAT(g_platform.controls, ElementsAre(ControlCall{7, IPC_RMID, nullptr}));
}

TEST_F(ShmClose, IsWhatTheDestructorDoes) {
    {
        Shm shm;
        ASSERT_TRUE(shm.Open("a", 1));
    }
    EXPECT_THAT(g_platform.controls, ElementsAre(ControlCall{7, IPC_RMID, nullptr}));
    { const Shm untouched; }
    EXPECT_THAT(g_platform.controls, SizeIs(1));
}

TEST_F(ShmClose, LetsTheObjectCreateAndOpenAgain) {
    Shm shm;
    EXPECT_TRUE(shm.Create(Size, "a", 1, 0));
    shm.Close();
    EXPECT_TRUE(shm.Open("a", 0));
    shm.Close();
    EXPECT_TRUE(shm.Create(Size, "a", 1, 0));
    EXPECT_EQ((Fields{7, 1}), FieldsOf(shm));
}

TEST_F(ShmClose, WithoutASegmentDoesNothing) {
    Shm shm;
    shm.Close();
    EXPECT_FALSE(shm.IsOpened());
    EXPECT_EQ((Fields{0, 0}), FieldsOf(shm));
    EXPECT_THAT(g_platform.controls, IsEmpty());
}

TEST_F(ShmZeroFill, WritesExactlyTheSizeAndDetaches) {
    Shm shm;
    EXPECT_TRUE(shm.Create(10, "a", 0, 1));
    std::array<unsigned char, 16> expected{};
    std::fill(expected.begin() + 10, expected.end(), static_cast<unsigned char>(0xAA));
    EXPECT_EQ(expected, m_memory);
    EXPECT_THAT(g_platform.attaches, ElementsAre(AttachCall{7, nullptr, 0}));
    EXPECT_THAT(g_platform.detaches, ElementsAre(m_memory.data()));
}

TEST_F(ShmZeroFill, IsMadeForEveryFlagButZero) {
    for (const int bZeroFill : {1, 2, -1, INT_MIN}) {
        m_memory.fill(0xAA);
        Shm shm;
        EXPECT_TRUE(shm.Create(m_memory.size(), "a", 0, bZeroFill));
        EXPECT_THAT(m_memory, Each(0));
    }
}

TEST_F(ShmZeroFill, IsLeftOutForReadersAndWhenNotAskedFor) {
    const std::vector<std::pair<int, int>> flags = {{1, 1}, {-1, 1}, {1, 0}, {0, 0}};
    for (const auto& [bReadOnly, bZeroFill] : flags) {
        Shm shm;
        EXPECT_TRUE(shm.Create(m_memory.size(), "a", bReadOnly, bZeroFill));
    }
    EXPECT_THAT(m_memory, Each(0xAA));
    EXPECT_THAT(g_platform.attaches, IsEmpty());
}

TEST_F(ShmZeroFill, IsLeftOutOfASegmentThatWasRefused) {
    g_platform.get = -1;
    Shm shm;
    EXPECT_FALSE(shm.Create(m_memory.size(), "a", 0, 1));
    EXPECT_THAT(g_platform.attaches, IsEmpty());
}

TEST_F(ShmZeroFill, WritesNothingWhereTheSegmentMayNotBeAttached) {
    for (unsigned char* const answer : {Failure(), static_cast<unsigned char*>(nullptr)}) {
        g_platform.attach = answer;
        Shm shm;
        EXPECT_TRUE(shm.Create(m_memory.size(), "a", 0, 1));
        EXPECT_EQ((Fields{7, 0}), FieldsOf(shm));
    }
    EXPECT_THAT(g_platform.attaches, SizeIs(2));
}

TEST_F(ShmRefusal, OfCreateIsFalseAndKeepsTheIdentifierButNotTheFlag) {
    for (const int refusal : {-1, -5}) {
        g_platform.get = refusal;
        Shm shm;
        EXPECT_FALSE(shm.Create(Size, "a", 1, 0));
        EXPECT_EQ((Fields{refusal, 0}), FieldsOf(shm));
        EXPECT_TRUE(shm.IsOpened());
    }
}

TEST_F(ShmRefusal, OfOpenIsSuccessAndKeepsTheIdentifierAndTheFlag) {
    for (const int refusal : {-1, -5}) {
        g_platform.get = refusal;
        Shm shm;
        EXPECT_TRUE(shm.Open("a", 3));
        EXPECT_EQ((Fields{refusal, 3}), FieldsOf(shm));
        EXPECT_TRUE(shm.IsOpened());
    }
}

TEST_F(ShmRefusal, BlocksTheObjectUntilClose) {
    g_platform.get = -1;
    Shm created;
    EXPECT_FALSE(created.Create(Size, "a", 1, 0));
    Shm opened;
    EXPECT_TRUE(opened.Open("a", 1));
    g_platform.get = 7;
    for (Shm* const shm : {&created, &opened}) {
        EXPECT_FALSE(shm->Create(Size, "a", 1, 0));
        EXPECT_FALSE(shm->Open("a", 1));
        EXPECT_TRUE(shm->IsOpened());
        EXPECT_EQ(-1, FieldsOf(*shm).hShm);
        shm->Close();
        EXPECT_FALSE(shm->IsOpened());
        EXPECT_TRUE(shm->Open("a", 1));
    }
}

TEST_F(ShmRefusal, IsPassedToThePlatformByMapAndClose) {
    g_platform.get = -1;
    g_platform.attach = Failure();
    Shm shm;
    EXPECT_TRUE(shm.Open("a", 1));
    EXPECT_EQ(Failure(), shm.Map());
    shm.Close();
    EXPECT_THAT(g_platform.attaches, ElementsAre(AttachCall{-1, nullptr, SHM_RDONLY}));
    EXPECT_THAT(g_platform.controls, ElementsAre(ControlCall{-1, IPC_RMID, nullptr}));
}

TEST_F(ShmIdentifierZero, IsSuccessForCreateAndNoSegmentForAllTheRest) {
    g_platform.get = 0;
    Shm shm;
    EXPECT_TRUE(shm.Create(Size, "a", 1, 0));
    EXPECT_EQ((Fields{0, 1}), FieldsOf(shm));
    EXPECT_FALSE(shm.IsOpened());
    EXPECT_EQ(nullptr, shm.Map());
    shm.Close();
    EXPECT_EQ((Fields{0, 0}), FieldsOf(shm));
    EXPECT_THAT(g_platform.attaches, IsEmpty());
    EXPECT_THAT(g_platform.controls, IsEmpty());
}

TEST_F(ShmIdentifierZero, IsAFailureForOpenAndLeavesTheFlag) {
    g_platform.get = 0;
    Shm shm;
    EXPECT_FALSE(shm.Open("a", 1));
    EXPECT_EQ((Fields{0, 0}), FieldsOf(shm));
    EXPECT_FALSE(shm.IsOpened());
    ASSERT_TRUE(shm.Create(Size, "a", 5, 0)); // which keeps the flag where there is no segment
    EXPECT_FALSE(shm.Open("a", 1));
    EXPECT_EQ((Fields{0, 5}), FieldsOf(shm));
    g_platform.get = 7;
    EXPECT_TRUE(shm.Open("a", 1));
}

TEST_F(ShmIdentifierZero, IsFilledWithNothing) {
    g_platform.get = 0;
    Shm shm;
    EXPECT_TRUE(shm.Create(m_memory.size(), "a", 0, 1));
    EXPECT_THAT(m_memory, Each(0xAA));
}

#ifdef NDEBUG
TEST_F(ShmClose, GoesOnAfterAFailureWhereAssertionsAreCompiledOut) {
    g_platform.control = -1;
    Shm shm;
    ASSERT_TRUE(shm.Open("a", 1));
    shm.Close();
    EXPECT_EQ((Fields{0, 0}), FieldsOf(shm));
    EXPECT_THAT(g_platform.controls, ElementsAre(ControlCall{7, IPC_RMID, nullptr}));
}
#endif

} // namespace
