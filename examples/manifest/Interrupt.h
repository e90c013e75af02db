// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_INTERRUPT_H
#define VORN_BASES_EXAMPLES_MANIFEST_INTERRUPT_H

namespace Manifest {

/// Thrown where a run notices that it is to end, so that what it shares with other processes goes.
struct Interrupted {
    int signal;
};

/// From now on SIGINT, SIGTERM and SIGHUP are noted only, unless they are ignored; a second one of
/// the same kind ends the process at once.
void NoteInterrupts();

/// Throws Interrupted when one was noted.
void ThrowIfInterrupted();

/// Ends the process as the signal would have done, so that a shell sees why. To be called when
/// everything is tidied up.
void EndBy(const Interrupted& interrupted);

} // namespace Manifest

#endif
