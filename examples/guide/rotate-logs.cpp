// SPDX-License-Identifier: MIT
#include <Bases/File.h>
#include <cstdio>
#include <string>

using namespace Vorn;

static std::string Numbered(const std::string& path, int number) {
    return path + "." + std::to_string(number);
}

// Renames the log to LOG.1, the former LOG.1 to LOG.2 and so on, if it is longer than the limit. Of
// the old ones `kept` stay.
static bool Rotate(const std::string& path, unsigned long long limit, int kept) {
    unsigned long long size = 0;
    if (!FileSys::IsExistFile(path))
        return true;
    if (!FileSys::GetFileSize(path, size))
        return false;
    if (size <= limit)
        return true;
    for (int i = kept - 1; i >= 1; --i)
        if (FileSys::IsExistFile(Numbered(path, i)) &&
            !FileSys::MoveFile(Numbered(path, i), Numbered(path, i + 1))) // replaces the oldest
            return false;
    return FileSys::MoveFile(path, Numbered(path, 1));
}

int main(int argc, char** argv) { return argc == 2 && Rotate(argv[1], 10, 2) ? 0 : 1; }
