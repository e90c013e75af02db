// SPDX-License-Identifier: MIT
// The kernels of UTF-8 for AVX-512 with VBMI, whose instructions move bytes anywhere in a vector,
// take eight bits from any place of a word, and close the gaps between chosen bytes. So sixteen
// characters of any lengths are converted at a time. Highway does not know these instructions.
//
// A character has a lane of 32 bits, in which its bytes are read as a number, the first one
// highest.

#include <Bases/Impl/Route/Utf8Kernel.h>

#include <cstdint>
#include <iterator>

#include <immintrin.h>

#include <Bases/Impl/Route/Utf8Form.h>

namespace Vorn {

namespace {

using Vector = __m512i;

constexpr std::size_t VectorSize = 64;
constexpr std::size_t LaneCount = 16;
constexpr std::size_t LongestForm = std::size(Utf8Forms);

struct alignas(VectorSize) ByteTable {
    std::uint8_t bytes[VectorSize];
};

struct alignas(VectorSize) LaneTable {
    std::uint32_t lanes[LaneCount];
};

Vector Load(const void* bytes) { return _mm512_loadu_si512(bytes); }

Vector Each(std::uint32_t lane) { return _mm512_set1_epi32(static_cast<int>(lane)); }

Vector EachByte(std::size_t byte) { return _mm512_set1_epi8(static_cast<char>(byte)); }

__mmask16 AreSurrogates(Vector points) {
    return _mm512_cmpeq_epi32_mask(_mm512_and_si512(points, Each(BitsOfSurrogates)),
                                   Each(SurrogateBits));
}

__mmask16 AreBeyond(Vector points) { return _mm512_cmpgt_epu32_mask(points, Each(LastCodePoint)); }

// --- Decoding ------------------------------------------------------------------------------------

constexpr ByteTable Numbers() {
    ByteTable table{};
    for (unsigned i = 0; i < VectorSize; ++i)
        table.bytes[i] = static_cast<std::uint8_t>(i);
    return table;
}

// Three bytes to each lane, the first one highest; the lowest three of the lane.
constexpr ByteTable TriplesIntoLanes() {
    ByteTable table{};
    for (unsigned i = 0; i < VectorSize; ++i)
        table.bytes[i] = static_cast<std::uint8_t>(i % 4 < 3 ? i / 4 * 3 + 2 - i % 4 : 0);
    return table;
}

constexpr ByteTable LanesOfBytes() {
    ByteTable table{};
    for (unsigned i = 0; i < VectorSize; ++i)
        table.bytes[i] = static_cast<std::uint8_t>(i / 4);
    return table;
}

// How far each byte of a lane is in front of the end of the sequence.
constexpr ByteTable DistancesFromEnd() {
    ByteTable table{};
    for (unsigned i = 0; i < VectorSize; ++i)
        table.bytes[i] = static_cast<std::uint8_t>(i % 4 + 1);
    return table;
}

constexpr ByteTable ByteNumbers = Numbers();
constexpr ByteTable LaneOfByte = LanesOfBytes();
constexpr ByteTable FromEnd = DistancesFromEnd();
constexpr ByteTable Triples = TriplesIntoLanes();
constexpr __mmask64 ThreeOfEachLane = 0x7777777777777777;

// What is known of sequences in lanes.
struct Forms {
    Vector marks, others, least; // others: what is no payload
};

// By the length, of which the lowest four bits count. Of what is longer than any sequence, the last
// four bytes are tails, which fit none of these.
struct FormTables {
    LaneTable marks, others, least;
};

constexpr FormTables FormsByLength() {
    FormTables tables{};
    for (unsigned length = 0; length < LaneCount; ++length) {
        const bool isLength = length >= 1 && length <= LongestForm;
        const Utf8Form form = isLength ? Utf8Forms[length - 1] : Utf8Form{};
        tables.marks.lanes[length] = form.marks;
        tables.others.lanes[length] = ~form.payload;
        tables.least.lanes[length] = form.least;
    }
    return tables;
}

constexpr FormTables ByLength = FormsByLength();

Forms FormsOf(Vector lengths) {
    return {_mm512_permutexvar_epi32(lengths, Load(ByLength.marks.lanes)),
            _mm512_permutexvar_epi32(lengths, Load(ByLength.others.lanes)),
            _mm512_permutexvar_epi32(lengths, Load(ByLength.least.lanes))};
}

Forms FormsOfTriples() {
    constexpr Utf8Form Form = Utf8Forms[2];
    return {Each(Form.marks), Each(~Form.payload), Each(Form.least)};
}

// Writes the code points of sequences that have a lane each. Returns which are not plain. Without
// its marks a sequence has nothing but payload.
__mmask16 DecodeLanes(Vector sequences, const Forms& forms, wchar_t* to) {
    const Vector bits = _mm512_xor_si512(sequences, forms.marks);
    const Vector pairs = _mm512_maddubs_epi16(bits, _mm512_set1_epi16(0x4001)); // 64 and 1
    const Vector points = _mm512_madd_epi16(pairs, Each(0x10000001));           // 4096 and 1
    _mm512_storeu_si512(to, points);
    return static_cast<__mmask16>(_mm512_test_epi32_mask(bits, forms.others) |
                                  _mm512_cmplt_epu32_mask(points, forms.least) |
                                  AreSurrogates(points) | AreBeyond(points));
}

struct DecodingPlace {
    const char* from;
    wchar_t* to;
};

bool IsAscii(Vector bytes) { return _mm512_movepi8_mask(bytes) == 0; }

void DecodeAscii(DecodingPlace& place) {
    for (std::size_t i = 0; i < VectorSize; i += LaneCount) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(place.from + i));
        _mm512_storeu_si512(place.to + i, _mm512_cvtepu8_epi32(bytes));
    }
    place.from += VectorSize;
    place.to += VectorSize;
}

