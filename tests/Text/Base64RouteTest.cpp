// SPDX-License-Identifier: MIT
// Base64 on every route, against its bits one by one.

#include <Bases/Impl/Route/Base64Kernel.h>
#include <Bases/Text.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/GuardedBytes.h"
#include "support/RouteTest.h"

// Concerns: on every route, for every length and at every address, Encode gives what ReadBits gives
// six bits at a time, and Decode what WriteBits gives, the whole buffer included, also where it
// fails; nothing beside the buffers is touched. Plan: each route that the machine has, against the
// bits one by one, with buffers that end at a page that may not be touched.

namespace {

using Vorn::Base64;
using VornTest::GuardedBytes;

constexpr unsigned int Seed = 20261123;
constexpr std::size_t MostBytes = 300; // more than any kernel takes at a time, several times

using Bytes = std::vector<unsigned char>;

std::string EncodedByBits(const Bytes& bytes) {
    std::string text;
    unsigned long pos = 0;
    int waiting = 0;
    unsigned long acc = 0;
    for (;;) {
        int read = 0;
        const unsigned int value = Base64::ReadBits(
            6, &read, reinterpret_cast<const char*>(bytes.data()), bytes.size(), pos, waiting, acc);
        if (read == 0)
            break;
        text += Vorn::Base64Alphabet[value];
    }
    text.append((4 - text.size() % 4) % 4, '=');
    return text;
}

struct Decoded {
    unsigned long result = 0;
    Bytes buffer;
    bool operator==(const Decoded& other) const = default;
};

Decoded DecodedByBits(const std::string& text) {
    Decoded decoded{0, Bytes(text.size() + 1)};
    unsigned long pos = 0;
    int waiting = 0;
    unsigned long acc = 0;
    for (const char character : text) {
        const char low = static_cast<char>(static_cast<unsigned char>(character) & 127U);
        const char* const place = std::strchr(Vorn::Base64Alphabet, low);
        if (low == '=')
            continue;
        if (place == nullptr || low == '\0')
            return decoded;
        Base64::WriteBits(static_cast<unsigned int>(place - Vorn::Base64Alphabet), 6,
                          reinterpret_cast<char*>(decoded.buffer.data()), pos, waiting, acc);
    }
    decoded.result = pos;
    return decoded;
}

Decoded DecodedByTheLibrary(const std::string& text) {
    GuardedBytes input(text.size() + 1);
    GuardedBytes output(text.size() + 1);
    std::memcpy(input.Data(), text.c_str(), text.size() + 1);
    std::memset(output.Data(), 0xEE, text.size() + 1);
    Base64 base64;
    const unsigned long result = base64.Decode(reinterpret_cast<const char*>(input.Data()),
                                               reinterpret_cast<char*>(output.Data()));
    return {result, output.Copy()};
}

std::string EncodedByTheLibrary(const Bytes& bytes) {
    GuardedBytes input(bytes);
    Base64 base64;
    std::string text;
    EXPECT_EQ(1, base64.Encode(reinterpret_cast<const char*>(input.Data()), bytes.size(), text));
    return text;
}

// Decodes the `length` characters at the start of the area into a buffer `distance` bytes after
// that start.
unsigned long DecodeInPlaceByBits(Bytes& area, std::size_t length, std::size_t distance) {
    std::fill(area.begin() + static_cast<std::ptrdiff_t>(distance), area.end(), 0);
    unsigned long pos = 0;
    int waiting = 0;
    unsigned long acc = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const char character = static_cast<char>(area[i] & 127U);
        const char* const place = std::strchr(Vorn::Base64Alphabet, character);
        if (character == '\0' || place == nullptr)
            return 0;
        Base64::WriteBits(static_cast<unsigned int>(place - Vorn::Base64Alphabet), 6,
                          reinterpret_cast<char*>(area.data() + distance), pos, waiting, acc);
    }
    return pos;
}

char* AsText(GuardedBytes& bytes) { return reinterpret_cast<char*>(bytes.Data()); }

std::ptrdiff_t Offset(std::size_t count) { return static_cast<std::ptrdiff_t>(count); }

class Base64Route : public VornTest::RouteTest {
protected:
    Bytes RandomBytes(std::size_t size) {
        Bytes bytes(size);
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(Random(256));
        return bytes;
    }

