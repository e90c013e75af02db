// SPDX-License-Identifier: MIT
#include "Files.h"

#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "Cipher.h"
#include "FileName.h"
#include "ReadFile.h"
#include "ReplaceFile.h"

namespace Seal {

namespace fs = std::filesystem;

namespace {

constexpr fs::perms OwnerOnly{0600};

[[noreturn]] void Complain(const std::string& name, const std::string& reason) {
    throw std::runtime_error(Examples::ForDisplay(name) + ": " + reason);
}

std::string CountBytes(unsigned long long count) {
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

struct Content {
    unsigned long long size = 0; // of the file
    std::string bytes;           // only the first when there are too many
};

// Where the bytes are that are read under this name.
fs::path PlaceOf(const std::string& name) {
    return name == Examples::Standard ? "/dev/stdin" : name;
}

// Does not read a file that is too large from the start.
Content ReadAtMost(const std::string& name, unsigned long long most) {
    std::error_code unknown;
    Content content{fs::file_size(PlaceOf(name), unknown), ""};
    if (!unknown && content.size > most)
        return content;
    if (!unknown)
        content.bytes.reserve(content.size);
    content.size = 0;
    const std::string reason = Examples::ReadInputInPieces(name, [&](std::string_view piece) {
        content.size += piece.size(); // it may have grown meanwhile
        if (content.size <= most)
            content.bytes.append(piece);
        return content.size <= most;
    });
    if (!reason.empty())
        Complain(name, reason);
    return content;
}

} // namespace

std::string ReadKey(const std::string& name) {
    Content key = ReadAtMost(name, Cipher::KeySize);
    if (key.size != Cipher::KeySize)
        throw std::runtime_error("the key in " + Examples::ForDisplay(name) + " has " +
                                 CountBytes(key.size) + "; SEED needs " +
                                 std::to_string(Cipher::KeySize));
    return key.bytes;
}

std::string ReadWhole(const std::string& name, unsigned long long most) {
    Content content = ReadAtMost(name, most);
    if (content.size > most)
        Complain(name, "has " + CountBytes(content.size) + "; at most " + std::to_string(most) +
                           " can be taken");
    return std::move(content.bytes);
}

void WriteWhole(const std::string& name, const std::string& bytes) {
    try {
        Examples::ReplaceFile(name, "seal", OwnerOnly, bytes);
    } catch (const std::runtime_error& error) {
        Complain(name, error.what());
    }
}

void KeepApart(const std::string& keyName, const std::string& outName) {
    std::error_code missing;
    if (fs::equivalent(PlaceOf(keyName), outName, missing) && !missing)
        Complain(outName, "holds the key, which would be lost");
}

} // namespace Seal
