// SPDX-License-Identifier: MIT
// Guid: random generation, text and order of identifiers, on top of Boost.Uuid.

#include <Bases/Utility.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <new>
#include <stdexcept>
#include <string_view>
#include <type_traits>

#include <boost/random/mersenne_twister.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>

#include <Bases/Impl/Port/RandomSource.h>

namespace Vorn {

static_assert(std::is_trivially_copyable_v<Guid> && std::is_standard_layout_v<Guid>,
              "a Guid is stored and sent as its 16 bytes");
static_assert(sizeof(boost::uuids::uuid) == sizeof(Guid));

namespace {

using Engine = boost::random::mt19937;
using EngineState = std::array<std::uint32_t, Engine::state_size>;

constexpr unsigned char GuidNone[sizeof(Guid)] = {};

// The first outputs of Boost's engine with a complete state, drawn beforehand: the system is asked
// once for all of it, and a failure shows before there is an engine. Each output comes from three
// words of the state, so that an identifier need not wait for the hundreds of others.
class FirstOutputs {
public:
    using result_type = std::uint32_t;

    explicit FirstOutputs(EngineState& state) : m_state(state) {
        // Only the highest bit of the first word counts, and no state is all zeros.
        m_state[0] &= Upper;
        if (std::all_of(m_state.begin(), m_state.end(), [](std::uint32_t word) { return !word; }))
            m_state[0] = Upper;
    }

    static constexpr result_type min() { return 0; }
    static constexpr result_type max() { return std::numeric_limits<result_type>::max(); }

    result_type operator()() {
        const std::uint32_t word = (m_state[m_nNext] & Upper) | (m_state[m_nNext + 1] & ~Upper);
        const std::uint32_t twist = word % 2 != 0 ? Engine::xor_mask : 0;
        std::uint32_t output = m_state[m_nNext + Engine::shift_size] ^ word >> 1 ^ twist;
        ++m_nNext;
        output ^= output >> Engine::tempering_u & Engine::tempering_d;
        output ^= output << Engine::tempering_s & Engine::tempering_b;
        output ^= output << Engine::tempering_t & Engine::tempering_c;
        return output ^ output >> Engine::tempering_l;
    }

private:
    static constexpr std::uint32_t Upper = ~std::uint32_t{0} << Engine::mask_bits;

    EngineState& m_state;
    std::size_t m_nNext = 0;
};

using Bytes = std::array<unsigned char, 16>;

// Stores a value from outside; refuses nil.
bool Adopt(const Bytes& source, unsigned char (&bytes)[16]) {
    if (std::memcmp(source.data(), GuidNone, source.size()) == 0)
        return false;
    std::copy(source.begin(), source.end(), bytes);
    return true;
}

bool Adopt(const boost::uuids::uuid& source, unsigned char (&bytes)[16]) {
    Bytes copy;
    std::copy(source.begin(), source.end(), copy.begin());
    return Adopt(copy, bytes);
}

// A dash comes before these bytes of a dashed text.
constexpr bool FollowsDash(std::size_t byte) {
    return byte == 4 || byte == 6 || byte == 8 || byte == 10;
}

constexpr std::uint8_t NoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> DigitValues() {
    std::array<std::uint8_t, 256> values{};
    values.fill(NoDigit);
    for (std::uint8_t value = 0; value < 16; ++value) {
        values[static_cast<unsigned char>("0123456789abcdef"[value])] = value;
        values[static_cast<unsigned char>("0123456789ABCDEF"[value])] = value;
    }
    return values;
}

constexpr std::array<std::uint8_t, 256> ValueOf = DigitValues();

// Reads an identifier of digits only, in any of its shapes. Returns false for every other text,
// and looks no further than at what differs: a terminator, too.
bool Read(const char* text, Bytes& bytes) {
    const auto* next = reinterpret_cast<const unsigned char*>(text);
    const bool braced = *next == '{';
    if (braced)
        ++next;
    bool dashed = false;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4)
            dashed = *next == '-';
        if (dashed && FollowsDash(i) && *next++ != '-')
            return false;
        const std::uint8_t high = ValueOf[*next++];
        if (high == NoDigit)
            return false;
        const std::uint8_t low = ValueOf[*next++];
        if (low == NoDigit)
            return false;
        bytes[i] = static_cast<unsigned char>(high << 4 | low);
    }
    return !braced || *next == '}';
}

// Callers pass texts that continue after the identifier, which Boost's parser refuses, so it gets
// the identifier alone. A text that is too short is passed to it uncut and refused there. It also
// judges characters that are no digits, differently from version to version.
std::string_view IdentifierAt(std::string_view text) {
    const bool braced = text.starts_with('{');
    const std::size_t dash = braced ? 9 : 8;
    const bool dashed = text.size() > dash && text[dash] == '-';
    return text.substr(0, (dashed ? 36U : 32U) + (braced ? 2U : 0U));
}

boost::uuids::uuid Parse(std::string_view identifier) {
    try {
        boost::uuids::string_generator parse;
        return parse(identifier.begin(), identifier.end()); // GCOVR_EXCL_BR_LINE boost
    } catch (const std::runtime_error&) {                   // GCOVR_EXCL_BR_LINE boost
        // The message is part of the interface, and Boost's differs between versions.
        throw std::runtime_error("invalid uuid string");
    }
}

