// SPDX-License-Identifier: MIT
// What libFuzzer, or the replay of a corpus, calls in every target.

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <locale>

#include "support/Fuzz.h"
#include "support/Target.h"

namespace {

// The library reports some failures on standard output.
bool SetUp() {
    std::locale::global(std::locale("C.UTF-8"));
    return std::freopen("/dev/null", "w", stdout) != nullptr;
}

} // namespace

namespace VornFuzz {

void Check(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "wrong on route %s: %s\n", Vorn::NameOf(Vorn::CurrentRoute()), what);
    std::abort();
}

} // namespace VornFuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size) {
    static const bool isSetUp = SetUp();
    VornFuzz::Check(isSetUp, "standard output cannot be redirected");
    VornFuzz::Input input(pData, size);
    VornFuzz::Try(input);
    return 0;
}
