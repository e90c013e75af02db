// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_WATCH_H
#define VORN_BASES_EXAMPLES_MANIFEST_WATCH_H

#include <functional>
#include <string>

namespace Manifest {

/// A watcher's limits, in milliseconds.
struct Patience {
    unsigned int pause = 200;      // between two looks
    unsigned int lock = 1000;      // for the lock, before it is reported as taken
    unsigned int silence = 600000; // without news from a run that measures files
};

/// Watches the run that creates or verifies that manifest until it finishes. Calls `show` with a
/// line of text at the start and for every change. Returns the last line, without calling `show`.
///
/// Throws std::runtime_error with the reason when there is no run, when it fails or is killed, and
/// when it is silent for too long. Never blocks on the lock, whose holder may have been killed: it
/// then shows what it saw last, and the end, which needs no lock.
///
/// A killed run is recognised by its dead process, unless another process has got its number. So
/// the silence of a run is limited while it measures, when there is news all the time; it is not
/// while the run looks for files or saves, which takes as long as it takes.
///
/// Note: when the lock cannot be opened, the library says so on standard output ("[ThreadSync]
/// Mutex open failure.").
std::string WatchRun(const std::string& manifest,
                     const std::function<void(const std::string&)>& show,
                     const Patience& patience = {});

} // namespace Manifest

#endif
