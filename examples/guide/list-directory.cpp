// SPDX-License-Identifier: MIT
#include <Bases/File.h>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>

using namespace Vorn;
namespace fs = std::filesystem;

static std::string Line(const fs::directory_entry& entry) {
    std::error_code error;
    const std::string name = entry.path().filename().string();
    if (!entry.exists(error))
        return name + " (dangling)";
    return entry.is_directory() ? name + "/" : name + " " + std::to_string(entry.file_size(error));
}

// FindFirst fails where the first entry cannot be looked at, and then keeps no search open.
static bool ListOtherwise(const std::string& directory, std::set<std::string>& entries) {
    std::error_code error;
    for (fs::directory_iterator it(directory, error), end; !error && it != end; it.increment(error))
        entries.insert(Line(*it));
    return !error;
}

static bool List(const std::string& directory, std::set<std::string>& entries) {
    FileFind find;
    bool found = find.FindFirst(directory + "/", "");
    if (!found)
        return ListOtherwise(directory, entries);
    std::string last;
    // An entry that cannot be looked at, such as a dangling link, ends no search: its name is new.
    while (found || find.GetFileName() != last) {
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
    return errno == 0;
}

// Prints the entries by name. The result is 1 if the directory cannot be read to its end.
int main(int argc, char** argv) {
    std::set<std::string> entries;
    const bool complete = argc == 2 && List(argv[1], entries);
    for (const std::string& entry : entries)
        std::puts(entry.c_str());
    return complete ? 0 : 1;
}
