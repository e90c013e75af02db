// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_GUARDED_BYTES_H
#define VORN_BASES_TESTS_SUPPORT_GUARDED_BYTES_H

// A buffer that ends where a page begins that may not be touched: one byte read or written too many
// ends the program. One of whole pages also begins where such a page ends.

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

namespace VornTest {

class GuardedBytes {
public:
    explicit GuardedBytes(std::size_t size) : m_size(size) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t usable = (size + page - 1) / page * page;
        m_mappedSize = page + usable + page;
        m_pMapped =
            mmap(nullptr, m_mappedSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (m_pMapped == MAP_FAILED)
            throw std::runtime_error("no memory for a guarded buffer");
        mprotect(m_pMapped, page, PROT_NONE);
        unsigned char* const end = static_cast<unsigned char*>(m_pMapped) + page + usable;
        mprotect(end, page, PROT_NONE);
        m_pData = end - size;
    }
    explicit GuardedBytes(const std::vector<unsigned char>& bytes) : GuardedBytes(bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), m_pData);
    }
    ~GuardedBytes() { munmap(m_pMapped, m_mappedSize); }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    unsigned char* Data() { return m_pData; }
    std::vector<unsigned char> Copy() const { return {m_pData, m_pData + m_size}; }

private:
    std::size_t m_size;
    std::size_t m_mappedSize = 0;
    void* m_pMapped = nullptr;
    unsigned char* m_pData = nullptr;
};

} // namespace VornTest

#endif
