// SPDX-License-Identifier: MIT
// Plain UTF-8: whether a text is, to wide characters, and back.

#include <Bases/Impl/Utf8.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <iterator>

#include <Bases/Impl/Route/Utf8Form.h>
#include <Bases/Impl/Route/Utf8Kernel.h>
#include <Bases/Impl/WriteText.h>

namespace Vorn {

namespace {

static_assert(sizeof(wchar_t) == 4, "a wide character holds every code point");

template <std::size_t Length>
constexpr Utf8Form Form = Utf8Forms[Length - 1];

bool IsPlain(std::uint32_t point) {
    return point <= LastCodePoint && (point & BitsOfSurrogates) != SurrogateBits;
}

// --- Decoding ------------------------------------------------------------------------------------

// The bits that only bytes have which are not ASCII.
constexpr std::uint64_t HighBits = 0x8080808080808080;

template <typename Unit>
std::uint64_t Load(const unsigned char* bytes) {
    Unit unit = 0;
    std::memcpy(&unit, bytes, sizeof unit);
    return unit;
}

// Most texts are short, so the last bytes are looked at together too, some of them twice.
bool IsAscii(const unsigned char* bytes, std::size_t size) {
    const unsigned char* const end = bytes + size;
    std::uint64_t bits = 0;
    if (size >= 8) {
        for (; bytes < end - 8; bytes += 8)
            bits |= Load<std::uint64_t>(bytes);
        bits |= Load<std::uint64_t>(end - 8);
    } else if (size >= 4) {
        bits = Load<std::uint32_t>(bytes) | Load<std::uint32_t>(end - 4);
    } else {
        for (; bytes < end; ++bytes)
            bits |= *bytes;
    }
    return (bits & HighBits) == 0;
}

std::size_t CountBytesBefore(std::uint64_t highBits) {
    const int bits = std::endian::native == std::endian::little ? std::countr_zero(highBits)
                                                                : std::countl_zero(highBits);
    return static_cast<std::size_t>(bits) / 8;
}

// Decodes the ASCII characters in front, of at most `size` bytes. Returns how many. Eight at a time
// are written, and as many count as are ASCII.
std::size_t DecodeAscii(const unsigned char* bytes, std::size_t size, wchar_t* to) {
    std::size_t done = 0;
    for (; size - done >= 8; done += 8) {
        const std::uint64_t others = Load<std::uint64_t>(bytes + done) & HighBits;
        std::copy_n(bytes + done, 8, to + done);
        if (others != 0)
            return done + CountBytesBefore(others);
    }
    for (; done < size && bytes[done] < 0x80; ++done)
        to[done] = static_cast<wchar_t>(bytes[done]);
    return done;
}

// Decodes a character of a length that its first byte may have. Returns the length, or 0 if the
// character is not plain.
template <std::size_t Length>
std::size_t DecodeForm(const unsigned char* bytes, std::size_t size, wchar_t& character) {
    if (size < Length)
        return 0;
    std::uint32_t sequence = 0;
    std::uint32_t point = 0;
    for (std::size_t i = 0; i < Length; ++i) {
        sequence = sequence << 8 | bytes[i];
        point = point << 6 | (bytes[i] & Form<Length>.payload >> 8 * (Length - 1 - i) & 0xFF);
    }
    character = static_cast<wchar_t>(point);
    const bool fits = (sequence & ~Form<Length>.payload) == Form<Length>.marks;
    return fits && point >= Form<Length>.least && IsPlain(point) ? Length : 0;
}

// Decodes a character that is not ASCII.
std::size_t DecodeCharacter(const unsigned char* bytes, std::size_t size, wchar_t& character) {
    if (*bytes >= 0xF0)
        return DecodeForm<4>(bytes, size, character);
    if (*bytes >= 0xE0)
        return DecodeForm<3>(bytes, size, character);
    return DecodeForm<2>(bytes, size, character);
}

Utf8Progress Decode(const char* from, std::size_t size, wchar_t* to, std::size_t capacity) {
    Utf8Progress done;
    while (done.read < size && done.written < capacity) {
        const auto* const next = reinterpret_cast<const unsigned char*>(from) + done.read;
        const std::size_t left = size - done.read;
        wchar_t* const out = to + done.written;
        if (*next < 0x80) {
            const std::size_t count =
                DecodeAscii(next, std::min(left, capacity - done.written), out);
            done.read += count;
            done.written += count;
            continue;
        }
        const std::size_t length = DecodeCharacter(next, left, *out);
        if (length == 0)
            break;
        done.read += length;
        ++done.written;
    }
    return done;
}

// --- Encoding ------------------------------------------------------------------------------------

constexpr std::size_t LongestForm = std::size(Utf8Forms);

// As many characters as are looked at together for ASCII.
constexpr std::size_t AsciiCharacters = 8;

std::uint32_t PointOf(wchar_t character) { return static_cast<std::uint32_t>(character); }

bool AreAscii(const wchar_t* characters) {
    std::uint32_t all = 0;
    for (std::size_t i = 0; i < AsciiCharacters; ++i)
        all |= PointOf(characters[i]);
    return all < 0x80;
}

template <std::size_t Length>
std::size_t EncodeForm(std::uint32_t point, char* to) {
    for (std::size_t i = Length; i-- > 0; point >>= 6) {
        const std::size_t shift = 8 * (Length - 1 - i);
        to[i] = static_cast<char>(Form<Length>.marks >> shift |
                                  (point & Form<Length>.payload >> shift));
    }
    return Length;
}

// Returns the length, or 0 if the character is not plain.
std::size_t EncodeCharacter(std::uint32_t point, char* to) {
    if (point < Form<2>.least)
        return EncodeForm<1>(point, to);
    if (point < Form<3>.least)
        return EncodeForm<2>(point, to);
    if (!IsPlain(point))
        return 0;
    return point < Form<4>.least ? EncodeForm<3>(point, to) : EncodeForm<4>(point, to);
}

Utf8Progress Encode(const wchar_t* from, std::size_t size, char* to, std::size_t capacity) {
    Utf8Progress done;
    while (done.read < size && capacity - done.written >= AsciiCharacters) {
        const wchar_t* const next = from + done.read;
        const std::uint32_t point = PointOf(*next);
        if (point < 0x80 && size - done.read >= AsciiCharacters && AreAscii(next)) {
            std::copy_n(next, AsciiCharacters, to + done.written);
            done.read += AsciiCharacters;
            done.written += AsciiCharacters;
            continue;
        }
        const std::size_t length = EncodeCharacter(point, to + done.written);
        if (length == 0)
            break;
        ++done.read;
        done.written += length;
    }
    return done;
}

// --- Piece by piece ------------------------------------------------------------------------------

template <typename From, typename To>
using Convert = Utf8Progress (*)(const From* from, std::size_t size, To* to, std::size_t capacity);

// Appends what the kernel makes of the text, and the portable code of what the kernel leaves: at
// most that many elements. Returns how much of the text that is.
template <typename From, typename To>
std::size_t Append(std::basic_string_view<From> from, std::basic_string<To>& to, std::size_t most,
                   Convert<From, To> kernel, Convert<From, To> portable) {
    constexpr std::size_t ShortEnd = 128;   // too short for a kernel
    constexpr std::size_t PieceSize = 1024; // after which the kernel is tried again
    const std::size_t room = to.size() + most;
    if (most > PieceSize)
        to.reserve(room + 1); // the caller's codec may need one more
    std::size_t read = 0;
    std::size_t written = to.size();
    WriteText(to, room, [&](To* text) {
        for (;;) {
            Utf8Progress step;
            if (kernel != nullptr)
                step =
                    kernel(from.data() + read, from.size() - read, text + written, room - written);
            const std::size_t left = from.size() - read - step.read;
            if (step.read == 0 || left < ShortEnd) {
                const Utf8Progress more =
                    portable(from.data() + read + step.read, left, text + written + step.written,
                             std::min(room - written - step.written, PieceSize));
                step.read += more.read;
                step.written += more.written;
            }
            if (step.read == 0)
                return written;
            read += step.read;
            written += step.written;
        }
    });
    return read;
}

} // namespace

bool IsPlainUtf8(std::string_view text) {
    const auto* next = reinterpret_cast<const unsigned char*>(text.data());
    if (IsAscii(next, text.size()))
        return true;
    wchar_t character = 0; // of no interest
    for (std::size_t left = text.size(); left > 0;) {
        const std::size_t length = *next < 0x80 ? 1 : DecodeCharacter(next, left, character);
        if (length == 0)
            return false;
        next += length;
        left -= length;
    }
    return true;
}

std::size_t AppendUtf8AsWide(std::string_view utf8, std::wstring& wide) {
    return Append(utf8, wide, utf8.size(), FindUtf8Kernels(CurrentRoute()).decode, Decode);
}

std::size_t AppendWideAsUtf8(std::wstring_view wide, std::string& utf8) {
    return Append(wide, utf8, wide.size() * LongestForm + AsciiCharacters,
                  FindUtf8Kernels(CurrentRoute()).encode, Encode);
}

} // namespace Vorn
