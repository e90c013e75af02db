// SPDX-License-Identifier: MIT
#include <Bases/Bases.h>
#include <Bases/Text.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

// Prints the first characters of a text, as many as are asked for, and breaks none in the middle.
int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    Vorn::BasesInit(); // until now the encoding is ASCII
    try {
        std::wstring wide = Vorn::mbs_to_wcs(argv[2]);
        wide.resize(std::min(wide.size(), std::size_t(std::atoi(argv[1]))));
        std::puts(Vorn::wcs_to_mbs(wide).c_str());
    } catch (const std::runtime_error& error) {
        std::printf("not text in this locale's encoding: %s\n", error.what());
    }
    Vorn::BasesRelease();
}
