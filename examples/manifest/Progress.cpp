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

// Opening a file takes about as long as reading this many bytes.
constexpr double BytesForAFile = 32.0 * 1024;

double WorkOf(unsigned long long files, unsigned long long bytes) {
    return static_cast<double>(files) * BytesForAFile + static_cast<double>(bytes);
}

// In floating point, as the bytes times a thousand may overflow.
std::string FormatRate(const Advance& advance, unsigned long elapsedMs) {
    constexpr double Fastest = 9e18; // bytes; the most that DescribeSize takes
    const double seconds = static_cast<double>(elapsedMs) / 1000;
    const double perSecond = std::min(static_cast<double>(advance.bytes) / seconds, Fastest);
    return DescribeSize(static_cast<unsigned long long>(perSecond)) + "/s";
}

std::string FormatTimeLeft(const Advance& advance, unsigned long long allBytes,
                           unsigned long elapsedMs) {
    constexpr double Longest = 1e9; // seconds; an early estimate may fit no integer
    const double done = WorkOf(advance.files, advance.bytes);
    const double all = WorkOf(std::max(advance.files, advance.allFiles), allBytes);
    const double left = static_cast<double>(elapsedMs) / 1000 * (all - done) / done;
    return DescribeDuration(static_cast<unsigned long long>(std::min(left, Longest))) + " left";
}

} // namespace

std::string FormatProgress(const Advance& advance, unsigned long elapsedMs) {
    const unsigned long long allBytes = std::max(advance.bytes, advance.allBytes); // files may grow
    std::string line = std::to_string(advance.files) + " of " + std::to_string(advance.allFiles) +
                       " files, " + DescribeSize(advance.bytes) + " of " + DescribeSize(allBytes);
    if (advance.bytes > 0 && elapsedMs > 0)
        line += ", " + FormatRate(advance, elapsedMs) + ", " +
                FormatTimeLeft(advance, allBytes, elapsedMs);
    return line;
}

Progress::Progress(bool wanted)
    : m_terminal(wanted && isatty(STDERR_FILENO) == 1), m_begin(Vorn::timer_ms()) {}

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
