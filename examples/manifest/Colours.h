// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_COLOURS_H
#define VORN_BASES_EXAMPLES_MANIFEST_COLOURS_H

#include <string>
#include <string_view>

namespace Manifest {

/// Colours texts for a terminal, or leaves them as they are.
class Colours {
public:
    enum class Colour { Red = 31, Green = 32, Yellow = 33, Cyan = 36 };

    explicit Colours(bool on) : m_on(on) {}

    std::string Paint(Colour colour, std::string_view text) const;

private:
    bool m_on;
};

/// Returns true when standard output is a terminal that shows colours and the user does not object
/// (NO_COLOR).
bool ColoursAreWanted();

} // namespace Manifest

#endif
