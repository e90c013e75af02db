// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_PROGRESS_H
#define VORN_BASES_EXAMPLES_MANIFEST_PROGRESS_H

#include <cstddef>
#include <string>

#include "Inventory.h"

namespace Manifest {

/// Returns a line such as "12 of 345 files, 1.2 MiB of 3.4 MiB, 600.0 KiB/s, 0:03 left". Rate and
/// time left are omitted while nothing has been read. For the time left a file counts like some
/// bytes more than it has: thousands of small files take their time, too.
std::string FormatProgress(const Advance& advance, unsigned long elapsedMs);

/// A progress line on standard error, shown for the lifetime of the object if it is wanted and that
/// is a terminal.
class Progress {
public:
    explicit Progress(bool wanted);

    /// Clears the line.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Returns true when the line is shown.
    bool IsOnTerminal() const { return m_terminal; }

    /// Replace the line, cut to the terminal's width.
    void Show(const Advance& advance);
    void Show(const std::string& line);

private:
    void Write(std::string line);

    bool m_terminal;
    unsigned long m_begin;
    std::size_t m_length = 0; // of the line shown
};

} // namespace Manifest

#endif
