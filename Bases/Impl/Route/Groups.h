// SPDX-License-Identifier: MIT
// Groups of three bytes, each of which a kernel moves to a lane of 32 bits and back.
//
// A kernel's file includes this once, behind Highway.h, and is itself compiled anew for each
// instruction set. So the file as a whole has no include guard; only the tables, which all sets
// share, have one.

#ifndef VORN_BASES_IMPL_ROUTE_GROUPS_TABLES
#define VORN_BASES_IMPL_ROUTE_GROUPS_TABLES

#include <cstdint>

namespace Vorn {

namespace {

// Sixteen bytes: a table to look up, or an order to shuffle by.
struct alignas(16) ByteTable {
    std::uint8_t bytes[16];
};

// The indices of the 32-bit lanes of a vector of at most 64 bytes.
struct alignas(64) LaneTable {
    std::int32_t lanes[16];
};

// To spread bytes: of every 12, the next 16 from there on, in blocks of 16.
constexpr LaneTable SpreadTable() {
    LaneTable table{};
    for (int lane = 0; lane < 16; ++lane)
        table.lanes[lane] = lane / 4 * 3 + lane % 4;
    return table;
}

// To close the gaps: of every block of 16 bytes, the first 12.
constexpr LaneTable CloseTable() {
    LaneTable table{};
    for (int lane = 0; lane < 16; ++lane)
        table.lanes[lane] = lane < 12 ? lane / 3 * 4 + lane % 3 : 0;
    return table;
}

constexpr LaneTable Spread = SpreadTable();
constexpr LaneTable Close = CloseTable();

// The three bytes out of each lane of a block, highest first.
constexpr ByteTable GroupsOutOfLanes{{2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, 128, 128, 128, 128}};

} // namespace

} // namespace Vorn

#endif

HWY_BEFORE_NAMESPACE();

namespace Vorn::HWY_NAMESPACE {

namespace {

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

namespace hn = hwy::HWY_NAMESPACE;

using OctetTag = hn::CappedTag<std::uint8_t, 64>;
using Octets = hn::Vec<OctetTag>;

constexpr OctetTag InOctets;
constexpr hn::Repartition<std::uint32_t, OctetTag> InWords;

HWY_INLINE Octets Shuffle(Octets bytes, const ByteTable& order) {
    return hn::TableLookupBytesOr0(bytes, hn::LoadDup128(InOctets, order.bytes));
}

HWY_INLINE Octets MoveLanes(Octets bytes, const LaneTable& table) {
    if constexpr (HWY_MAX_BYTES == 16)
        return bytes; // one block: nothing to spread or to close
    const auto indices = hn::SetTableIndices(InWords, table.lanes);
    return hn::BitCast(InOctets, hn::TableLookupLanes(hn::BitCast(InWords, bytes), indices));
}

#endif

} // namespace

} // namespace Vorn::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();
