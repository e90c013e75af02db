// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_FUZZ_SUPPORT_FUZZ_H
#define VORN_BASES_FUZZ_SUPPORT_FUZZ_H

// What the fuzz targets share. A target defines Try; libFuzzer, or the replay of a corpus, calls it
// with one input after another.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include <tests/support/EachRoute.h>

namespace VornFuzz {

/// The bytes of one input, from which a target takes what it needs. At the end there are zeros.
class Input {
public:
    Input(const std::uint8_t* pData, std::size_t size) : m_pData(pData), m_nSize(size) {}

    bool IsEmpty() const { return m_nSize == 0; }

    std::uint8_t Byte() { return Number<std::uint8_t>(); }

    /// Returns a number below `end`, which is at most 65536.
    std::size_t Below(std::size_t end) {
        return (end > 256 ? Number<std::uint16_t>() : Byte()) % end;
    }

    template <typename T>
    T Number() {
        T number{};
        const std::string bytes = Text(sizeof number);
        std::memcpy(&number, bytes.data(), bytes.size());
        return number;
    }

    /// Returns the next bytes, fewer at the end.
    std::string Text(std::size_t size) {
        size = size < m_nSize ? size : m_nSize;
        std::string text(m_pData, m_pData + size);
        m_pData += size;
        m_nSize -= size;
        return text;
    }

    std::string Rest() { return Text(m_nSize); }

private:
    const std::uint8_t* m_pData;
    std::size_t m_nSize;
};

/// Tests one input. Stops the program when something is wrong.
void Try(Input& input);

/// Stops the program, with the text, unless the condition holds.
void Check(bool holds, const char* what);

using VornTest::OnEachRoute;

} // namespace VornFuzz

#endif
