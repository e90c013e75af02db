// SPDX-License-Identifier: MIT
// Iterating over a directory.
#include <cerrno>
#include <string>

#include <Bases/File.h>

#include "support/Files.h"
#include "support/TempDir.h"
#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

using Vorn::FileFind;
namespace FileType = Vorn::FileType;

// A directory with two files, whose names are long, and as long as their content is short.
struct Directory {
    Directory() {
        WriteFile(dir.File(first), "1");
        WriteFile(dir.File(second), "22");
    }

    TempDir dir;
    const std::string path = dir.Path() + "/";
    const std::string first = std::string(100, 'a');
    const std::string second = std::string(150, 'b');
};

// Whether the current entry is one of the two, with its own size.
bool IsOnAFile(FileFind& find, const Directory& directory) {
    const std::string name = find.GetFileName() == nullptr ? "" : find.GetFileName();
    const long long size = find.GetFileSize();
    return find.GetFileType() == FileType::Regular &&
           ((name == directory.first && size == 1) || (name == directory.second && size == 2));
}

// The sizes of all files that a search finds, together.
long long SizeOfAll(FileFind& find) {
    long long size = 0;
    do
        size += find.GetFileType() == FileType::Regular ? find.GetFileSize() : 0;
    while (find.FindNext());
    return size;
}

void RequireNoSearch(Trial& trial, FileFind& find) {
    trial.Require(find.GetFileName() == nullptr && find.GetFileSize() == 0 &&
                      find.GetFileType() == FileType::None && !find.FindNext(),
                  "has no search");
}

void StartsASearch(Trial& trial) {
    const Directory directory;
    FileFind find;
    if (trial.WorksOrThrows([&] { return find.FindFirst(directory.path, ""); })) {
        trial.Require(IsOnAFile(find, directory), "is on an entry when FindFirst has said so");
        trial.Require(!find.FindFirst(directory.path, ""), "has one search");
        find.FindClose();
    }
    RequireNoSearch(trial, find);
    trial.Require(find.FindFirst(directory.path, "") && SizeOfAll(find) == 3, "finds all then");
}

void StepsToTheNextEntry(Trial& trial) {
    const Directory directory;
    FileFind find;
    find.FindFirst(directory.path, "");
    while (IsOnAFile(find, directory)) {
        const std::string name = find.GetFileName();
        errno = 0;
        if (trial.TryOrThrow([&] { return find.FindNext(); }))
            trial.Require(find.GetFileName() != name, "is on another entry");
        else
            break;
    }
    trial.Require(find.GetFileName() != nullptr, "is on an entry");
    const int error = errno;
    if (!trial.HasThrown() && trial.MetFault() && trial.HasFailed(Platform::readdir))
        trial.Require(error != 0, "leaves the cause in errno when it cannot read on");
    find.FindClose();
    trial.Require(find.FindFirst(directory.path, "") && SizeOfAll(find) == 3, "finds all then");
}

void EndsASearch(Trial& trial) {
    const Directory directory;
    FileFind find;
    find.FindFirst(directory.path, "");
    trial.Try([&] { find.FindClose(); });
    RequireNoSearch(trial, find);
}

void SearchesWhileItIsMade(Trial& trial) {
    const Directory directory;
    trial.TryOrThrow([&] {
        FileFind find(directory.path, "");
        return find.GetFileName() == nullptr;
    });
}

const Scenarios g_scenarios{
    {"FindStarts", StartsASearch},
    {"FindSteps", StepsToTheNextEntry},
    {"FindEnds", EndsASearch},
    {"FindStartsWhileItIsMade", SearchesWhileItIsMade},
};

} // namespace

} // namespace VornTest::Sweep
