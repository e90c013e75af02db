// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_BENCHMARKS_SUPPORT_ROW_H
#define VORN_BASES_BENCHMARKS_SUPPORT_ROW_H

// A row of the table: an operation of the library beside what a program could use instead.
//
//     const Row Md5("MD5", {Bytes(64), MiB(1)}, {"OpenSSL"}, [](Run& run) {
//         const std::string data = RandomBytes(run.Size());
//         run.Ours([&] { return OurDigest(data); });
//         run.Peer([&] { return TheirDigest(data); });
//     });
//
// The body prepares the input and enters the contenders: ours first, then the peers in the order of
// their names. It runs again for every repetition, and each time one contender is measured. Before
// that, once per process, the contenders' results are compared, call by call; a row whose
// contenders disagree gives an error and no figure.
//
// What the work returns is its result. Where that is not what is to be compared, or there is
// nothing, a second function gives the result of the latest call; it is never timed.

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace Bench {

struct Size {
    std::size_t value;
    std::string label;
};

Size Bytes(std::size_t count);
Size KiB(std::size_t count);
Size MiB(std::size_t count);
Size Mbit(std::size_t count); // 2^20 bits
Size Count(std::size_t count);
Size One(); // for operations that have no size

// 10^3 to 10^last, for curves.
std::vector<Size> Decades(int last);

enum class Measure {
    ThreadTime,   // CPU time of the thread that runs the row, which other programs hardly disturb
    WallTime,     // for work that several threads share
    FreshProcess, // CPU time of a child that does the work once: the first time for its heap
    Heap,         // bytes of heap that one call leaves in use
};

// The results of our calls, to compare the peers' with.
class Comparison {
public:
    void Expect(std::string result) { m_expected.push_back(std::move(result)); }
    bool Matches(std::size_t call, const std::string& result) const {
        return m_expected[call] == result;
    }
    std::size_t Calls() const { return m_expected.size(); }
    void Fail() { m_failed = true; }
    bool HasFailed() const { return m_failed; }

private:
    std::vector<std::string> m_expected;
    bool m_failed = false;
};

template <typename Value>
std::string AsText(const Value& value) {
    if constexpr (std::is_arithmetic_v<Value>)
        return std::to_string(value);
    else if constexpr (std::is_convertible_v<Value, std::string_view>)
        return std::string(std::string_view(value));
    else
        return std::string(reinterpret_cast<const char*>(std::data(value)),
                           std::size(value) * sizeof *std::data(value));
}

// Does the work in a child process. The result is given by its hash.
struct ChildReport {
    double seconds;
    std::size_t result;
};
ChildReport InChild(const std::function<void()>& work, const std::function<std::string()>& result);

std::size_t HeapInUse();

class Run {
public:
    // With a state, measures the selected contender; without one, compares all of them.
    Run(std::size_t size, Measure measure, Comparison& comparison, benchmark::State* state,
        std::size_t selected)
        : m_size(size), m_measure(measure), m_comparison(comparison), m_state(state),
          m_selected(selected) {}

    std::size_t Size() const { return m_size; }

    // One call of the work deals with that many items, and figures are per item.
    void Items(std::size_t items) { m_items = items; }

    // Done before every call of the work, untimed. For work of milliseconds and more: stopping the
    // clock takes a microsecond.
    void Before(std::function<void()> prepare) { m_prepare = std::move(prepare); }

    // Each takes the work and, where there is one, the function that gives its result.
    template <typename... Functions>
    void Ours(Functions... functions) {
        Enter(functions...);
    }
    template <typename... Functions>
    void Peer(Functions... functions) {
        Enter(functions...);
    }

    std::size_t Entered() const { return m_entered; }

private:
    template <typename Work>
    void Enter(Work& work) {
        std::string result;
        Dispatch(
            work, [&] { result = AsText(work()); }, [&] { return result; });
    }

    template <typename Work, typename Result>
    void Enter(Work& work, Result& result) {
        Dispatch(
            work, [&] { work(); }, [&] { return AsText(result()); });
    }

    template <typename Work, typename Call, typename Result>
    void Dispatch(Work& work, Call call, Result result) {
        const std::size_t contender = m_entered++;
        if (m_state == nullptr)
            Compare(contender, call, result);
        else if (contender == m_selected)
            Time(work);
    }

    void Compare(std::size_t contender, const std::function<void()>& call,
                 const std::function<std::string()>& result);

    template <typename Work>
    static void Do(Work& work) {
        if constexpr (std::is_void_v<decltype(work())>) {
            work();
            benchmark::ClobberMemory();
        } else {
            decltype(auto) result = work();
            benchmark::DoNotOptimize(result);
        }
    }

    template <typename Work>
    void Time(Work& work) {
        m_state->counters["items"] = static_cast<double>(m_items);
        if (m_measure == Measure::Heap)
            MeasureHeap([&] { Do(work); });
        else if (m_measure == Measure::FreshProcess)
            TimeInChild([&] { Do(work); });
        else if (m_prepare)
            TimePrepared([&] { Do(work); });
        else
            for (auto _ : *m_state)
                Do(work);
    }

    void MeasureHeap(const std::function<void()>& work);
    void TimeInChild(const std::function<void()>& work);
    void TimePrepared(const std::function<void()>& work);

    std::size_t m_size;
    Measure m_measure;
    Comparison& m_comparison;
    benchmark::State* m_state;
    std::size_t m_selected;
    std::size_t m_entered = 0;
    std::size_t m_items = 1;
    std::function<void()> m_prepare;
};

// What a row is for: the table, a curve of the time per item over sizes, or one of bytes per item.
enum class Purpose { Table, TimeCurve, HeapCurve };

using Body = void (*)(Run& run);

struct RowData {
    Purpose purpose;
    Measure measure;
    std::string operation;
    std::vector<Size> sizes;
    std::vector<std::string> contenders; // ours first
    Body body;
};

// The rows of this program.
std::vector<RowData>& AllRows();

// Adds a row to them.
template <Purpose Of, Measure By>
struct AnyRow {
    AnyRow(std::string operation, std::vector<Size> sizes, std::vector<std::string> peers,
           Body body) {
        peers.insert(peers.begin(), "ours");
        AllRows().push_back(
            {Of, By, std::move(operation), std::move(sizes), std::move(peers), body});
    }
};

using Row = AnyRow<Purpose::Table, Measure::ThreadTime>;
using WallRow = AnyRow<Purpose::Table, Measure::WallTime>;
using FreshRow = AnyRow<Purpose::Table, Measure::FreshProcess>;
using Curve = AnyRow<Purpose::TimeCurve, Measure::ThreadTime>;
using HeapCurve = AnyRow<Purpose::HeapCurve, Measure::Heap>;

} // namespace Bench

#endif
