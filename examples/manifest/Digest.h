// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_DIGEST_H
#define VORN_BASES_EXAMPLES_MANIFEST_DIGEST_H

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <openssl/evp.h>

namespace Manifest {

enum class Algorithm : unsigned char { Md5, Sha256 };

/// Returns "md5" or "sha256": the name of an attribute and of an option's value.
const char* NameOf(Algorithm algorithm);

/// Returns nothing when there is no algorithm of that name.
std::optional<Algorithm> AlgorithmNamed(std::string_view name);

/// The digest of a content.
class Digest {
public:
    static constexpr std::size_t MostBytes = 32;

    /// None, as what is no file has it.
    Digest() = default;
    Digest(Algorithm algorithm, const std::array<unsigned char, MostBytes>& bytes)
        : m_known(true), m_algorithm(algorithm), m_bytes(bytes) {}

    /// Parses what Text or ShortText returns; returns nothing for anything else.
    static std::optional<Digest> Parse(Algorithm algorithm, std::string_view text);

    bool IsKnown() const { return m_known; }
    Algorithm Method() const { return m_algorithm; }

    /// Returns the digest in lower-case hexadecimal digits; an empty text for none.
    std::string Text() const;

    /// Returns the digest in Base64, which is shorter; an empty text for none.
    std::string ShortText() const;

    friend bool operator==(const Digest&, const Digest&) = default;
    friend bool operator<(const Digest& a, const Digest& b) { return a.m_bytes < b.m_bytes; }

private:
    bool m_known = false;
    Algorithm m_algorithm = Algorithm::Md5;
    std::array<unsigned char, MostBytes> m_bytes{}; // zeros after a shorter one
};

/// Computes one digest after the other: MD5 with the library, SHA-256, which it does not have, with
/// OpenSSL.
class Hasher {
public:
    /// Throws std::bad_alloc when there is no memory.
    explicit Hasher(Algorithm algorithm);

    void Add(std::string_view piece);

    /// Returns the digest of the pieces, and begins the next.
    Digest Finish();

private:
    struct Free {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };

    void Begin();

    Algorithm m_algorithm;
    char m_md5[88];                             // the library's context
    std::unique_ptr<EVP_MD_CTX, Free> m_sha256; // null for MD5
};

} // namespace Manifest

#endif
