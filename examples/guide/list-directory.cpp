// SPDX-License-Identifier: MIT
#include <Bases/File.h>
#include <cerrno>
#include <cstdio>
#include <set>
#include <string>

using namespace Vorn;

// Prints the entries by name. Returns false if the directory cannot be read to its end.
static bool List(const std::string& directory) {
    std::set<std::string> entries;
    FileFind find;
    std::string last;
    errno = 0;
    bool found = find.FindFirst(directory + "/", "");
    // An entry that cannot be looked at, such as a dangling link, ends no search: its name is new.
    while (found || (find.GetFileName() != nullptr && find.GetFileName() != last)) {
        last = find.GetFileName();
        if (last == "." || last == "..")
            ; // FindNext reports these, FindFirst does not
        else if (!found)
            entries.insert(last + " (dangling)");
        else if (find.GetFileType() == FileType::Directory)
            entries.insert(last + "/");
        else
            entries.insert(last + " " + std::to_string(find.GetFileSize()));
        errno = 0;
        found = find.FindNext();
    }
    const bool complete = errno == 0;
    for (const std::string& entry : entries)
        std::puts(entry.c_str());
    return complete;
}

int main(int argc, char** argv) { return argc == 2 && List(argv[1]) ? 0 : 1; }
