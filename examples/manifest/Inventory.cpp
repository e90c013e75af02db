#include "Inventory.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include <Bases/Thread.h>

#include "ReadFile.h"

namespace Manifest {

namespace {

constexpr unsigned int NoLimit = 0xFFFFFFFF;

void Measure(Entry& entry) {
    entry.failure = ReadInPieces(entry.name, [&entry](std::string_view piece) {
        entry.bytes += piece.size();
        entry.lines +=
            static_cast<unsigned long long>(std::count(piece.begin(), piece.end(), '\n'));
    });
    if (entry.failure.empty() && !entry.id.Generate())
        entry.failure = "no identifier could be made";
}

// StartThread is content also when the platform refuses the thread; nobody would ever run a task.
bool Start(Vorn::ThreadTaskPool& pool) { return pool.StartThread(0) && pool.GetThreadId() != 0; }

} // namespace

std::vector<Entry> MeasureFiles(const std::vector<std::string>& names) {
    std::vector<Entry> entries(names.size());
    Vorn::Event measured;
    Vorn::ThreadTaskPool pool; // behind what its tasks use, so that it is gone first
    if (!measured.Create(1, 0, nullptr) || !Start(pool))
        throw std::runtime_error("no worker thread could be started");

    for (std::size_t i = 0; i < names.size(); ++i) {
        entries[i].name = names[i];
        pool.Post([&entry = entries[i]] { Measure(entry); });
    }
    // Tasks run in the order in which they were posted: this one comes when all files are measured.
    // An idle worker looks for a stop only ten times a second; asked from a task, it stops at once.
    pool.Post([&pool, &measured] {
        pool.StopThreadEvent();
        measured.Set();
    });
    measured.Wait(NoLimit);
    pool.StopThread(NoLimit, 0);
    return entries;
}

} // namespace Manifest
