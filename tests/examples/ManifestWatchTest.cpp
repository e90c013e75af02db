#include "support/ExampleTest.h"
#include "support/Program.h"
#include "support/Terminal.h"
#include "support/Unprivileged.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <forward_list>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Bases/Thread.h>

#include "Board.h"
#include "Publisher.h"
#include "Segment.h"
#include "Watch.h"

namespace {

// What a test has to say when a lock is made, before a segment is opened by the library and before
// one that has a name is removed.
std::function<bool()> g_makeLock;
std::function<void()> g_opening;
std::function<void(const shmid_ds&)> g_removing;

} // namespace

extern "C" {

bool __real__ZN4Vorn5Mutex6CreateEPKc(Vorn::Mutex* lock, const char* name);
bool __wrap__ZN4Vorn5Mutex6CreateEPKc(Vorn::Mutex* lock, const char* name) {
    return g_makeLock ? g_makeLock() : __real__ZN4Vorn5Mutex6CreateEPKc(lock, name);
}

int __real_shmget(key_t key, std::size_t size, int flags);
int __wrap_shmget(key_t key, std::size_t size, int flags) {
    if (g_opening && size == 0 && (flags & IPC_CREAT) != 0)
        g_opening();
    return __real_shmget(key, size, flags);
}

int __real_shmctl(int id, int command, shmid_ds* data);
int __wrap_shmctl(int id, int command, shmid_ds* data) {
    shmid_ds status{};
    if (command == IPC_RMID && g_removing && __real_shmctl(id, IPC_STAT, &status) == 0 &&
        status.shm_perm.__key != IPC_PRIVATE)
        g_removing(status);
    return __real_shmctl(id, command, data);
}
}

