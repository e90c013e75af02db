// SPDX-License-Identifier: MIT
// Runs a target, without libFuzzer, over files and over all files of directories: the arguments.
// Fails when there are none.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "support/Target.h"

namespace {

std::vector<std::filesystem::path> FilesOf(const std::filesystem::path& path) {
    if (!std::filesystem::is_directory(path))
        return {path};
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(path))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

void Replay(const std::filesystem::path& file) {
    std::fprintf(stderr, "%s\n", file.c_str());
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error("it cannot be read");
    const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(stream), {}};
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

} // namespace

int main(int argc, char** argv) try {
    // A target may have a working directory of its own.
    std::vector<std::filesystem::path> arguments;
    for (int i = 1; i < argc; ++i)
        arguments.push_back(std::filesystem::absolute(argv[i]));
    std::size_t count = 0;
    for (const std::filesystem::path& argument : arguments)
        for (const std::filesystem::path& file : FilesOf(argument)) {
            Replay(file);
            ++count;
        }
    std::fprintf(stderr, "%zu inputs\n", count);
    return count > 0 ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
