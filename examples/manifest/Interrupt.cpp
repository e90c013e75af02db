// SPDX-License-Identifier: MIT
#include "Interrupt.h"

#include <csignal>
#include <initializer_list>

namespace Manifest {

namespace {

volatile std::sig_atomic_t g_noted = 0;

void Note(int signal) { g_noted = signal; }

} // namespace

void NoteInterrupts() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
            continue;
        action = {};
        action.sa_handler = Note;
        action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
        sigaction(signal, &action, nullptr);
    }
}

void ThrowIfInterrupted() {
    if (g_noted != 0)
        throw Interrupted{g_noted};
}

void EndBy(const Interrupted& interrupted) { std::raise(interrupted.signal); }

} // namespace Manifest
