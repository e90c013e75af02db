// SPDX-License-Identifier: MIT
// The named constants of the public headers.

#include <Bases/Crypto.h>
#include <Bases/File.h>
#include <Bases/Text.h>
#include <Bases/Thread.h>
#include <Bases/Time.h>
#include <Bases/Utility.h>

#include <type_traits>

#include <gtest/gtest.h>

// Concerns: the names of the public headers stand for the numbers that compiled programs and stored
// data hold, in the types that the operations take.

namespace {

using namespace Vorn;

template <typename Expected, typename Actual>
void ExpectNumber(Expected expected, const Actual& actual) {
    static_assert(std::is_same_v<Expected, Actual>);
    EXPECT_EQ(expected, actual);
}

TEST(NamedNumbers, OfOpenAreItsWords) {
    ExpectNumber(0x80000000U, FileAccess::Read);
    ExpectNumber(0x40000000U, FileAccess::Write);
    ExpectNumber(0xC0000000U, FileAccess::ReadWrite);
    ExpectNumber(0U, FileShare::None);
    ExpectNumber(1U, FileShare::Read);
    ExpectNumber(2U, FileShare::Write);
    ExpectNumber(3U, FileShare::ReadWrite);
    ExpectNumber(1U, FileDisposition::CreateNew);
    ExpectNumber(2U, FileDisposition::CreateOrEmpty);
    ExpectNumber(4U, FileDisposition::OpenExisting);
    ExpectNumber(5U, FileDisposition::CreateNewToWrite);
}

TEST(NamedNumbers, OfSeekAreItsMethods) {
    ExpectNumber(0U, SeekOrigin::Begin);
    ExpectNumber(1U, SeekOrigin::Current);
    ExpectNumber(2U, SeekOrigin::End);
}

TEST(NamedNumbers, OfFileTypesAreWhatASearchReports) {
    ExpectNumber(0U, FileType::None);
    ExpectNumber(1U, FileType::Other);
    ExpectNumber(2U, FileType::Regular);
    ExpectNumber(3U, FileType::Directory);
}

TEST(NamedNumbers, OfCreateDirLevelAreItsFlags) {
    ExpectNumber(0, LastDir::Skip);
    ExpectNumber(1, LastDir::Create);
}

TEST(NamedNumbers, OfWaitsAreTheTimeoutsWithAMeaning) {
    ExpectNumber(0U, TryOnce);
    ExpectNumber(0xFFFFFFFFU, WaitForever);
}

TEST(NamedNumbers, OfEventsAreTheFlagsOfCreate) {
    ExpectNumber(0, EventKind::AutoReset);
    ExpectNumber(1, EventKind::ManualReset);
    ExpectNumber(0, EventState::NotSet);
    ExpectNumber(1, EventState::Set);
}

TEST(NamedNumbers, OfThreadsAreTheFlagsOfStartAndStop) {
    ExpectNumber(0, ThreadStart::Running);
    ExpectNumber(1, ThreadStart::Suspended);
    ExpectNumber(0, ThreadStop::LeaveRunning);
    ExpectNumber(1, ThreadStop::Cancel);
}

TEST(NamedNumbers, OfSharedMemoryAreTheFlagsOfCreate) {
    ExpectNumber(0, ShmAccess::ReadWrite);
    ExpectNumber(1, ShmAccess::ReadOnly);
    ExpectNumber(0, ShmFill::None);
    ExpectNumber(1, ShmFill::Zero);
}

TEST(NamedNumbers, OfTextsAreTheirFormsAndSizes) {
    ExpectNumber(65UL, IntegerTextSize);
    ExpectNumber(37UL, GuidTextSize);
    ExpectNumber(0, GuidForm::Clipped);
    ExpectNumber(1, GuidForm::Full);
}

TEST(NamedNumbers, OfSizeUnitsCountTheDivisions) {
    ExpectNumber(0, SizeUnit::Bytes);
    ExpectNumber(1, SizeUnit::Kibibytes);
    ExpectNumber(2, SizeUnit::Mebibytes);
    ExpectNumber(3, SizeUnit::Gibibytes);
    ExpectNumber(4, SizeUnit::Tebibytes);
    ExpectNumber(5, SizeUnit::Pebibytes);
    ExpectNumber(6, SizeUnit::Exbibytes);
}

TEST(NamedNumbers, OfWeekdaysBeginWithSunday) {
    ExpectNumber(short{0}, Weekday::Sunday);
    ExpectNumber(short{1}, Weekday::Monday);
    ExpectNumber(short{2}, Weekday::Tuesday);
    ExpectNumber(short{3}, Weekday::Wednesday);
    ExpectNumber(short{4}, Weekday::Thursday);
    ExpectNumber(short{5}, Weekday::Friday);
    ExpectNumber(short{6}, Weekday::Saturday);
    ExpectNumber(short{5}, LastOccurrence);
}

TEST(NamedNumbers, OfCiphersAndDigestsAreTheirSizes) {
    ExpectNumber(16UL, CryptoSize::SeedBlock);
    ExpectNumber(16UL, CryptoSize::SeedKey);
    ExpectNumber(32UL, CryptoSize::SeedRoundKeyWords);
    ExpectNumber(88UL, CryptoSize::Md5Context);
    ExpectNumber(16UL, CryptoSize::Md5Digest);
}

} // namespace
