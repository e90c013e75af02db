// SPDX-License-Identifier: MIT
// Runs the rows of a family. Besides Google Benchmark's own options:
//     --row=NAME        only that row, as --benchmark_list_tests names it, up to the size
//     --contender=NAME  only that contender, "ours" or a peer's name
//     --route=NAME      that route of the library
// Each benchmark is named PURPOSE/OPERATION/SIZE/CONTENDER.

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <Bases/Bases.h>
#include <benchmark/benchmark.h>
#include <support/Route.h>
#include <support/Row.h>

namespace Bench {

namespace {

struct Selection {
    std::string row;
    std::string contender;
    std::string route;
};

std::string PurposeName(Purpose purpose) {
    switch (purpose) {
    case Purpose::TimeCurve:
        return "curve";
    case Purpose::HeapCurve:
        return "heap";
    default:
        return "row";
    }
}

bool TakeValue(std::string_view argument, std::string_view option, std::string& value) {
    if (argument.substr(0, option.size()) != option)
        return false;
    value = argument.substr(option.size());
    return true;
}

// Removes our options from the arguments.
Selection TakeSelection(int& argc, char** argv) {
    Selection selection;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        if (!TakeValue(argv[i], "--row=", selection.row) &&
            !TakeValue(argv[i], "--contender=", selection.contender) &&
            !TakeValue(argv[i], "--route=", selection.route))
            argv[kept++] = argv[i];
    }
    argc = kept;
    return selection;
}

// Compares the contenders of a row the first time that it is asked; returns what is wrong.
const std::string& Disagreement(const RowData& row, const Size& size) {
    static std::map<std::string, std::string> known;
    const auto [entry, isNew] = known.try_emplace(row.operation + "/" + size.label);
    if (!isNew)
        return entry->second;
    Comparison comparison;
    Run run(size.value, row.measure, comparison, nullptr, 0);
    row.body(run);
    if (run.Entered() != row.contenders.size())
        entry->second = "the row names other contenders than it enters";
    else if (comparison.HasFailed())
        entry->second = "the contenders' results differ";
    return entry->second;
}

void RunOne(benchmark::State& state, const RowData& row, const Size& size, std::size_t contender) {
    const std::string& problem =
        row.purpose == Purpose::Table ? Disagreement(row, size) : std::string();
    if (!problem.empty()) {
        state.SkipWithError(problem.c_str());
        return;
    }
    Comparison unused;
    Run run(size.value, row.measure, unused, &state, contender);
    row.body(run);
}

std::string NameOf(const RowData& row, const Size& size) {
    return PurposeName(row.purpose) + "/" + row.operation + "/" + size.label;
}

void Register(const RowData& row, const Size& size, std::size_t contender) {
    const std::string name = NameOf(row, size) + "/" + row.contenders[contender];
    auto* const benchmark = benchmark::RegisterBenchmark(
        name.c_str(),
        [&row, &size, contender](benchmark::State& state) { RunOne(state, row, size, contender); });
    if (row.measure == Measure::WallTime)
        benchmark->UseRealTime();
    if (row.measure == Measure::FreshProcess)
        benchmark->UseManualTime();
    if (row.measure == Measure::Heap)
        benchmark->Iterations(1);
}

bool Takes(const std::string& wanted, const std::string& name) {
    return wanted.empty() || wanted == name;
}

void RegisterSelected(const Selection& selection) {
    for (const RowData& row : AllRows()) {
        for (const Size& size : row.sizes) {
            if (!Takes(selection.row, NameOf(row, size)))
                continue;
            for (std::size_t i = 0; i < row.contenders.size(); ++i) {
                if (Takes(selection.contender, row.contenders[i]))
                    Register(row, size, i);
            }
        }
    }
}

} // namespace

} // namespace Bench

int main(int argc, char** argv) {
    const Bench::Selection selection = Bench::TakeSelection(argc, argv);
    Vorn::BasesInit();
    if (!selection.route.empty() && !Bench::TakeRoute(selection.route)) {
        std::fprintf(stderr, "no such route here: %s; there are: %s\n", selection.route.c_str(),
                     Bench::RouteNames().c_str());
        return EXIT_FAILURE;
    }
    benchmark::AddCustomContext("route", Bench::CurrentRouteName());
    benchmark::AddCustomContext("routes", Bench::RouteNames());
    Bench::RegisterSelected(selection);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return EXIT_FAILURE;
    const std::size_t done = benchmark::RunSpecifiedBenchmarks();
    Vorn::BasesRelease();
    return done > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
