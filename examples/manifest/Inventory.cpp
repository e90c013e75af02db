// SPDX-License-Identifier: MIT
#include "Inventory.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string_view>

#include <Bases/Crypto.h>
#include <Bases/Thread.h>

#include "ReadFile.h"

namespace Manifest {

using Examples::ReadInPieces;

namespace {

constexpr unsigned int ReportIntervalMs = 200;

/// What the worker has done so far.
struct Done {
    std::atomic<std::size_t> files{0};
    std::atomic<unsigned long long> bytes{0};
};

bool IsToBeRead(const Entry& entry) { return entry.failure.empty() && entry.kind == Kind::File; }

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

/// The MD5 digest of what is added piece by piece.
class Digest {
public:
    Digest() { Vorn::CryptoHashMd5::MD5Init(&m_context); }

    void Add(std::string_view piece) {
        Vorn::CryptoHashMd5::MD5Update(&m_context, piece.data(), piece.size());
    }

    /// Finishes the digest; to be called once.
    std::string Text() {
        Vorn::CryptoHashMd5::MD5Digest_struct digest;
        Vorn::CryptoHashMd5::MD5Final(&digest, &m_context);
        return Vorn::CryptoHashMd5::MD5DigestToBase16(digest);
    }

private:
    char m_context[88];
};

// In one pass, so that counts and digest are of the same content.
void MeasureContent(Entry& entry, Done& done) {
    Digest digest;
    entry.bytes = 0;
    entry.failure = ReadInPieces(entry.name, [&entry, &done, &digest](std::string_view piece) {
        entry.bytes += piece.size();
        entry.lines +=
            static_cast<unsigned long long>(std::count(piece.begin(), piece.end(), '\n'));
        digest.Add(piece);
        done.bytes += piece.size();
    });
    entry.md5 = digest.Text();
    ++done.files;
}

void Measure(Entry& entry, Done& done) {
    if (IsToBeRead(entry))
        MeasureContent(entry, done);
    if (entry.failure.empty() && !entry.id.Generate())
        entry.failure = "no identifier could be made";
}

// StartThread returns true even when the platform refuses the thread; no task would ever run then.
bool Start(Vorn::ThreadTaskPool& pool) {
    return pool.StartThread(Vorn::ThreadStart::Running) && pool.GetThreadId() != 0;
}

} // namespace

Advance MeasureFiles(std::vector<Entry>& entries,
                     const std::function<void(const Advance&)>& report) {
    Advance advance = Total(entries);
    Done done;
    Vorn::Event measured;
    Vorn::ThreadTaskPool pool; // declared last, so that it is destroyed before what its tasks use
    if (!measured.Create(Vorn::EventKind::ManualReset, Vorn::EventState::NotSet, nullptr) ||
        !Start(pool))
        throw std::runtime_error("no worker thread could be started");

    report(advance);
    for (Entry& entry : entries)
        pool.Post([&entry, &done] { Measure(entry, done); });
    // Tasks run in the order posted, so this one runs when all files are measured. An idle worker
    // checks for a stop only ten times a second; a stop that a task requests is immediate.
    pool.Post([&pool, &measured] {
        pool.StopThreadEvent();
        measured.Set();
    });
    while (!measured.Wait(ReportIntervalMs)) {
        advance.files = done.files;
        advance.bytes = done.bytes;
        report(advance);
    }
    pool.StopThread(Vorn::WaitForever, Vorn::ThreadStop::LeaveRunning);
    advance.files = done.files;
    advance.bytes = done.bytes;
    return advance;
}

} // namespace Manifest