constexpr std::size_t TextLength = 36;
constexpr std::size_t ClippedLength = TextLength - 2;

// Plain arithmetic, which compilers do for all the digits at once.
constexpr char DigitOf(unsigned value) {
    return static_cast<char>(value + (value < 10 ? '0' : 'a' - 10));
}

// Writes all digits to the end of the text, where the last ones belong, and then moves the others
// forward. A work area instead would have the compiler protect the stack, which costs a third more.
[[gnu::always_inline]] inline void Print(const unsigned char (&bytes)[16], char* text) {
    constexpr std::size_t Dashes = 4;
    Bytes source; // the text may lie where the identifier is
    std::copy(std::begin(bytes), std::end(bytes), source.begin());
    for (std::size_t i = 0; i < source.size(); ++i) {
        text[Dashes + 2 * i] = DigitOf(source[i] >> 4);
        text[Dashes + 2 * i + 1] = DigitOf(source[i] & 0xFU);
    }
    std::memmove(text, text + 4, 8);
    text[8] = '-';
    std::memmove(text + 9, text + 12, 4);
    text[13] = '-';
    std::memmove(text + 14, text + 16, 4);
    text[18] = '-';
    std::memmove(text + 19, text + 20, 4);
    text[23] = '-';
}

// Not inlined: a caller who gets the whole text needs no text of ours.
[[gnu::noinline]] void PrintClipped(const unsigned char (&bytes)[16], char* buffer) {
    char text[TextLength];
    Print(bytes, text);
    std::memcpy(buffer, text + 1, ClippedLength);
    buffer[ClippedLength] = '\0';
}

// Compares two unsigned integers in host byte order: -1, 0 or 1.
template <typename Word>
int CompareWords(const unsigned char* left, const unsigned char* right) {
    Word leftWord;
    Word rightWord;
    std::memcpy(&leftWord, left, sizeof leftWord);
    std::memcpy(&rightWord, right, sizeof rightWord);
    return static_cast<int>(leftWord > rightWord) - static_cast<int>(leftWord < rightWord);
}

} // namespace

Guid::Guid() : m_bytes{} {}

bool Guid::Generate() {
    EngineState state;
    if (!FillRandom(state.data(), sizeof state))
        return false;
    try {
        // Not the default constructor of Boost's generator: it asks the system once per word, and
        // leaks its engine if the system fails while seeding.
        FirstOutputs engine(state);
        boost::uuids::basic_random_generator<FirstOutputs> generator(engine);
        return Adopt(generator(), m_bytes);
    } catch (const std::bad_alloc&) { // GCOVR_EXCL_BR_LINE boost
        return false;
    }
}

bool Guid::FromString(const char* text) {
    if (text == nullptr)
        return false;
    if (Bytes bytes; Read(text, bytes))
        return Adopt(bytes, m_bytes);
    return Adopt(Parse(IdentifierAt(text)), m_bytes); // GCOVR_EXCL_BR_LINE boost
}

bool Guid::FromString(const std::string& text) {
    if (text.empty())
        return false;
    return FromString(text.c_str());
}

bool Guid::ToString(std::string& out, int form) const {
    if (None())
        return false;
    char text[TextLength];
    Print(m_bytes, text);
    // Callers store and compare the clipped text; see
    // GuidText.DropsTheFirstAndLastDigitWithFormZero.
    if (form == GuidForm::Clipped)
        out.assign(text + 1, ClippedLength);
    else
        out.assign(text, TextLength);
    return true;
}

std::string Guid::ToString(int form) const {
    std::string text;
    ToString(text, form);
    return text;
}

bool Guid::ToString(char* buffer, int form) const {
    if (buffer == nullptr || None())
        return false;
    if (form == GuidForm::Clipped) {
        PrintClipped(m_bytes, buffer);
    } else {
        Print(m_bytes, buffer);
        buffer[TextLength] = '\0';
    }
    return true;
}

bool Guid::Test(const Guid& other) const {
    return std::memcmp(m_bytes, other.m_bytes, sizeof m_bytes) == 0;
}

bool Guid::operator==(const Guid& other) const { return Test(other); }

bool Guid::operator!=(const Guid& other) const { return !Test(other); }

bool Guid::None() const { return std::memcmp(m_bytes, GuidNone, sizeof m_bytes) == 0; }

void Guid::Clear() { std::memcpy(m_bytes, GuidNone, sizeof m_bytes); }

int Guid::Compare(const Guid& other) const {
    if (const int order = CompareWords<std::uint32_t>(m_bytes, other.m_bytes); order != 0)
        return order;
    if (const int order = CompareWords<std::uint16_t>(m_bytes + 4, other.m_bytes + 4); order != 0)
        return order;
    if (const int order = CompareWords<std::uint16_t>(m_bytes + 6, other.m_bytes + 6); order != 0)
        return order;
    return std::memcmp(m_bytes + 8, other.m_bytes + 8, 8);
}

bool Guid::operator<(const Guid& other) const { return Compare(other) < 0; }

bool Guid::operator>(const Guid& other) const { return Compare(other) > 0; }

} // namespace Vorn
