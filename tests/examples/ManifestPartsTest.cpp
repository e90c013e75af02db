// SPDX-License-Identifier: MIT
// The parts of manifest one by one: sizes, times, progress, and the like.

#include "fault/Platform.h"
#include "support/TempDir.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Bases/Crypto.h>

#include "Describe.h"
#include "Identifiers.h"
#include "Inventory.h"
#include "Progress.h"
#include "Verify.h"
#include "Walk.h"

extern "C" int __real_RAND_bytes(unsigned char* bytes, int size);

namespace {

bool g_hasRandomBytes = true;

} // namespace

extern "C" int __wrap_RAND_bytes(unsigned char* bytes, int size) {
    return g_hasRandomBytes ? __real_RAND_bytes(bytes, size) : 0;
}

namespace {

using Manifest::Advance;
using Manifest::Entry;
using VornTest::TempDir;

namespace Platform = VornTest::Platform;

constexpr unsigned long long KiB = 1024;

// Concerns: one decimal from a KiB on, rounded to what a reader expects, also beyond the library's
// signed counts; never a separator.

TEST(ManifestSizes, HaveOneDecimalAndTheUnitThatKeepsThemShort) {
    const std::vector<std::pair<unsigned long long, std::string>> sizes{
        {0, "0 B"},
        {999, "999 B"},
        {1023, "1023 B"},
        {KiB, "1.0 KiB"},
        {1536, "1.5 KiB"},
        {1000 * KiB, "1000.0 KiB"},
        {KiB * KiB - 1, "1.0 MiB"},
        {KiB * KiB, "1.0 MiB"},
        {5 * KiB * KiB * KiB, "5.0 GiB"},
        {1ULL << 40U, "1.0 TiB"},
        {1ULL << 50U, "1.0 PiB"},
        {1ULL << 60U, "1.0 EiB"},
        {~0ULL, "8.0 EiB"}}; // the largest that the library counts
    for (const auto& [bytes, text] : sizes)
        EXPECT_EQ(text, Manifest::DescribeSize(bytes)) << bytes;
}

TEST(ManifestDurations, HaveHoursOnlyWhenThereAreAny) {
    EXPECT_EQ("0:00", Manifest::DescribeDuration(0));
    EXPECT_EQ("0:09", Manifest::DescribeDuration(9));
    EXPECT_EQ("59:59", Manifest::DescribeDuration(3599));
    EXPECT_EQ("1:00:00", Manifest::DescribeDuration(3600));
    EXPECT_EQ("100:01:01", Manifest::DescribeDuration(360061));
}

TEST(ManifestTime, IsSplitAtTheSecondBeforeItAlsoBefore1970) {
    EXPECT_EQ("2024-03-05T07:08:09.045", Manifest::DescribeUtcTime(1709622489045));
    EXPECT_EQ("1969-12-31T23:59:59.999", Manifest::DescribeUtcTime(-1));
    EXPECT_EQ("1969-12-31T23:59:59.000", Manifest::DescribeUtcTime(-1000));
}

// Concerns: rate and time left are right, and missing where nothing can be known of them.

TEST(ManifestProgressLine, ShowsFilesBytesRateAndTimeLeft) {
    EXPECT_EQ("1 of 4 files, 1.0 MiB of 3.9 MiB, 512.0 KiB/s, 0:05 left",
              Manifest::FormatProgress({1, 4, KiB * KiB, 4 * KiB * KiB - 96 * KiB}, 2000));
}

TEST(ManifestProgressLine, HasTimeLeftForSmallFilesAfterLargeOnes) {
    EXPECT_THAT(Manifest::FormatProgress({10, 10010, 1024 * KiB * KiB, 1025 * KiB * KiB}, 10000),
                testing::EndsWith(" of 1.0 GiB, 102.4 MiB/s, 0:03 left"));
    EXPECT_THAT(Manifest::FormatProgress({5010, 10010, 1025 * KiB * KiB, 1025 * KiB * KiB}, 12000),
                testing::EndsWith(", 0:01 left"));
}

TEST(ManifestProgressLine, HasNoRateBeforeThereIsOne) {
    EXPECT_EQ("0 of 3 files, 0 B of 5 B", Manifest::FormatProgress({0, 3, 0, 5}, 2000));
    EXPECT_EQ("1 of 3 files, 5 B of 5 B", Manifest::FormatProgress({1, 3, 5, 5}, 0));
    EXPECT_EQ("0 of 0 files, 0 B of 0 B", Manifest::FormatProgress({}, 1));
}

TEST(ManifestProgressLine, TakesMoreBytesThanThereWereForTheWhole) {
    EXPECT_EQ("1 of 2 files, 10 B of 10 B, 10 B/s, 0:00 left",
              Manifest::FormatProgress({1, 2, 10, 5}, 1000));
}

TEST(ManifestProgressLine, LimitsTheTimeLeftToABillionSeconds) {
    EXPECT_THAT(Manifest::FormatProgress({0, 1, 1, ~0ULL}, ~0UL),
                testing::EndsWith(", 0 B/s, 277777:46:40 left"));
}

TEST(ManifestProgressLine, BoundsARateThatFitsNoInteger) {
    EXPECT_THAT(Manifest::FormatProgress({1, 1, ~0ULL, ~0ULL}, 1),
                testing::EndsWith(", 7.8 EiB/s, 0:00 left"));
}

// Concerns: what happens to files between the walk and the measurement costs those files only.

class ManifestMeasurement : public testing::Test {
protected:
    void Make(const std::string& name, const std::string& content) const {
        std::ofstream(m_dir.File(name), std::ios::binary) << content;
    }

