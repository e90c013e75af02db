// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_IDENTIFIERS_H
#define VORN_BASES_EXAMPLES_MANIFEST_IDENTIFIERS_H

#include <array>
#include <cstddef>

#include <openssl/rand.h>

#include <Bases/Utility.h>

namespace Manifest {

/// Makes random identifiers as Guid::Generate does, but asks for the random bytes of many at once.
/// Every call of the library's own seeds a new generator, which costs more than measuring a small
/// file. For one thread.
class Identifiers {
public:
    /// Fills in so many random bytes, unless it does not return 1.
    using Source = int (*)(unsigned char*, int);

    explicit Identifiers(Source source = RAND_bytes) : m_source(source) {}

    /// Returns false, with `id` unchanged, when there are no random bytes.
    bool Next(Vorn::Guid& id);

private:
    static constexpr std::size_t Size = sizeof(Vorn::Guid);

    Source m_source;
    std::array<unsigned char, 256 * Size> m_random{};
    std::size_t m_used = sizeof m_random;
};

} // namespace Manifest

#endif
