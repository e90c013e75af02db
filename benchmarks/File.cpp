// SPDX-License-Identifier: MIT
// Files beside the standard library's and bare system calls. Everything lies below the current
// directory, in its page cache, and stays for the next run.

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include <Bases/File.h>
#include <support/Inputs.h>
#include <support/Row.h>

namespace Bench {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t Mebibyte = 1 << 20;

// A file of that many bytes.
std::string FileOf(std::size_t size) {
    std::string path = "file-" + std::to_string(size);
    if (fs::exists(path) && fs::file_size(path) == size)
        return path;
    const std::string piece = RandomBytes(Mebibyte);
    std::ofstream file(path, std::ios::binary);
    for (std::size_t left = size; left > 0; left -= std::min(left, piece.size()))
        file.write(piece.data(), static_cast<std::streamsize>(std::min(left, piece.size())));
    return path;
}

// A directory of that many empty files, with a separator at its end. The marker tells that it is
// complete.
std::string DirectoryOf(std::size_t entries) {
    std::string path = "entries-" + std::to_string(entries) + "/";
    const std::string marker = "complete-" + std::to_string(entries);
    if (fs::exists(marker))
        return path;
    fs::remove_all(path);
    fs::create_directory(path);
    for (std::size_t i = 0; i < entries; ++i)
        std::ofstream(path + "entry-" + std::to_string(i));
    std::ofstream(marker).flush();
    return path;
}

const std::string Target = "copy";

std::string CopiedSize() { return std::to_string(fs::file_size(Target)); }

const Row Copy("CopyFile", {KiB(4), MiB(256)}, {"std::filesystem"}, [](Run& run) {
    const std::string source = FileOf(run.Size());
    run.Before([] { fs::remove(Target); });
    run.Ours([&] { return Vorn::FileSys::CopyFile(source, Target); }, CopiedSize);
    run.Peer([&] { return fs::copy_file(source, Target); }, CopiedSize);
    fs::remove(Target);
});

// --- Directories ---------------------------------------------------------------------------------

bool IsSelfOrParent(std::string_view name) { return name == "." || name == ".."; }

// Name, kind, size and time of every entry; the result is what all of them add up to.
unsigned long long OurWalk(const std::string& directory) {
    unsigned long long sum = 0;
    Vorn::FileFind find;
    for (bool more = find.FindFirst(directory, ""); more; more = find.FindNext()) {
        const std::string_view name = find.GetFileName();
        if (IsSelfOrParent(name))
            continue;
        sum += name.size();
        sum += static_cast<unsigned long long>(find.GetFileSize());
        sum += find.GetFileType() == Vorn::FileType::Regular ? 1 : 0;
        sum += static_cast<unsigned long long>(find.GetFileLastWriteTime());
    }
    return sum;
}

unsigned long long TheirWalk(const std::string& directory) {
    using namespace std::chrono;
    unsigned long long sum = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        sum += entry.path().filename().native().size();
        sum += entry.file_size();
        sum += entry.is_regular_file() ? 1 : 0;
        const auto written = file_clock::to_sys(entry.last_write_time());
        sum += static_cast<unsigned long long>(
            duration_cast<milliseconds>(written.time_since_epoch()).count());
    }
    return sum;
}

const Row Walk("FileFind, entries", {Count(100'000)}, {"std::filesystem"}, [](Run& run) {
    const std::string directory = DirectoryOf(run.Size());
    run.Ours([&] { return OurWalk(directory); });
    run.Peer([&] { return TheirWalk(directory); });
});

const Curve WalkCurve("FileFind, per entry", Decades(6), {"std::filesystem"}, [](Run& run) {
    run.Items(run.Size());
    const std::string directory = DirectoryOf(run.Size());
    run.Ours([&] { return OurWalk(directory); });
    run.Peer([&] { return TheirWalk(directory); });
});

const HeapCurve WalkHeap("FileFind, per entry", Decades(6), {}, [](Run& run) {
    const std::string directory = DirectoryOf(run.Size());
    Vorn::FileFind find;
    run.Ours([&] {
        std::size_t found = find.FindFirst(directory, "") ? 1 : 0;
        while (find.FindNext())
            ++found;
        return found;
    });
});

const Row FileSize("FileSys::GetFileSize", {One()}, {"std::filesystem"}, [](Run& run) {
    const std::string path = FileOf(4096);
    run.Ours([&] {
        unsigned long long size = 0;
        Vorn::FileSys::GetFileSize(path, size);
        return size;
    });
    run.Peer([&] { return fs::file_size(path); });
});

// --- Reading and writing -------------------------------------------------------------------------

constexpr std::size_t FileBytes = 64 * Mebibyte;

class Descriptor {
public:
    Descriptor(const std::string& path, int flags)
        : m_descriptor(open(path.c_str(), flags, 0600)) {}
    ~Descriptor() { close(m_descriptor); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return m_descriptor; }

private:
    int m_descriptor;
};

// Tells when a file has been gone through and both sides go back to its beginning.
class Lap {
public:
    bool IsOver(std::size_t step) {
        m_position += step;
        if (m_position + step <= FileBytes)
            return false;
        m_position = 0;
        return true;
    }

private:
    std::size_t m_position = 0;
};

const std::vector<Size> Transfers = {Bytes(1), KiB(4), KiB(64), MiB(1)};

const Row Read("FileIo read", Transfers, {"read"}, [](Run& run) {
    const std::string path = FileOf(FileBytes);
    std::string output(run.Size(), '\0');
    const auto result = [&]() -> const std::string& { return output; };

    Vorn::FileIo ours;
    ours.Open(path, Vorn::FileAccess::Read, Vorn::FileShare::Read,
              Vorn::FileDisposition::OpenExisting);
    run.Ours(
        [&, lap = Lap()]() mutable {
            if (lap.IsOver(run.Size()))
                ours.SeekToBegin();
            return ours.Read(output.data(), static_cast<unsigned>(run.Size()));
        },
        result);

    const Descriptor theirs(path, O_RDONLY | O_CLOEXEC);
    run.Peer(
        [&, lap = Lap()]() mutable {
            if (lap.IsOver(run.Size()))
                lseek(theirs.Get(), 0, SEEK_SET);
            return read(theirs.Get(), output.data(), run.Size());
        },
        result);
});

const Row Write("FileIo write", Transfers, {"write"}, [](Run& run) {
    const std::string path = "written";
    std::ofstream{path}.close();
    fs::resize_file(path, FileBytes);
    std::string data = RandomBytes(run.Size());

    Vorn::FileIo ours;
    ours.Open(path, Vorn::FileAccess::Write, Vorn::FileShare::Read,
              Vorn::FileDisposition::OpenExisting);
    run.Ours([&, lap = Lap()]() mutable {
        if (lap.IsOver(run.Size()))
            ours.SeekToBegin();
        return ours.Write(data.data(), static_cast<unsigned>(run.Size()));
    });

    const Descriptor theirs(path, O_WRONLY | O_CLOEXEC);
    run.Peer([&, lap = Lap()]() mutable {
        if (lap.IsOver(run.Size()))
            lseek(theirs.Get(), 0, SEEK_SET);
        return write(theirs.Get(), data.data(), run.Size());
    });
    fs::remove(path);
});

} // namespace

} // namespace Bench
