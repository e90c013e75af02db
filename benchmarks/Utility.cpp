// SPDX-License-Identifier: MIT
// Identifiers beside libuuid's and Boost's.

#include <algorithm>
#include <array>
#include <string>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <uuid/uuid.h>

#include <Bases/Utility.h>
#include <support/Inputs.h>
#include <support/Row.h>

namespace Bench {

namespace {

using Text = std::array<char, Vorn::GuidTextSize>;
using Theirs = std::array<unsigned char, sizeof(uuid_t)>; // libuuid's own type is a bare array

template <typename Identifier>
Identifier Random16(Random& random) {
    Identifier identifier;
    auto* const bytes = reinterpret_cast<unsigned char*>(&identifier);
    std::generate_n(bytes, sizeof identifier, [&] { return static_cast<unsigned char>(random()); });
    return identifier;
}

template <typename Identifier>
Cycle<Identifier> Identifiers() {
    Random random;
    return Cycle<Identifier>([&] { return Random16<Identifier>(random); });
}

Cycle<std::string> Texts() {
    Random random;
    return Cycle<std::string>([&] { return Random16<Vorn::Guid>(random).ToString(1); });
}

template <typename Identifier>
std::string BytesOf(const Identifier& identifier) {
    return {reinterpret_cast<const char*>(&identifier), sizeof identifier};
}

// Generated identifiers are never the same; what they have in common is version 4.
template <typename Identifier>
char VersionOf(const Identifier& identifier) {
    return static_cast<char>(BytesOf(identifier)[6] >> 4 & 0xF);
}

const Row ToBuffer("Guid to text", {One()}, {"libuuid"}, [](Run& run) {
    Text text{};
    run.Ours([&, all = Identifiers<Vorn::Guid>()]() mutable {
        all.Next().ToString(text.data(), Vorn::GuidForm::Full);
        return text.data();
    });
    run.Peer([&, all = Identifiers<Theirs>()]() mutable {
        uuid_unparse_lower(all.Next().data(), text.data());
        return text.data();
    });
});

const Row ToNewString("Guid to new string", {One()}, {"Boost"}, [](Run& run) {
    run.Ours([all = Identifiers<Vorn::Guid>()]() mutable {
        return all.Next().ToString(Vorn::GuidForm::Full);
    });
    run.Peer([all = Identifiers<boost::uuids::uuid>()]() mutable {
        return boost::uuids::to_string(all.Next());
    });
});

const Row Parse("Guid parse", {One()}, {"Boost", "libuuid"}, [](Run& run) {
    Vorn::Guid ours;
    run.Ours([&, all = Texts()]() mutable { return ours.FromString(all.Next()); },
             [&] { return BytesOf(ours); });

    boost::uuids::uuid boosts{};
    const boost::uuids::string_generator parse{};
    run.Peer([&, all = Texts()]() mutable { boosts = parse(all.Next()); },
             [&] { return BytesOf(boosts); });

    Theirs theirs{};
    run.Peer([&, all = Texts()]() mutable { return uuid_parse(all.Next().c_str(), theirs.data()); },
             [&] { return BytesOf(theirs); });
});

const Row Generate("Guid generate", {One()},
                   {"Boost fresh twister", "Boost system generator", "libuuid"}, [](Run& run) {
                       Vorn::Guid ours;
                       run.Ours([&] { return ours.Generate(); }, [&] { return VersionOf(ours); });

                       boost::uuids::uuid boosts{};
                       run.Peer([&] { boosts = boost::uuids::random_generator_mt19937()(); },
                                [&] { return VersionOf(boosts); });
                       boost::uuids::random_generator system;
                       run.Peer([&] { boosts = system(); }, [&] { return VersionOf(boosts); });

                       Theirs theirs{};
                       run.Peer([&] { uuid_generate_random(theirs.data()); },
                                [&] { return VersionOf(theirs); });
                   });

} // namespace

} // namespace Bench
