// SPDX-License-Identifier: Apache-2.0
/// Tables of intervals: contrast stretch and histogram.
#include "platform/raster.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace Norvane {

using namespace Platform;

namespace {

bool is_table(IplLookupTable* const* table) {
    return table && *table && (*table)->key && (*table)->value && (*table)->num >= 2 && (*table)->interpolate == 0;
}

/// The first grey value of an interval of the table and the one after its last; none if the keys do not ascend.
std::pair<std::size_t, std::size_t> interval(const IplLookupTable& table, int i, std::size_t greys) {
    const std::int64_t limit = static_cast<std::int64_t>(greys);
    const std::int64_t first = std::clamp<std::int64_t>(table.key[i], 0, limit);
    const std::int64_t end = std::clamp<std::int64_t>(table.key[i + 1], first, limit);
    return {static_cast<std::size_t>(first), static_cast<std::size_t>(end)};
}

template <class Sample>
inline constexpr std::size_t kGreys = std::size_t{std::numeric_limits<Sample>::max()} + 1;

/// The new value of every grey value: that of the first interval that holds it, otherwise itself.
template <class Sample>
std::vector<Sample> stretched_greys(const IplLookupTable& table) {
    std::vector<Sample> stretched(kGreys<Sample>);
    std::iota(stretched.begin(), stretched.end(), Sample{0});
    std::vector<unsigned char> is_known(kGreys<Sample>);
    std::size_t unknown = kGreys<Sample>;
    for (int i = 0; i < table.num - 1 && unknown != 0; ++i) {
        const auto [first, end] = interval(table, i, kGreys<Sample>);
        for (std::size_t v = first; v < end; ++v) {
            if (is_known[v] != 0) continue;
            is_known[v] = 1;
            --unknown;
            stretched[v] = static_cast<Sample>(static_cast<unsigned>(table.value[i]));  // the low bits
        }
    }
    return stretched;
}

/// Does four look-ups at a time. Both rows may be the same.
template <class Sample>
void look_up(std::span<const Sample> from, std::span<const Sample> table, std::span<Sample> to) {
    constexpr std::size_t kTogether = 4;
    std::size_t x = 0;
    for (; x + kTogether <= to.size(); x += kTogether) {
        const Sample values[kTogether] = {table[from[x]], table[from[x + 1]], table[from[x + 2]], table[from[x + 3]]};
        std::ranges::copy(values, to.subspan(x).begin());
    }
    for (; x < to.size(); ++x) to[x] = table[from[x]];
}

/// Counts the samples by sample >> shift. Neighbours are often equal, so two tables are used alternately; otherwise one
/// count would wait for the other.
template <class Sample>
std::vector<std::size_t> counts_of_parts(const IplHeader& header, int shift) {
    const std::size_t parts = kGreys<Sample> >> shift;
    std::vector<std::uint32_t> even(parts), odd(parts);
    for (std::size_t y = 0; y < header.height; ++y) {
        const auto row = row_of<Sample>(header, y);
        std::size_t x = 0;
        for (; x + 1 < row.size(); x += 2) {
            ++even[row[x] >> shift];
            ++odd[row[x + 1] >> shift];
        }
        if (x < row.size()) ++even[row[x] >> shift];
    }
    std::vector<std::size_t> counts(parts);
    for (std::size_t i = 0; i < parts; ++i) counts[i] = std::size_t{even[i]} + odd[i];
    return counts;
}

/// The exponent of the largest power of two of which every key is a multiple. Grey values that differ only below it lie
/// in the same interval.
template <class Sample>
int common_shift(const IplLookupTable& table) {
    unsigned bits = unsigned{kGreys<Sample>};
    for (int i = 0; i < table.num; ++i) bits |= static_cast<unsigned>(table.key[i]);
    return std::countr_zero(bits);
}

}  // namespace

void iplContrastStretch(const IplHeader* src, const IplHeader* dst, IplLookupTable** table) {
    run_call([&] {
        if (!are_alike(src, dst) || !is_table(table)) return kIplBadArgument;
        return for_depth<std::uint8_t, std::uint16_t>(src->depth, [&]<class Sample>(Sample) {
            const std::vector<Sample> stretched = stretched_greys<Sample>(**table);
            for (std::size_t y = 0; y < src->height; ++y)
                look_up<Sample>(row_of<Sample>(*src, y), stretched, row_to_write<Sample>(*dst, y));
            return kIplOk;
        });
    });
}

void iplComputeHisto(const IplHeader* src, IplLookupTable** table) {
    run_call([&] {
        if (!is_described(src) || !is_table(table)) return kIplBadArgument;
        return for_depth<std::uint8_t, std::uint16_t>(src->depth, [&]<class Sample>(Sample) {
            const int shift = common_shift<Sample>(**table);
            std::vector<std::size_t> below{0};  // below[p]: the samples in the parts before p
            for (const std::size_t count : counts_of_parts<Sample>(*src, shift)) below.push_back(below.back() + count);
            for (int i = 0; i < (*table)->num - 1; ++i) {
                const auto [first, end] = interval(**table, i, kGreys<Sample>);
                constexpr std::size_t kMost = std::numeric_limits<int>::max();
                (*table)->value[i] = static_cast<int>(std::min(below[end >> shift] - below[first >> shift], kMost));
            }
            return kIplOk;
        });
    });
}

}  // namespace Norvane
