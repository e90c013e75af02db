// SPDX-License-Identifier: MIT
// The kernels of UTF-8 for every instruction set of Highway.
//
// Text comes in three kinds, for each of which there is a step: ASCII, which is only widened or
// narrowed; runs of characters of three bytes, as of Korean and Chinese; and any mixture, four
// characters at a time, whose lengths choose how their bytes are moved. In all of them a character
// has a lane of 32 bits, in which its bytes are read as a number, the first one highest.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Bases/Impl/Route/Utf8Kernel_hwy.cpp"
#include <Bases/Impl/Route/Highway.h>
// After Highway.
#include <Bases/Impl/Route/Groups.h>

#include <cstddef>
#include <cstdint>
#include <iterator>

#include <Bases/Impl/Route/Utf8Form.h>
#include <Bases/Impl/Route/Utf8Kernel.h>

#ifndef VORN_BASES_IMPL_ROUTE_UTF8_KERNEL_HWY_TABLES
#define VORN_BASES_IMPL_ROUTE_UTF8_KERNEL_HWY_TABLES

namespace Vorn {

namespace {

constexpr std::size_t LongestForm = 4;
constexpr std::size_t FourCharacters = 4; // the lanes of 128 bits
constexpr std::uint8_t NoByte = 0x80;     // a shuffle gives 0 for it

// Four characters of known lengths: where their bytes go, and what must be in their lanes.
struct alignas(16) Shape {
    std::uint8_t order[16];
    std::uint32_t marks[FourCharacters];
    std::uint32_t payload[FourCharacters];
    std::uint32_t least[FourCharacters];
};

// The lengths of four characters in a number: two bits each, for the length less one.
constexpr unsigned LengthOf(unsigned lengths, unsigned character) {
    return (lengths >> 2 * character & 3) + 1;
}

constexpr unsigned ShapeCount = 256;
constexpr unsigned FirstOfThree = ShapeCount;
constexpr unsigned Foreign = FirstOfThree + ShapeCount / 4;

// --- Decoding ------------------------------------------------------------------------------------

// A shape of sequences that follow each other. The highest ones are for the last: a window may show
// only three.
constexpr Shape DecodingShape(unsigned lengths, unsigned count) {
    Shape shape{};
    unsigned place = 0;
    for (unsigned lane = 0; lane < FourCharacters; ++lane) {
        const unsigned length = lane < count ? LengthOf(lengths, lane) : 0;
        for (unsigned i = 0; i < LongestForm; ++i)
            shape.order[4 * lane + i] =
                i < length ? static_cast<std::uint8_t>(place + length - 1 - i) : NoByte;
        const Utf8Form form = Utf8Forms[length == 0 ? 0 : length - 1];
        shape.marks[lane] = form.marks;
        shape.payload[lane] = form.payload;
        shape.least[lane] = form.least;
        place += length;
    }
    return shape;
}

// Those of four characters, and then those of three, in front of a fourth that is not seen whole.
struct DecodingShapes {
    Shape shapes[Foreign + 1];
};

constexpr DecodingShapes MakeDecodingShapes() {
    DecodingShapes all{};
    for (unsigned lengths = 0; lengths < ShapeCount; ++lengths)
        all.shapes[lengths] = DecodingShape(lengths, 4);
    for (unsigned lengths = 0; lengths < ShapeCount / 4; ++lengths)
        all.shapes[FirstOfThree + lengths] = DecodingShape(lengths, 3);
    all.shapes[Foreign] = {{}, {1, 1, 1, 1}, {}, {}};
    return all;
}

// What a window shows: which of its bytes are the last of their characters, a bit for each.
constexpr unsigned WindowSize = 12;

struct Window {
    std::uint16_t shape; // of the characters in front
    std::uint8_t size;   // how many bytes they have
    std::uint8_t count;
};

struct Windows {
    Window windows[1 << WindowSize];
};

constexpr Window WindowOf(unsigned ends) {
    unsigned lengths = 0;
    unsigned count = 0;
    unsigned size = 0;
    for (unsigned length = 1; count < FourCharacters && size + length <= WindowSize; ++length) {
        if ((ends >> (size + length - 1) & 1) == 0)
            continue;
        if (length > LongestForm)
            break;
        lengths |= (length - 1) << 2 * count;
        ++count;
        size += length;
        length = 0;
    }
    if (count == 4)
        return {static_cast<std::uint16_t>(lengths), static_cast<std::uint8_t>(size), 4};
    if (count == 3)
        return {static_cast<std::uint16_t>(FirstOfThree + lengths), static_cast<std::uint8_t>(size),
                3};
    return {Foreign, WindowSize, 0};
}

constexpr Windows MakeWindows() {
    Windows all{};
    for (unsigned ends = 0; ends < 1 << WindowSize; ++ends)
        all.windows[ends] = WindowOf(ends);
    return all;
}

// --- Encoding ------------------------------------------------------------------------------------

// Four characters whose sequences become bytes without gaps. Their lengths, less one, have a lower
// bit each in the lower half of a number, and an upper bit each in the upper half.
struct alignas(16) EncodingShape {
    std::uint8_t order[16];
    std::uint32_t marks[FourCharacters];
    std::uint32_t size;
};

struct EncodingShapes {
    EncodingShape shapes[1 << 2 * FourCharacters];
};

constexpr EncodingShapes MakeEncodingShapes() {
    EncodingShapes all{};
    for (unsigned lengths = 0; lengths < std::size(all.shapes); ++lengths) {
        EncodingShape& shape = all.shapes[lengths];
        for (unsigned lane = 0; lane < FourCharacters; ++lane) {
            const unsigned more = (lengths >> lane & 1) + 2 * (lengths >> (4 + lane) & 1);
            shape.marks[lane] = Utf8Forms[more].marks;
            for (unsigned i = 0; i <= more; ++i)
                shape.order[shape.size++] = static_cast<std::uint8_t>(4 * lane + more - i);
        }
    }
    return all;
}

alignas(64) constexpr EncodingShapes Encoding = MakeEncodingShapes();

// Three bytes to a lane, the first one highest.
constexpr ByteTable TriplesIntoLanes{{2, 1, 0, 128, 5, 4, 3, 128, 8, 7, 6, 128, 11, 10, 9, 128}};

alignas(64) constexpr DecodingShapes Decoding = MakeDecodingShapes();
alignas(64) constexpr Windows AllWindows = MakeWindows();

} // namespace

} // namespace Vorn

