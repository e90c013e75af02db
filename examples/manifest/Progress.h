#ifndef VORN_BASES_EXAMPLES_MANIFEST_PROGRESS_H
#define VORN_BASES_EXAMPLES_MANIFEST_PROGRESS_H

#include <cstddef>
#include <string>

#include "Inventory.h"

namespace Manifest {

/// Returns a line such as "12 of 345 files, 1.2 MiB of 3.4 MiB, 600.0 KiB/s, 0:03 left". Rate and
/// time left are missing until there is something to calculate them from.
std::string FormatProgress(const Advance& advance, unsigned long elapsedMs);

/// A line on standard error that tells how far a measurement has come, as long as the object lives.
/// Nothing is written when that is no terminal.
class Progress {
public:
    Progress();

    /// Takes the line away.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Returns true when there is a terminal to write to.
    bool IsOnTerminal() const { return m_terminal; }

    /// Replace the line; what has no room in the terminal's width is cut off.
    void Show(const Advance& advance);
    void Show(const std::string& line);

private:
    void Write(std::string line);

    bool m_terminal;
    unsigned long m_begin;
    std::size_t m_length = 0; // of the line that is there
};

} // namespace Manifest

#endif
