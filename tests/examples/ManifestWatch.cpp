// SPDX-License-Identifier: MIT
// Runs of manifest that a test watches, and publishers in their place.

#include "ManifestWatch.h"
#include "fault/Platform.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <forward_list>
#include <stdexcept>
#include <thread>

#include <sys/ipc.h>
#include <sys/time.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Publisher.h"

namespace VornTest {

namespace fs = std::filesystem;

using Manifest::Board;
using Manifest::Patience;
using Manifest::Publisher;
using Manifest::Segment;

key_t KeyOf(const std::string& name) {
    std::uint32_t hash = 5381;
    for (const char c : name)
        hash = hash * 33 + static_cast<std::uint32_t>(static_cast<signed char>(c));
    return static_cast<key_t>(hash);
}

ManifestWatch::ManifestWatch() : ExampleTest(VORN_MANIFEST), m_cleaner([this] { CleanUp(); }) {
    Expect(getpid());
}

Lines ManifestWatch::Repeat(Lines arguments, const std::string& name) {
    arguments.insert(arguments.end(), 2000, name);
    return arguments;
}

void ManifestWatch::StopTheClock() {
    Platform::gettimeofday.Do([](timeval* now, void*) {
        *now = {1000000000, 0};
        return 0;
    });
}

void ManifestWatch::SetUp() {
    if (!Publisher(m_dir.File("probe")).IsPublic())
        GTEST_SKIP() << "publishing needs the privilege to write shared memory";
}

void ManifestWatch::CleanUp() const {
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

void ManifestWatch::Expect(pid_t process) {
    m_locks.push_back("sem.manifest-" + std::to_string(process) + "-");
}

Lines ManifestWatch::Locks() const {
    Lines found;
    for (const fs::directory_entry& entry : fs::directory_iterator("/dev/shm")) {
        const std::string name = entry.path().filename().string();
        const auto begins = [&name](const std::string& lock) { return name.starts_with(lock); };
        if (std::any_of(m_locks.begin(), m_locks.end(), begins))
            found.push_back(name);
    }
    return found;
}

std::string ManifestWatch::Name(int place) const {
    return Manifest::SegmentName(m_manifest, place);
}

int ManifestWatch::Find(int place) const { return shmget(KeyOf(Name(place)), 0, 0); }

Lines ManifestWatch::Segments() const {
    Lines found;
    for (int place = 0; place < Manifest::Places; ++place)
        if (Find(place) != -1)
            found.push_back(std::to_string(place));
    return found;
}

void ManifestWatch::ExpectNothingLeft() const {
    EXPECT_THAT(Segments(), testing::IsEmpty());
    EXPECT_THAT(Locks(), testing::IsEmpty());
}

std::string ManifestWatch::Watch(const Show& each, const Patience& patience) const {
    return Manifest::WatchRun(m_manifest, each, patience);
}

std::string ManifestWatch::WhyNot(const Show& each, const Patience& patience) const {
    try {
        return "not so: " + Watch(each, patience);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

bool ManifestWatch::Sees(const std::string& begin) const {
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

Board& ManifestWatch::BoardAt(int place) {
    m_segments.push_back(std::make_unique<Segment>());
    if (!m_segments.back()->Open(Name(place), Segment::Access::Write))
        throw std::runtime_error("no segment " + Name(place));
    return Manifest::BoardIn(*m_segments.back());
}

Vorn::Mutex& ManifestWatch::OpenLock() {
    static auto& all = *new std::forward_list<Vorn::Mutex>;
    Vorn::Mutex& lock = all.emplace_front();
    EXPECT_TRUE(lock.Open(BoardAt(0).head.lockName));
    return lock;
}

void ManifestWatch::TakeLock() { ASSERT_TRUE(OpenLock().Lock(0)); }

void ManifestWatch::BeforeOpening(const std::function<void()>& act) {
    Platform::shmget.Do([act](key_t key, std::size_t size, int flags) {
        if (size == 0 && (flags & IPC_CREAT) != 0)
            act();
        return shmget(key, size, flags);
    });
}

void ManifestWatch::BeforeRemoving(const std::function<void(const shmid_ds&)>& look) {
    Platform::shmctl.Do([look](int id, int command, shmid_ds* data) {
        shmid_ds status{};
        if (command == IPC_RMID && shmctl(id, IPC_STAT, &status) == 0 &&
            status.shm_segsz == Manifest::Segment::Size)
            look(status);
        return shmctl(id, command, data);
    });
}

} // namespace VornTest
