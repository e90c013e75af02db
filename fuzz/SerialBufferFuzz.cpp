// SPDX-License-Identifier: MIT
// Sequences of operations on a byte buffer, against a vector and a capacity.

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <Bases/Container.h>

#include "support/Fuzz.h"

namespace {

using VornFuzz::Check;
using VornFuzz::Input;

class Sequence {
public:
    void Step(Input& input) {
        switch (input.Below(9)) {
        case 0:
            return Append(input);
        case 1:
            return AppendOwn(input);
        case 2:
            return Reserve(input);
        case 3:
            return Shift(input);
        case 4:
            return Resize(input);
        case 5:
            return Adopt(input);
        case 6:
            return HandOver();
        case 7:
            m_buffer.Clear();
            m_bytes.clear();
            return;
        default:
            m_buffer.Delete();
            Forget();
        }
    }

    void Compare() {
        Check(m_buffer.GetSize() == m_bytes.size(), "GetSize");
        Check(m_buffer.GetMaxSize() == m_capacity, "GetMaxSize");
        Check((m_buffer.GetBuffer() != nullptr) == m_hasArray, "GetBuffer");
        Check(std::equal(m_bytes.begin(), m_bytes.end(), m_buffer.GetBuffer()), "the bytes");
    }

private:
    void Forget() {
        m_bytes.clear();
        m_capacity = 0;
        m_hasArray = false;
    }

    void Grow(std::size_t size) {
        m_capacity = std::max(m_capacity, size);
        m_hasArray = m_hasArray || size > 0;
    }

    void AppendBytes(unsigned char* pData, std::size_t size, bool grow) {
        const std::vector<unsigned char> bytes(pData, pData == nullptr ? pData : pData + size);
        const std::size_t needed = m_bytes.size() + size;
        const bool fits = needed <= m_capacity;
        Check(m_buffer.AddBuffer(pData, size, grow ? 1 : 0) == (fits || grow ? 1 : 0), "AddBuffer");
        if (!fits && !grow)
            return;
        if (!fits)
            Grow(needed);
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }

    void Append(Input& input) {
        const bool grow = input.Byte() % 4 != 0;
        std::string bytes = input.Text(input.Below(16));
        bytes.resize(bytes.size() * (input.Below(40) + 1), 'x');
        const bool isNull = input.Byte() % 8 == 0;
        AppendBytes(isNull ? nullptr : reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(),
                    grow);
    }

    void AppendOwn(Input& input) {
        if (m_bytes.empty())
            return;
        const std::size_t from = input.Below(65536) % m_bytes.size();
        const std::size_t size = input.Below(65536) % (m_bytes.size() - from + 1);
        if (m_bytes.size() + size <= 65536)
            AppendBytes(m_buffer.GetBuffer() + from, size, true);
    }

    // Without keeping them the bytes are indeterminate: they are written again.
    void Reserve(Input& input) {
        const std::size_t size = input.Below(3000);
        const bool keep = input.Byte() % 2 == 0;
        Check(m_buffer.SetMaxSize(size, keep ? 1 : 0) == 1, "SetMaxSize");
        Grow(size);
        if (!keep)
            Rewrite();
    }

    void Rewrite() {
        for (std::size_t i = 0; i < m_bytes.size(); ++i)
            m_buffer.GetBuffer()[i] = m_bytes[i] = static_cast<unsigned char>(i);
    }

    void Shift(Input& input) {
        const std::size_t size = input.Below(3000);
        Check(m_buffer.Shift(size) == 1, "Shift");
        m_bytes.erase(m_bytes.begin(),
                      m_bytes.begin() + static_cast<long>(std::min(size, m_bytes.size())));
    }

    void Resize(Input& input) {
        const std::size_t size = input.Below(3000);
        m_buffer.SetSize(size);
        const std::size_t before = m_bytes.size();
        m_bytes.resize(std::min(size, m_capacity));
        if (m_bytes.size() > before)
            Rewrite();
    }

    void Adopt(Input& input) {
        const std::size_t capacity = input.Below(300);
        const std::size_t size = input.Below(capacity + 1);
        auto array = std::make_unique<unsigned char[]>(capacity);
        unsigned char* const pArray = array.get();
        Check(m_buffer.SetBuffer(array.release(), size, capacity) == 1, "SetBuffer");
        Check(m_buffer.GetBuffer() == pArray, "the array of SetBuffer");
        m_bytes.assign(size, 0);
        m_capacity = capacity;
        m_hasArray = true;
    }

    void HandOver() {
        const std::unique_ptr<unsigned char[]> array(m_buffer.Fetch());
        Check(std::equal(m_bytes.begin(), m_bytes.end(), array.get()), "Fetch");
        Forget();
    }

    Vorn::SerialBuffer m_buffer;
    std::vector<unsigned char> m_bytes;
    std::size_t m_capacity = 0;
    bool m_hasArray = false;
};

} // namespace

void VornFuzz::Try(Input& input) {
    Sequence sequence;
    while (!input.IsEmpty()) {
        sequence.Step(input);
        sequence.Compare();
    }
}