// Whether the first sixteen characters have three bytes each: every third bit is set, that of the
// next character too, without which the sixteenth would be longer.
bool AreTriples(std::uint64_t starts) { return (starts & 0x1FFFFFFFFFFFF) == 0x1249249249249; }

// Sixteen characters of three bytes each. Returns false if one is not plain.
bool DecodeTriples(Vector bytes, DecodingPlace& place) {
    const Vector lanes = _mm512_maskz_permutexvar_epi8(ThreeOfEachLane, Load(Triples.bytes), bytes);
    if (DecodeLanes(lanes, FormsOfTriples(), place.to) != 0)
        return false;
    place.from += 3 * LaneCount;
    place.to += LaneCount;
    return true;
}

// Which bytes begin a character, as all but tails do.
__mmask64 Starts(Vector bytes) {
    return _mm512_cmpge_epi8_mask(bytes, EachByte(0xC0)); // -64
}

// All characters of a vector but the last one, which may go on behind it. Returns false if one is
// not plain.
bool DecodeMixture(Vector bytes, std::uint64_t starts, DecodingPlace& place) {
    const std::uint64_t laterStarts = starts & (starts - 1);
    const auto count = static_cast<std::size_t>(_mm_popcnt_u64(laterStarts));
    const Vector begins = _mm512_maskz_compress_epi8(starts, Load(ByteNumbers.bytes));
    const Vector ends = _mm512_maskz_compress_epi8(laterStarts, Load(ByteNumbers.bytes));
    const Vector lengths = _mm512_sub_epi8(ends, begins);
    const std::uint64_t isThere = (std::uint64_t{1} << count) - 1;

    std::uint64_t wrong = ~starts & 1;
    for (std::size_t i = 0; i < count; i += LaneCount) {
        // A lane's four bytes end where its sequence does; those in front of it are blanked.
        const Vector lane = _mm512_add_epi8(Load(LaneOfByte.bytes), EachByte(i));
        const Vector length = _mm512_permutexvar_epi8(lane, lengths);
        const Vector order =
            _mm512_sub_epi8(_mm512_permutexvar_epi8(lane, ends), Load(FromEnd.bytes));
        const __mmask64 isInside = _mm512_cmpge_epu8_mask(length, Load(FromEnd.bytes));
        const Vector sequences = _mm512_maskz_permutexvar_epi8(isInside, order, bytes);
        wrong |= std::uint64_t{DecodeLanes(sequences, FormsOf(length), place.to + i)} << i;
    }
    if (count == 0 || (wrong & isThere) != 0)
        return false;
    place.from += VectorSize - 1 - _lzcnt_u64(starts);
    place.to += count;
    return true;
}

// --- Encoding ------------------------------------------------------------------------------------

