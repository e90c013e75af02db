// SPDX-License-Identifier: MIT
// Operations on paths.
#include <filesystem>
#include <string>

#include <Bases/File.h>

#include "support/Files.h"
#include "support/TempDir.h"
#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

namespace FileSys = Vorn::FileSys;
namespace LastDir = Vorn::LastDir;

bool IsThere(const std::string& path) { return std::filesystem::exists(path); }

// A file, an empty directory, and a path where nothing is.
struct Paths {
    Paths() {
        WriteFile(file, Text);
        std::filesystem::create_directory(empty);
    }

    static constexpr const char* Text = "12345678";

    TempDir dir;
    const std::string file = dir.File("file");
    const std::string empty = dir.File("empty");
    const std::string fresh = dir.File("fresh");
};

void TellsTheLength(Trial& trial) {
    const Paths paths;
    unsigned long long size = 99;
    const bool told = trial.Works([&] { return FileSys::GetFileSize(paths.file, size); });
    trial.Require(told || trial.HasPrinted("[FileIo] Open : "), "prints why it is not opened");
    // A length that cannot be measured is 0, as a terminal's is.
    trial.Require(size == (told ? 8U : 99U) || (size == 0 && trial.HasFailed(Platform::lseek)),
                  "tells the length, or nothing");
}

void TellsTheSizeOfTheDisk(Trial& trial) {
    const Paths paths;
    unsigned long long total = 99;
    unsigned long long used = 99;
    unsigned long long free = 99;
    if (trial.Works([&] { return FileSys::GetDiskSize(paths.file, total, used, free); }))
        trial.Require(total == used + free && total > 99, "tells how large the disk is");
    else
        trial.Require(total == 99 && used == 99 && free == 99, "tells nothing");
}

void TellsEachSizeOfTheDisk(Trial& trial) {
    const Paths paths;
    for (const auto tell :
         {FileSys::GetDiskTotalSize, FileSys::GetDiskUsedSize, FileSys::GetDiskFreeSize}) {
        unsigned long long size = 99;
        const bool told = trial.Works([&] { return tell(paths.file, size); });
        trial.Require(told == (size != 99), "tells a size exactly when it says so");
    }
}

void Moves(Trial& trial) {
    const Paths paths;
    const bool moved = trial.Works([&] { return FileSys::MoveFile(paths.file, paths.fresh); });
    trial.Require(IsThere(paths.fresh) == moved && IsThere(paths.file) != moved,
                  "moves exactly when it says so");
    trial.Require(moved || FileSys::MoveFile(paths.file, paths.fresh), "moves then");
}

void DeletesAFile(Trial& trial) {
    const Paths paths;
    const bool deleted = trial.Works([&] { return FileSys::DeleteFile(paths.file); });
    trial.Require(IsThere(paths.file) != deleted, "deletes exactly when it says so");
    trial.Require(deleted || FileSys::DeleteFile(paths.file), "deletes then");
}

void DeletesADirectory(Trial& trial) {
    const Paths paths;
    const bool deleted = trial.Works([&] { return FileSys::DeleteDir(paths.empty); });
    trial.Require(IsThere(paths.empty) != deleted, "deletes exactly when it says so");
    trial.Require(deleted || FileSys::DeleteDir(paths.empty), "deletes then");
}

void CreatesADirectory(Trial& trial) {
    const Paths paths;
    const bool created = trial.Works([&] { return FileSys::CreateDir(paths.fresh); });
    trial.Require(IsThere(paths.fresh) == created, "creates exactly when it says so");
    trial.Require(created || FileSys::CreateDir(paths.fresh), "creates then");
}

// The parts on the way are long, so that their names need memory.
void CreatesDirectories(Trial& trial) {
    const Paths paths;
    const std::string path = paths.dir.File(std::string(40, 'a') + "/" + std::string(40, 'b'));
    const bool created =
        trial.WorksOrThrows([&] { return FileSys::CreateDirLevel(path, 0, LastDir::Create); });
    trial.Require(!created || FileSys::IsDirectory(path), "is there when CreateDirLevel says so");
    trial.Require(FileSys::CreateDirLevel(path, 0, LastDir::Create), "creates them then");
}

