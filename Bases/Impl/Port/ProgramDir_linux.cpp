// SPDX-License-Identifier: MIT
// Linux: the directory of the file that /proc/self/exe leads to.

#include <Bases/Impl/Port/ProgramDir.h>

#include <climits>
#include <cstring>
#include <string_view>

#include <unistd.h>

namespace Vorn {

bool WriteProgramDir(char* buffer, unsigned long size) {
    char link[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", link, sizeof link);
    // A link that fills the buffer may have been truncated, and the directory with it.
    if (length <= 0 || length == static_cast<ssize_t>(sizeof link))
        return false;

    const std::string_view program(link, static_cast<std::size_t>(length));
    const std::size_t separator = program.rfind('/');
    if (separator == std::string_view::npos)
        return false;

    // The root directory is the one directory whose name is its separator.
    const std::string_view directory = program.substr(0, separator == 0 ? 1 : separator);
    if (directory.size() >= size)
        return false;
    std::memcpy(buffer, directory.data(), directory.size());
    buffer[directory.size()] = '\0';
    return true;
}

} // namespace Vorn
