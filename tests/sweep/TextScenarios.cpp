// SPDX-License-Identifier: MIT
// Conversions, numbers as text, and Base64.
#include <array>
#include <cstring>
#include <locale>
#include <stdexcept>
#include <string>

#include <Bases/Text.h>

#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

// Longer than what a string keeps without memory, and than what is converted in one piece.
const std::string g_text(2000, 'x');
const std::wstring g_wide(2000, L'x');

void ConvertsToWide(Trial& trial) {
    for (const auto convert : {Vorn::mbs_to_wcs, Vorn::tcs_to_wcs}) {
        const std::wstring wide =
            trial.TryOrThrow([&] { return convert(g_text, std::locale::classic()); });
        trial.Require(trial.HasThrown() || wide == g_wide, "converts all");
    }
}

void ConvertsFromWide(Trial& trial) {
    for (const auto convert : {Vorn::wcs_to_mbs, Vorn::wcs_to_tcs}) {
        const std::string text =
            trial.TryOrThrow([&] { return convert(g_wide, std::locale::classic()); });
        trial.Require(trial.HasThrown() || text == g_text, "converts all");
    }
}

void Copies(Trial& trial) {
    for (const auto convert : {Vorn::mbs_to_tcs, Vorn::tcs_to_mbs}) {
        const std::string text =
            trial.TryOrThrow([&] { return convert(g_text, std::locale::classic()); });
        trial.Require(trial.HasThrown() || text == g_text, "copies all");
    }
}

// The message of the exception that the operation throws, if it is one of Exception; otherwise
// what it returns.
template <typename Exception, typename Operation>
const char* MessageOf(Operation operation, std::array<char, 100>& place) {
    try {
        operation();
        return "";
    } catch (const Exception& exception) {
        return std::strncpy(place.data(), exception.what(), place.size() - 1);
    }
}

bool IsOfAFailedCount(const char* message) {
    return std::strcmp(message, "Invalid UTF-8 sequence.") == 0 ||
           std::strcmp(message, "Invalid wide string sequence.") == 0 ||
           std::strcmp(message, "Unknown Error") == 0;
}

void ConvertsFromTheCLibrarysSet(Trial& trial) {
    std::wstring wide;
    std::array<char, 100> place{};
    const char* const message = trial.TryOrThrow([&] {
        return MessageOf<std::runtime_error>([&] { wide = Vorn::utf8_to_wcs(g_text); }, place);
    });
    if (trial.HasThrown())
        return;
    if (std::strcmp(message, "") == 0)
        trial.Require(wide == g_wide, "converts all");
    else
        trial.Require(Trial::HasFailed(Platform::mbstowcs) && IsOfAFailedCount(message),
                      "says why it does not convert");
    trial.Require(Vorn::utf8_to_wcs(g_text) == g_wide, "converts then");
}

// A text that can be converted is told by a logic_error.
void ChecksForTheCLibrarysSet(Trial& trial) {
    std::array<char, 100> place{};
    const char* const message = trial.TryOrThrow([&] {
        return MessageOf<std::exception>(
            [] {
                try {
                    Vorn::wcs_to_utf8(g_wide);
                } catch (const std::logic_error&) {
                    return;
                }
            },
            place);
    });
    trial.Require(trial.HasThrown() || std::strcmp(message, "") == 0 ||
                      std::strcmp(message, "std::bad_alloc") == 0 ||
                      (Trial::HasFailed(Platform::wcstombs) && IsOfAFailedCount(message)),
                  "says whether it could be converted");
}

void PrintsIntegers(Trial& trial) {
    std::array<char, Vorn::IntegerTextSize> text{};
    trial.Try([&] { _i64toa(-255, text.data(), 10); });
    trial.Require(std::strcmp(text.data(), "-255") == 0, "prints the number");
}

void PrintsSizes(Trial& trial) {
    std::array<char, 20> text{};
    trial.Require(trial.Try([&] { return Vorn::GetSizeFormat(text.data(), 20, 1234567LL); }) == 1,
                  "says 1");
    trial.Require(std::strcmp(text.data(), "1234,567") == 0, "prints the size");
    std::string longer;
    const int printed = trial.TryOrThrow([&] { return Vorn::GetSizeFormat(longer, 1e60, 0); });
    trial.Require(trial.HasThrown() || (printed == 1 && longer.size() == 68), "prints all of it");
}

void EncodesBase64(Trial& trial) {
    Vorn::Base64 base64;
    std::string encoded;
    const int done =
        trial.TryOrThrow([&] { return base64.Encode(g_text.data(), g_text.size(), encoded); });
    trial.Require(trial.HasThrown() || (done == 1 && encoded.size() == 2668), "encodes all");
    trial.Require(base64.Encode(g_text.data(), g_text.size(), encoded) == 1, "encodes then");
    std::string decoded(encoded.size() + 1, '\0');
    const auto size = trial.Try([&] { return base64.Decode(encoded.c_str(), decoded.data()); });
    decoded.resize(size);
    trial.Require(decoded == g_text, "decodes all");
}

const Scenarios g_scenarios{
    {"TextIsConvertedToWide", ConvertsToWide},
    {"TextIsConvertedFromWide", ConvertsFromWide},
    {"TextIsCopied", Copies},
    {"TextIsConvertedFromTheCLibrarysSet", ConvertsFromTheCLibrarysSet},
    {"TextIsCheckedForTheCLibrarysSet", ChecksForTheCLibrarysSet},
    {"IntegerIsPrinted", PrintsIntegers},
    {"SizeIsPrinted", PrintsSizes},
    {"BytesAreEncodedAsBase64", EncodesBase64},
};

} // namespace

} // namespace VornTest::Sweep
