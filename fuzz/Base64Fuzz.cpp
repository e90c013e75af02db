// SPDX-License-Identifier: MIT
// Base64 on every route: encoding against OpenSSL, decoding against the stated steps, and the
// readers and writers of bits against texts of single bits.

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <openssl/evp.h>

#include <Bases/Text.h>

#include "support/Fuzz.h"

namespace {

std::string EncodedByPeer(const std::string& bytes) {
    std::vector<unsigned char> text((bytes.size() + 2) / 3 * 4 + 1);
    const int size =
        EVP_EncodeBlock(text.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                        static_cast<int>(bytes.size()));
    return {text.begin(), text.begin() + size};
}

void TryEncoding(const std::string& bytes) {
    const std::string expected = EncodedByPeer(bytes);
    VornFuzz::OnEachRoute([&] {
        std::string text = "what was there before";
        VornFuzz::Check(Vorn::Base64().Encode(bytes.data(), bytes.size(), text) == 1, "Encode");
        VornFuzz::Check(text == expected, "what Encode gives");
    });
}

// What decoding leaves in the buffer, and what it returns.
struct Decoded {
    std::string buffer;
    unsigned long size = 0;
    bool operator==(const Decoded& other) const = default;
};

Decoded DecodedByTheSteps(const std::string& text) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Decoded decoded{std::string(text.size() + 1, '\0'), 0};
    if (text.empty())
        decoded.buffer = "~"; // is not touched
    unsigned long bits = 0;
    int waiting = 0;
    for (const char byte : text) {
        const auto c = static_cast<char>(byte & 0x7F);
        const std::size_t value = alphabet.find(c);
        if (c == '=')
            continue;
        if (value == std::string::npos)
            return {decoded.buffer, 0};
        bits = bits << 6 | value;
        waiting += 6;
        if (waiting >= 8) {
            waiting -= 8;
            decoded.buffer[decoded.size++] = static_cast<char>(bits >> waiting);
        }
    }
    return decoded;
}

// Both are arrays of exactly the needed size, beyond which the address sanitizer looks.
void TryDecoding(const std::string& text) {
    const Decoded expected = DecodedByTheSteps(text);
    const auto source = std::make_unique<char[]>(text.size() + 1);
    std::memcpy(source.get(), text.c_str(), text.size() + 1);
    VornFuzz::OnEachRoute([&] {
        const auto buffer = std::make_unique<char[]>(text.size() + 1);
        std::memset(buffer.get(), '~', text.size() + 1);
        const unsigned long size = Vorn::Base64().Decode(source.get(), buffer.get());
        VornFuzz::Check(Decoded{{buffer.get(), text.size() + 1}, size} == expected, "Decode");
    });
}

std::string BitsOf(unsigned long value, int count) {
    std::string bits;
    for (int i = count - 1; i >= 0; --i)
        bits += (value >> i & 1) == 0 ? '0' : '1';
    return bits;
}

void TryBits(VornFuzz::Input& input) {
    std::vector<int> widths(input.Below(64));
    for (int& width : widths)
        width = static_cast<int>(input.Below(9));
    const std::string bytes = input.Rest();
    std::string bits;
    for (const char byte : bytes)
        bits += BitsOf(static_cast<unsigned char>(byte), 8);

    unsigned long readPos = 0;
    unsigned long writePos = 0;
    int readWaiting = 0;
    int writeWaiting = 0;
    unsigned long readBits = 0;
    unsigned long writtenBits = 0;
    std::string read;
    std::vector<char> written(widths.size() + 1);
    for (const int width : widths) {
        int count = -1;
        const unsigned value = Vorn::Base64::ReadBits(width, &count, bytes.data(), bytes.size(),
                                                      readPos, readWaiting, readBits);
        read += BitsOf(value, width).substr(0, static_cast<std::size_t>(count));
        VornFuzz::Check((value & ((1U << (width - count)) - 1)) == 0, "bits that are missing");
        Vorn::Base64::WriteBits(value >> (width - count), count, written.data(), writePos,
                                writeWaiting, writtenBits);
    }
    VornFuzz::Check(bits.compare(0, read.size(), read) == 0, "ReadBits");
    std::string again;
    for (std::size_t i = 0; i < writePos; ++i)
        again += BitsOf(static_cast<unsigned char>(written[i]), 8);
    VornFuzz::Check(again == read.substr(0, read.size() / 8 * 8), "WriteBits");
}

} // namespace

// Good characters in front let a short input reach any place of a vector.
void VornFuzz::Try(Input& input) {
    Input bits = input;
    TryBits(bits);
    const std::size_t front = input.Below(200);
    const std::string rest = input.Rest();
    TryEncoding(rest);
    TryEncoding(std::string(front, '\xA5') + rest);
    TryDecoding((std::string(front, 'q') + rest).c_str());
    TryDecoding(EncodedByPeer(rest));
}
