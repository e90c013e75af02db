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

    /// Ends the digest. To be called once, after all was added.
    std::string Text() {
        Vorn::CryptoHashMd5::MD5Digest_struct digest;
        Vorn::CryptoHashMd5::MD5Final(&digest, &m_context);
        return Vorn::CryptoHashMd5::MD5DigestToBase16(digest);
    }

private:
    char m_context[88];
};

// In one go, so that the numbers and the digest are those of the same content.
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

// StartThread is content also when the platform refuses the thread; nobody would ever run a task.
bool Start(Vorn::ThreadTaskPool& pool) {
    return pool.StartThread(Vorn::ThreadStart::Running) && pool.GetThreadId() != 0;
}

} // namespace

Advance MeasureFiles(std::vector<Entry>& entries,
                     const std::function<void(const Advance&)>& report) {
    Advance advance = Total(entries);
    Done done;
    Vorn::Event measured;
    Vorn::ThreadTaskPool pool; // behind what its tasks use, so that it is gone first
    if (!measured.Create(Vorn::EventKind::ManualReset, Vorn::EventState::NotSet, nullptr) ||
        !Start(pool))
        throw std::runtime_error("no worker thread could be started");

    report(advance);
    for (Entry& entry : entries)
        pool.Post([&entry, &done] { Measure(entry, done); });
    // Tasks run in the order in which they were posted: this one comes when all files are measured.
    // An idle worker looks for a stop only ten times a second; asked from a task, it stops at once.
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
