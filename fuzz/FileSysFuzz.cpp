// SPDX-License-Identifier: MIT
// Chains of directories, made in a directory of the target's own, against a map of names; and the
// extensions of names.

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include <Bases/File.h>

#include "support/Fuzz.h"
#include "support/Place.h"

namespace {

namespace fs = std::filesystem;

using VornFuzz::Check;
using VornFuzz::Input;

// An empty directory, which is the working directory.
class WorkingPlace {
public:
    WorkingPlace() { fs::current_path(Path()); }

    const fs::path& Path() const { return m_place.Path(); }

    void Empty() const {
        for (const auto& entry : fs::directory_iterator(Path()))
            fs::remove_all(entry.path());
    }

private:
    VornFuzz::Place m_place;
};

// The files (false) and directories (true) of the place, by their names in it.
using Tree = std::map<std::string, bool>;

// The name of a path in the place, without what does not matter; nothing for the place itself and
// for the directories that lead to it.
std::string NameIn(const std::string& root, std::string path) {
    if (path.front() == '/' && root.rfind(path, 0) == 0)
        return "";
    if (path.rfind(root, 0) == 0)
        path.erase(0, root.size());
    std::string name;
    for (const fs::path& part : fs::path(path).relative_path())
        if (!part.empty() && part != ".")
            name += (name.empty() ? "" : "/") + part.string();
    return name;
}

class Model {
public:
    Model(std::string root, Tree tree) : m_root(std::move(root)), m_tree(std::move(tree)) {}

    const Tree& Contents() const { return m_tree; }

    bool IsDirectory(const std::string& path) const {
        if (path.empty())
            return false;
        const std::string name = NameIn(m_root, path);
        return name.empty() || (m_tree.count(name) != 0 && m_tree.at(name));
    }

    // A file's name that ends in a slash leads nowhere.
    bool Exists(const std::string& path) const {
        const std::string name = NameIn(m_root, path);
        const bool isFile = m_tree.count(name) != 0 && !m_tree.at(name);
        const bool wantsDirectory =
            path.back() == '/' || (path.size() > 1 && path.substr(path.size() - 2) == "/.");
        return IsDirectory(path) || (isFile && !wantsDirectory);
    }

    // A name that ends in "." is there already, or has no parent.
    bool Create(const std::string& path) {
        const std::size_t last = path.find_last_not_of('/');
        if (path[last] == '.' && (last == 0 || path[last - 1] == '/'))
            return false;
        const std::string name = NameIn(m_root, path);
        const std::size_t slash = name.rfind('/');
        const bool hasParent =
            slash == std::string::npos || IsDirectory(m_root + "/" + name.substr(0, slash));
        return !name.empty() && hasParent && m_tree.emplace(name, true).second;
    }

    bool CreateLevel(const std::string& path, std::size_t level, bool createLast) {
        if (path.empty())
            return false;
        if (level >= path.size())
            level = 0;
        if (level == 0 && path.front() == '/') {
            std::size_t slash = path.find('/', 2);
            slash = slash == std::string::npos ? slash : path.find('/', slash + 1);
            if (slash == std::string::npos)
                return true;
            level = slash + 1;
        }
        bool result = true;
        for (std::size_t slash = path.find('/', level); result && slash != std::string::npos;
             slash = path.find('/', slash + 1)) {
            const std::string prefix = path.substr(0, slash + 1);
            result = prefix.size() == 2 || Exists(prefix) || Create(prefix);
        }
        if (createLast && !Exists(path) && !Create(path))
            result = false;
        return result && IsDirectory(path);
    }

private:
    std::string m_root;
    Tree m_tree;
};

Tree TreeOf(const fs::path& root) {
    Tree tree;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        tree[entry.path().lexically_relative(root)] = entry.is_directory();
    return tree;
}

// Never leads out of the place: there is no "..", and no slash at the start.
std::string TakePath(Input& input) {
    const char* const parts[] = {"/", "a", "b", "./", "ab/", "c/"};
    std::string path;
    for (std::size_t left = input.Below(12); left > 0; --left)
        path += parts[input.Below(6)];
    return path.substr(std::min(path.find_first_not_of('/'), path.size()));
}

void TryLevels(Input& input) {
    static const WorkingPlace place;
    place.Empty();
    const std::string root = place.Path();
    if (input.Byte() % 2 == 0)
        std::ofstream("a") << 'x';
    if (input.Byte() % 2 == 0)
        fs::create_directory("ab");
    Model model(root, TreeOf(root));
    for (std::size_t left = input.Below(4) + 1; left > 0; --left) {
        std::string path = TakePath(input);
        std::size_t level = input.Below(20);
        const bool createLast = input.Byte() % 2 == 0;
        if (input.Byte() % 4 == 0) {
            path.insert(0, root + "/");
            level = level < 4 ? 0 : root.size() + 1 + level;
        }
        const bool expected = model.CreateLevel(path, level, createLast);
        Check(Vorn::FileSys::CreateDirLevel(path, level, createLast ? 1 : 0) == expected,
              "CreateDirLevel");
        Check(TreeOf(root) == model.Contents(), "the directories that it made");
        Check(Vorn::FileSys::IsDirectory(path) == model.IsDirectory(path), "IsDirectory");
        Check(path.empty() || Vorn::FileSys::IsExistFile(path) == model.Exists(path),
              "IsExistFile");
    }
}

void TryExtension(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    const bool has = dot != std::string::npos;
    std::string extension = "unchanged";
    Check(Vorn::FileSys::GetFileExt(path, extension) == has, "GetFileExt");
    const char* const pExtension = Vorn::FileSys::GetFileExt(path);
    Check(pExtension == (has ? path.c_str() + dot : nullptr), "the pointer of GetFileExt");
    Check(extension == (has ? path.substr(dot).c_str() : "unchanged") ||
              extension == (has ? path.substr(dot) : "unchanged"),
          "the text of GetFileExt");
    const std::string text = path.c_str();
    const std::size_t last = text.rfind('.');
    Check(Vorn::FileSys::GetFileExt(text.c_str()) ==
              (last != std::string::npos ? text.c_str() + last : nullptr),
          "GetFileExt of a C text");
}

} // namespace

void VornFuzz::Try(Input& input) {
    Input text = input;
    TryExtension(text.Rest());
    TryLevels(input);
}
