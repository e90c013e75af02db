// SPDX-License-Identifier: MIT
// A defect that the memory sanitizer and valgrind have to notice: the library reads what nobody has
// written. No GoogleTest here, which the memory sanitizer would have to watch, too.
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include <Bases/Utility.h>

int main(int argc, char** /*argv*/) {
    constexpr std::size_t Length = 1000;
    const std::unique_ptr<char[]> text(new char[Length + static_cast<unsigned>(argc)]);
    text[Length] = '\0';
    Vorn::Guid guid;
    try {
        guid.FromString(text.get());
    } catch (const std::runtime_error&) {
        return EXIT_SUCCESS; // as for any other text
    }
    return EXIT_SUCCESS;
}
