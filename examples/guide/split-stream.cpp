// SPDX-License-Identifier: MIT
#include <Bases/Container.h>
#include <cstdio>
#include <cstring>
#include <string>

using Vorn::SerialBuffer;

// Takes one record, a byte with its length and then its bytes, from the front of what has been
// received. Returns false until all of it is there.
static bool TakeRecord(SerialBuffer& received, std::string& record) {
    if (received.GetSize() < 1 || received.GetSize() < 1UL + received.GetBuffer()[0])
        return false;
    const unsigned long length = received.GetBuffer()[0];
    record.assign(reinterpret_cast<const char*>(received.GetBuffer()) + 1, length);
    received.Shift(1 + length); // what follows moves to the front
    return true;
}

int main() {
    // As they come from a socket: cut anywhere.
    const char* const pieces[] = {"\x05he", "llo\x05", "worl", "d\x03", "end"};
    SerialBuffer received;
    std::string record;
    for (const char* piece : pieces) {
        unsigned char bytes[8];
        const unsigned long length = std::strlen(piece);
        std::memcpy(bytes, piece, length);
        if (received.AddBuffer(bytes, length, 1) == 0) // 1: grow as needed
            return 1;
        while (TakeRecord(received, record))
            std::puts(record.c_str());
    }
}
