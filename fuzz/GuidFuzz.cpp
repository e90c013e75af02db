// SPDX-License-Identifier: MIT
// Identifiers: parsing against a reader of the stated forms, printing and order against plain
// loops.

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include <Bases/Utility.h>

#include "support/Fuzz.h"

namespace {

using Vorn::Guid;
using Bytes = std::array<unsigned char, 16>;

Guid GuidOf(const Bytes& bytes) {
    Guid guid;
    std::memcpy(&guid, bytes.data(), sizeof guid);
    return guid;
}

Bytes BytesOf(const Guid& guid) {
    Bytes bytes{};
    std::memcpy(bytes.data(), &guid, sizeof guid);
    return bytes;
}

// Reads the text from its start; `text` becomes what is left.
char Next(std::string_view& text) {
    if (text.empty())
        throw std::runtime_error("invalid uuid string");
    const char c = text.front();
    text.remove_prefix(1);
    return c;
}

unsigned Digit(std::string_view& text) {
    const char c = Next(text);
    const std::size_t digit = std::string_view("0123456789abcdef0123456789ABCDEF").find(c);
    if (digit == std::string_view::npos)
        throw std::runtime_error("invalid uuid string");
    return digit % 16;
}

Bytes Parsed(std::string_view text) {
    const bool braces = !text.empty() && text.front() == '{';
    if (braces)
        text.remove_prefix(1);
    bool dashes = false;
    Bytes bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4)
            dashes = !text.empty() && text.front() == '-';
        if (dashes && (i == 4 || i == 6 || i == 8 || i == 10) && Next(text) != '-')
            throw std::runtime_error("invalid uuid string");
        const unsigned high = Digit(text);
        bytes[i] = static_cast<unsigned char>(high * 16 + Digit(text));
    }
    if (braces && Next(text) != '}')
        throw std::runtime_error("invalid uuid string");
    return bytes;
}

void TryParsing(const std::string& text) {
    const Bytes before{1};
    Bytes expected{};
    bool throws = false;
    try {
        if (!text.empty())
            expected = Parsed(text.c_str());
    } catch (const std::runtime_error&) {
        throws = true;
    }
    const bool isNil = expected == Bytes{};
    Guid guid = GuidOf(before);
    try {
        const bool parsed = guid.FromString(text);
        VornFuzz::Check(!throws, "FromString takes what is malformed");
        VornFuzz::Check(parsed == !isNil, "the result of FromString");
    } catch (const std::runtime_error& error) {
        VornFuzz::Check(throws, "FromString refuses what is well formed");
        VornFuzz::Check(std::string("invalid uuid string") == error.what(), "the message");
    }
    VornFuzz::Check(BytesOf(guid) == (isNil ? before : expected), "what FromString gives");
}

std::string Printed(const Bytes& bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(bytes[i]));
        text += (i == 4 || i == 6 || i == 8 || i == 10 ? "-" : "") + std::string(digits);
    }
    return text;
}

void TryPrinting(const Bytes& bytes) {
    const Guid guid = GuidOf(bytes);
    const bool isNil = bytes == Bytes{};
    VornFuzz::Check(guid.None() == isNil, "None");
    const std::string text = isNil ? "" : Printed(bytes);
    VornFuzz::Check(guid.ToString(Vorn::GuidForm::Full) == text, "ToString");
    VornFuzz::Check(guid.ToString(Vorn::GuidForm::Clipped) == (isNil ? "" : text.substr(1, 34)),
                    "the clipped form");
    TryParsing(text);
}

template <typename T>
int ComparedAs(const Bytes& left, const Bytes& right, std::size_t at) {
    T a{};
    T b{};
    std::memcpy(&a, left.data() + at, sizeof a);
    std::memcpy(&b, right.data() + at, sizeof b);
    return a < b ? -1 : a > b ? 1 : 0;
}

int Compared(const Bytes& left, const Bytes& right) {
    int order = ComparedAs<std::uint32_t>(left, right, 0);
    for (std::size_t at = 4; at < 8; at += 2)
        order = order != 0 ? order : ComparedAs<std::uint16_t>(left, right, at);
    for (std::size_t at = 8; at < 16; ++at)
        order = order != 0 ? order : ComparedAs<std::uint8_t>(left, right, at);
    return order;
}

void TryOrder(const Bytes& left, const Bytes& right) {
    const Guid a = GuidOf(left);
    const Guid b = GuidOf(right);
    const int expected = Compared(left, right);
    const int order = a.Compare(b);
    VornFuzz::Check((order < 0 ? -1 : order > 0 ? 1 : 0) == expected, "Compare");
    VornFuzz::Check((a < b) == (expected < 0) && (a > b) == (expected > 0), "order");
    VornFuzz::Check((a == b) == (expected == 0) && (a != b) == (expected != 0), "equality");
}

} // namespace

void VornFuzz::Try(Input& input) {
    Input text = input;
    TryParsing(text.Rest());
    const auto first = input.Number<Bytes>();
    const std::size_t same = input.Below(17);
    auto second = input.Number<Bytes>();
    std::memcpy(second.data(), first.data(), same);
    TryPrinting(first);
    TryOrder(first, second);
    TryOrder(first, first);
}
