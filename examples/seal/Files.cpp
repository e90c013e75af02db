#include "Files.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include <unistd.h>

#include <Bases/File.h>

#include "Cipher.h"
#include "FileName.h"
#include "ReadFile.h"
#include "ReplaceFile.h"

namespace Seal {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t PieceSize = 1UL << 20U;

[[noreturn]] void Complain(const std::string& name, const std::string& reason) {
    throw std::runtime_error(Examples::ForDisplay(name) + ": " + reason);
}

std::string CountBytes(unsigned long long count) {
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

struct Content {
    unsigned long long size = 0; // of the file
    std::string bytes;           // the first ones when there are too many
};

// A file that is too large to begin with is not read at all.
Content ReadAtMost(const std::string& name, unsigned long long most) {
    std::error_code unknown;
    Content content{fs::file_size(name, unknown), ""};
    if (!unknown && content.size > most)
        return content;
    if (!unknown)
        content.bytes.reserve(content.size);
    content.size = 0;
    const std::string reason = Examples::ReadInPieces(name, [&](std::string_view piece) {
        content.size += piece.size(); // it may have grown meanwhile
        if (content.size <= most)
            content.bytes.append(piece);
    });
    if (!reason.empty())
        Complain(name, reason);
    return content;
}

void WriteNew(const std::string& name, std::string& bytes) {
    const auto refuse = [] { throw std::runtime_error(std::generic_category().message(errno)); };
    // Asked first, as FileIo would print a line on standard output.
    if (access((fs::path(name).parent_path() / ".").c_str(), W_OK | X_OK) != 0)
        refuse();
    Vorn::FileIo file;
    if (!file.Open(name, Vorn::FileAccess::Write, Vorn::FileShare::ReadWrite,
                   Vorn::FileDisposition::CreateNewToWrite))
        refuse();
    for (std::size_t done = 0; done < bytes.size();) {
        const std::size_t size = std::min(bytes.size() - done, PieceSize);
        const unsigned int written =
            file.Write(bytes.data() + done, static_cast<unsigned int>(size));
        if (written == 0)
            refuse();
        done += written;
    }
    if (!file.Flush())
        refuse();
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

void WriteWhole(const std::string& name, std::string bytes) {
    try {
        Examples::ReplaceFile(name, "seal", [&bytes](const fs::path& temporary) {
            WriteNew(temporary.string(), bytes);
        });
    } catch (const std::runtime_error& error) {
        Complain(name, error.what());
    }
}

void KeepApart(const std::string& keyName, const std::string& outName) {
    std::error_code missing;
    if (fs::equivalent(keyName, outName, missing) && !missing)
        Complain(outName, "holds the key, which would be lost");
}

} // namespace Seal
