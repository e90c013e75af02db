#ifndef VORN_BASES_EXAMPLES_SEAL_ARMOUR_H
#define VORN_BASES_EXAMPLES_SEAL_ARMOUR_H

#include <cstddef>
#include <string>

namespace Seal {

// The text that carries enciphered bytes through mail and terminals:
//
//     Sealed file, version 1
//     Length: 20
//     ORAy+NLLiYozXp5XEZCIVlfCRXR9JaJyXi55fCms2ExSvdBI3GjLLl16MLcylCbO
//     End of sealed file
//
// - The first line names the format and its version.
// - The second tells how many bytes were sealed, in decimal digits without leading zeros. The
//   cipher fills its last block with zeros and does not say with how many.
// - Then come the enciphered bytes in Base64, in lines of 64 characters and a shorter last one.
// - The last line shows that nothing was cut off.
//
// A line ends in a line feed, before which there may be a carriage return; the last line's may be
// missing. The Base64 text may be broken into lines in any other way. Nothing else is accepted.

/// What the text carries.
struct Sealed {
    unsigned long long length = 0; // of what was sealed
    std::string bytes;             // enciphered: SealedSize(length) of them
};

/// The most bytes that can be sealed. On the way about five times as many are held in memory.
constexpr unsigned long long MostLength = 1ULL << 30U;

/// The most bytes that the text may have: enough for MostLength with short lines.
constexpr unsigned long long MostTextSize = 2 * MostLength;

/// The bytes that are enciphered before those that are sealed, to know them again.
constexpr std::size_t DigestSize = 16;

/// Returns the number of enciphered bytes that `length` bytes give.
unsigned long long SealedSize(unsigned long long length);

/// Returns the text.
std::string Armour(const Sealed& sealed);

/// Returns what the text carries. Throws std::runtime_error with the reason when it is not such a
/// text. Note: damage that leaves the form right, such as another Base64 character, is not noticed
/// here.
Sealed Unarmour(const std::string& text);

} // namespace Seal

#endif