#endif

HWY_BEFORE_NAMESPACE();

namespace Vorn::HWY_NAMESPACE {

namespace {

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

using WordTag = hn::Repartition<std::uint32_t, OctetTag>;
using FourTag = hn::FixedTag<std::uint32_t, FourCharacters>;

constexpr hn::Repartition<std::int8_t, OctetTag> InSignedOctets;
constexpr hn::Rebind<std::uint8_t, WordTag> InOctetsForWords;
constexpr FourTag InFour;
constexpr hn::Repartition<std::uint8_t, FourTag> InOctetsOfFour;

// --- Decoding ------------------------------------------------------------------------------------

// As many bytes as are looked at together, and where the last window among them may begin, so that
// all its ends are known. A window is loaded as 16 bytes.
constexpr std::size_t BlockSize = 64;
constexpr std::size_t LastWindow = BlockSize - 1 - WindowSize;

// No step reads or writes more than this.
constexpr std::ptrdiff_t MostRead = LastWindow + 16;
constexpr std::ptrdiff_t MostDecoded = BlockSize;

// From where text is read, and to where it is written.
template <typename From, typename To>
struct Place {
    const From* from;
    To* to;
};

using DecodingPlace = Place<std::uint8_t, std::uint32_t>;
using EncodingPlace = Place<std::uint32_t, std::uint8_t>;

HWY_INLINE bool IsAscii(const std::uint8_t* from) {
    auto all = hn::Zero(InOctets);
    for (std::size_t i = 0; i < BlockSize; i += hn::Lanes(InOctets))
        all = hn::Or(all, hn::LoadU(InOctets, from + i));
    const auto octets = hn::BitCast(InSignedOctets, all);
    return hn::AllFalse(InSignedOctets, hn::Lt(octets, hn::Zero(InSignedOctets)));
}

HWY_INLINE void DecodeAscii(DecodingPlace& place) {
    for (std::size_t i = 0; i < BlockSize; i += hn::Lanes(InWords)) {
        const auto octets = hn::LoadU(InOctetsForWords, place.from + i);
        hn::StoreU(hn::PromoteTo(InWords, octets), InWords, place.to + i);
    }
    place.from += BlockSize;
    place.to += BlockSize;
}

// Writes the code points of sequences that have a lane each. Returns whether all are plain. Without
// its marks a sequence has nothing but payload.
template <typename Tag, typename Words = hn::Vec<Tag>>
HWY_INLINE hn::Mask<Tag> DecodeLanes(Tag tag, Words sequences, Words marks, Words payload,
                                     Words least, std::uint32_t* to) {
    const hn::RebindToSigned<Tag> inSigned;
    const Words bits = hn::Xor(sequences, marks);
    const Words high = hn::And(hn::ShiftRight<2>(bits), hn::Set(tag, 0x0FC00FC0));
    const Words pairs = hn::Or(hn::And(bits, hn::Set(tag, 0x007F007F)), high);
    const Words points = hn::Or(hn::And(pairs, hn::Set(tag, 0xFFF)),
                                hn::And(hn::ShiftRight<4>(pairs), hn::Set(tag, 0x1FF000)));
    hn::StoreU(points, tag, to);
    const auto upper = hn::And(points, hn::Set(tag, BitsOfSurrogates));
    const auto isSurrogate = hn::Eq(upper, hn::Set(tag, SurrogateBits));
    const auto isShort = hn::Lt(hn::BitCast(inSigned, points), hn::BitCast(inSigned, least));
    const auto isBeyond = hn::Gt(hn::BitCast(inSigned, points),
                                 hn::Set(inSigned, static_cast<std::int32_t>(LastCodePoint)));
    const auto foreign = hn::AndNot(payload, bits);
    const auto isForeign = hn::Ne(foreign, hn::Zero(tag));
    return hn::Or(hn::Or(isSurrogate, isForeign), hn::RebindMask(tag, hn::Or(isShort, isBeyond)));
}

// A run of characters of three bytes each: at most 16 of them. Returns false if there is none.
HWY_INLINE bool DecodeTriples(DecodingPlace& place) {
    if ((*place.from & 0xF0) != 0xE0)
        return false;
    const std::size_t lanes = hn::Lanes(InWords);
    const Utf8Form form = Utf8Forms[2];
    const std::uint8_t* const begin = place.from;
    for (std::size_t done = 0; done < 16; done += lanes) {
        const Octets octets =
            Shuffle(MoveLanes(hn::LoadU(InOctets, place.from), Spread), TriplesIntoLanes);
        if (!hn::AllFalse(InWords,
                          DecodeLanes(InWords, hn::BitCast(InWords, octets),
                                      hn::Set(InWords, form.marks), hn::Set(InWords, form.payload),
                                      hn::Set(InWords, form.least), place.to)))
            break;
        place.from += 3 * lanes;
        place.to += lanes;
    }
    return place.from != begin;
}

// The bytes that are the last of their characters, a bit for each, for all of a block but its last
// byte: the next one is no tail.
HWY_INLINE std::uint64_t Ends(const std::uint8_t* from) {
    std::uint64_t starts = 0;
    for (std::size_t i = 0; i < BlockSize; i += hn::Lanes(InOctets)) {
        const auto octets = hn::BitCast(InSignedOctets, hn::LoadU(InOctets, from + i));
        const auto isStart =
            hn::Gt(octets, hn::Set(InSignedOctets, static_cast<std::int8_t>(0xBF)));
        std::uint64_t bits = 0;
        hn::StoreMaskBits(InSignedOctets, isStart, reinterpret_cast<std::uint8_t*>(&bits));
        starts |= bits << i;
    }
    return starts >> 1;
}

// Four characters at a time, as long as a whole window of the block is left. Returns false in front
// of characters that are not plain.
HWY_INLINE bool DecodeMixture(DecodingPlace& place) {
    std::uint64_t ends = Ends(place.from);
    DecodingPlace next = place;
    auto wrong = hn::MaskFromVec(hn::Zero(InFour));
    const std::uint8_t* const last = place.from + LastWindow;
    while (next.from <= last) {
        const Window window = AllWindows.windows[ends & ((1U << WindowSize) - 1)];
        const Shape& shape = Decoding.shapes[window.shape];
        const auto octets = hn::TableLookupBytesOr0(hn::LoadU(InOctetsOfFour, next.from),
                                                    hn::Load(InOctetsOfFour, shape.order));
        wrong = hn::Or(wrong,
                       DecodeLanes(InFour, hn::BitCast(InFour, octets),
                                   hn::Load(InFour, shape.marks), hn::Load(InFour, shape.payload),
                                   hn::Load(InFour, shape.least), next.to));
        ends >>= window.size;
        next.from += window.size;
        next.to += window.count;
    }
    if (!hn::AllFalse(InFour, wrong))
        return false;
    place = next;
    return true;
}

Utf8Progress Decode(const char* text, std::size_t size, wchar_t* characters, std::size_t capacity) {
    const auto* const from = reinterpret_cast<const std::uint8_t*>(text);
    auto* const to = reinterpret_cast<std::uint32_t*>(characters);
    DecodingPlace place{from, to};
    while (from + size - place.from >= MostRead && to + capacity - place.to >= MostDecoded) {
        if (IsAscii(place.from))
            DecodeAscii(place);
        else if (!DecodeTriples(place) && !DecodeMixture(place))
            break;
    }
    return {static_cast<std::size_t>(place.from - from), static_cast<std::size_t>(place.to - to)};
}

// --- Encoding ------------------------------------------------------------------------------------

constexpr hn::RebindToSigned<FourTag> InSignedFour;
constexpr hn::RebindToSigned<WordTag> InSignedWords;

// As many characters as a step takes, and the most bytes that it writes, whole vectors included.
constexpr std::size_t StepSize = 16;
constexpr std::ptrdiff_t MostEncoded = StepSize * LongestForm;

HWY_INLINE bool IsAscii(const std::uint32_t* from) {
    auto all = hn::Zero(InWords);
    for (std::size_t i = 0; i < StepSize; i += hn::Lanes(InWords))
        all = hn::Or(all, hn::LoadU(InWords, from + i));
    const auto others = hn::And(all, hn::Set(InWords, ~0x7FU));
    return hn::AllTrue(InWords, hn::Eq(others, hn::Zero(InWords)));
}

HWY_INLINE void EncodeAscii(EncodingPlace& place) {
    for (std::size_t i = 0; i < StepSize; i += hn::Lanes(InWords)) {
        const auto words = hn::BitCast(InSignedWords, hn::LoadU(InWords, place.from + i));
        hn::StoreU(hn::DemoteTo(InOctetsForWords, words), InOctetsForWords, place.to + i);
    }
    place.from += StepSize;
    place.to += StepSize;
}

// The payload of sequences of more than one byte, six bits to a byte.
template <typename Tag, typename Words = hn::Vec<Tag>>
HWY_INLINE Words PayloadOf(Tag tag, Words points) {
    const Words high = hn::And(hn::ShiftLeft<4>(points), hn::Set(tag, 0x01FF0000));
    const Words pairs = hn::Or(hn::And(points, hn::Set(tag, 0xFFF)), high);
    return hn::Or(hn::And(pairs, hn::Set(tag, 0x003F003F)),
                  hn::And(hn::ShiftLeft<2>(pairs), hn::Set(tag, 0x3F003F00)));
}

template <typename Tag, typename Words = hn::Vec<Tag>>
HWY_INLINE hn::Mask<Tag> AreSurrogates(Tag tag, Words points) {
    return hn::Eq(hn::And(points, hn::Set(tag, BitsOfSurrogates)), hn::Set(tag, SurrogateBits));
}

// Characters of three bytes each. Returns false if there are others.
HWY_INLINE bool EncodeTriples(EncodingPlace& place) {
    const std::size_t lanes = hn::Lanes(InWords);
    const std::uint32_t* const begin = place.from;
    for (std::size_t done = 0; done < StepSize; done += lanes) {
        const auto points = hn::LoadU(InWords, place.from);
        // Less the least one, they are the numbers up to the greatest one's.
        const auto above =
            hn::BitCast(InSignedWords, hn::Sub(points, hn::Set(InWords, Utf8Forms[2].least)));
        const auto isOther = hn::Or(hn::Lt(above, hn::Zero(InSignedWords)),
                                    hn::Gt(above, hn::Set(InSignedWords, 0xFFFF - 0x800)));
        if (!hn::AllFalse(InWords,
                          hn::Or(hn::RebindMask(InWords, isOther), AreSurrogates(InWords, points))))
            break;
        const auto sequences =
            hn::Or(PayloadOf(InWords, points), hn::Set(InWords, Utf8Forms[2].marks));
        const Octets octets = Shuffle(hn::BitCast(InOctets, sequences), GroupsOutOfLanes);
        hn::StoreU(MoveLanes(octets, Close), InOctets, place.to);
        place.from += lanes;
        place.to += 3 * lanes;
    }
    return place.from != begin;
}

HWY_INLINE unsigned BitsOf(hn::Mask<hn::RebindToSigned<FourTag>> mask) {
    std::uint8_t bits = 0;
    hn::StoreMaskBits(InSignedFour, mask, &bits);
    return bits;
}

// Four characters at a time. Returns false if one of the step is not plain.
HWY_INLINE bool EncodeMixture(EncodingPlace& place) {
    std::uint8_t* to = place.to;
    auto wrong = hn::MaskFromVec(hn::Zero(InFour));
    for (std::size_t i = 0; i < StepSize; i += FourCharacters) {
        const auto points = hn::LoadU(InFour, place.from + i);
        const auto numbers = hn::BitCast(InSignedFour, points);
        const auto isLong = hn::Gt(numbers, hn::Set(InSignedFour, 0x7F));
        const auto isLonger = hn::Gt(numbers, hn::Set(InSignedFour, 0x7FF));
        const auto isLongest = hn::Gt(numbers, hn::Set(InSignedFour, 0xFFFF));
        const unsigned upper = BitsOf(isLonger);
        const unsigned lower = BitsOf(isLong) ^ upper ^ BitsOf(isLongest);
        const EncodingShape& shape = Encoding.shapes[lower | upper << 4];
        const auto sequences = hn::Or(PayloadOf(InFour, points), hn::Load(InFour, shape.marks));
        const auto octets = hn::BitCast(
            InOctetsOfFour, hn::IfThenElse(hn::RebindMask(InFour, isLong), sequences, points));
        hn::StoreU(hn::TableLookupBytes(octets, hn::Load(InOctetsOfFour, shape.order)),
                   InOctetsOfFour, to);
        to += shape.size;

        const auto planes = hn::BitCast(InSignedFour, hn::ShiftRight<16>(points));
        const auto isBeyond = hn::Gt(planes, hn::Set(InSignedFour, LastCodePoint >> 16));
        wrong =
            hn::Or(wrong, hn::Or(AreSurrogates(InFour, points), hn::RebindMask(InFour, isBeyond)));
    }
    if (!hn::AllFalse(InFour, wrong))
        return false;
    place.from += StepSize;
    place.to = to;
    return true;
}

Utf8Progress Encode(const wchar_t* characters, std::size_t size, char* text, std::size_t capacity) {
    const auto* const from = reinterpret_cast<const std::uint32_t*>(characters);
    auto* const to = reinterpret_cast<std::uint8_t*>(text);
    EncodingPlace place{from, to};
    while (from + size - place.from >= std::ptrdiff_t{StepSize} &&
           to + capacity - place.to >= MostEncoded) {
        if (IsAscii(place.from))
            EncodeAscii(place);
        else if (!EncodeTriples(place) && !EncodeMixture(place))
            break;
    }
    return {static_cast<std::size_t>(place.from - from), static_cast<std::size_t>(place.to - to)};
}

#endif

} // namespace

} // namespace Vorn::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace Vorn {

Utf8Kernels FindUtf8KernelsOfHighway(Route route) {
    switch (route) {
#if HWY_ARCH_X86
    case Route::Sse4:
        return {HWY_CHOOSE_SSE4(Decode), HWY_CHOOSE_SSE4(Encode)};
    case Route::Avx2:
        return {HWY_CHOOSE_AVX2(Decode), HWY_CHOOSE_AVX2(Encode)};
    case Route::Avx512:
    case Route::Avx512Gfni:
        return {HWY_CHOOSE_AVX3_DL(Decode), HWY_CHOOSE_AVX3_DL(Encode)};
#elif HWY_ARCH_ARM
    case Route::Neon:
        return {HWY_CHOOSE_NEON(Decode), HWY_CHOOSE_NEON(Encode)};
#endif
    default:
        return {};
    }
}

} // namespace Vorn

#endif