// From which bit on each byte of a sequence lies in the code points of two lanes, for the longest
// one: first byte first.
constexpr ByteTable FirstBits() {
    ByteTable table{};
    for (unsigned i = 0; i < VectorSize; ++i)
        table.bytes[i] = static_cast<std::uint8_t>(i % 8 / 4 * 32 + (3 - i % 4) * 6);
    return table;
}

constexpr std::uint32_t Reversed(std::uint32_t lane) { return __builtin_bswap32(lane); }

// By the length less one, in the order of the text: shorter sequences have the last bytes.
struct ReversedForms {
    LaneTable marks, payload;
};

constexpr ReversedForms ReversedFormsByLength() {
    ReversedForms tables{};
    for (unsigned i = 0; i < LongestForm; ++i) {
        tables.marks.lanes[i] = Reversed(Utf8Forms[i].marks);
        tables.payload.lanes[i] = Reversed(Utf8Forms[i].payload);
    }
    return tables;
}

constexpr ByteTable SixBits = FirstBits();
constexpr ReversedForms ReversedByLength = ReversedFormsByLength();

struct EncodingPlace {
    const wchar_t* from;
    char* to;
};

void EncodeAscii(Vector points, EncodingPlace& place) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(place.to), _mm512_cvtepi32_epi8(points));
    place.from += LaneCount;
    place.to += LaneCount;
}

// Sixteen characters. Returns false if one is not plain.
bool EncodeMixture(Vector points, EncodingPlace& place) {
    const Vector one = Each(1);
    Vector more = _mm512_setzero_si512(); // bytes behind the first
    for (std::size_t length = 1; length < LongestForm; ++length) {
        const __mmask16 isLonger = _mm512_cmpge_epu32_mask(points, Each(Utf8Forms[length].least));
        more = _mm512_mask_add_epi32(more, isLonger, more, one);
    }
    const Vector marks = _mm512_permutexvar_epi32(more, Load(ReversedByLength.marks.lanes));
    const Vector payload = _mm512_permutexvar_epi32(more, Load(ReversedByLength.payload.lanes));
    const Vector bits = _mm512_multishift_epi64_epi8(Load(SixBits.bytes), points);
    const Vector sequences = _mm512_or_si512(_mm512_and_si512(bits, payload), marks);
    const __mmask64 isInside = _mm512_test_epi8_mask(payload, payload);
    _mm512_storeu_si512(place.to, _mm512_maskz_compress_epi8(isInside, sequences));
    if ((AreSurrogates(points) | AreBeyond(points)) != 0)
        return false;
    place.from += LaneCount;
    place.to += _mm_popcnt_u64(isInside);
    return true;
}

} // namespace

Utf8Progress Utf8DecodeKernelOfVbmi(const char* from, std::size_t size, wchar_t* to,
                                    std::size_t capacity) {
    if (size < VectorSize || capacity < VectorSize)
        return {};
    const char* const lastFrom = from + size - VectorSize;
    const wchar_t* const lastTo = to + capacity - VectorSize;
    DecodingPlace place{from, to};
    while (place.from <= lastFrom && place.to <= lastTo) {
        const Vector bytes = Load(place.from);
        const std::uint64_t starts = Starts(bytes);
        if (IsAscii(bytes))
            DecodeAscii(place);
        else if (!(AreTriples(starts) ? DecodeTriples(bytes, place)
                                      : DecodeMixture(bytes, starts, place)))
            break;
    }
    return {static_cast<std::size_t>(place.from - from), static_cast<std::size_t>(place.to - to)};
}

Utf8Progress Utf8EncodeKernelOfVbmi(const wchar_t* from, std::size_t size, char* to,
                                    std::size_t capacity) {
    if (size < LaneCount || capacity < VectorSize)
        return {};
    const wchar_t* const lastFrom = from + size - LaneCount;
    const char* const lastTo = to + capacity - VectorSize;
    EncodingPlace place{from, to};
    while (place.from <= lastFrom && place.to <= lastTo) {
        const Vector points = Load(place.from);
        if (_mm512_test_epi32_mask(points, Each(~Utf8Forms[0].payload)) == 0)
            EncodeAscii(points, place);
        else if (!EncodeMixture(points, place))
            break;
    }
    return {static_cast<std::size_t>(place.from - from), static_cast<std::size_t>(place.to - to)};
}

} // namespace Vorn
