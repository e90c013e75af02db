// SPDX-License-Identifier: MIT
// The objects that printers.sh lets gdb print when the program has come to Stop.
#include <Bases/Container.h>
#include <Bases/Time.h>
#include <Bases/Utility.h>

#include <cstring>

static void Stop() {}

int main() {
    Vorn::Bits none;
    Vorn::Bits bits(10);
    bits.Set(0);
    bits.Set(7);
    Vorn::Bits many(1000);
    many.Set(255);

    Vorn::SerialBuffer nothing;
    Vorn::SerialBuffer buffer(8);
    unsigned char bytes[40] = {1, 2, 0xFF};
    buffer.AddBuffer(bytes, 3, 0);
    Vorn::SerialBuffer full;
    full.AddBuffer(bytes, sizeof bytes, 1);

    Vorn::Guid nil;
    Vorn::Guid id;
    id.FromString("0f8fad5b-d9cb-469f-a165-70867728950e");

    Vorn::SysTime time = {2024, 3, Vorn::Weekday::Tuesday, 5, 7, 8, 9, 45, -1};
    Stop();
    return static_cast<int>(nothing.GetSize() + none.GetSize()) + time.reserved + 1;
}
