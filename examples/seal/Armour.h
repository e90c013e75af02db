// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_SEAL_ARMOUR_H
#define VORN_BASES_EXAMPLES_SEAL_ARMOUR_H

#include <cstddef>
#include <string>

namespace Seal {

// The text form of encrypted bytes, which survives mail and terminals:
//
//     Sealed file, version 1
//     Length: 20
//     ORAy+NLLiYozXp5XEZCIVlfCRXR9JaJyXi55fCms2ExSvdBI3GjLLl16MLcylCbO
//     End of sealed file
//
// - The first line names the format and its version.
// - The second states how many bytes were sealed, in decimal digits without leading zeros, because
//   the cipher pads its last block with zeros.
// - Then come the encrypted bytes in Base64, in lines of 64 characters and a shorter last one.
// - The last line shows that nothing was cut off.
//
// Lines end in LF or CR LF; the last line end may be missing. The Base64 text may be wrapped
// differently. Nothing else is accepted.

/// What the text holds.
struct Sealed {
    unsigned long long length = 0; // of what was sealed
    std::string bytes;             // encrypted: SealedSize(length) of them
};

/// The most bytes that can be sealed, which takes about five times as much memory.
constexpr unsigned long long MostLength = 1ULL << 30U;

/// The longest text accepted: enough for MostLength in short lines.
constexpr unsigned long long MostTextSize = 2 * MostLength;

/// The size of the digest, which is encrypted in front of the content to check it by.
constexpr std::size_t DigestSize = 16;

/// Returns the number of encrypted bytes for `length` bytes of content.
unsigned long long SealedSize(unsigned long long length);

/// Returns the text.
std::string Armour(const Sealed& sealed);

/// Returns what the text holds. Throws std::runtime_error with the reason when it is malformed.
/// Note: damage that leaves it well-formed, such as another Base64 character, is not noticed here.
Sealed Unarmour(const std::string& text);

} // namespace Seal

#endif