    std::size_t Random(std::size_t below) {
        return std::uniform_int_distribution<std::size_t>(0, below - 1)(m_random);
    }

private:
    std::mt19937 m_random{Seed};
};

TEST_P(Base64Route, EncodesWhatTheBitsGiveForEveryLength) {
    for (std::size_t size = 0; size <= MostBytes; ++size) {
        const Bytes bytes = RandomBytes(size);
        ASSERT_EQ(EncodedByBits(bytes), EncodedByTheLibrary(bytes)) << size << " bytes";
    }
}

TEST_P(Base64Route, DecodesWhatTheBitsGiveForEveryLength) {
    for (std::size_t size = 1; size <= MostBytes; ++size) {
        const std::string text = EncodedByBits(RandomBytes(size));
        ASSERT_EQ(DecodedByBits(text), DecodedByTheLibrary(text)) << text;
    }
}

TEST_P(Base64Route, DecodesEveryByteAtEveryPlaceAsTheBitsDo) {
    const std::string valid = EncodedByBits(RandomBytes(72)); // more than the largest vector
    for (std::size_t place = 0; place < valid.size(); ++place) {
        for (int byte = 1; byte < 256; ++byte) {
            std::string text = valid;
            text[place] = static_cast<char>(byte);
            ASSERT_EQ(DecodedByBits(text), DecodedByTheLibrary(text)) << byte << " at " << place;
        }
    }
}

TEST_P(Base64Route, DecodesDamagedTextsAsTheBitsDo) {
    for (int round = 0; round < 3000; ++round) {
        std::string text = EncodedByBits(RandomBytes(1 + Random(MostBytes)));
        for (std::size_t changes = Random(4); changes > 0; --changes) {
            const std::size_t place = Random(text.size());
            switch (Random(3)) {
            case 0:
                text.insert(place, 1 + Random(5), '=');
                break;
            case 1:
                text[place] = static_cast<char>(static_cast<unsigned char>(text[place]) | 0x80U);
                break;
            default:
                text.erase(place);
                text += "=";
            }
        }
        ASSERT_EQ(DecodedByBits(text), DecodedByTheLibrary(text)) << text;
    }
}

// The buffer is cleared before the first character is read, wherever the two lie. Characters that
// are decoded to ones of the alphabet are read again where the buffer lies in the text, and may
// take the place of its terminator.
TEST_P(Base64Route, DecodesATextThatOverlapsItsBufferAsTheBitsDo) {
    for (std::size_t rest = 100; rest < 104; ++rest) {
        const std::string text = EncodedByBits(Bytes(150, 'Z')) + std::string(rest, 'A');
        for (std::size_t distance = 1; distance <= text.size(); ++distance) {
            Bytes area(distance + text.size() + 1);
            std::copy(text.begin(), text.end(), area.begin());
            Bytes expected = area;
            const unsigned long result = DecodeInPlaceByBits(expected, text.size(), distance);
            Base64 base64;
            ASSERT_EQ(result, base64.Decode(reinterpret_cast<const char*>(area.data()),
                                            reinterpret_cast<char*>(area.data() + distance)))
                << distance;
            ASSERT_EQ(expected, area) << distance;
        }
    }
}

// Those that the route takes, and those of Highway, which other routes may prefer others to.
std::vector<Vorn::Base64Kernels> CandidatesOf(Vorn::Route route) {
    std::vector<Vorn::Base64Kernels> candidates;
    const Vorn::Base64Kernels taken = Vorn::FindBase64Kernels(route);
    if (taken.encode != nullptr)
        candidates.push_back(taken);
#ifdef VORN_BASES_HIGHWAY
    const Vorn::Base64Kernels others = Vorn::FindBase64KernelsOfHighway(route);
    if (others.encode != nullptr && others.encode != taken.encode)
        candidates.push_back(others);
#endif
    return candidates;
}

constexpr std::size_t LargestVector = 64;

class Base64Kernel : public Base64Route {
protected:
    void SetUp() override {
        Base64Route::SetUp();
        if (IsSkipped())
            return;
        m_candidates = CandidatesOf(GetParam());
        if (m_candidates.empty())
            GTEST_SKIP() << "no kernels";
    }

    std::vector<Vorn::Base64Kernels> m_candidates;
};

