// SPDX-License-Identifier: MIT
#include <Bases/File.h>
#include <cstdio>
#include <string>

using namespace Vorn;

// Opens the file for writing, with the position at its end; creates it if there is none.
static bool OpenOrCreate(FileIo& file, const std::string& path) {
    // Neither of the two ever empties a file, whatever happens between the question and the call.
    const unsigned int disposition =
        FileSys::IsExistFile(path) ? FileDisposition::OpenExisting : FileDisposition::CreateNew;
    if (!file.Open(path, FileAccess::Write, FileShare::Read, disposition))
        return false;
    file.SeekToEnd();
    return true;
}

// Goes on after a partial transfer.
static bool WriteAll(FileIo& file, std::string text) {
    while (!text.empty()) {
        const unsigned int written =
            file.Write(text.data(), static_cast<unsigned int>(text.size()));
        if (written == 0)
            return false;
        text.erase(0, written);
    }
    return true;
}

int main(int argc, char** argv) {
    FileIo file;
    if (argc != 3 || !OpenOrCreate(file, argv[1]) || !WriteAll(file, std::string(argv[2]) + "\n"))
        return 1;
    return file.Flush() ? 0 : 1; // waits until the line is on the disk
}
