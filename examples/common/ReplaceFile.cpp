#include "ReplaceFile.h"

#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include <Bases/Utility.h>

namespace Examples {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view End = ".tmp";
constexpr std::size_t IdLength = 36;

std::string BeginOfName(const std::string& program) { return "." + program + "-"; }

// Renaming over a link would leave what it leads to as it was; renaming over a device, as a path
// like /dev/stdout may be, would take the device away.
fs::path Resolve(const fs::path& target) {
    fs::path resolved = fs::is_symlink(target) ? fs::canonical(target) : target;
    if (fs::exists(resolved) && !fs::is_regular_file(resolved))
        throw std::runtime_error("not a regular file");
    return resolved;
}

// A name that no other run uses, of a length that fits whatever the length of the target's.
fs::path PathBeside(const fs::path& target, const std::string& program) {
    Vorn::Guid unique;
    if (!unique.Generate())
        throw std::runtime_error("no temporary name could be made");
    return target.parent_path() /
           (BeginOfName(program) + unique.ToString(Vorn::GuidForm::Full) + std::string(End));
}

/// Removes the file at its path, if there is one by then.
class Remover {
public:
    explicit Remover(fs::path path) : m_path(std::move(path)) {}
    ~Remover() {
        std::error_code ignored;
        fs::remove(m_path, ignored);
    }
    Remover(const Remover&) = delete;
    Remover& operator=(const Remover&) = delete;

private:
    fs::path m_path;
};

void Replace(const fs::path& target, const std::string& program,
             const std::function<void(const fs::path&)>& write) {
    const fs::path temporary = PathBeside(target, program);
    const Remover remover(temporary); // which finds nothing after the rename
    write(temporary);
    if (fs::exists(target))
        fs::permissions(temporary, fs::status(target).permissions());
    fs::rename(temporary, target);
}

} // namespace

void ReplaceFile(const fs::path& target, const std::string& program,
                 const std::function<void(const fs::path&)>& write) {
    try {
        Replace(Resolve(target), program, write);
    } catch (const fs::filesystem_error& error) {
        throw std::runtime_error(
            error.code().message()); // without the paths, which may hold any bytes
    }
}

bool IsTemporaryName(const std::string& name, const std::string& program) {
    const std::string begin = BeginOfName(program);
    return name.size() == begin.size() + IdLength + End.size() && name.starts_with(begin) &&
           name.ends_with(End);
}

} // namespace Examples