    std::vector<Entry> Find() const { return Manifest::FindEntries({{m_dir.Path()}, "out.xml"}); }

    static Advance Measure(std::vector<Entry>& entries) {
        Advance first;
        bool called = false;
        Manifest::MeasureFiles(entries, {}, [&](const Advance& advance) {
            if (!std::exchange(called, true))
                first = advance;
        });
        EXPECT_TRUE(called);
        return first;
    }

    TempDir m_dir;
};

TEST_F(ManifestMeasurement, OfAFileThatVanishedIsAFailureAndCostsNoOther) {
    for (const char* name : {"a", "b", "c"})
        Make(name, "x\n");
    std::vector<Entry> entries = Find();
    ASSERT_EQ(4U, entries.size());
    std::filesystem::remove(m_dir.File("b"));
    Measure(entries);
    EXPECT_EQ("", *entries[1].failure);
    EXPECT_EQ(m_dir.File("b"), entries[2].name);
    EXPECT_EQ("No such file or directory", *entries[2].failure);
    EXPECT_EQ("", *entries[3].failure);
    EXPECT_EQ(2U, entries[3].bytes);
}

TEST_F(ManifestMeasurement, CountsWhatIsThereByThen) {
    Make("grows", "x");
    Make("shrinks", "x\ny\nz");
    std::vector<Entry> entries = Find();
    for (const char* name : {"grows", "shrinks"})
        Make(name, "x\ny\n");
    Measure(entries);
    ASSERT_EQ(3U, entries.size());
    for (const Entry& entry : {entries[1], entries[2]}) {
        EXPECT_EQ(4U, entry.bytes) << entry.name;
        EXPECT_EQ(2U, entry.lines) << entry.name;
        EXPECT_EQ(Vorn::CryptoHashMd5::MD5String("x\ny\n"), entry.digest.Text()) << entry.name;
    }
}

TEST_F(ManifestMeasurement, OfAFifoThatTookAFilesPlaceIsAFailure) {
    Make("file", "x\n");
    std::vector<Entry> entries = Find();
    std::filesystem::remove(m_dir.File("file"));
    ASSERT_EQ(0, mkfifo(m_dir.File("file").c_str(), 0600));
    Measure(entries);
    EXPECT_EQ("not a regular file", *entries[1].failure);
}

TEST_F(ManifestMeasurement, OfAFileThatGrowsMeanwhileIsThatOfOneContent) {
    constexpr int Most =
        2000; // so that the measurement ends also where it is slower than the growth
    Make("grows", "begin\n");
    std::vector<Entry> entries = Find();
    std::atomic<bool> measured{false};
    std::thread writer([this, &measured] {
        std::ofstream file(m_dir.File("grows"), std::ios::app);
        for (int i = 0; i < Most && !measured; ++i)
            file << std::string(4096, static_cast<char>('a' + i % 26)) << std::endl;
    });
    Measure(entries);
    measured = true;
    writer.join();
    std::ifstream file(m_dir.File("grows"), std::ios::binary);
    const std::string all{std::istreambuf_iterator<char>(file), {}};
    const Entry& entry = entries[1];
    EXPECT_EQ("", *entry.failure);
    ASSERT_LE(entry.bytes, all.size());
    const std::string content = all.substr(0, entry.bytes);
    EXPECT_EQ(Vorn::CryptoHashMd5::MD5String(content), entry.digest.Text());
    EXPECT_EQ(std::count(content.begin(), content.end(), '\n'), entry.lines);
}

TEST_F(ManifestMeasurement, WithoutRandomBytesIsAFailureOnlyOfWhatIsToHaveAnIdentifier) {
    Make("file", "x\n");
    std::vector<Entry> entries = Find();
    g_hasRandomBytes = false;
    Manifest::MeasureFiles(entries, {.detail = Manifest::Detail::Compared}, [](const Advance&) {});
    for (const Entry& entry : entries)
        EXPECT_EQ("", *entry.failure) << entry.name;
    Measure(entries);
    g_hasRandomBytes = true;
    ASSERT_EQ(2U, entries.size());
    for (const Entry& entry : entries)
        EXPECT_EQ("no identifier could be made", *entry.failure) << entry.name;
}

TEST_F(ManifestMeasurement, BeginsWithAReportOfTheWhole) {
    Make("a", "123");
    Make("b", "4567");
    std::filesystem::create_directory(m_dir.File("directory"));
    std::vector<Entry> entries = Find();
    const Advance first = Measure(entries);
    EXPECT_EQ(0U, first.files);
    EXPECT_EQ(2U, first.allFiles);
    EXPECT_EQ(0U, first.bytes);
    EXPECT_EQ(7U, first.allBytes);
}

// Concerns: a directory that can be read in part only, also when nothing but its end is missing, is
// never taken for a whole one.

class ManifestReadError : public ManifestMeasurement {
protected:
    static constexpr std::size_t Files = 5;

