// Guid: random generation, text and order of identifiers, on top of Boost.Uuid.

#include <Bases/Utility.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string_view>
#include <type_traits>

#include <boost/random/mersenne_twister.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <Bases/Impl/Port/RandomSource.h>

namespace Vorn {

static_assert(std::is_trivially_copyable_v<Guid> && std::is_standard_layout_v<Guid>,
              "a Guid is stored and sent as its 16 bytes");
static_assert(sizeof(boost::uuids::uuid) == sizeof(Guid));

namespace {

using Engine = boost::random::mt19937;
using EngineState = std::array<std::uint32_t, Engine::state_size>;

constexpr unsigned char GuidNone[16] = {};

// Seeds an engine with a complete state drawn beforehand: the system is asked once for all of it,
// and a failure shows before there is an engine.
class CompleteSeed {
public:
    explicit CompleteSeed(const EngineState& state) : m_state(state) {}

    void generate(std::uint32_t* first, const std::uint32_t* last) const {
        std::copy_n(m_state.begin(), last - first, first);
    }

private:
    const EngineState& m_state;
};

// Stores a value from outside; refuses nil.
bool Adopt(const boost::uuids::uuid& source, unsigned char (&bytes)[16]) {
    if (source.is_nil())
        return false;
    std::copy(source.begin(), source.end(), bytes);
    return true;
}

// Callers pass texts that continue after the identifier, which Boost's parser refuses, so it gets
// the identifier alone. A text that is too short is passed to it uncut and refused there.
std::string_view IdentifierAt(std::string_view text) {
    const std::size_t brace = text.substr(0, 1) == "{" ? 1 : 0;
    const bool dashed = text.size() > brace + 8 && text[brace + 8] == '-';
    return text.substr(0, 2 * brace + (dashed ? 36 : 32));
}

boost::uuids::uuid Parse(std::string_view identifier) {
    try {
        return boost::uuids::string_generator()(identifier.begin(), identifier.end());
    } catch (const std::runtime_error&) {
        // The message is part of the interface, and Boost's differs between versions.
        throw std::runtime_error("invalid uuid string");
    }
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
        CompleteSeed seed(state);
        Engine engine(seed);
        boost::uuids::basic_random_generator<Engine> generator(engine);
        return Adopt(generator(), m_bytes);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool Guid::FromString(const char* text) {
    if (text == nullptr)
        return false;
    return Adopt(Parse(IdentifierAt(text)), m_bytes);
}

bool Guid::FromString(const std::string& text) {
    if (text.empty())
        return false;
    return FromString(text.c_str());
}

bool Guid::ToString(std::string& out, int form) const {
    if (None())
        return false;
    boost::uuids::uuid value;
    std::copy(std::begin(m_bytes), std::end(m_bytes), value.begin());
    out = boost::uuids::to_string(value);
    // Callers store and compare the clipped text; see
    // GuidText.DropsTheFirstAndLastDigitWithFormZero.
    if (form == GuidForm::Clipped)
        out = out.substr(1, out.size() - 2);
    return true;
}

std::string Guid::ToString(int form) const {
    std::string text;
    ToString(text, form);
    return text;
}

bool Guid::ToString(char* buffer, int form) const {
    std::string text;
    if (buffer == nullptr || !ToString(text, form))
        return false;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
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
