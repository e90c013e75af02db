// SPDX-License-Identifier: MIT
#include <Bases/Text.h>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

static bool IsSpace(char c) { return std::strchr(" \t\r\n", c) != nullptr; }

// Decodes text as mail programs write it, in lines.
static std::string Decoded(std::string text) {
    text.erase(std::remove_if(text.begin(), text.end(), IsSpace), text.end());
    Vorn::Base64 base64;
    std::vector<char> bytes(text.size() + 1); // what Decode needs at least
    const unsigned long size = base64.Decode(text.c_str(), bytes.data());
    return std::string(bytes.data(), size);
}

int main() {
    const std::string text = "Plums, pears and quinces";
    std::string encoded;
    Vorn::Base64 base64;
    base64.Encode(text.data(), text.size(), encoded);
    std::puts(encoded.c_str());

    encoded.insert(10, "\r\n");
    std::puts(Decoded(encoded).c_str());
}
