// SPDX-License-Identifier: MIT
// Files by descriptor.
#include <array>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>

#include <Bases/File.h>

#include "support/Files.h"
#include "support/TempDir.h"
#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

using Vorn::FileIo;
namespace FileAccess = Vorn::FileAccess;
namespace FileShare = Vorn::FileShare;
namespace FileDisposition = Vorn::FileDisposition;
namespace SeekOrigin = Vorn::SeekOrigin;

// A file of eight bytes, and another path without one.
struct Files {
    Files() { WriteFile(old, "12345678"); }

    TempDir dir;
    const std::string old = dir.File("old");
    const std::string fresh = dir.File("new");
};

bool Open(FileIo& file, const std::string& path, unsigned int disposition) {
    return file.Open(path, FileAccess::ReadWrite, FileShare::ReadWrite, disposition);
}

// What every Open promises, whatever it was asked for.
bool TryToOpen(Trial& trial, FileIo& file, const std::string& path, unsigned int disposition) {
    const bool opened = trial.Works([&] { return Open(file, path, disposition); });
    trial.Require(file.IsOpened() == opened, "is open exactly when Open has said so");
    trial.Require(opened || trial.HasPrinted("[FileIo] Open : "), "prints why it is not opened");
    trial.Require(std::strcmp(file.GetPath(), "") == 0, "forgets the path");
    return opened;
}

void OpensAnExistingFile(Trial& trial) {
    const Files files;
    FileIo file;
    TryToOpen(trial, file, files.old, FileDisposition::OpenExisting);
    trial.Require(TextOf(files.old) == "12345678", "leaves the file as it is");
    trial.Require(Open(file, files.old, FileDisposition::OpenExisting), "opens it then");
}

void CreatesAFile(Trial& trial) {
    const Files files;
    FileIo file;
    const bool opened = TryToOpen(trial, file, files.fresh, FileDisposition::CreateNew);
    trial.Require(std::filesystem::exists(files.fresh) == opened,
                  "creates a file exactly when Open has said so");
    trial.Require(opened || Open(file, files.fresh, FileDisposition::CreateNew), "creates it then");
}

void EmptiesAFile(Trial& trial) {
    const Files files;
    FileIo file;
    const bool opened = TryToOpen(trial, file, files.old, FileDisposition::CreateOrEmpty);
    trial.Require(TextOf(files.old) == (opened ? "" : "12345678"),
                  "empties the file exactly when Open has said so");
    trial.Require(Open(file, files.old, FileDisposition::CreateOrEmpty), "empties it then");
}

void OpensAnotherFile(Trial& trial) {
    const Files files;
    FileIo file;
    Open(file, files.old, FileDisposition::OpenExisting);
    TryToOpen(trial, file, files.fresh, FileDisposition::CreateOrEmpty);
    trial.Require(Open(file, files.old, FileDisposition::OpenExisting), "opens another then");
}

void RefusesToOpenWhatIsNotThere(Trial& trial) {
    const Files files;
    FileIo file;
    const bool opened =
        trial.Try([&] { return Open(file, files.fresh, FileDisposition::OpenExisting); });
    trial.Require(!opened && !file.IsOpened(), "does not open what is not there");
    trial.Require(trial.MetFault() || trial.HasPrinted("[FileIo] Open : Not found.\r\n"),
                  "prints why");
}

void RefusesParameters(Trial& trial) {
    const Files files;
    FileIo file;
    trial.Require(!trial.Try([&] { return Open(file, files.old, 0); }), "wants a disposition");
    trial.Require(trial.HasPrinted("Creation Disposition Miss.\r\n"), "prints that it is missing");
    trial.Require(!trial.Try([&] { return file.Open(files.old, 0, 0, 4); }), "wants an access");
    trial.Require(trial.HasPrinted("File Access Parameter Miss.\r\n"), "prints that it is missing");
}

void ReadsFromAFile(Trial& trial) {
    const Files files;
    FileIo file;
    Open(file, files.old, FileDisposition::OpenExisting);
    std::array<char, 9> bytes{"--------"};
    const unsigned int count = trial.Try([&] { return file.Read(bytes.data(), 8); });
    trial.Require(count == 8 || trial.MetFault(), "reads all while nothing fails");
    trial.Require(std::string(bytes.data()) ==
                      std::string("12345678").substr(0, count) + std::string(8 - count, '-'),
                  "reads as many bytes as it says and touches no others");
    trial.Require(file.Tell() == count, "has advanced by as many");
    trial.Require(file.Read(bytes.data(), 8) == 8 - count, "reads the rest then");
}

void WritesToAFile(Trial& trial) {
    const Files files;
    FileIo file;
    Open(file, files.fresh, FileDisposition::CreateNew);
    std::string text = "abcdefgh";
    const unsigned int count = trial.Try([&] { return file.Write(text.data(), 8); });
    trial.Require(count == 8 || trial.MetFault(), "writes all while nothing fails");
    trial.Require(TextOf(files.fresh) == text.substr(0, count), "writes as many as it says");
    trial.Require(file.Tell() == count, "has advanced by as many");
    trial.Require(file.Write(text.data() + count, 8 - count) == 8 - count, "writes the rest then");
    trial.Require(TextOf(files.fresh) == text, "has written all at last");
}

