// SPDX-License-Identifier: MIT
// SEED and MD5 beside OpenSSL's.

#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <openssl/evp.h>
#include <openssl/provider.h>

#include <Bases/Crypto.h>
#include <support/Inputs.h>
#include <support/Row.h>

namespace Bench {

namespace {

constexpr unsigned long WordBytes = 4;

// Ours reads words with the lowest byte first, OpenSSL's with the highest: the same cipher on bytes
// that are swapped within each word.
std::string Swapped(std::string bytes) {
    for (std::size_t i = 0; i + WordBytes <= bytes.size(); i += WordBytes) {
        std::swap(bytes[i], bytes[i + 3]);
        std::swap(bytes[i + 1], bytes[i + 2]);
    }
    return bytes;
}

const unsigned char* Unsigned(const std::string& bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

class OurSeed {
public:
    OurSeed(const std::string& key, std::string input) : m_input(std::move(input)) {
        m_cipher.Create();
        m_cipher.SetUserSecretKey(Unsigned(key));
    }

    bool Encipher() { return Transform(&Vorn::Crypto::Encrypt); }
    bool Decipher() { return Transform(&Vorn::Crypto::Decrypt); }

    std::string Output() const { return {reinterpret_cast<char*>(m_output.get()), m_input.size()}; }

private:
    bool Transform(decltype(&Vorn::Crypto::Encrypt) transform) {
        unsigned long done = 0;
        unsigned long size = 0;
        unsigned char* out = nullptr;
        const bool result = (static_cast<Vorn::Crypto&>(m_cipher).*transform)(
            reinterpret_cast<unsigned char*>(m_input.data()), m_input.size(), done, out, size);
        m_output.reset(out);
        return result;
    }

    Vorn::CryptoBlockCipherSeed m_cipher;
    std::string m_input;
    std::unique_ptr<unsigned char[]> m_output;
};

// Into the same buffer every time, with the key set once.
class TheirSeed {
public:
    TheirSeed(const std::string& key, const std::string& input, bool encipher)
        : m_input(Swapped(input)), m_output(input.size() + 16), m_context(EVP_CIPHER_CTX_new()) {
        OSSL_PROVIDER_load(nullptr, "default");
        if (OSSL_PROVIDER_load(nullptr, "legacy") == nullptr)
            throw std::runtime_error("OpenSSL's legacy provider, which has SEED, is missing");
        EVP_CIPHER* const cipher = EVP_CIPHER_fetch(nullptr, "SEED-ECB", nullptr);
        EVP_CipherInit_ex2(m_context.get(), cipher, Unsigned(Swapped(key)), nullptr,
                           encipher ? 1 : 0, nullptr);
        EVP_CIPHER_CTX_set_padding(m_context.get(), 0);
        EVP_CIPHER_free(cipher);
    }

    bool Transform() {
        int size = 0;
        return EVP_CipherUpdate(m_context.get(), m_output.data(), &size, Unsigned(m_input),
                                static_cast<int>(m_input.size())) == 1;
    }

    std::string Output() const {
        return Swapped({reinterpret_cast<const char*>(m_output.data()), m_input.size()});
    }

private:
    struct Free {
        void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
    };

    std::string m_input;
    std::vector<unsigned char> m_output;
    std::unique_ptr<EVP_CIPHER_CTX, Free> m_context;
};

const std::string Key = "sixteen bytes...";

const Row Encipher("SEED encipher", {Bytes(64), KiB(4), MiB(1)}, {"OpenSSL"}, [](Run& run) {
    const std::string text = RandomBytes(run.Size());
    OurSeed ours(Key, text);
    TheirSeed theirs(Key, text, true);
    run.Ours([&] { return ours.Encipher(); }, [&] { return ours.Output(); });
    run.Peer([&] { return theirs.Transform(); }, [&] { return theirs.Output(); });
});

const Row Decipher("SEED decipher", {Bytes(64), KiB(4), MiB(1)}, {"OpenSSL"}, [](Run& run) {
    const std::string text = RandomBytes(run.Size());
    OurSeed ours(Key, text);
    TheirSeed theirs(Key, text, false);
    run.Ours([&] { return ours.Decipher(); }, [&] { return ours.Output(); });
    run.Peer([&] { return theirs.Transform(); }, [&] { return theirs.Output(); });
});

using Digest = std::array<char, EVP_MAX_MD_SIZE>;

const Row Md5(
    "MD5", {Bytes(64), KiB(4), MiB(1)}, {"OpenSSL one-shot", "OpenSSL context re-used"},
    [](Run& run) {
        const std::string data = RandomBytes(run.Size());
        Vorn::CryptoHashMd5::MD5Digest_struct digest{};
        run.Ours([&] { Vorn::CryptoHashMd5::MD5Sum(data.data(), data.size(), &digest); },
                 [&] { return std::string(std::begin(digest.bytes), std::end(digest.bytes)); });

        Digest theirs{};
        auto* const out = reinterpret_cast<unsigned char*>(theirs.data());
        const auto result = [&] { return std::string(theirs.data(), 16); };
        run.Peer(
            [&] { return EVP_Digest(data.data(), data.size(), out, nullptr, EVP_md5(), nullptr); },
            result);

        const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                              EVP_MD_CTX_free);
        const std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> md5(
            EVP_MD_fetch(nullptr, "MD5", nullptr), EVP_MD_free);
        run.Peer(
            [&] {
                EVP_DigestInit_ex2(context.get(), md5.get(), nullptr);
                EVP_DigestUpdate(context.get(), data.data(), data.size());
                return EVP_DigestFinal_ex(context.get(), out, nullptr);
            },
            result);
    });

const Curve SeedCurve("SEED encipher, per byte", Decades(7), {"OpenSSL"}, [](Run& run) {
    run.Items(run.Size());
    const std::string text = RandomBytes((run.Size() + 15) / 16 * 16);
    OurSeed ours(Key, text);
    TheirSeed theirs(Key, text, true);
    run.Ours([&] { return ours.Encipher(); });
    run.Peer([&] { return theirs.Transform(); });
});

const Curve Md5Curve("MD5, per byte", Decades(7), {"OpenSSL one-shot"}, [](Run& run) {
    run.Items(run.Size());
    const std::string data = RandomBytes(run.Size());
    run.Ours([&] {
        Vorn::CryptoHashMd5::MD5Digest_struct digest{};
        Vorn::CryptoHashMd5::MD5Sum(data.data(), data.size(), &digest);
        return std::string(std::begin(digest.bytes), std::end(digest.bytes));
    });
    run.Peer([&] {
        Digest digest{};
        EVP_Digest(data.data(), data.size(), reinterpret_cast<unsigned char*>(digest.data()),
                   nullptr, EVP_md5(), nullptr);
        return std::string(digest.data(), 16);
    });
});

} // namespace

} // namespace Bench
