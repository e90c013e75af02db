// SPDX-License-Identifier: MIT
// Concerns: which call of which thread a script is for, and how it answers in each convention of
// failing; what is recorded; that nothing outlives a test, and a test's own calls can be kept out;
// that the lists are complete; that allocations are seen wherever they are made, and nothing is
// seen or changed that is not asked for.
#include "fault/Platform.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/TempDir.h"

namespace {

namespace Platform = VornTest::Platform;

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using VornTest::TempDir;

// Calls access so often, and says which calls failed.
std::vector<int> FailedCalls(int calls) {
    std::vector<int> failed;
    for (int i = 1; i <= calls; ++i)
        if (access("/", F_OK) != 0)
            failed.push_back(i);
    return failed;
}

template <typename Action>
auto OnAnotherThread(Action action) {
    decltype(action()) result;
    std::thread([&] { result = action(); }).join();
    return result;
}

TEST(PlatformScript, AppliesToEveryCallByDefault) {
    Platform::access.Fail(EIO);
    EXPECT_THAT(FailedCalls(3), ElementsAre(1, 2, 3));
}

TEST(PlatformScript, MayBeForTheNthCallOnly) {
    Platform::access.At(2).Fail(EIO);
    EXPECT_THAT(FailedCalls(4), ElementsAre(2));
}

TEST(PlatformScript, MayBeForTheNthCallAndAllAfterIt) {
    Platform::access.From(3).Fail(EIO);
    EXPECT_THAT(FailedCalls(5), ElementsAre(3, 4, 5));
}

TEST(PlatformScript, CountsFromWhenItIsGiven) {
    FailedCalls(2);
    Platform::access.At(2).Fail(EIO);
    EXPECT_THAT(FailedCalls(1), IsEmpty());
    Platform::access.At(2).Fail(EIO);
    EXPECT_THAT(FailedCalls(3), ElementsAre(1, 2));
}

TEST(PlatformScript, GivenLaterHoldsAndTheEarlierOneCountsOn) {
    Platform::access.From(1).Fail(EIO);
    Platform::access.At(2).Answer(0);
    Platform::access.At(4).Fail(EACCES);
    EXPECT_THAT(FailedCalls(4), ElementsAre(1, 3, 4));
    EXPECT_EQ(EACCES, errno);
    EXPECT_EQ(4U, Platform::access.Scripted());
}

TEST(PlatformScript, IsForTheThreadThatGivesIt) {
    Platform::access.At(2).Fail(EIO);
    EXPECT_THAT(OnAnotherThread([] { return FailedCalls(3); }), IsEmpty());
    EXPECT_THAT(FailedCalls(3), ElementsAre(2));
}

TEST(PlatformScript, MayBeForAllThreads) {
    Platform::access.At(2).OnAnyThread().Fail(EIO);
    EXPECT_THAT(FailedCalls(1), IsEmpty());
    EXPECT_THAT(OnAnotherThread([] { return FailedCalls(3); }), ElementsAre(1));
    Platform::access.OnAnyThread().From(2).Fail(EIO);
    EXPECT_THAT(OnAnotherThread([] { return FailedCalls(3); }), ElementsAre(2, 3));
}

TEST(PlatformScript, IsForOneFunction) {
    Platform::access.Fail(EIO);
    struct stat status {};
    EXPECT_EQ(0, stat("/", &status));
}

TEST(PlatformScript, MayAnswerWithAnyValueAndLeavesErrnoAlone) {
    Platform::getpid.Answer(7);
    errno = EDOM;
    EXPECT_EQ(7, getpid());
    EXPECT_EQ(EDOM, errno);
}

TEST(PlatformScript, MayDoAnythingAndWhatItCallsGoesToTheSystem) {
    Platform::access.Record();
    Platform::access.Do([](const char* path, int mode) {
        EXPECT_STREQ("/one", path);
        return access("/", mode);
    });
    EXPECT_EQ(0, access("/one", F_OK));
    EXPECT_EQ(1U, Platform::access.Count());
    EXPECT_EQ(-1, Platform::access.Real("/one", F_OK));
}

TEST(PlatformScript, IsEndedByAReset) {
    Platform::access.Fail(EIO);
    Platform::mkdir.Fail(EIO);
    Platform::access.Reset();
    EXPECT_THAT(FailedCalls(1), IsEmpty());
    Platform::Reset();
    EXPECT_EQ(-1, mkdir("/", 0700));
    EXPECT_EQ(EEXIST, errno);
}

TEST(PlatformScript, MayBeForCallsInAWindowOnly) {
    Platform::access.Fail(EIO, {.first = 2, .inWindow = true});
    EXPECT_THAT(FailedCalls(3), IsEmpty());
    {
        const Platform::Window window;
        EXPECT_THAT(FailedCalls(3), ElementsAre(2, 3));
    }
    EXPECT_THAT(FailedCalls(3), IsEmpty());
    EXPECT_EQ(2U, Platform::access.Scripted());
}

TEST(PlatformScript, ForAWindowHoldsOverALaterOneThatIsNot) {
    Platform::access.Fail(EIO, {.first = 2, .once = true, .inWindow = true});
    Platform::access.Answer(0);
    const Platform::Window window;
    EXPECT_THAT(FailedCalls(3), ElementsAre(2));
}

TEST(PlatformScript, MayBeForCallsAfterAnotherFunctionWasMadeToFail) {
    Platform::rmdir.At(2).Fail(EBUSY);
    Platform::access.Fail(EIO, {.pAfter = &Platform::rmdir});
    EXPECT_EQ(-1, rmdir("/missing"));
    EXPECT_THAT(FailedCalls(2), IsEmpty());
    EXPECT_EQ(-1, rmdir("/missing"));
    EXPECT_THAT(FailedCalls(2), ElementsAre(1, 2));
}

TEST(PlatformScript, SaysHowManyCallsItHasMadeToFail) {
    Platform::access.Answer(0);
    Platform::access.At(2).Fail(EIO);
    EXPECT_THAT(FailedCalls(3), ElementsAre(2));
    EXPECT_EQ(3U, Platform::access.Scripted());
    EXPECT_EQ(1U, Platform::access.Failed());
}

// These two make one test: whichever is first, the other one finds nothing of it.
class PlatformAfterATest : public testing::TestWithParam<int> {};

TEST_P(PlatformAfterATest, NothingIsLeft) {
    EXPECT_THAT(FailedCalls(1), IsEmpty());
    EXPECT_EQ(0U, Platform::access.Count());
    Platform::access.Record();
    Platform::access.OnAnyThread().Fail(EIO);
    EXPECT_THAT(FailedCalls(1), ElementsAre(1));
    EXPECT_EQ(1U, Platform::access.Count());
}

INSTANTIATE_TEST_SUITE_P(Each, PlatformAfterATest, testing::Values(1, 2));

TEST(PlatformBypass, KeepsATestsOwnCallsOut) {
    Platform::access.At(2).Fail(EIO);
    Platform::access.Record();
    {
        const VornTest::Platform::Bypass outer;
        const VornTest::Platform::Bypass inner;
        EXPECT_THAT(FailedCalls(3), IsEmpty());
    }
    EXPECT_THAT(FailedCalls(3), ElementsAre(2));
    EXPECT_EQ(3U, Platform::access.Count());
}

// --- Failing, as each function does it -----------------------------------------------------------

TEST(PlatformFailure, IsMinusOneWithErrnoForMostFunctions) {
    Platform::open.Fail(EMFILE);
    Platform::lseek.Fail(ESPIPE);
    Platform::mbstowcs.Fail(EILSEQ);
    EXPECT_EQ(-1, open("/", O_RDONLY));
    EXPECT_EQ(EMFILE, errno);
    EXPECT_EQ(-1, lseek(0, 0, SEEK_CUR));
    EXPECT_EQ(ESPIPE, errno);
    EXPECT_EQ(static_cast<std::size_t>(-1), mbstowcs(nullptr, "a", 0));
    EXPECT_EQ(EILSEQ, errno);
}

TEST(PlatformFailure, IsNullWithErrnoForAPointer) {
    Platform::opendir.Fail(EACCES);
    Platform::gmtime_r.Fail(EOVERFLOW);
    EXPECT_EQ(nullptr, opendir("/"));
    EXPECT_EQ(EACCES, errno);
    const std::time_t now = 0;
    std::tm fields{};
    EXPECT_EQ(nullptr, gmtime_r(&now, &fields));
    EXPECT_EQ(EOVERFLOW, errno);
}

TEST(PlatformFailure, IsAPointerOfAllOnesForAttachingAndConverters) {
    Platform::shmat.Fail(EINVAL);
    Platform::iconv_open.Fail(EMFILE);
    EXPECT_EQ(std::intptr_t{-1}, reinterpret_cast<std::intptr_t>(shmat(0, nullptr, 0)));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(std::intptr_t{-1}, reinterpret_cast<std::intptr_t>(iconv_open("UTF-8", "UTF-8")));
    EXPECT_EQ(EMFILE, errno);
}

TEST(PlatformFailure, IsTheErrorItselfForThreads) {
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    Platform::pthread_mutex_lock.Fail(EDEADLK);
    errno = 0;
    EXPECT_EQ(EDEADLK, pthread_mutex_lock(&lock));
    EXPECT_EQ(0, errno);
}

TEST(PlatformFailure, IsAnExceptionForThrowingOperatorsNew) {
    Platform::operator_new.At(2).Fail(ENOMEM);
    ::operator delete(::operator new(1));
    EXPECT_THROW(::operator delete(::operator new(1)), std::bad_alloc);
    Platform::operator_new_array.At(1).Fail(ENOMEM);
    EXPECT_THROW(::operator delete[](::operator new[](1)), std::bad_alloc);
    ::operator delete[](::operator new[](1));
}

TEST(PlatformFailure, IsNullForTheOtherAllocations) {
    Platform::operator_new_nothrow.At(1).Fail(ENOMEM);
    EXPECT_EQ(nullptr, ::operator new(1, std::nothrow));
    ::operator delete(::operator new(1, std::nothrow));
    Platform::operator_new_array_nothrow.At(1).Fail(ENOMEM);
    EXPECT_EQ(nullptr, ::operator new[](1, std::nothrow));
    ::operator delete[](::operator new[](1, std::nothrow));
    Platform::malloc.At(1).Fail(ENOMEM);
    void* volatile block = std::malloc(1);
    EXPECT_EQ(nullptr, block);
    EXPECT_EQ(ENOMEM, errno);
}

TEST(PlatformFailure, OfAnInterruptedReadIsFollowedByTheReadItself) {
    const TempDir dir;
    const int file = open(dir.File("file").c_str(), O_RDWR | O_CREAT, 0600);
    Platform::read.At(1).Fail(EINTR);
    char byte = 0;
    EXPECT_EQ(-1, read(file, &byte, 1));
    EXPECT_EQ(EINTR, errno);
    EXPECT_EQ(0, read(file, &byte, 1));
    close(file);
}

TEST(PlatformShortCount, IsHalfOfWhatWasAskedFor) {
    const TempDir dir;
    const int file = open(dir.File("file").c_str(), O_RDWR | O_CREAT, 0600);
    Platform::write.At(1).Fail(Platform::ShortCount);
    EXPECT_EQ(4, write(file, "12345678", 8));
    EXPECT_EQ(8, write(file, "abcdefgh", 8));
    ASSERT_EQ(0, lseek(file, 0, SEEK_SET));
    Platform::read.At(2).Fail(Platform::ShortCount);
    std::array<char, 9> text{};
    EXPECT_EQ(2, read(file, text.data(), 2));
    EXPECT_EQ(3, read(file, text.data() + 2, 6));
    EXPECT_STREQ("1234a", text.data());
    close(file);

    Platform::getrandom.Fail(Platform::ShortCount);
    std::array<char, 8> random{};
    EXPECT_EQ(4, Platform::getrandom(random.data(), 8, 0));
}

TEST(PlatformFailure, OfClosingComesAfterItIsDone) {
    const int file = open("/", O_RDONLY);
    Platform::close.Fail(EIO);
    EXPECT_EQ(-1, close(file));
    EXPECT_EQ(EIO, errno);
    Platform::close.Reset();
    EXPECT_EQ(-1, close(file));
    EXPECT_EQ(EBADF, errno);
}

TEST(PlatformFailure, ThatAFunctionDoesNotHaveIsRefused) {
    EXPECT_THROW(Platform::open.Fail(Platform::ShortCount), std::logic_error);
    EXPECT_THROW(Platform::operator_delete.Fail(ENOMEM), std::logic_error);
    EXPECT_THROW(Platform::nl_langinfo.Fail(EINVAL), std::logic_error);
}

TEST(PlatformFailure, IsPossibleInEveryPlausibleWayOfEveryFunction) {
    for (Platform::Call* const call : Platform::All())
        for (const int error : call->Errors())
            EXPECT_NO_THROW(call->Fail(error, {.first = 1000000000})) << call->Name() << error;
}

// --- Recording -----------------------------------------------------------------------------------

TEST(PlatformRecord, IsOffAtFirst) {
    EXPECT_THAT(FailedCalls(1), IsEmpty());
    EXPECT_EQ(0U, Platform::access.Count());
    Platform::access.Fail(EIO);
    EXPECT_THAT(FailedCalls(1), ElementsAre(1));
    EXPECT_EQ(0U, Platform::access.Count());
}

TEST(PlatformRecord, HoldsArgumentsAndResults) {
    Platform::access.Record();
    Platform::close.Record();
    {
        const std::string gone = "/missing";
        EXPECT_EQ(-1, access(gone.c_str(), R_OK));
    }
    Platform::access.At(1).Answer(3);
    EXPECT_EQ(3, access("/", F_OK));
    EXPECT_THAT(Platform::access.Calls(),
                ElementsAre(std::tuple("/missing", R_OK), std::tuple("/", F_OK)));
    EXPECT_THAT(Platform::access.Results(), ElementsAre(-1, 3));
    EXPECT_EQ(-1, close(-5));
    EXPECT_THAT(Platform::close.Calls(), ElementsAre(-5));
}

TEST(PlatformRecord, LeavesErrnoToTheCall) {
    Platform::access.Record();
    errno = EDOM;
    EXPECT_EQ(0, access("/", F_OK));
    EXPECT_EQ(EDOM, errno);
    EXPECT_EQ(-1, access("/missing", F_OK));
    EXPECT_EQ(ENOENT, errno);
}

TEST(PlatformRecord, HoldsTheCallsOfOneThreadOrOfAll) {
    Platform::access.Record();
    OnAnotherThread([] { return FailedCalls(2); });
    FailedCalls(3);
    EXPECT_EQ(3U, Platform::access.Count());
    Platform::access.Record(true);
    OnAnotherThread([] { return FailedCalls(2); });
    FailedCalls(3);
    EXPECT_EQ(8U, Platform::access.Count());
}

TEST(PlatformRecord, GoesOnAfterItWasForgotten) {
    Platform::access.Record();
    FailedCalls(2);
    Platform::access.Forget();
    EXPECT_EQ(0U, Platform::access.Count());
    EXPECT_THAT(Platform::access.Calls(), IsEmpty());
    FailedCalls(1);
    EXPECT_EQ(1U, Platform::access.Count());
}

TEST(PlatformRecord, KeepsTheOrderAcrossFunctions) {
    Platform::access.Record();
    Platform::mkdir.Record();
    Platform::rmdir.Record();
    FailedCalls(1);
    EXPECT_EQ(-1, mkdir("/", 0700));
    EXPECT_EQ(-1, rmdir("/missing"));
    FailedCalls(1);
    EXPECT_THAT(Platform::Order(), ElementsAre("access", "mkdir", "rmdir", "access"));
}

TEST(PlatformRecord, IsSafeOnSeveralThreads) {
    constexpr int Calls = 200;
    Platform::access.Record(true);
    Platform::access.At(Calls).OnAnyThread().Fail(EIO);
    std::vector<std::thread> threads;
    std::atomic<std::size_t> failed = 0;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&failed] { failed += FailedCalls(Calls).size(); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(4U * Calls, Platform::access.Count());
    EXPECT_EQ(1U, failed);
}

// --- Lists ---------------------------------------------------------------------------------------

TEST(PlatformList, HasEveryFunctionThatTheLinkerSendsHere) {
    std::istringstream wrapped(VORN_WRAPPED);
    int names = 0;
    for (std::string name; wrapped >> name; ++names) {
        if (name.starts_with("__")) // the fortified form of another one
            name = name.substr(2, name.rfind("_chk") - 2);
        EXPECT_NE(nullptr, Platform::Find(name)) << name;
    }
    EXPECT_LT(70, names);
}

TEST(PlatformList, NamesEachFunctionOnce) {
    std::set<std::string> names;
    for (const Platform::Call* const call : Platform::All())
        EXPECT_TRUE(names.insert(call->Name()).second) << call->Name();
    EXPECT_EQ(&Platform::open, Platform::Find("open"));
    EXPECT_EQ(nullptr, Platform::Find("no such function"));
}

TEST(PlatformList, ScriptsAnyFunctionByItsName) {
    Platform::Find("access")->Fail(EIO, {.first = 2, .once = true});
    EXPECT_THAT(FailedCalls(3), ElementsAre(2));
}

TEST(PlatformList, ListsThePlausibleErrors) {
    EXPECT_THAT(Platform::read.Errors(), IsSupersetOf({EINTR, EIO, Platform::ShortCount}));
    EXPECT_THAT(Platform::operator_new.Errors(), ElementsAre(ENOMEM));
    EXPECT_THAT(Platform::pthread_testcancel.Errors(), IsEmpty());
}

TEST(PlatformList, RecordsAllFunctionsAtOnce) {
    Platform::RecordAll();
    FailedCalls(1);
    EXPECT_EQ(-1, rmdir("/missing"));
    EXPECT_EQ(1U, Platform::Find("access")->Count());
    EXPECT_EQ(1U, Platform::Find("rmdir")->Count());
    EXPECT_EQ(0U, Platform::Find("mkdir")->Count());
    EXPECT_THAT(Platform::Order(), testing::IsSupersetOf({"access", "rmdir"}));
}

// --- Memory --------------------------------------------------------------------------------------

TEST(PlatformAllocation, IsSeenInTheCxxLibraryToo) {
    Platform::operator_new.Record();
    std::string text;
    text.reserve(1000); // made inside of the library's shared object
    EXPECT_THAT(Platform::operator_new.Calls(), Contains(1001U));
    Platform::operator_new.Fail(ENOMEM);
    EXPECT_THROW(text.reserve(10000), std::bad_alloc);
}

TEST(PlatformAllocation, CountsOnceInEveryForm) {
    Platform::RecordAll();
    ::operator delete(::operator new(11));
    ::operator delete[](::operator new[](12));
    ::operator delete(::operator new(13, std::nothrow), 13);
    ::operator delete[](::operator new[](14, std::nothrow), 14);
    void* volatile block = std::malloc(15);
    block = std::realloc(block, 16);
    std::free(block);
    block = std::calloc(1, 17);
    std::free(block);
    const std::vector<std::string> order = Platform::Order();
    EXPECT_THAT(order, ElementsAre("operator new", "operator delete", "operator new[]",
                                   "operator delete[]", "operator new(nothrow)",
                                   "operator delete(size)", "operator new[](nothrow)",
                                   "operator delete[](size)", "malloc", "realloc", "calloc"));
    EXPECT_THAT(Platform::operator_new_array.Calls(), ElementsAre(12U));
}

// --- What must not happen for real ---------------------------------------------------------------

TEST(PlatformClock, IsNeverSet) {
    const timeval valid{1, 2};
    const timeval invalid{1, 1000000};
    EXPECT_EQ(0, settimeofday(&valid, nullptr));
    EXPECT_EQ(-1, settimeofday(&invalid, nullptr));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_LT(1000000000, std::time(nullptr));
}

} // namespace