namespace {

using Manifest::Board;
using Manifest::Patience;
using Manifest::Publisher;
using Manifest::Segment;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using VornTest::Outcome;
using VornTest::Program;
using VornTest::RunProgram;
using VornTest::Surroundings;
using VornTest::Terminal;
using VornTest::Unprivileged;

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

// A watcher that wastes no time of a test's; news are always there before it looks for them.
constexpr Patience Quick{1, 20, 60000};
constexpr Patience Impatient{1, 5, 50};
constexpr const char* NoRun = "no run to watch; only one of the same user, who needs the privilege "
                              "to write shared memory, can be watched";
constexpr const char* Locked = "the counters are locked by somebody";

// A second opinion of what the key of a name is.
key_t KeyOf(const std::string& name) {
    std::uint32_t hash = 5381;
    for (const char c : name)
        hash = hash * 33 + static_cast<std::uint32_t>(static_cast<signed char>(c));
    return static_cast<key_t>(hash);
}

/// A copy of this process that does something and then sleeps until it is killed.
class Child {
public:
    explicit Child(const std::function<void()>& body) {
        std::array<int, 2> ready{};
        if (pipe(ready.data()) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe");
        m_pid = fork();
        if (m_pid == 0) {
            alarm(60);
            body();
            if (write(ready[1], "r", 1) == 1)
                for (;;)
                    pause();
            _exit(1);
        }
        close(ready[1]);
        char byte = 0;
        EXPECT_EQ(1, read(ready[0], &byte, 1));
        close(ready[0]);
    }
    ~Child() { Kill(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t Pid() const { return m_pid; }

    void Kill() {
        if (m_pid <= 0)
            return;
        kill(m_pid, SIGKILL);
        waitpid(std::exchange(m_pid, -1), nullptr, 0);
    }

private:
    pid_t m_pid = -1;
};

/// Does something in a process of its own when this object is destroyed or its process ends in
/// whatever way.
class LastWill {
public:
    explicit LastWill(const std::function<void()>& body) {
        std::array<int, 2> alive{};
        if (pipe2(alive.data(), O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe2");
        m_pid = fork();
        if (m_pid == 0) {
            signal(SIGINT, SIG_IGN);  // which comes from a terminal to all,
            signal(SIGTERM, SIG_IGN); // and this from who waits no longer
            close(alive[1]);
            char byte = 0;
            while (read(alive[0], &byte, 1) < 0) {
            }
            body();
            _exit(0);
        }
        close(alive[0]);
        m_alive = alive[1];
    }
    ~LastWill() {
        close(m_alive);
        waitpid(m_pid, nullptr, 0);
    }
    LastWill(const LastWill&) = delete;
    LastWill& operator=(const LastWill&) = delete;

private:
    pid_t m_pid = -1;
    int m_alive = -1;
};

/// Every test has a manifest's path, and so a segment's names, of its own. What runs leave behind
/// is removed at the end, however the test ends.
class ManifestWatch : public VornTest::ExampleTest {
protected:
    ManifestWatch() : ExampleTest(VORN_MANIFEST), m_cleaner([this] { CleanUp(); }) {
        Expect(getpid());
    }

    void TearDown() override {
        g_makeLock = nullptr;
        g_opening = nullptr;
        g_removing = nullptr;
    }

    void SetUp() override {
        if (!Publisher(m_dir.File("probe")).IsPublic())
            GTEST_SKIP() << "publishing needs the privilege to write shared memory";
    }

    // A lock that was left locked goes by its name, which lies in the segment.
    void CleanUp() const {
        for (int place = 0; place < Manifest::Places; ++place) {
            Segment left;
            if (!left.Open(Name(place), Segment::Access::Read))
                continue;
            const std::string lock = Manifest::LockNameIn(left, Name(place));
            if (!lock.empty())
                fs::remove("/dev/shm/sem." + lock.substr(1));
        }
        for (int place = 0; place < Manifest::Places; ++place)
            if (const int id = Find(place); id != -1)
                shmctl(id, IPC_RMID, nullptr);
    }

    // The locks of these processes are the test's.
    void Expect(pid_t process) {
        m_locks.push_back("sem.manifest-" + std::to_string(process) + "-");
    }

    Lines Locks() const {
        Lines found;
        for (const fs::directory_entry& entry : fs::directory_iterator("/dev/shm")) {
            const std::string name = entry.path().filename().string();
            const auto begins = [&name](const std::string& lock) { return name.starts_with(lock); };
            if (std::any_of(m_locks.begin(), m_locks.end(), begins))
                found.push_back(name);
        }
        return found;
    }

    std::string Name(int place) const { return Manifest::SegmentName(m_manifest, place); }
    int Find(int place) const { return shmget(KeyOf(Name(place)), 0, 0); }

    Lines Segments() const {
        Lines found;
        for (int place = 0; place < Manifest::Places; ++place)
            if (Find(place) != -1)
                found.push_back(std::to_string(place));
        return found;
    }

    void ExpectNothingLeft() const {
        EXPECT_THAT(Segments(), IsEmpty());
        EXPECT_THAT(Locks(), IsEmpty());
    }

    // Holes; nothing is stored, and nobody reads to the end.
    void MakeEndless(const std::string& name) const {
        Make(name, "");
        fs::resize_file(m_dir.File(name), std::uintmax_t{1} << 40U);
    }

    /// Watches until the end. `each` is called with every line that is shown.
    std::string Watch(
        const std::function<void(const std::string&)>& each = [](const std::string&) {},
        const Patience& patience = Quick) const {
        return Manifest::WatchRun(m_manifest, each, patience);
    }

    /// Returns why watching ended before the run did.
    std::string WhyNot(
        const std::function<void(const std::string&)>& each = [](const std::string&) {},
        const Patience& patience = Quick) const {
        try {
            return "not so: " + Watch(each, patience);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    /// Watches until a line begins with the text; the run may still have to begin. Returns false
    /// when that takes longer than a minute.
    bool Sees(const std::string& begin) const {
        struct Seen {};
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (std::chrono::steady_clock::now() < deadline) {
            try {
                Watch([&](const std::string& line) {
                    if (line.starts_with(begin))
                        throw Seen{};
                });
            } catch (const Seen&) {
                return true;
            } catch (const std::runtime_error&) { // there is none yet
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
        return false;
    }

    // A lock is small enough, but no manifest.
    static void WriteNoManifests() {
        const rlimit small{64, 64};
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &small);
    }

    Board& BoardAt(int place) {
        m_segments.push_back(std::make_unique<Segment>());
        if (!m_segments.back()->Open(Name(place), Segment::Access::Write))
            throw std::runtime_error("no segment " + Name(place));
        return Manifest::BoardIn(*m_segments.back());
    }

    // Not destroyed, as that would remove the lock's name; reachable to the end.
    Vorn::Mutex& OpenLock() {
        static auto& all = *new std::forward_list<Vorn::Mutex>;
        Vorn::Mutex& lock = all.emplace_front();
        EXPECT_TRUE(lock.Open(BoardAt(0).head.lockName));
        return lock;
    }

    // As a watcher or a run does that is killed at the wrong moment.
    void TakeLock() { ASSERT_TRUE(OpenLock().Lock(0)); }

    const std::string m_manifest = m_dir.File("out.xml");

private:
    LastWill m_cleaner;
    Lines m_locks;
    std::vector<std::unique_ptr<Segment>> m_segments;
};

/// The program's standard output or error, read while it runs.
class Pipe {
public:
    Pipe() {
        if (pipe2(m_ends.data(), O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    ~Pipe() {
        close(m_ends[0]);
        CloseOwnWriter();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int Writer() const { return m_ends[1]; }

    void CloseOwnWriter() {
        if (m_ends[1] >= 0)
            close(std::exchange(m_ends[1], -1));
    }

    // Whoever writes next has to wait for a reader.
    void Fill() const {
        const int flags = fcntl(m_ends[1], F_GETFL);
        fcntl(m_ends[1], F_SETFL, flags | O_NONBLOCK);
        const std::string much(4096, 'x');
        while (write(m_ends[1], much.data(), much.size()) > 0) {
        }
        fcntl(m_ends[1], F_SETFL, flags);
    }

    std::string ReadLine() const {
        std::string line;
        char c = 0;
        while (read(m_ends[0], &c, 1) == 1 && c != '\n')
            line += c;
        return line;
    }

    std::string ReadAll() const {
        std::string all;
        char c = 0;
        while (read(m_ends[0], &c, 1) == 1)
            all += c;
        return all;
    }

private:
    std::array<int, 2> m_ends{};
};

// Concerns: what is shown is what the run published, to the end; every way in which a run ends; the
// real program on either side; nothing is left behind.

TEST_F(ManifestWatch, ShowsWhatTheRunPublishesAndItsEnd) {
    Publisher publisher(m_manifest);
    Lines lines;
    const std::string end = Watch([&](const std::string& line) {
        lines.push_back(line);
        if (lines.size() == 1)
            publisher.Show({0, 4, 0, 4096});
        else if (lines.size() == 2)
            publisher.Show({1, 4, 1024, 4096});
        else
            publisher.Finish();
    });
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ("looking for files", lines[0]);
    EXPECT_EQ("0 of 4 files, 0 B of 4.0 KiB", lines[1]);
    EXPECT_THAT(lines[2], StartsWith("1 of 4 files, 1.0 KiB of 4.0 KiB"));
    EXPECT_EQ("finished: 1 of 4 files, 1.0 KiB of 4.0 KiB in 0:00", end);
    ExpectNothingLeft();
}

TEST_F(ManifestWatch, TellsEveryChangeOnce) {
    Publisher publisher(m_manifest);
    publisher.Show({0, 1, 0, 5});
    int looks = 0;
    Lines lines;
    // The time passes between updates that change nothing else; without bytes it is not shown.
    Watch([&](const std::string& line) {
        lines.push_back(line);
        publisher.Show({0, 1, 0, 5});
        publisher.Show({0, 1, 0, static_cast<unsigned long long>(5 + ++looks)});
        if (looks == 3)
            publisher.Finish();
    });
    EXPECT_THAT(lines, ElementsAre("0 of 1 files, 0 B of 5 B", "0 of 1 files, 0 B of 6 B",
                                   "0 of 1 files, 0 B of 7 B"));
}

TEST_F(ManifestWatch, FindsTheRunHoweverThePathIsWritten) {
    fs::create_directory(m_dir.File("sub"));
    fs::create_directory_symlink(m_dir.Path(), m_dir.File("sub/up"));
    const Publisher publisher(m_dir.File("sub/up/sub/../out.xml"));
    EXPECT_THAT(Segments(), ElementsAre("0"));
    EXPECT_EQ(Name(0), Manifest::SegmentName(m_dir.File("./out.xml"), 0));
    EXPECT_NE(Name(0), Manifest::SegmentName(m_dir.File("other.xml"), 0));
}

TEST_F(ManifestWatch, TellsThatTheRunFailed) {
    auto publisher = std::make_unique<Publisher>(m_manifest);
    EXPECT_EQ("the run failed", WhyNot([&](const std::string&) { publisher.reset(); }));
    ExpectNothingLeft();
}

TEST_F(ManifestWatch, TellsThatThereIsNoRun) {
    EXPECT_EQ(NoRun, WhyNot());
    const Outcome outcome = Run({"watch", "out.xml"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ(std::string("manifest: out.xml: ") + NoRun + "\n", outcome.err);
}

TEST_F(ManifestWatch, GivesUpARunThatIsSilentWhileItMeasures) {
    Publisher publisher(m_manifest);
    publisher.Show({0, 1, 0, 5});
    EXPECT_EQ("nothing was heard of the run for too long",
              WhyNot([](const std::string&) {}, Impatient));
    EXPECT_THAT(Segments(), ElementsAre("0")); // which is the run's
    EXPECT_THAT(Locks(), SizeIs(1));
}

TEST_F(ManifestWatch, IsPatientWithARunThatLooksForFilesOrSaves) {
    Publisher publisher(m_manifest);
    Lines lines;
    const std::string end = Watch(
        [&](const std::string& line) {
            lines.push_back(line);
            std::this_thread::sleep_for(std::chrono::milliseconds(2 * Impatient.silence));
            if (lines.size() > 1)
                publisher.Finish();
            else
                publisher.Show({1, 1, 0, 0});
        },
        Impatient);
    EXPECT_THAT(lines, ElementsAre("looking for files", "1 of 1 files, 0 B of 0 B"));
    EXPECT_EQ("finished: 1 of 1 files, 0 B of 0 B in 0:00", end);
}

TEST_F(ManifestWatch, ProgramPrintsALineForEveryChangeIntoAPipe) {
    Publisher publisher(m_manifest);
    Pipe out;
    Surroundings surroundings = Here();
    surroundings.prepare = [&] { dup2(out.Writer(), STDOUT_FILENO); };
    Program watch(Arguments({"watch", "./out.xml"}), surroundings);
    out.CloseOwnWriter();
    EXPECT_EQ("looking for files", out.ReadLine());
    publisher.Show({2, 3, 0, 5});
    EXPECT_EQ("2 of 3 files, 0 B of 5 B", out.ReadLine());
    publisher.Show({3, 3, 5, 5});
    EXPECT_THAT(out.ReadLine(), StartsWith("3 of 3 files, 5 B of 5 B"));
    publisher.Finish();
    EXPECT_EQ("finished: 3 of 3 files, 5 B of 5 B in 0:00\n", out.ReadAll());
    const Outcome outcome = watch.Wait();
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.err);
    ExpectNothingLeft();
}

TEST_F(ManifestWatch, ProgramShowsOneChangingLineOnATerminal) {
    Publisher publisher(m_manifest);
    Terminal terminal;
    Surroundings surroundings = Here();
    surroundings.prepare = [&] {
        dup2(terminal.ProgramsEnd(), STDOUT_FILENO);
        dup2(terminal.ProgramsEnd(), STDERR_FILENO);
    };
    Program watch(Arguments({"watch", "out.xml"}), surroundings);
    terminal.LeaveToProgram();
    EXPECT_EQ("\rlooking for files", terminal.ReadUntil("files"));
    publisher.Show({2, 3, 0, 5});
    EXPECT_EQ("\r2 of 3 files, 0 B of 5 B", terminal.ReadUntil("5 B"));
    publisher.Finish();
    const std::string cleared = "\r" + std::string(24, ' ') + "\r";
    EXPECT_EQ(cleared + "finished: 2 of 3 files, 0 B of 5 B in 0:00\r\n", terminal.ReadUntil("\n"));
    EXPECT_EQ(0, watch.Wait().status);
}

TEST_F(ManifestWatch, SeesTheProgramCreateAManifestToTheEnd) {
    Make("file", "12345");
    Pipe err; // full, so that the complaint about the missing file waits for the test
    err.Fill();
    Surroundings surroundings = Here();
    surroundings.prepare = [&] { dup2(err.Writer(), STDERR_FILENO); };
    Program create(Arguments({"create", "out.xml", "file", "missing"}), surroundings);
    Expect(create.Pid());
    err.CloseOwnWriter();
    ASSERT_TRUE(Sees("1 of 1 files, 5 B of 5 B"));
    EXPECT_EQ("finished: 1 of 1 files, 5 B of 5 B in 0:00",
              Watch([&](const std::string&) { err.ReadAll(); })); // which ends with the program
    EXPECT_EQ(1, create.Wait().status);
    EXPECT_TRUE(fs::exists(m_manifest));
    ExpectNothingLeft();
}

// The complaint about the missing file, which comes before the manifest is saved, waits for the test.
TEST_F(ManifestWatch, SeesTheProgramFailWhenItCannotSave) {
    Make("file", "12345");
    for (const bool directory : {true, false}) {
        if (directory)
            fs::create_directory(m_manifest);
        else
            fs::remove(m_manifest);
        Pipe err;
        err.Fill();
        Surroundings surroundings = Here();
        surroundings.prepare = [&] {
            dup2(err.Writer(), STDERR_FILENO);
            if (!directory)
                WriteNoManifests();
        };
        Program create(Arguments({"create", "out.xml", "file", "missing"}), surroundings);
        Expect(create.Pid());
        err.CloseOwnWriter();
        ASSERT_TRUE(Sees("1 of 1 files, 5 B of 5 B"));
        EXPECT_EQ("the run failed", WhyNot([&](const std::string&) { err.ReadAll(); }));
        EXPECT_EQ(1, create.Wait().status);
        ExpectNothingLeft();
    }
    EXPECT_FALSE(fs::exists(m_manifest));
}

// Concerns: whoever is killed, at whatever moment, stops nobody else.

class ManifestWatchKill : public ManifestWatch {
protected:
    /// Starts a program that reads an endless file, kills it as soon as its counters show that, and
    /// returns why watching it ended.
    std::string KillWhileReading(const Lines& arguments) {
        Program program(Arguments(arguments), Here());
        Expect(program.Pid());
        EXPECT_TRUE(Sees("0 of 1 files, "));
        return WhyNot([&](const std::string&) {
            program.Kill(SIGKILL);
            program.Wait(); // as a shell does; a process that nobody waits for exists on
        });
    }
};

TEST_F(ManifestWatchKill, ACreatingRunIsNoticedAndItsPlaceTakenByTheNext) {
    MakeEndless("endless");
    EXPECT_EQ("the run was killed", KillWhileReading({"create", "out.xml", "endless"}));
    EXPECT_THAT(Segments(), ElementsAre("0"));
    EXPECT_THAT(Locks(), SizeIs(1));
    const Outcome watch = Run({"watch", "out.xml"});
    EXPECT_EQ(1, watch.status);
    EXPECT_EQ("manifest: out.xml: the run was killed\n", watch.err);

    Make("file", "12345");
    const Outcome create = Run({"create", "out.xml", "file"});
    EXPECT_EQ(0, create.status);
    EXPECT_EQ("", create.out + create.err);
    ExpectNothingLeft();
}

TEST_F(ManifestWatchKill, AVerifyingRunIsSeenToo) {
    Make("file", "12345");
    ASSERT_EQ(0, Run({"create", "out.xml", "file"}).status);
    MakeEndless("file");
    EXPECT_EQ("the run was killed", KillWhileReading({"verify", "out.xml"}));
}

TEST_F(ManifestWatchKill, ARunThatHoldsTheLockHoldsUpNobody) {
    Child run([this] {
        (new Publisher(m_manifest))->Show({1, 2, 0, 4});
        TakeLock();
    });
    Expect(run.Pid());
    Lines lines;
    EXPECT_EQ("the run was killed", WhyNot([&](const std::string& line) {
                  lines.push_back(line);
                  run.Kill();
              }));
    EXPECT_THAT(lines, ElementsAre(Locked));

    Publisher next(m_manifest);
    next.Show({0, 3, 0, 5});
    EXPECT_EQ("finished: 0 of 3 files, 0 B of 5 B in 0:00", Watch([&](const std::string& line) {
                  EXPECT_EQ("0 of 3 files, 0 B of 5 B", line);
                  next.Finish();
              }));
    ExpectNothingLeft();
}

TEST_F(ManifestWatchKill, AWatcherThatHoldsTheLockDoesNotHoldUpTheRun) {
    Publisher publisher(m_manifest);
    publisher.Show({1, 3, 0, 5});
    Child watcher([this] { TakeLock(); });
    watcher.Kill();
    publisher.Show({2, 3, 0, 5});
    Lines lines;
    EXPECT_EQ("finished: 3 of 3 files, 5 B of 5 B in 0:00", Watch([&](const std::string& line) {
                  lines.push_back(line);
                  publisher.Show({3, 3, 5, 5});
                  publisher.Finish();
              }));
    EXPECT_THAT(lines, ElementsAre(Locked));
    ExpectNothingLeft();
}

TEST_F(ManifestWatchKill, AWatcherThatHoldsTheLockDoesNotHoldUpTheProgram) {
    Make("file", "12345");
    Pipe err;
    err.Fill();
    Surroundings surroundings = Here();
    surroundings.prepare = [&] { dup2(err.Writer(), STDERR_FILENO); };
    Program create(Arguments({"create", "out.xml", "missing", "file"}), surroundings);
    Expect(create.Pid());
    err.CloseOwnWriter();
    ASSERT_TRUE(Sees("1 of 1 files"));
    Child watcher([this] { TakeLock(); });
    watcher.Kill();
    err.ReadAll();
    EXPECT_EQ(1, create.Wait().status);
    EXPECT_TRUE(fs::exists(m_manifest));
    ExpectNothingLeft();
}

TEST_F(ManifestWatchKill, AStoppedWatcherCostsNewsOnlyUntilItGoesOn) {
    Publisher publisher(m_manifest);
    publisher.Show({0, 3, 0, 5});
    Vorn::Mutex& lock = OpenLock();
    Lines lines;
    Watch([&](const std::string& line) {
        lines.push_back(line);
        if (lines.size() == 1) {
            ASSERT_TRUE(lock.Lock(0));
            publisher.Show({1, 3, 0, 5}); // not seen
        } else if (lines.size() == 2) {
            publisher.Show({2, 3, 0, 5}); // nor is this
            lock.Unlock();
        } else if (lines.size() == 3) {
            publisher.Show({3, 3, 0, 5});
        } else {
            publisher.Finish();
        }
    });
    EXPECT_THAT(lines, ElementsAre("0 of 3 files, 0 B of 5 B",
                                   "0 of 3 files, 0 B of 5 B, " + std::string(Locked),
                                   "0 of 3 files, 0 B of 5 B", "3 of 3 files, 0 B of 5 B"));
    ExpectNothingLeft();
}

// Concerns: one place for several runs; what is not ours is neither trusted nor touched.

class ManifestWatchPlace : public ManifestWatch {
protected:
    /// Makes a segment as another program may have it.
    unsigned char* MakeForeign(int place, const std::function<void(Board&)>& write,
                               std::size_t size = Segment::Size) {
        const int id = shmget(KeyOf(Name(place)), size, IPC_CREAT | IPC_EXCL | 0666);
        EXPECT_NE(-1, id);
        void* const data = shmat(id, nullptr, 0);
        write(*new (data) Board{});
        m_foreign.emplace_back(static_cast<unsigned char*>(data), &shmdt);
        return m_foreign.back().get();
    }

    /// Makes one in the first place of a process that is killed.
    void MakeAndDie(const std::function<void(Board&)>& write, std::size_t size = Segment::Size) {
        const Child child([&] { MakeForeign(0, write, size); });
    }

    static std::string LockName(pid_t process) {
        return "/manifest-" + std::to_string(process) + "-0123";
    }

    /// Makes the first place's segment the board of a run of this process for a place's name.
    void Sign(int place) const {
        Segment segment;
        ASSERT_TRUE(segment.Open(Name(0), Segment::Access::Write));
        Manifest::Sign(segment, Name(place), LockName(getpid()));
    }

    /// A run must use another place, and find everything unchanged.
    void ExpectLeftAlone(const std::function<void(Board&)>& write) {
        MakeForeign(0, write);
        ExpectFirstPlaceLeftAlone();
    }

    void ExpectFirstPlaceLeftAlone() const {
        const int id = Find(0);
        const Lines locks = Locks();
        const auto content = [id] {
            void* const data = shmat(id, nullptr, SHM_RDONLY);
            if (reinterpret_cast<std::intptr_t>(data) == -1)
                return std::string("removed");
            std::string all(static_cast<const char*>(data), sizeof(Board));
            shmdt(data);
            return all;
        };
        const std::string before = content();
        {
            EXPECT_EQ(NoRun, WhyNot([](const std::string&) { throw std::runtime_error("seen"); }));
            Publisher publisher(m_manifest);
            EXPECT_THAT(Segments(), ElementsAre("0", "1"));
            EXPECT_EQ("finished: 0 of 0 files, 0 B of 0 B in 0:00",
                      Watch([&](const std::string&) { publisher.Finish(); }, Impatient));
        }
        EXPECT_THAT(Segments(), ElementsAre("0"));
        EXPECT_EQ(id, Find(0));
        EXPECT_EQ(before, content());
        EXPECT_EQ(locks, Locks());
    }

    /// Gives the first place's segment to a user.
    void GiveTo(uid_t user) const {
        shmid_ds status{};
        ASSERT_EQ(0, shmctl(Find(0), IPC_STAT, &status));
        status.shm_perm.uid = user;
        ASSERT_EQ(0, shmctl(Find(0), IPC_SET, &status));
    }

private:
    std::vector<std::unique_ptr<unsigned char, int (*)(const void*)>> m_foreign;
};

TEST_F(ManifestWatchPlace, IsTakenOverByALaterRunAndTheEarlierEndsCleanly) {
    Publisher first(m_manifest);
    first.Show({1, 1, 0, 1});
    Publisher second(m_manifest);
    second.Show({2, 2, 0, 2});
    EXPECT_THAT(Segments(), ElementsAre("0"));
    EXPECT_THAT(Locks(), SizeIs(1)); // only the second one's
    first.Show({1, 1, 1, 1});
    first.Finish();
    EXPECT_THAT(Segments(), ElementsAre("0"));
    EXPECT_THAT(Locks(), SizeIs(1));
    EXPECT_EQ("finished: 2 of 2 files, 0 B of 2 B in 0:00", Watch([&](const std::string& line) {
                  EXPECT_EQ("2 of 2 files, 0 B of 2 B", line);
                  second.Finish();
              }));
    ExpectNothingLeft();
}

TEST_F(ManifestWatchPlace, StaysInSightOfThoseWhoWatchTheEarlierRun) {
    Publisher first(m_manifest);
    std::unique_ptr<Publisher> second;
    Lines lines;
    EXPECT_EQ("finished: 1 of 1 files, 0 B of 1 B in 0:00", Watch([&](const std::string& line) {
                  lines.push_back(line);
                  if (lines.size() > 1)
                      return first.Finish();
                  second = std::make_unique<Publisher>(m_manifest);
                  first.Show({1, 1, 0, 1});
              }));
    EXPECT_THAT(lines, ElementsAre("looking for files", "1 of 1 files, 0 B of 1 B"));
    second->Finish();
    first.Finish(); // which has nothing left to do
    ExpectNothingLeft();
}

TEST_F(ManifestWatchPlace, EndsCleanlyAlsoWhenTheLaterRunEndedFirst) {
    Publisher first(m_manifest);
    Publisher(m_manifest).Finish();
    ExpectNothingLeft();
    first.Show({1, 1, 0, 1});
    first.Finish();
    ExpectNothingLeft();
}

TEST_F(ManifestWatchPlace, OfAnotherProgramIsLeftAlone) {
    ExpectLeftAlone(
        [](Board& board) { std::memset(static_cast<void*>(&board), 0xA5, Segment::Size); });
}

TEST_F(ManifestWatchPlace, ThatNobodyHasSignedIsLeftAlone) {
    ExpectLeftAlone([](Board&) {});
}

TEST_F(ManifestWatchPlace, OfARunForAnotherNameIsLeftAlone) {
    ExpectLeftAlone([this](Board&) { Sign(1); });
}

TEST_F(ManifestWatchPlace, OfAnotherVersionIsLeftAlone) {
    ExpectLeftAlone([this](Board& board) {
        Sign(0);
        ++board.head.version;
    });
}

TEST_F(ManifestWatchPlace, ThatWasGivenToAnotherUserIsLeftAlone) {
    ExpectLeftAlone([this](Board&) {
        Sign(0);
        GiveTo(Unprivileged::Nobody);
    });
}

// Anybody can write what a run writes, and even make the superuser its owner.
TEST_F(ManifestWatchPlace, ThatAnotherUserHasForgedIsLeftAlone) {
    const uid_t user = geteuid();
    const Publisher robbed(m_manifest);
    const Board& board = BoardAt(0);
    ASSERT_EQ(0, shmctl(Find(0), IPC_RMID, nullptr));
    const key_t key = KeyOf(Name(0));
    {
        const Unprivileged unprivileged;
        if (unprivileged.Failed() || user == Unprivileged::Nobody)
            GTEST_SKIP() << Unprivileged::WhyFailed;
        ASSERT_NE(-1, shmget(key, Segment::Size, IPC_CREAT | IPC_EXCL | 0666));
    }
    void* const forged = shmat(Find(0), nullptr, 0);
    std::memcpy(forged, static_cast<const void*>(&board), sizeof board);
    shmdt(forged);
    ExpectFirstPlaceLeftAlone();
    GiveTo(user);
    ExpectFirstPlaceLeftAlone();
    EXPECT_THAT(Locks(), SizeIs(1)); // of the run that was robbed
}

TEST_F(ManifestWatchPlace, ThatAnotherUserHasMadeAndNobodySignedIsLeftAlone) {
    const uid_t user = geteuid();
    const key_t key = KeyOf(Name(0));
    Child child([key] {
        const Unprivileged unprivileged;
        EXPECT_NE(-1, shmget(key, Segment::Size, IPC_CREAT | IPC_EXCL | 0666));
    });
    shmid_ds status{};
    ASSERT_EQ(0, shmctl(Find(0), IPC_STAT, &status));
    if (status.shm_perm.cuid == user)
        GTEST_SKIP() << Unprivileged::WhyFailed;
    child.Kill();
    GiveTo(user);
    ExpectFirstPlaceLeftAlone();
}

TEST_F(ManifestWatchPlace, WithALocksNameThatMayBeAnybodysIsLeftAlone) {
    const std::string own = "/manifest-" + std::to_string(getpid());
    for (const std::string& name : {std::string(), std::string("/else"), LockName(getppid()),
                                    own + "0-12", own + "-1/2", own + "-1 2"}) {
        ExpectLeftAlone([&](Board& board) {
            Sign(0);
            std::memset(board.head.lockName, 0, sizeof board.head.lockName);
            name.copy(board.head.lockName, sizeof board.head.lockName);
        });
        CleanUp();
    }
}

TEST_F(ManifestWatchPlace, WithALocksNameWithoutAnEndIsLeftAlone) {
    ExpectLeftAlone([this](Board& board) {
        Sign(0);
        const std::size_t length = std::strlen(board.head.lockName);
        std::memset(board.head.lockName + length, '1', sizeof board.head.lockName - length);
    });
}

TEST_F(ManifestWatchPlace, ThatItsMakerDidNotLiveToSignIsTakenOver) {
    for (const std::uint64_t magic : {std::uint64_t{0}, Manifest::Signing}) {
        MakeAndDie([magic](Board& board) { board.magic.store(magic); });
        Publisher publisher(m_manifest);
        EXPECT_THAT(Segments(), ElementsAre("0"));
        publisher.Finish();
        ExpectNothingLeft();
    }
}

TEST_F(ManifestWatchPlace, OfAnotherProgramThatIsGoneIsLeftAlone) {
    MakeAndDie([](Board& board) { board.last.bytes = 1; });
    ExpectFirstPlaceLeftAlone();
}

TEST_F(ManifestWatchPlace, OfAnotherSizeIsLeftAlone) {
    MakeAndDie([](Board&) {}, Segment::Size + 1);
    ExpectFirstPlaceLeftAlone();
}

TEST_F(ManifestWatchPlace, ThatIsAnothersJustWhenItIsOpenedIsLeftAlone) {
    MakeForeign(0, [](Board&) {});
    g_opening = [this] {
        shmctl(Find(0), IPC_RMID, nullptr);
        MakeForeign(
            0, [](Board&) {}, 2 * Segment::Size);
    };
    Segment segment;
    EXPECT_FALSE(segment.Open(Name(0), Segment::Access::Write));
    EXPECT_EQ(nullptr, segment.Data());
    shmid_ds status{};
    ASSERT_EQ(0, shmctl(Find(0), IPC_STAT, &status));
    EXPECT_EQ(1U, status.shm_nattch); // by whom it is
}

TEST_F(ManifestWatchPlace, ThatADeadRunLeftIsFreedAlsoWhenItIsNotTheFirst) {
    MakeForeign(0, [](Board&) {});
    Child run([this] { EXPECT_TRUE((new Publisher(m_manifest))->IsPublic()); });
    Expect(run.Pid());
    run.Kill();
    ASSERT_EQ(0, shmctl(Find(0), IPC_RMID, nullptr));
    EXPECT_THAT(Segments(), ElementsAre("1"));
    EXPECT_EQ("the run was killed", WhyNot());
    Publisher(m_manifest).Finish();
    ExpectNothingLeft();
}

TEST_F(ManifestWatchPlace, OfADeadRunHidesNoLiveOne) {
    MakeForeign(0, [](Board&) {});
    Publisher publisher(m_manifest);
    ASSERT_EQ(0, shmctl(Find(0), IPC_RMID, nullptr));
    MakeAndDie([this](Board&) { Sign(0); });
    EXPECT_THAT(Segments(), ElementsAre("0", "1"));
    EXPECT_EQ("finished: 0 of 0 files, 0 B of 0 B in 0:00",
              Watch([&](const std::string&) { publisher.Finish(); }));
}

TEST_F(ManifestWatchPlace, IsFreeAgainWhenNoLockCanBeMade) {
    g_makeLock = [] { return false; };
    EXPECT_FALSE(Publisher(m_manifest).IsPublic());
    EXPECT_THAT(Segments(), IsEmpty());
    g_makeLock = []() -> bool { throw std::bad_alloc(); };
    EXPECT_THROW(Publisher{m_manifest}, std::bad_alloc);
    EXPECT_THAT(Segments(), IsEmpty());
}

TEST_F(ManifestWatchPlace, IsGivenUpOnlyWhenTheLockIsGone) {
    Publisher publisher(m_manifest);
    Lines left{"not removed"};
    g_removing = [&](const shmid_ds&) { left = Locks(); };
    publisher.Finish();
    EXPECT_THAT(left, IsEmpty());
}

TEST_F(ManifestWatchPlace, TellsThatItsLockIsGoneWhenItIsTakenOverAndAtTheEnd) {
    const Publisher first(m_manifest);
    const Board& earlier = BoardAt(0);
    Publisher second(m_manifest);
    const Board& later = BoardAt(0);
    EXPECT_EQ(1U, earlier.lockGone.load());
    EXPECT_EQ(0U, later.lockGone.load());
    second.Finish();
    EXPECT_EQ(1U, later.lockGone.load());
}

TEST_F(ManifestWatchPlace, WhereAllAreTakenTheJobIsDoneUnseen) {
    for (int place = 0; place < Manifest::Places; ++place)
        MakeForeign(place, [](Board&) {});
    EXPECT_FALSE(Publisher(m_manifest).IsPublic());
    Make("file", "12345");
    const Outcome outcome = Run({"create", "out.xml", "file"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.out + outcome.err);
    EXPECT_TRUE(fs::exists(m_manifest));
    EXPECT_EQ(NoRun, WhyNot());
    EXPECT_THAT(Segments(), SizeIs(Manifest::Places));
}

TEST_F(ManifestWatchPlace, WhoseLockIsGoneIsNotWatchedAndTheLockNotMadeAnew) {
    const Publisher publisher(m_manifest);
    Board& board = BoardAt(0);
    board.lockGone.store(1); // as the next run does just before it takes the place over
    { const Vorn::Mutex lock(board.head.lockName); }
    EXPECT_EQ(NoRun, WhyNot());
    EXPECT_THAT(Locks(), IsEmpty());
}

TEST_F(ManifestWatchPlace, OfARunThatHasEndedNeedsNoLock) {
    MakeForeign(0, [this](Board& board) { // it was killed before it could take the segment away
        Sign(0);
        board.last.measuring = 1;
        board.last.files = 7;
        board.last.allFiles = 7;
        board.lockGone.store(1);
        board.outcome.store(Manifest::Outcome::Finished);
    });
    EXPECT_EQ("finished: 7 of 7 files, 0 B of 0 B in 0:00", Watch());
    EXPECT_THAT(Locks(), IsEmpty());
}

TEST_F(ManifestWatchPlace, OfTheVeryFirstSegmentIsRemovedToo) {
    const pid_t child = fork();
    if (child == 0) {
        if (unshare(CLONE_NEWIPC) != 0)
            _exit(2);
        const bool shown = Publisher(m_manifest).IsPublic();
        shm_info info{};
        shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&info));
        _exit(shown && info.used_ids == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 2)
        GTEST_SKIP() << "no System V objects of one's own can be had here";
    EXPECT_EQ(0, WEXITSTATUS(status));
}

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
    g_removing = [&](const shmid_ds& status) { mappings.push_back(status.shm_nattch); };
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