TEST_P(Base64Kernel, EncodesAllButLessThanAVectorAsTheBitsDo) {
    for (const Vorn::Base64Kernels& kernels : m_candidates)
        for (std::size_t size = 0; size <= MostBytes; ++size) {
            GuardedBytes bytes(RandomBytes(size));
            const std::string text = EncodedByBits(bytes.Copy());
            GuardedBytes encoded(size / 3 * 4);
            const std::size_t done = kernels.encode(bytes.Data(), size, AsText(encoded));
            ASSERT_EQ(0U, done % 3);
            ASSERT_LE(done, size);
            ASSERT_LT(size - done, LargestVector);
            ASSERT_EQ(text.substr(0, done / 3 * 4), std::string(AsText(encoded), done / 3 * 4));
        }
}

TEST_P(Base64Kernel, DecodesAllButLessThanAVectorAsTheBitsDo) {
    for (const Vorn::Base64Kernels& kernels : m_candidates)
        for (std::size_t size = 0; size <= MostBytes; size += 3) {
            const Bytes bytes = RandomBytes(size);
            const std::string text = EncodedByBits(bytes);
            GuardedBytes characters(Bytes(text.begin(), text.end()));
            GuardedBytes decoded(text.size());
            const std::size_t taken =
                kernels.decode(AsText(characters), text.size(), decoded.Data());
            ASSERT_EQ(0U, taken % 4);
            ASSERT_LE(taken, text.size());
            ASSERT_LT(text.size() - taken, LargestVector);
            ASSERT_TRUE(
                std::equal(bytes.begin(), bytes.begin() + Offset(taken / 4 * 3), decoded.Data()));
        }
}

TEST_P(Base64Kernel, StopsAtACharacterOutsideTheAlphabet) {
    const std::string text(MostBytes, 'Q');
    for (const Vorn::Base64Kernels& kernels : m_candidates)
        for (std::size_t place = 0; place < text.size(); ++place) {
            std::string damaged = text;
            damaged[place] = '*';
            GuardedBytes decoded(text.size());
            ASSERT_LE(kernels.decode(damaged.data(), damaged.size(), decoded.Data()), place);
        }
}

TEST(Base64Kernels, AreNotLostOnAHigherRoute) {
    VornTest::ExpectNoKernelIsLostOnAHigherRoute(
        [](Vorn::Route route) { return Vorn::FindBase64Kernels(route).encode != nullptr; });
    VornTest::ExpectNoKernelIsLostOnAHigherRoute(
        [](Vorn::Route route) { return Vorn::FindBase64Kernels(route).decode != nullptr; });
}

#ifdef VORN_BASES_HIGHWAY
TEST(Base64Kernels, OfHighwayAreThereForEveryRoute) {
    for (const Vorn::Route route : VornTest::RoutesOfThisKind()) {
        EXPECT_NE(nullptr, Vorn::FindBase64KernelsOfHighway(route).encode) << Vorn::NameOf(route);
        EXPECT_NE(nullptr, Vorn::FindBase64KernelsOfHighway(route).decode) << Vorn::NameOf(route);
        EXPECT_NE(nullptr, Vorn::FindBase64Kernels(route).encode) << Vorn::NameOf(route);
        EXPECT_NE(nullptr, Vorn::FindBase64Kernels(route).decode) << Vorn::NameOf(route);
    }
}
#endif

#ifdef VORN_BASES_VBMI
// On lower routes the processor need not have their instructions.
TEST(Base64Kernels, OfVbmiAreTakenFromAvx512On) {
    for (const auto& [route, name] : Vorn::AllRoutes) {
        const Vorn::Base64Kernels kernels = Vorn::FindBase64Kernels(route);
        const bool isForIt = route >= Vorn::Route::Avx512;
        EXPECT_EQ(isForIt, kernels.encode == Vorn::Base64EncodeKernelOfVbmi) << name;
        EXPECT_EQ(isForIt, kernels.decode == Vorn::Base64DecodeKernelOfVbmi) << name;
    }
}
#endif

INSTANTIATE_TEST_SUITE_P(Every, Base64Route, VornTest::AllRoutes(), VornTest::RouteNameOf);
INSTANTIATE_TEST_SUITE_P(Every, Base64Kernel, VornTest::AllRoutes(), VornTest::RouteNameOf);

} // namespace