// Each moves to a place other than the one before it.
struct Move {
    long long target;
    std::function<long long(FileIo&)> run;
};

const std::array<Move, 8> g_moves{{
    {3, [](FileIo& file) { return file.Seek(3, SeekOrigin::Begin); }},
    {5, [](FileIo& file) { return file.Seek(2, SeekOrigin::Current); }},
    {7, [](FileIo& file) { return file.Seek(-1, SeekOrigin::End); }},
    {7, [](FileIo& file) { return file.Tell(); }},
    {8, [](FileIo& file) { return file.SeekToEnd(); }},
    {4, [](FileIo& file) { return file.SeekFromBegin(4); }},
    {6, [](FileIo& file) { return file.SeekFromEnd(2); }},
    {0, [](FileIo& file) { return file.SeekToBegin(); }},
}};

void MovesThePosition(Trial& trial) {
    const Files files;
    FileIo file;
    Open(file, files.old, FileDisposition::OpenExisting);
    for (const Move& move : g_moves) {
        const long long before = file.Tell();
        const long long reached = trial.Try([&] { return move.run(file); });
        trial.Require(reached == move.target || trial.MetFault(), "moves while nothing fails");
        trial.Require(reached == 0 || reached == move.target, "says 0 or where it is");
        trial.Require(file.Tell() == move.target || (reached == 0 && file.Tell() == before),
                      "is where it says, or where it was");
        file.SeekFromBegin(move.target);
    }
}

void MovesToTheEnd(Trial& trial) {
    const Files files;
    FileIo file;
    Open(file, files.old, FileDisposition::OpenExisting);
    const bool moved = trial.Works([&] { return file.SetEndOfFile(); });
    trial.Require(file.Tell() == (moved ? 8 : 0), "is at the end exactly when it says so");
    const bool sized = trial.Works([&] { return file.SetFileSize(3); });
    const long long position = file.Tell();
    trial.Require(sized ? position == 8 : position == 3 || position == (moved ? 8 : 0),
                  "is where the last move that worked has left it");
    trial.Require(TextOf(files.old) == "12345678", "leaves the file as it is");
    trial.Require(file.SetFileSize(3), "moves then");
}

void TellsTheLengthOfAnOpenFile(Trial& trial) {
    const Files files;
    FileIo file;
    Open(file, files.old, FileDisposition::OpenExisting);
    const long long size = trial.Try([&] { return file.GetFileSize(); });
    trial.Require(size == 8 || (size == 0 && trial.MetFault()), "tells the length, or 0");
    const long long position = file.Tell();
    trial.Require(position == 8 || (size == 0 && position == 0), "is at the end, or the beginning");
    trial.Require(file.GetFileSize() == 8, "tells it then");
}

void FlushesAFile(Trial& trial) {
    const Files files;
    FileIo file;
    Open(file, files.old, FileDisposition::OpenExisting);
    const bool flushed = trial.Works([&] { return file.Flush(); });
    trial.Require(flushed != trial.MetFault(), "says whether the data is stored");
    trial.Require(file.Flush(), "flushes then");
}

void ClosesAFile(Trial& trial) {
    const Files files;
    FileIo file;
    Open(file, files.old, FileDisposition::OpenExisting);
    const int error = trial.Try([&] {
        errno = EDOM;
        file.Close();
        return errno;
    });
    trial.Require(!file.IsOpened(), "is closed");
    trial.Require(error == EDOM, "leaves errno alone");
    trial.Require(Open(file, files.old, FileDisposition::OpenExisting), "opens then");
}

void RefusesAnOrigin(Trial& trial) {
    const Files files;
    FileIo file;
    Open(file, files.old, FileDisposition::OpenExisting);
    trial.Require(trial.Try([&] { return file.Seek(1, 3); }) == 0, "says 0");
    trial.Require(trial.HasPrinted("Move Method Miss\r\n"), "prints why");
    trial.Require(file.Tell() == 0, "stays where it is");
}

const Scenarios g_scenarios{
    {"FileOpensWhatIsThere", OpensAnExistingFile},
    {"FileCreates", CreatesAFile},
    {"FileEmpties", EmptiesAFile},
    {"FileOpensAnother", OpensAnotherFile},
    {"FileRefusesWhatIsNotThere", RefusesToOpenWhatIsNotThere},
    {"FileRefusesParameters", RefusesParameters},
    {"FileReads", ReadsFromAFile},
    {"FileWrites", WritesToAFile},
    {"FileMovesItsPosition", MovesThePosition},
    {"FileMovesToItsEnd", MovesToTheEnd},
    {"FileTellsItsLength", TellsTheLengthOfAnOpenFile},
    {"FileFlushes", FlushesAFile},
    {"FileCloses", ClosesAFile},
    {"FileRefusesAnOrigin", RefusesAnOrigin},
};

} // namespace

} // namespace VornTest::Sweep
