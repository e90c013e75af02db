#ifndef VORN_BASES_EXAMPLES_MANIFEST_WATCH_H
#define VORN_BASES_EXAMPLES_MANIFEST_WATCH_H

#include <functional>
#include <string>

namespace Manifest {

/// How long a watcher is patient, in milliseconds.
struct Patience {
    unsigned int pause = 200;      // between two looks
    unsigned int lock = 1000;      // for the lock, before it says that it does not get it
    unsigned int silence = 600000; // for news from a run that measures files
};

/// Watches the run that makes or checks that manifest, until it has finished. `show` is called with
/// a line of text at the beginning and for every change. Returns the last line, which `show` has
/// not been called with.
///
/// Throws std::runtime_error with the reason when there is no run, when it fails or is killed, and
/// when nothing is heard of it for too long. Never blocks: whoever holds the lock may have been
/// killed. It then tells what it saw last, and the end, which needs no lock.
///
/// A run that was killed is known by its process, which is gone; but another process may have got
/// its number meanwhile. So there is a limit to the silence of a run that measures, which has news
/// all the time. It has none while it looks for files and while it saves, and takes as long as it
/// takes.
///
/// Note: the library tells on standard output when the lock cannot be opened ("[ThreadSync] Mutex
/// open failure.").
std::string WatchRun(const std::string& manifest,
                     const std::function<void(const std::string&)>& show,
                     const Patience& patience = {});

} // namespace Manifest

#endif
