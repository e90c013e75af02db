// SPDX-License-Identifier: MIT
#include "Inventory.h"

#include <algorithm>
#include <atomic>
#include <list>
#include <new>
#include <stdexcept>
#include <string_view>

#include <Bases/Thread.h>

#include "Identifiers.h"
#include "ReadFile.h"

namespace Manifest {

using Examples::ReadInPieces;

namespace {

constexpr unsigned int ReportIntervalMs = 200;

bool IsToBeRead(const Entry& entry) { return !entry.failure && entry.kind == Kind::File; }

Advance Total(const std::vector<Entry>& entries) {
    Advance total;
    for (const Entry& entry : entries) {
        if (!IsToBeRead(entry))
            continue;
        ++total.allFiles;
        total.allBytes += entry.bytes;
    }
    return total;
}

/// The entries, of which every worker takes the next until there is none.
class Work {
public:
    Work(std::vector<Entry>& entries, const Measuring& measuring)
        : m_entries(entries), m_measuring(measuring), m_working(measuring.workers) {}

    /// Returns false when it could not be prepared.
    bool Prepare() {
        return m_done.Create(Vorn::EventKind::ManualReset, Vorn::EventState::NotSet, nullptr);
    }

    /// The task of a worker.
    void Run(Vorn::ThreadTaskPool& worker) {
        try {
            MeasureAll();
        } catch (const std::bad_alloc&) {
            m_outOfMemory = true;
            Stop();
        }
        // An idle worker checks for a stop only ten times a second; a stop that a task requests is
        // immediate.
        worker.StopThreadEvent();
        if (--m_working == 0)
            m_done.Set();
    }

    /// Makes the workers end soon.
    void Stop() { m_stopped = true; }

    /// Returns true when all workers have ended.
    bool Wait(unsigned int milliseconds) { return m_done.Wait(milliseconds); }

    /// Throws std::bad_alloc when a worker had to give up.
    void Finish() const {
        if (m_outOfMemory)
            throw std::bad_alloc();
    }

    void Count(Advance& advance) const {
        advance.files = m_files;
        advance.bytes = m_bytes;
    }

private:
    void MeasureAll() {
        Hasher hasher(m_measuring.algorithm);
        Identifiers identifiers;
        for (std::size_t i = m_next++; i < m_entries.size() && !m_stopped; i = m_next++) {
            Entry& entry = m_entries[i];
            if (IsToBeRead(entry))
                MeasureContent(entry, hasher);
            if (m_measuring.detail == Detail::All && !entry.failure)
                Identify(entry, identifiers);
        }
    }

    static void Identify(Entry& entry, Identifiers& identifiers) {
        if (!identifiers.Next(entry.details.Own().id))
            entry.failure = "no identifier could be made";
    }

    // In one pass, so that counts and digest are of the same content.
    void MeasureContent(Entry& entry, Hasher& hasher) {
        const unsigned long long expected = entry.bytes;
        entry.bytes = 0;
        const auto add = [this, &entry, &hasher](std::string_view piece) {
            entry.bytes += piece.size();
            entry.lines +=
                static_cast<unsigned long long>(std::count(piece.begin(), piece.end(), '\n'));
            hasher.Add(piece);
            m_bytes += piece.size();
            return !m_stopped;
        };
        entry.failure = ReadInPieces(entry.name, add, expected);
        entry.digest = hasher.Finish();
        ++m_files;
    }

    std::vector<Entry>& m_entries;
    const Measuring& m_measuring;
    std::atomic<std::size_t> m_next{0};
    std::atomic<unsigned int> m_working;
    std::atomic<std::size_t> m_files{0};
    std::atomic<unsigned long long> m_bytes{0};
    std::atomic<bool> m_stopped{false};
    std::atomic<bool> m_outOfMemory{false};
    Vorn::Event m_done;
};

// StartThread returns true even when the platform refuses the thread; no task would ever run then.
bool Start(Vorn::ThreadTaskPool& worker) {
    return worker.StartThread(Vorn::ThreadStart::Running) && worker.GetThreadId() != 0;
}

/// Threads that have to end before what they work on.
class Workers {
public:
    explicit Workers(Work& work) : m_work(work) {}
    ~Workers() { m_work.Stop(); } // the pools wait for their tasks
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    /// Throws when one cannot be started.
    void Start(unsigned int count) {
        for (unsigned int i = 0; i < count; ++i)
            if (!Manifest::Start(m_pools.emplace_back()))
                throw std::runtime_error("no worker thread could be started");
        for (Vorn::ThreadTaskPool& pool : m_pools)
            pool.Post([this, &pool] { m_work.Run(pool); });
    }

private:
    Work& m_work;
    std::list<Vorn::ThreadTaskPool> m_pools;
};

} // namespace

Advance MeasureFiles(std::vector<Entry>& entries, const Measuring& measuring,
                     const std::function<void(const Advance&)>& report) {
    Advance advance = Total(entries);
    Work work(entries, measuring);
    Workers workers(work);
    if (!work.Prepare())
        throw std::runtime_error("no worker thread could be started");
    workers.Start(measuring.workers);
    report(advance);
    while (!work.Wait(ReportIntervalMs)) {
        work.Count(advance);
        report(advance);
    }
    work.Finish();
    work.Count(advance);
    return advance;
}

} // namespace Manifest
