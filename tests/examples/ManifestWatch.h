// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_EXAMPLES_MANIFEST_WATCH_H
#define VORN_BASES_TESTS_EXAMPLES_MANIFEST_WATCH_H

#include "support/Child.h"
#include "support/ExampleTest.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/shm.h>
#include <sys/types.h>

#include <Bases/Thread.h>

#include "Board.h"
#include "Segment.h"
#include "Watch.h"

namespace VornTest {

using Lines = std::vector<std::string>;

// Watchers that waste no time of a test's; news are always there before they look for them.
constexpr Manifest::Patience Quick{1, 20, 60000};
constexpr Manifest::Patience Impatient{1, 5, 50};

constexpr const char* NoRun = "no run to watch; it must be one of the same user, with the "
                              "privilege to write shared memory";
constexpr const char* Locked = "the counters are locked";

/// The key of a name, computed independently of the library.
key_t KeyOf(const std::string& name);

/// Every test has a manifest's path, and so a segment's names, of its own. What runs leave behind
/// is removed at the end, however the test ends.
class ManifestWatch : public ExampleTest {
protected:
    using Show = std::function<void(const std::string&)>;

    ManifestWatch();

    void SetUp() override;

    // Removes abandoned locks by their names, which are in the segments.
    void CleanUp() const;

    /// The arguments, and then the name so many times that what a program says about each is more
    /// than a pipe holds.
    static Lines Repeat(Lines arguments, const std::string& name);

    /// From now on no time passes for publishers of this thread.
    static void StopTheClock();

    // The locks of these processes are the test's.
    void Expect(pid_t process);

    Lines Locks() const;

    std::string Name(int place) const;
    int Find(int place) const;
    Lines Segments() const;

    void ExpectNothingLeft() const;

    /// Watches until the end. `each` is called with every line that is shown.
    std::string Watch(
        const Show& each = [](const std::string&) {},
        const Manifest::Patience& patience = Quick) const;

    /// Returns why watching ended before the run did.
    std::string WhyNot(
        const Show& each = [](const std::string&) {},
        const Manifest::Patience& patience = Quick) const;

    /// Watches until a line begins with the text; the run may still have to begin. Returns false
    /// when that takes longer than a minute.
    bool Sees(const std::string& begin) const;

    Manifest::Board& BoardAt(int place);

    // Not destroyed, as that would remove the lock's name; reachable to the end.
    Vorn::Mutex& OpenLock();

    // As a watcher or a run does that is killed at the wrong moment.
    void TakeLock();

    // What another process does just before the library opens a segment, and what is to be seen
    // just before a segment that has a name is removed.
    static void BeforeOpening(const std::function<void()>& act);
    static void BeforeRemoving(const std::function<void(const shmid_ds&)>& look);

    const std::string m_manifest = m_dir.File("out.xml");

private:
    LastWill m_cleaner;
    Lines m_locks;
    std::vector<std::unique_ptr<Manifest::Segment>> m_segments;
};

} // namespace VornTest

#endif
