// SPDX-License-Identifier: MIT
// Conversions, integers as text and Base64 beside the standard libraries, fmt, OpenSSL and GLib.

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/compile.h>
#include <glib.h>
#include <openssl/evp.h>

#include <Bases/Text.h>
#include <support/Inputs.h>
#include <support/Row.h>

namespace Bench {

namespace {

// --- Conversions ---------------------------------------------------------------------------------

using Facet = std::codecvt<wchar_t, char, std::mbstate_t>;

const Facet& CurrentFacet() { return std::use_facet<Facet>(std::locale()); }

std::wstring FacetIn(const std::string& text) {
    std::wstring wide(text.size(), L'\0');
    std::mbstate_t state{};
    const char* end = nullptr;
    wchar_t* wideEnd = nullptr;
    if (CurrentFacet().in(state, text.data(), text.data() + text.size(), end, wide.data(),
                          wide.data() + wide.size(), wideEnd) != Facet::ok)
        throw std::runtime_error("the standard library cannot convert the text");
    wide.resize(static_cast<std::size_t>(wideEnd - wide.data()));
    return wide;
}

std::string FacetOut(const std::wstring& wide) {
    const auto most = static_cast<std::size_t>(CurrentFacet().max_length());
    std::string text(wide.size() * most, '\0');
    std::mbstate_t state{};
    const wchar_t* end = nullptr;
    char* textEnd = nullptr;
    if (CurrentFacet().out(state, wide.data(), wide.data() + wide.size(), end, text.data(),
                           text.data() + text.size(), textEnd) != Facet::ok)
        throw std::runtime_error("the standard library cannot convert the text");
    text.resize(static_cast<std::size_t>(textEnd - text.data()));
    return text;
}

// Once for the length, once for the characters.
std::wstring CLibraryIn(const std::string& text) {
    const std::size_t length = std::mbstowcs(nullptr, text.c_str(), 0);
    std::wstring wide(length, L'\0');
    std::mbstowcs(wide.data(), text.c_str(), length);
    return wide;
}

using TextMaker = std::string (*)(std::size_t size);

template <TextMaker Make>
void Utf8ToWide(Run& run) {
    const std::string text = Make(run.Size());
    run.Ours([&] { return Vorn::utf8_to_wcs(text); });
    run.Peer([&] { return CLibraryIn(text); });
}

template <TextMaker Make>
void NarrowToWide(Run& run) {
    const std::string text = Make(run.Size());
    run.Ours([&] { return Vorn::mbs_to_wcs(text); });
    run.Peer([&] { return FacetIn(text); });
}

template <TextMaker Make>
void WideToNarrow(Run& run) {
    const std::wstring wide = FacetIn(Make(run.Size()));
    run.Ours([&] { return Vorn::wcs_to_mbs(wide); });
    run.Peer([&] { return FacetOut(wide); });
}

const std::vector<Size> Short = {KiB(1), MiB(1)};
const std::vector<std::string> CLibrary = {"C library"};
const std::vector<std::string> StdFacet = {"std::codecvt"};

const Row Utf8Ascii("utf8_to_wcs ASCII", Short, CLibrary, Utf8ToWide<AsciiText>);
const Row Utf8Korean("utf8_to_wcs Korean", Short, CLibrary, Utf8ToWide<KoreanText>);
const Row Utf8Mixed("utf8_to_wcs mixed", Short, CLibrary, Utf8ToWide<MixedText>);
const Row MbsAscii("mbs_to_wcs ASCII", {MiB(1)}, StdFacet, NarrowToWide<AsciiText>);
const Row MbsKorean("mbs_to_wcs Korean", {MiB(1)}, StdFacet, NarrowToWide<KoreanText>);
const Row MbsMixed("mbs_to_wcs mixed", {MiB(1)}, StdFacet, NarrowToWide<MixedText>);
const Row WcsAscii("wcs_to_mbs ASCII", {MiB(1)}, StdFacet, WideToNarrow<AsciiText>);
const Row WcsKorean("wcs_to_mbs Korean", {MiB(1)}, StdFacet, WideToNarrow<KoreanText>);
const Row WcsMixed("wcs_to_mbs mixed", {MiB(1)}, StdFacet, WideToNarrow<MixedText>);

const Curve Utf8Curve("utf8_to_wcs ASCII, per byte", Decades(7), CLibrary, [](Run& run) {
    run.Items(run.Size());
    Utf8ToWide<AsciiText>(run);
});
const Curve WcsCurve("wcs_to_mbs ASCII, per byte", Decades(7), StdFacet, [](Run& run) {
    run.Items(run.Size());
    WideToNarrow<AsciiText>(run);
});

// --- Integers and sizes --------------------------------------------------------------------------

Cycle<std::int64_t> Integers() {
    Random random;
    return Cycle<std::int64_t>([&] { return RandomInteger(random); });
}

using Digits = std::array<char, Vorn::IntegerTextSize>;

const Row Decimal("_i64toa radix 10", {One()}, {"std::to_chars", "fmt", "snprintf"}, [](Run& run) {
    Digits digits{};
    run.Ours([&, all = Integers()]() mutable { return _i64toa(all.Next(), digits.data(), 10); });
    run.Peer([&, all = Integers()]() mutable {
        *std::to_chars(digits.begin(), digits.end(), all.Next()).ptr = '\0';
        return digits.data();
    });
    run.Peer([&, all = Integers()]() mutable {
        *fmt::format_to(digits.begin(), FMT_COMPILE("{}"), all.Next()) = '\0';
        return digits.data();
    });
    run.Peer([&, all = Integers()]() mutable {
        std::snprintf(digits.data(), digits.size(), "%lld", static_cast<long long>(all.Next()));
        return digits.data();
    });
});

const Row
    Hexadecimal("_i64toa radix 16", {One()}, {"std::to_chars", "fmt", "snprintf"}, [](Run& run) {
        Digits digits{};
        const auto magnitude = [](std::int64_t value) {
            return static_cast<unsigned long long>(value);
        };
        run.Ours(
            [&, all = Integers()]() mutable { return _i64toa(all.Next(), digits.data(), 16); });
        run.Peer([&, all = Integers()]() mutable {
            *std::to_chars(digits.begin(), digits.end(), magnitude(all.Next()), 16).ptr = '\0';
            return digits.data();
        });
        run.Peer([&, all = Integers()]() mutable {
            *fmt::format_to(digits.begin(), FMT_COMPILE("{:x}"), magnitude(all.Next())) = '\0';
            return digits.data();
        });
        run.Peer([&, all = Integers()]() mutable {
            std::snprintf(digits.data(), digits.size(), "%llx", magnitude(all.Next()));
            return digits.data();
        });
    });

// The comma stands where the library puts it.
const std::string& SizeBySnprintf(std::string& text, long long value) {
    Digits digits{};
    const int length = std::snprintf(digits.data(), digits.size(), "%lld", value);
    text.assign(digits.data(), static_cast<std::size_t>(length));
    if (length >= 3)
        text.insert(text.size() - 3, 1, ',');
    return text;
}

const Row SizeFormat("GetSizeFormat", {One()}, {"snprintf"}, [](Run& run) {
    std::string text;
    run.Ours([&, all = Integers()]() mutable -> const std::string& {
        Vorn::GetSizeFormat(text, static_cast<long long>(all.Next()));
        return text;
    });
    run.Peer([&, all = Integers()]() mutable -> const std::string& {
        return SizeBySnprintf(text, all.Next());
    });
});

// --- Base64 --------------------------------------------------------------------------------------

const unsigned char* Unsigned(const char* bytes) {
    return reinterpret_cast<const unsigned char*>(bytes);
}

std::string Encoded(const std::string& data) {
    std::string text;
    Vorn::Base64().Encode(data.data(), data.size(), text);
    return text;
}

void EncodeBase64(Run& run) {
    const std::string data = RandomBytes(run.Size());
    Vorn::Base64 base64;
    std::string text;
    run.Ours([&]() -> const std::string& {
        base64.Encode(data.data(), data.size(), text);
        return text;
    });

    std::vector<unsigned char> output(data.size() * 4 / 3 + 4);
    std::size_t length = 0;
    run.Peer(
        [&] {
            length = static_cast<std::size_t>(EVP_EncodeBlock(output.data(), Unsigned(data.data()),
                                                              static_cast<int>(data.size())));
        },
        [&] { return std::string_view(reinterpret_cast<char*>(output.data()), length); });

    run.Peer(
        [&] {
            return std::unique_ptr<gchar, decltype(&g_free)>(
                g_base64_encode(Unsigned(data.data()), data.size()), g_free);
        },
        [&] { return Encoded(data); });
}

// OpenSSL counts what fills the text up as decoded bytes.
void DecodeBase64(Run& run) {
    const std::string data = RandomBytes(run.Size());
    const std::string text = Encoded(data);
    Vorn::Base64 base64;
    std::string output(text.size() + 1, '\0');
    const auto result = [&] { return std::string_view(output).substr(0, data.size()); };
    run.Ours([&] { return base64.Decode(text.c_str(), output.data()); }, result);
    run.Peer(
        [&] {
            return EVP_DecodeBlock(reinterpret_cast<unsigned char*>(output.data()),
                                   Unsigned(text.data()), static_cast<int>(text.size()));
        },
        result);
    run.Peer(
        [&] {
            gint state = 0;
            guint save = 0;
            return g_base64_decode_step(text.data(), text.size(),
                                        reinterpret_cast<guchar*>(output.data()), &state, &save);
        },
        result);
}

const std::vector<Size> Base64Sizes = {Bytes(64), KiB(4), MiB(1)};
const std::vector<std::string> Base64Peers = {"OpenSSL", "GLib"};

const Row Encode("Base64 encode", Base64Sizes, Base64Peers, EncodeBase64);
const Row Decode("Base64 decode", Base64Sizes, Base64Peers, DecodeBase64);

const Curve EncodeCurve("Base64 encode, per byte", Decades(7), Base64Peers, [](Run& run) {
    run.Items(run.Size());
    EncodeBase64(run);
});
const Curve DecodeCurve("Base64 decode, per byte", Decades(7), Base64Peers, [](Run& run) {
    run.Items(run.Size());
    DecodeBase64(run);
});

} // namespace

} // namespace Bench
