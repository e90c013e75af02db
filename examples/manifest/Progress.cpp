// SPDX-License-Identifier: MIT
#include "Progress.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <sys/ioctl.h>
#include <unistd.h>

#include <Bases/Time.h>

#include "Describe.h"

namespace Manifest {

namespace {

// 80 columns where the terminal does not report its width.
std::size_t LineWidth() {
    constexpr std::size_t Usual = 80;
    winsize size{};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return (known ? size.ws_col : Usual) - 1;
}

// In floating point, as the bytes times a thousand may overflow.
std::string FormatRate(const Advance& advance, unsigned long long allBytes,
                       unsigned long elapsedMs) {
    constexpr double Fastest = 9e18; // bytes; the most that DescribeSize takes
    const double perSecond = std::min(
        static_cast<double>(advance.bytes) * 1000 / static_cast<double>(elapsedMs), Fastest);
    constexpr double Longest = 1e9; // seconds; an early estimate may fit no integer
    const double left =
        std::min(static_cast<double>(allBytes - advance.bytes) / perSecond, Longest);
    return DescribeSize(static_cast<unsigned long long>(perSecond)) + "/s, " +
           DescribeDuration(static_cast<unsigned long long>(left)) + " left";
}

} // namespace

std::string FormatProgress(const Advance& advance, unsigned long elapsedMs) {
    const unsigned long long allBytes = std::max(advance.bytes, advance.allBytes); // files may grow
    std::string line = std::to_string(advance.files) + " of " + std::to_string(advance.allFiles) +
                       " files, " + DescribeSize(advance.bytes) + " of " + DescribeSize(allBytes);
    if (advance.bytes > 0 && elapsedMs > 0)
        line.append(", ").append(FormatRate(advance, allBytes, elapsedMs));
    return line;
}

Progress::Progress() : m_terminal(isatty(STDERR_FILENO) == 1), m_begin(Vorn::timer_ms()) {}

Progress::~Progress() {
    if (m_length == 0)
        return;
    Write("");
    std::fputc('\r', stderr);
}

void Progress::Show(const Advance& advance) {
    const unsigned long now = Vorn::timer_ms(); // the clock may have been set back
    Show(FormatProgress(advance, now > m_begin ? now - m_begin : 0));
}

void Progress::Show(const std::string& line) {
    if (m_terminal)
        Write(line);
}

void Progress::Write(std::string line) {
    line.resize(std::min(line.size(), LineWidth()));
    const std::size_t length = std::exchange(m_length, line.size());
    line.append(length - std::min(length, line.size()),
                ' '); // over the rest of the line before
    std::fprintf(stderr, "\r%s", line.c_str());
}

} // namespace Manifest