    // The calls that read the directory: the files, "." and "..", and its end.
    static constexpr std::size_t Calls = Files + 3;

    void SetUp() override {
        std::filesystem::create_directory(m_dir.File("d"));
        for (std::size_t i = 0; i < Files; ++i)
            Make("d/" + std::to_string(i), "x\n");
        Make("file", "x\n");
    }

    std::vector<Entry> FindAndMeasure() const {
        std::vector<Entry> entries =
            Manifest::FindEntries({{m_dir.File("d"), m_dir.File("file")}, "out.xml"});
        Platform::readdir.Reset();
        Measure(entries);
        return entries;
    }
};

TEST_F(ManifestReadError, MakesTheDirectoryAFailureAndCostsNothingElse) {
    EXPECT_EQ(2 + Files, FindAndMeasure().size());
    for (std::size_t call = 1; call <= Calls; ++call) {
        Platform::readdir.From(call).Fail(EIO);
        const std::vector<Entry> entries = FindAndMeasure();
        ASSERT_EQ(2U, entries.size()) << call;
        EXPECT_EQ(m_dir.File("d"), entries[0].name);
        EXPECT_EQ("Input/output error", *entries[0].failure);
        EXPECT_EQ(m_dir.File("file"), entries[1].name);
        EXPECT_EQ("", *entries[1].failure);
    }
}

TEST_F(ManifestReadError, LeavesAllInTheDirectoryUnreadWhenItIsVerified) {
    const std::vector<Entry> recorded = FindAndMeasure();
    Platform::readdir.From(Calls - 1).Fail(EIO);
    const Manifest::Comparison comparison = Manifest::Compare(recorded, FindAndMeasure());
    EXPECT_FALSE(comparison.AllAsRecorded());
    EXPECT_EQ("1 as recorded, 0 missing, 0 changed, 0 new, 6 unread\n",
              Manifest::FormatSummary(comparison));
}

// Concerns: entries of one name are compared each with its own; the verdicts that make all as it
// was recorded; the results of races in the file system.

using Manifest::Finding;
using Manifest::Verdict;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

Entry FileOf(const std::string& name, unsigned long long bytes) {
    Entry entry;
    entry.name = name;
    entry.bytes = bytes;
    return entry;
}

Entry FailureOf(const std::string& name, const std::string& reason) {
    Entry entry;
    entry.name = name;
    entry.failure = reason;
    return entry;
}

std::vector<Finding> Told(const std::vector<Entry>& recorded, const std::vector<Entry>& found) {
    return Manifest::Compare(recorded, found).findings;
}

std::size_t Same(const std::vector<Entry>& recorded, const std::vector<Entry>& found) {
    return Manifest::Compare(recorded, found).Count(Verdict::Same);
}

TEST(ManifestComparison, ComparesEntriesOfOneNameEachWithItsOwn) {
    const std::vector<Entry> recorded{FileOf("b", 1), FileOf("a", 1), FileOf("b", 2),
                                      FileOf("b", 1)};
    EXPECT_THAT(Told(recorded, recorded), IsEmpty());
    EXPECT_EQ(2U, Same(recorded, recorded));
    const std::vector<Entry> found{FileOf("b", 1), FileOf("b", 3), FileOf("b", 1), FileOf("a", 1)};
    EXPECT_THAT(Told(recorded, found), ElementsAre(Finding{"b", Verdict::Changed, "bytes 2 -> 3"}));
    EXPECT_EQ(1U, Same(recorded, found));
}

TEST(ManifestComparison, KeepsTheOrderOfManyEntriesOfOneName) {
    std::vector<Entry> recorded;
    std::vector<Entry> found;
    for (unsigned long long i = 0; i < 100; ++i) {
        recorded.push_back(FileOf("b", i));
        found.push_back(FileOf("b", i));
    }
    recorded.insert(recorded.begin(), 100, FileOf("a", 1));
    found.insert(found.end(), 100, FileOf("a", 1));
    EXPECT_THAT(Told(recorded, found), IsEmpty());
    EXPECT_EQ(2U, Same(recorded, found));
}

TEST(ManifestComparison, ComparesNothingButTheKindOfWhatIsNoFile) {
    std::vector<Entry> recorded{FileOf("d", 1)};
    std::vector<Entry> found{FileOf("d", 2)};
    recorded[0].kind = found[0].kind = Manifest::Kind::Directory;
    EXPECT_EQ(1U, Same(recorded, found));
}

TEST(ManifestComparison, OfNothingFindsNothing) {
    const Manifest::Comparison comparison = Manifest::Compare({}, {});
    EXPECT_THAT(comparison.findings, IsEmpty());
    EXPECT_TRUE(comparison.AllAsRecorded());
    EXPECT_EQ("0 as recorded, 0 missing, 0 changed, 0 new, 0 unread\n",
              Manifest::FormatSummary(comparison));
}

TEST(ManifestComparison, KnowsWhatVanishedDuringTheWalkForMissing) {
    const TempDir dir;
    const std::string gone = dir.File("gone");
    EXPECT_THAT(Told({FileOf(gone, 1)}, {FailureOf(gone, "whatever")}),
                ElementsAre(Finding{gone, Verdict::Missing, ""}));
    EXPECT_THAT(Told({}, {FailureOf(gone, "whatever")}), IsEmpty());
}

TEST(ManifestComparison, IsAsRecordedOnlyWithoutDifferenceAndDoubt) {
    const auto isAsRecorded = [](const Entry& recorded, const Entry& found) {
        return Manifest::Compare({FileOf("a", 1), recorded}, {FileOf("a", 1), found})
            .AllAsRecorded();
    };
    EXPECT_TRUE(isAsRecorded(FileOf("b", 1), FileOf("b", 1)));
    EXPECT_TRUE(isAsRecorded(FailureOf("b", "why"), FailureOf("b", "why")));
    EXPECT_FALSE(isAsRecorded(FileOf("b", 1), FileOf("b", 2)));
    EXPECT_FALSE(isAsRecorded(FileOf("b", 1), FileOf("a", 1))); // missing
    EXPECT_FALSE(isAsRecorded(FileOf("a", 1), FileOf("b", 1))); // new
    EXPECT_FALSE(isAsRecorded(FileOf("/", 1), FailureOf("/", "why")));
}

// Concerns: what identifies an entry is like the library's own, and no two are the same.

TEST(ManifestIdentifiers, AreRandomOnesOfWhichNoTwoAreEqual) {
    constexpr std::size_t Count = 1000; // more than are drawn at once
    Manifest::Identifiers identifiers;
    std::set<std::string> texts;
    for (std::size_t i = 0; i < Count; ++i) {
        Vorn::Guid id;
        ASSERT_TRUE(identifiers.Next(id));
        texts.insert(id.ToString(Vorn::GuidForm::Full));
    }
    EXPECT_EQ(Count, texts.size());
    EXPECT_THAT(texts, Each(MatchesRegex("[0-9a-f-]{14}4[0-9a-f]{3}-[89ab][0-9a-f-]{16}")));
}

TEST(ManifestIdentifiers, StayAsTheyAreWithoutRandomBytes) {
    static int nFills = 0;
    Manifest::Identifiers identifiers([](unsigned char* bytes, int size) {
        std::fill_n(bytes, size, '\xFF');
        return ++nFills == 2 ? 1 : 0;
    });
    Vorn::Guid id;
    EXPECT_FALSE(identifiers.Next(id));
    EXPECT_EQ("", id.ToString(Vorn::GuidForm::Full)); // as of one that is all zeros
    EXPECT_TRUE(identifiers.Next(id));
    EXPECT_EQ("ffffffff-ffff-4fff-bfff-ffffffffffff", id.ToString(Vorn::GuidForm::Full));
}

// Concerns: a content that is elsewhere is found there, each once; what has no content is never
// taken for another.

Entry ContentOf(const std::string& name, unsigned char content) {
    Entry entry = FileOf(name, 5);
    entry.digest = {Manifest::Algorithm::Md5, {content}};
    return entry;
}

TEST(ManifestMoves, ArePairsOfMissingAndNewFilesOfOneContent) {
    EXPECT_THAT(
        Told({ContentOf("a", 1), ContentOf("b", 2)}, {ContentOf("b", 2), ContentOf("c", 1)}),
        ElementsAre(Finding{"a", Verdict::Moved, "c"}));
    EXPECT_THAT(Told({ContentOf("a", 1)}, {ContentOf("c", 2)}),
                ElementsAre(Finding{"a", Verdict::Missing, ""}, Finding{"c", Verdict::New, ""}));
}

TEST(ManifestMoves, TakeEveryNewFileOnceInTheOrderOfTheNames) {
    EXPECT_THAT(Told({ContentOf("a", 1), ContentOf("b", 1), ContentOf("c", 1)},
                     {ContentOf("y", 1), ContentOf("x", 1)}),
                ElementsAre(Finding{"a", Verdict::Moved, "x"}, Finding{"b", Verdict::Moved, "y"},
                            Finding{"c", Verdict::Missing, ""}));
    EXPECT_THAT(Told({ContentOf("a", 1)}, {ContentOf("x", 1), ContentOf("y", 1)}),
                ElementsAre(Finding{"a", Verdict::Moved, "x"}, Finding{"y", Verdict::New, ""}));
}

TEST(ManifestMoves, AreNotSeenInEmptyFilesAndDirectories) {
    EXPECT_THAT(Told({FileOf("a", 0)}, {FileOf("b", 0)}),
                ElementsAre(Finding{"a", Verdict::Missing, ""}, Finding{"b", Verdict::New, ""}));
    Entry before = FileOf("a", 5);
    Entry now = FileOf("b", 5);
    before.kind = now.kind = Manifest::Kind::Directory;
    EXPECT_THAT(Told({before}, {now}),
                ElementsAre(Finding{"a", Verdict::Missing, ""}, Finding{"b", Verdict::New, ""}));
}

} // namespace
