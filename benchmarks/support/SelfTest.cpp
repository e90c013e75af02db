// SPDX-License-Identifier: MIT
// Rows that show whether the harness does what it says.

#include <string>

#include <Bases/Impl/Route/Route.h>
#include <support/Row.h>

namespace Bench {

namespace {

std::size_t Work(std::size_t rounds) {
    std::size_t sum = 0;
    for (std::size_t i = 0; i < rounds; ++i)
        benchmark::DoNotOptimize(sum += i);
    return 1;
}

const Row Slower("slower peer", {Count(1000)}, {"twenty times", "as quick"}, [](Run& run) {
    run.Ours([&] { return Work(run.Size()); });
    run.Peer([&] { return Work(20 * run.Size()); });
    run.Peer([&] { return Work(run.Size()); });
});

const Row PerItem("per item", {Count(1000)}, {"each"}, [](Run& run) {
    run.Items(run.Size());
    run.Ours([&] { return Work(run.Size()); });
    run.Peer([&] { return Work(run.Size()); });
});

const Row Routed("slower on the portable route", {Count(1000)}, {"never slower"}, [](Run& run) {
    run.Ours([&] {
        const bool isPortable = Vorn::CurrentRoute() == Vorn::Route::Portable;
        return Work(isPortable ? 20 * run.Size() : run.Size());
    });
    run.Peer([&] { return Work(run.Size()); });
});

const Row Different("differ at once", {One()}, {"other"}, [](Run& run) {
    run.Ours([] { return 1; });
    run.Peer([] { return 2; });
});

const Row LaterDifferent("differ later", {One()}, {"other"}, [](Run& run) {
    run.Ours([calls = 0]() mutable { return ++calls; });
    run.Peer([calls = 0]() mutable { return ++calls < 100 ? calls : 0; });
});

const FreshRow ChildDifferent("differ in children", {One()}, {"other"}, [](Run& run) {
    std::string text;
    run.Ours([&] { text = "a"; }, [&] { return text; });
    run.Peer([&] { text = "b"; }, [&] { return text; });
});

const Row Missing("a contender less", {One()}, {"named but not entered"},
                  [](Run& run) { run.Ours([] { return 1; }); });

int* volatile g_kept = nullptr;

const HeapCurve Heap("heap", {Count(1'000'000)}, {"nothing"}, [](Run& run) {
    run.Ours([&] {
        g_kept = new int[run.Size()];
        return true;
    });
    run.Peer([] { return true; });
});

} // namespace

} // namespace Bench
