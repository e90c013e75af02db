// SPDX-License-Identifier: MIT
#include <Bases/Container.h>
#include <cstdio>

using Vorn::Bits;

static void Print(const char* what, const Bits& bits) {
    std::printf("%-8s%s\n", what, bits.ToString().c_str()); // the last character is position 0
}

int main() {
    constexpr unsigned long Seats = 10;
    Bits taken(Seats); // all 0
    taken.Set(0);
    taken.Set(7);
    Print("taken", taken);

    Bits windows;
    windows.FromString("1000010001");
    Print("windows", windows);

    Bits left(taken); // a copy, since ~ changes its operand
    ~left;
    Bits offered = windows & left; // both have the same size
    Print("offered", offered);
    std::printf("%lu of %lu seats\n", offered.GetSetCount(), offered.GetSize());

    std::puts(taken.Set(Seats) == 1 ? "set" : "no such seat");
}
