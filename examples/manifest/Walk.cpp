// SPDX-License-Identifier: MIT
#include "Walk.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include <dirent.h>
#include <fnmatch.h>
#include <sys/stat.h>

#include "Describe.h"
#include "ReplaceFile.h"

namespace Manifest {

using Examples::IsTemporaryName;

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;
using Status = struct stat;

bool SameFile(const Status& a, const Status& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// A name in a directory, whichever path leads there; the file need not exist.
class Place {
public:
    explicit Place(const fs::path& path) : m_name(path.filename().string()) {
        const fs::path directory = path.has_parent_path() ? path.parent_path() : ".";
        m_known = stat(directory.c_str(), &m_directory) == 0;
    }

    bool IsIn(const Status& directory) const { return m_known && SameFile(m_directory, directory); }
    bool IsTakenBy(const std::string& name) const {
        return name == m_name || IsTemporaryName(name, "manifest");
    }

private:
    std::string m_name;
    Status m_directory{};
    bool m_known = false;
};

// Where output is a link, its target is what is replaced.
std::vector<Place> PlacesOf(const std::string& output) {
    std::vector<Place> places{Place(output)};
    std::error_code error;
    if (fs::is_symlink(output, error))
        if (const fs::path target = fs::canonical(output, error); !error)
            places.emplace_back(target);
    return places;
}

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

// Returns null at the end. Throws when the directory cannot be read to its end.
const char* NextName(DIR& directory) {
    errno = 0;
    const dirent* const entry = readdir(&directory);
    if (entry == nullptr && errno != 0)
        throw std::system_error(errno, std::generic_category());
    return entry == nullptr ? nullptr : entry->d_name;
}

// Not with FileFind, which also looks up every entry, and what a link leads to instead of the link.
Names List(const std::string& path) {
    const std::unique_ptr<DIR, CloseDirectory> directory(opendir(path.c_str()));
    if (directory == nullptr)
        throw std::system_error(errno, std::generic_category());
    Names names;
    while (const char* const name = NextName(*directory))
        if (name != std::string_view(".") && name != std::string_view(".."))
            names.emplace_back(name);
    return names;
}

Kind KindOf(const Status& status) {
    switch (status.st_mode & S_IFMT) {
    case S_IFREG:
        return Kind::File;
    case S_IFDIR:
        return Kind::Directory;
    case S_IFLNK:
        return Kind::Link;
    case S_IFIFO:
        return Kind::Fifo;
    case S_IFSOCK:
        return Kind::Socket;
    default:
        return Kind::Device;
    }
}

// The member that tells when a file was written; macOS has another name for it than POSIX. The
// library's own functions give the time of what a link leads to, not of the link.
template <typename S>
auto WrittenOf(const S& status, int) -> decltype(status.st_mtimespec) {
    return status.st_mtimespec;
}

template <typename S>
auto WrittenOf(const S& status, long) {
    return status.st_mtim;
}

Vorn::Time WrittenAt(const Status& status) {
    const timespec written = WrittenOf(status, 0);
    return written.tv_sec * 1000LL + written.tv_nsec / 1000000;
}

Details DescribeTimes(const Status& status) {
    return {{}, DescribeUtcTime(WrittenAt(status)), DescribeLocalTime(WrittenAt(status))};
}

// An empty text when it cannot be read.
std::string TargetOf(const std::string& path) {
    std::error_code unknown;
    return fs::read_symlink(path, unknown).string();
}

bool IsMatchedBy(const std::string& pattern, const std::string& path, const std::string& name) {
    const bool isPath = pattern.find('/') != std::string::npos;
    return fnmatch(pattern.c_str(), (isPath ? path : name).c_str(), isPath ? FNM_PATHNAME : 0) == 0;
}

class Walk {
public:
    explicit Walk(const Search& search) : m_search(search), m_places(PlacesOf(search.output)) {}

    void AddNamed(const std::string& path) {
        Status status{};
        if (stat(path.c_str(), &status) != 0)
            AddFailure(path, std::generic_category().message(errno));
        else if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode))
            AddFailure(path, "not a regular file");
        else
            Add(path, status);
    }

    std::vector<Entry> Take() { return std::move(m_entries); }

private:
    void AddFailure(std::string path, std::string reason) {
        Entry entry;
        entry.name = std::move(path);
        entry.failure = std::move(reason);
        m_entries.push_back(std::move(entry));
    }

    void Add(const std::string& path, const Status& status) {
        m_entries.push_back(Describe(path, status));
        if (S_ISDIR(status.st_mode))
            AddContent(path, status);
    }

    Entry Describe(const std::string& path, const Status& status) const {
        Entry entry;
        entry.name = path;
        entry.kind = KindOf(status);
        if (entry.kind == Kind::File)
            entry.bytes = static_cast<unsigned long long>(status.st_size);
        if (entry.kind == Kind::Link && m_search.extras.targets)
            entry.target = TargetOf(path);
        entry.mode = status.st_mode & 07777U;
        entry.owner = status.st_uid;
        entry.group = status.st_gid;
        if (m_search.detail == Detail::All)
            entry.details = DescribeTimes(status);
        return entry;
    }

    // A directory that cannot be read to its end becomes a failure itself.
    void AddContent(const std::string& path, const Status& status) {
        m_search.step();
        const std::string prefix = path.back() == '/' ? path : path + "/";
        Names names;
        try {
            names = List(prefix);
        } catch (const std::system_error& error) {
            m_entries.pop_back();
            AddFailure(path, error.code().message());
            return;
        }
        LeaveOut(prefix, names, status);
        std::sort(names.begin(), names.end());
        for (const std::string& name : names)
            AddMet(prefix + name);
    }

    void AddMet(const std::string& path) {
        Status status{};
        if (lstat(path.c_str(), &status) == 0)
            Add(path, status);
        else
            AddFailure(path, std::generic_category().message(errno));
    }

    void LeaveOut(const std::string& prefix, Names& names, const Status& directory) const {
        for (const Place& place : m_places)
            if (place.IsIn(directory))
                std::erase_if(names, [&](const std::string& n) { return place.IsTakenBy(n); });
        for (const std::string& pattern : m_search.excludes)
            std::erase_if(names, [&](const std::string& name) {
                return IsMatchedBy(pattern, prefix + name, name);
            });
    }

    const Search& m_search;
    std::vector<Place> m_places;
    std::vector<Entry> m_entries;
};

} // namespace

std::vector<Entry> FindEntries(const Search& search) {
    Walk walk(search);
    for (const std::string& path : search.paths)
        walk.AddNamed(path);
    return walk.Take();
}

} // namespace Manifest
