// SPDX-License-Identifier: MIT
// Sequences of operations on a binary file and on the files beside it, in a directory of the
// target's own, against texts and a position.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <Bases/File.h>

#include "support/Fuzz.h"
#include "support/Place.h"

namespace {

namespace fs = std::filesystem;

using Vorn::FileAccess::Read;
using Vorn::FileAccess::ReadWrite;
using Vorn::FileAccess::Write;
using VornFuzz::Check;
using VornFuzz::Input;

constexpr std::size_t LongestFile = 65536;

// A file goes on existing while it is open, whatever becomes of its name.
using Contents = std::shared_ptr<std::string>;
using Files = std::map<std::string, Contents>;

std::string TextOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class Sequence {
public:
    explicit Sequence(std::string root) : m_root(std::move(root)) {}

    void Step(Input& input) {
        switch (input.Below(14)) {
        case 0:
        case 1:
            return Open(input);
        case 2:
        case 3:
            return WriteSome(input);
        case 4:
            return ReadSome(input);
        case 5:
            return Seek(input);
        case 6:
            return SeekFromEnds(input);
        case 7:
            return Resize(input);
        case 8:
            return Measure(input);
        case 9:
        case 10:
            return Copy(input);
        case 11:
            return Move(input);
        case 12:
            return Delete(input);
        default:
            m_file.Close();
            m_opened.reset();
        }
    }

    void Compare() {
        Check(m_file.IsOpened() == (m_opened != nullptr), "IsOpened");
        Check(m_file.Tell() == Position(), "Tell");
        const auto count = std::distance(fs::directory_iterator(m_root), fs::directory_iterator());
        Check(static_cast<std::size_t>(count) == m_files.size(), "the files that there are");
        for (const auto& [path, contents] : m_files)
            Check(TextOf(path) == *contents, "the bytes of a file");
    }

private:
    std::string TakePath(Input& input) const {
        return m_root + "/" + static_cast<char>('a' + input.Below(3));
    }

    bool MayRead() const { return m_opened && (m_access & Read) != 0; }
    bool MayWrite() const { return m_opened && (m_access & Write) != 0; }
    long long Position() const { return m_opened ? m_position : 0; }
    long long Size() const { return static_cast<long long>(m_opened->size()); }

    // Open's second attempt never succeeds here where its first has failed.
    bool MayOpen(const std::string& path, unsigned int disposition) const {
        if ((disposition & 7) == 0 || (m_access & ReadWrite) == 0)
            return false;
        if ((disposition & 2) != 0)
            return true;
        const bool exists = m_files.count(path) != 0;
        return (disposition & 1) != 0 ? !exists : exists;
    }

    void Open(Input& input) {
        const std::string path = TakePath(input);
        const unsigned int accesses[] = {0, Read, Write, ReadWrite, ReadWrite, ReadWrite};
        m_access = accesses[input.Below(6)];
        const auto share = static_cast<unsigned int>(input.Below(4));
        const auto disposition = static_cast<unsigned int>(input.Below(16));
        // To ask for a new file that is not written fails an assertion.
        if ((disposition & 5) == 5)
            m_access |= m_access != 0 ? Write : 0;
        const bool opens = MayOpen(path, disposition);
        m_opened.reset();
        Check(m_file.Open(path, m_access, share, disposition) == opens, "Open");
        if (!opens)
            return;
        Contents& contents = m_files[path];
        if (contents == nullptr)
            contents = std::make_shared<std::string>();
        if ((disposition & 2) != 0)
            contents->clear();
        m_opened = contents;
        m_position = 0;
    }

    void WriteSome(Input& input) {
        const std::string bytes = input.Text(input.Below(16));
        std::string repeated;
        for (std::size_t left = input.Below(300) + 1; left > 0; --left)
            repeated += bytes;
        const auto end = static_cast<std::size_t>(m_position) + repeated.size();
        if (MayWrite() && end > LongestFile)
            return;
        const auto size = static_cast<unsigned int>(repeated.size());
        Check(m_file.Write(repeated.data(), size) == (MayWrite() ? size : 0), "Write");
        if (!MayWrite() || size == 0)
            return;
        m_opened->resize(std::max(m_opened->size(), end));
        m_opened->replace(static_cast<std::size_t>(m_position), size, repeated);
        m_position += size;
    }

    void ReadSome(Input& input) {
        std::string buffer(input.Below(3000), '?');
        std::string expected = buffer;
        std::size_t size = 0;
        if (MayRead() && m_position < Size()) {
            const std::string text =
                m_opened->substr(static_cast<std::size_t>(m_position), buffer.size());
            expected.replace(0, text.size(), text);
            size = text.size();
        }
        Check(m_file.Read(buffer.data(), static_cast<unsigned int>(buffer.size())) == size, "Read");
        Check(buffer == expected, "the bytes that Read gives");
        m_position += static_cast<long long>(size);
    }

    long long TakeOffset(Input& input) const {
        if (input.Byte() % 16 == 0)
            return std::numeric_limits<long long>::min();
        return static_cast<long long>(input.Below(4000)) - 1000;
    }

    // What a move to the given place gives; a place in front of the file leaves the position.
    long long Moved(long long base, long long offset) {
        if (offset < -base)
            return 0;
        return m_position = base + offset;
    }

    void Seek(Input& input) {
        const long long offset = TakeOffset(input);
        const auto method = static_cast<unsigned int>(input.Below(4));
        long long expected = -1;
        if (m_opened) {
            const long long bases[] = {0, m_position, Size()};
            expected = method < 3 ? Moved(bases[method], offset) : 0;
        }
        Check(m_file.Seek(offset, method) == expected, "Seek");
    }

    void SeekFromEnds(Input& input) {
        const long long offset = TakeOffset(input);
        const bool isNegatable = offset != std::numeric_limits<long long>::min();
        switch (input.Below(4)) {
        case 0:
            Check(m_file.SeekToBegin() == (m_opened ? Moved(0, 0) : 0), "SeekToBegin");
            return;
        case 1:
            Check(m_file.SeekToEnd() == (m_opened ? Moved(Size(), 0) : 0), "SeekToEnd");
            return;
        case 2:
            Check(m_file.SeekFromBegin(offset) == (m_opened ? Moved(0, offset) : 0),
                  "SeekFromBegin");
            return;
        default:
            Check(m_file.SeekFromEnd(offset) ==
                      (m_opened && isNegatable ? Moved(Size(), -offset) : 0),
                  "SeekFromEnd");
        }
    }

    // Both move to the end and leave the length as it is.
    void Resize(Input& input) {
        const long long size = TakeOffset(input);
        const bool moves = m_opened && size >= 0;
        Check(m_file.SetFileSize(size) == moves, "SetFileSize");
        Check(m_file.Tell() == (moves ? Size() : Position()), "the position after SetFileSize");
        Check(m_file.SetEndOfFile() == (m_opened != nullptr), "SetEndOfFile");
        if (m_opened)
            m_position = Size();
    }

    void Measure(Input& input) {
        Check(m_file.GetFileSize() == (m_opened ? Size() : 0), "GetFileSize");
        if (m_opened)
            m_position = Size();
        const std::string path = TakePath(input);
        const bool exists = m_files.count(path) != 0;
        unsigned long long size = 7;
        Check(Vorn::FileSys::GetFileSize(path, size) == exists, "GetFileSize of a path");
        Check(size == (exists ? m_files[path]->size() : 7), "the size of a path");
        Check(Vorn::FileSys::IsExistFile(path) == exists, "IsExistFile");
    }

    void Copy(Input& input) {
        const std::string from = TakePath(input);
        const std::string to = TakePath(input);
        const bool copies = m_files.count(from) != 0 && m_files.count(to) == 0;
        Check(Vorn::FileSys::CopyFile(from, to) == copies, "CopyFile");
        if (copies)
            m_files[to] = std::make_shared<std::string>(*m_files[from]);
    }

    void Move(Input& input) {
        const std::string from = TakePath(input);
        const std::string to = TakePath(input);
        const bool moves = m_files.count(from) != 0;
        Check(Vorn::FileSys::MoveFile(from, to) == moves, "MoveFile");
        if (!moves || from == to)
            return;
        m_files[to] = m_files[from];
        m_files.erase(from);
    }

    void Delete(Input& input) {
        const std::string path = TakePath(input);
        Check(Vorn::FileSys::DeleteFile(path) == (m_files.erase(path) != 0), "DeleteFile");
    }

    std::string m_root;
    Files m_files;
    Vorn::FileIo m_file;
    Contents m_opened;
    unsigned int m_access = 0;
    long long m_position = 0;
};

} // namespace

void VornFuzz::Try(Input& input) {
    static const Place place;
    for (const auto& entry : fs::directory_iterator(place.Path()))
        fs::remove(entry.path());
    Sequence sequence(place.Path());
    while (!input.IsEmpty()) {
        sequence.Step(input);
        sequence.Compare();
    }
}
