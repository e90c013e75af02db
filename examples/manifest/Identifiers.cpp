// SPDX-License-Identifier: MIT
#include "Identifiers.h"

#include <cstring>
#include <type_traits>

namespace Manifest {

static_assert(std::is_trivially_copyable_v<Vorn::Guid> && sizeof(Vorn::Guid) == 16,
              "an identifier is its bytes");

bool Identifiers::Next(Vorn::Guid& id) {
    if (m_used == m_random.size()) {
        if (m_source(m_random.data(), static_cast<int>(m_random.size())) != 1)
            return false;
        m_used = 0;
    }
    unsigned char* const bytes = &m_random[m_used];
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0FU) | 0x40U); // version 4: random
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3FU) | 0x80U); // the variant of RFC 4122
    std::memcpy(&id, bytes, Size);
    m_used += Size;
    return true;
}

} // namespace Manifest
