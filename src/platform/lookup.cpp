// SPDX-License-Identifier: Apache-2.0
/// Tables of intervals: contrast stretch and histogram.
#include "platform/raster.h"

#include <algorithm>
#include <array>

namespace Norvane {

using namespace Platform;

namespace {

bool is_table(IplLookupTable* const* table) {
    return table && *table && (*table)->key && (*table)->value && (*table)->num >= 2 && (*table)->interpolate == 0;
}

/// The grey values [first, end) of an interval; none where the keys do not ascend.
struct Interval {
    std::size_t first, end;
};

Interval interval(const IplLookupTable& table, int i, std::size_t greys) {
    const std::int64_t limit = static_cast<std::int64_t>(greys);
    const std::int64_t first = std::clamp<std::int64_t>(table.key[i], 0, limit);
    const std::int64_t end = std::clamp<std::int64_t>(table.key[i + 1], first, limit);
    return {static_cast<std::size_t>(first), static_cast<std::size_t>(end)};
}

template <class Sample>
inline constexpr std::size_t kGreys = std::size_t{std::numeric_limits<Sample>::max()} + 1;

/// What every grey value becomes: the value of the first interval that holds it, else itself.
template <class Sample>
std::vector<Sample> stretched_greys(const IplLookupTable& table) {
    std::vector<Sample> stretched(kGreys<Sample>);
    for (std::size_t v = 0; v < stretched.size(); ++v) stretched[v] = static_cast<Sample>(v);
    std::vector<bool> known(kGreys<Sample>);
    std::size_t unknown = kGreys<Sample>;
    for (int i = 0; i < table.num - 1 && unknown != 0; ++i) {
        const auto [first, end] = interval(table, i, kGreys<Sample>);
        for (std::size_t v = first; v < end; ++v) {
            if (known[v]) continue;
            known[v] = true;
            --unknown;
            stretched[v] = static_cast<Sample>(static_cast<unsigned>(table.value[i]));  // the low bits
        }
    }
    return stretched;
}

/// counts[v]: the samples below v. Neighbours are often equal, and two tables in turn keep one count from waiting for
/// the other.
template <class Sample>
std::vector<std::size_t> counts_below(const IplHeader& header) {
    std::array<std::vector<std::uint32_t>, 2> counts;
    for (auto& c : counts) c.assign(kGreys<Sample>, 0);
    for (std::size_t y = 0; y < header.height; ++y) {
        const auto row = row_of<Sample>(header, y);
        std::size_t x = 0;
        for (; x + 1 < row.size(); x += 2) {
            ++counts[0][row[x]];
            ++counts[1][row[x + 1]];
        }
        if (x < row.size()) ++counts[0][row[x]];
    }
    std::vector<std::size_t> below(kGreys<Sample> + 1);
    for (std::size_t v = 0; v < kGreys<Sample>; ++v) below[v + 1] = below[v] + counts[0][v] + counts[1][v];
    return below;
}

}  // namespace

void iplContrastStretch(const IplHeader* src, const IplHeader* dst, IplLookupTable** table) {
    run_call([&] {
        if (!are_alike(src, dst) || !is_table(table)) return kIplBadArgument;
        return for_depth<std::uint8_t, std::uint16_t>(src->depth, [&]<class Sample>(Sample) {
            const std::vector<Sample> stretched = stretched_greys<Sample>(**table);
            for (std::size_t y = 0; y < src->height; ++y)
                std::ranges::transform(row_of<Sample>(*src, y), row_to_write<Sample>(*dst, y).begin(),
                                       [&](Sample v) { return stretched[v]; });
            return kIplOk;
        });
    });
}

void iplComputeHisto(const IplHeader* src, IplLookupTable** table) {
    run_call([&] {
        if (!is_described(src) || !is_table(table)) return kIplBadArgument;
        return for_depth<std::uint8_t, std::uint16_t>(src->depth, [&]<class Sample>(Sample) {
            const std::vector<std::size_t> below = counts_below<Sample>(*src);
            for (int i = 0; i < (*table)->num - 1; ++i) {
                const auto [first, end] = interval(**table, i, kGreys<Sample>);
                constexpr std::size_t kMost = std::numeric_limits<int>::max();
                (*table)->value[i] = static_cast<int>(std::min(below[end] - below[first], kMost));
            }
            return kIplOk;
        });
    });
}

}  // namespace Norvane