void TellsWhatIsThere(Trial& trial) {
    const Paths paths;
    const bool isDirectory = trial.Works([&] { return FileSys::IsDirectory(paths.empty); });
    const bool exists = trial.Works([&] { return FileSys::IsExistFile(paths.file); });
    const bool other = trial.Try(
        [&] { return FileSys::IsDirectory(paths.file) || FileSys::IsExistFile(paths.fresh); });
    trial.Require(isDirectory || trial.HasFailed(Platform::stat), "knows a directory");
    trial.Require(exists || trial.HasFailed(Platform::access), "knows that a file exists");
    trial.Require(!other, "takes nothing for what it is not");
}

// A copy is one once its target is there; what the system does not take is missing from it.
void Copies(Trial& trial) {
    const Paths paths;
    const bool copied = trial.Works([&] { return FileSys::CopyFile(paths.file, paths.fresh); });
    trial.Require(IsThere(paths.fresh) == copied, "creates the target exactly when it says so");
    if (copied) {
        const std::string text = TextOf(paths.fresh);
        trial.Require(text == std::string(Paths::Text).substr(0, text.size()),
                      "copies the bytes in their order");
        trial.Require(text == Paths::Text || trial.HasFailed(Platform::write) ||
                          trial.HasFailed(Platform::read),
                      "copies all that can be read and written");
    }
    trial.Require(TextOf(paths.file) == Paths::Text, "leaves the source as it is");
    std::filesystem::remove(paths.fresh);
    trial.Require(FileSys::CopyFile(paths.file, paths.fresh), "copies then");
    trial.Require(TextOf(paths.fresh) == Paths::Text, "copies all then");
}

// A file without a length is copied by reading it.
void CopiesWithoutTheKernel(Trial& trial) {
    const Paths paths;
    const std::string source = "/proc/self/cmdline";
    const bool copied = trial.Works([&] { return FileSys::CopyFile(source, paths.fresh); });
    trial.Require(IsThere(paths.fresh) == copied, "creates the target exactly when it says so");
    trial.Require(!copied || trial.MetFault() || TextOf(paths.fresh) == TextOf(source),
                  "copies all");
}

void RefusesToCopyOverAFile(Trial& trial) {
    const Paths paths;
    WriteFile(paths.fresh, "abc");
    const bool copied = trial.Try([&] { return FileSys::CopyFile(paths.file, paths.fresh); });
    trial.Require(!copied || trial.HasFailed(Platform::access), "does not copy over a file");
}

void TellsTheExtension(Trial& trial) {
    const std::string path = "a." + std::string(100, 'x');
    std::string extension = "old";
    const bool told = trial.WorksOrThrows([&] { return FileSys::GetFileExt(path, extension); });
    trial.Require(extension == (told ? path.substr(1) : "old"), "tells it exactly when it says so");
}

const Scenarios g_scenarios{
    {"PathTellsItsLength", TellsTheLength},
    {"PathTellsTheSizeOfItsDisk", TellsTheSizeOfTheDisk},
    {"PathTellsEachSizeOfItsDisk", TellsEachSizeOfTheDisk},
    {"PathMoves", Moves},
    {"PathIsDeletedAsAFile", DeletesAFile},
    {"PathIsDeletedAsADirectory", DeletesADirectory},
    {"PathIsCreatedAsADirectory", CreatesADirectory},
    {"PathIsCreatedWithItsParents", CreatesDirectories},
    {"PathTellsWhatIsThere", TellsWhatIsThere},
    {"PathIsCopied", Copies},
    {"PathIsCopiedWithoutTheKernel", CopiesWithoutTheKernel},
    {"PathIsNotCopiedOverAFile", RefusesToCopyOverAFile},
    {"PathTellsItsExtension", TellsTheExtension},
};

} // namespace

} // namespace VornTest::Sweep
