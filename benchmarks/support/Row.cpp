// SPDX-License-Identifier: MIT
#include <support/Row.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

namespace {

constexpr std::size_t MostCompared = 1000;
constexpr std::chrono::milliseconds TimeToCompare(5);

std::string Grouped(std::size_t count) {
    std::string text = std::to_string(count);
    for (std::size_t end = text.size(); end > 3; end -= 3)
        text.insert(end - 3, ",");
    return text;
}

double ProcessSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

[[noreturn]] void Report(int pipe, const std::function<void()>& work,
                         const std::function<std::string()>& result) {
    const double start = ProcessSeconds();
    work();
    const double seconds = ProcessSeconds() - start;
    const ChildReport report{seconds, std::hash<std::string>()(result())};
    _exit(write(pipe, &report, sizeof report) == sizeof report ? EXIT_SUCCESS : EXIT_FAILURE);
}

[[noreturn]] void Die(const char* what) {
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

} // namespace

Size Bytes(std::size_t count) { return {count, std::to_string(count) + " B"}; }
Size KiB(std::size_t count) { return {count << 10, std::to_string(count) + " KiB"}; }
Size MiB(std::size_t count) { return {count << 20, std::to_string(count) + " MiB"}; }
Size Mbit(std::size_t count) { return {count << 20, std::to_string(count) + " Mbit"}; }
Size Count(std::size_t count) { return {count, Grouped(count)}; }
Size One() { return {1, "one"}; }

std::vector<Size> Decades(int last) {
    std::vector<Size> sizes;
    std::size_t count = 1000;
    for (int exponent = 3; exponent <= last; ++exponent, count *= 10)
        sizes.push_back(Count(count));
    return sizes;
}

ChildReport InChild(const std::function<void()>& work, const std::function<std::string()>& result) {
    int ends[2];
    if (pipe(ends) != 0)
        Die("pipe");
    const pid_t child = fork();
    if (child < 0)
        Die("fork");
    if (child == 0)
        Report(ends[1], work, result);
    close(ends[1]);
    ChildReport report{};
    const bool complete = read(ends[0], &report, sizeof report) == sizeof report;
    close(ends[0]);
    waitpid(child, nullptr, 0);
    if (!complete)
        Die("a child that measures ended early");
    return report;
}

std::size_t HeapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Our calls go on until there are enough of them or time is up; the peers' calls are as many.
void Run::Compare(std::size_t contender, const std::function<void()>& call,
                  const std::function<std::string()>& result) {
    if (m_measure == Measure::Heap) // is done once, and what it leaves is kept
        return;
    const auto next = [&] {
        if (m_prepare)
            m_prepare();
        if (m_measure == Measure::FreshProcess)
            return std::to_string(InChild(call, result).result);
        call();
        return result();
    };
    const auto deadline = std::chrono::steady_clock::now() + TimeToCompare;
    if (contender == 0) {
        do
            m_comparison.Expect(next());
        while (m_comparison.Calls() < MostCompared && std::chrono::steady_clock::now() < deadline);
        return;
    }
    for (std::size_t i = 0; i < m_comparison.Calls(); ++i) {
        if (!m_comparison.Matches(i, next()))
            m_comparison.Fail();
    }
}

void Run::MeasureHeap(const std::function<void()>& work) {
    for (auto _ : *m_state) {
        const std::size_t before = HeapInUse();
        work();
        m_state->counters["bytes"] = static_cast<double>(HeapInUse() - before);
    }
}

void Run::TimeInChild(const std::function<void()>& work) {
    for (auto _ : *m_state)
        m_state->SetIterationTime(InChild(work, [] { return std::string(); }).seconds);
}

void Run::TimePrepared(const std::function<void()>& work) {
    for (auto _ : *m_state) {
        m_state->PauseTiming();
        m_prepare();
        m_state->ResumeTiming();
        work();
    }
}

std::vector<RowData>& AllRows() {
    static std::vector<RowData> rows;
    return rows;
}

} // namespace Bench
