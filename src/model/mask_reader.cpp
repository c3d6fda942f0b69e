// SPDX-License-Identifier: Apache-2.0
#include "model/mask_reader.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace Norvane {

std::span<const Run> MaskReader::row(unsigned y) {
    const unsigned wanted = mask.target_to_mask(y);
    // In a loop over rows the wanted one is the row last found or the one behind it.
    if (at != mask.rows.end() && at->first < wanted) ++at;
    if (at == mask.rows.end() || at->first != wanted) at = mask.rows.find(wanted);
    runs.clear();
    if (at == mask.rows.end()) return {};
    for (const auto& [first, last] : at->second)
        runs.push_back({mask.mask_to_target(first), mask.mask_to_target(last)});
    return runs;
}

// Between two grids the stored row never falls with the target row: not for any pixel sizes, as coordinates saturate.
std::uint64_t MaskReader::first_row_that_reads(std::uint64_t stored, std::uint64_t from) const {
    std::uint64_t step = 1, below = from;  // all rows below this one read an earlier stored row
    while (below < kNoRow && stored_row(mask, std::min(below + step, kNoRow) - 1) < stored) {
        below += step;
        step *= 2;
    }
    std::uint64_t end = std::min(below + step, kNoRow);
    while (below < end) {
        const std::uint64_t middle = below + (end - below) / 2;
        if (stored_row(mask, middle) < stored)
            below = middle + 1;
        else
            end = middle;
    }
    return std::min(below, kNoRow);
}

std::uint64_t MaskReader::next_row(std::uint64_t y) {
    while (y < kNoRow) {
        const unsigned wanted = stored_row(mask, y);
        const bool is_behind_last = at != mask.rows.end() && at->first < wanted;
        if (is_behind_last) ++at;
        if (!is_behind_last || (at != mask.rows.end() && at->first < wanted)) at = mask.rows.lower_bound(wanted);
        if (at == mask.rows.end()) break;
        if (at->first == wanted) return y;
        y = first_row_that_reads(at->first, y + 1);
    }
    return kNoRow;
}

std::uint64_t MaskReader::next_other_row(std::uint64_t y) {
    const unsigned stored = stored_row(mask, y);
    if (stored == std::numeric_limits<unsigned>::max()) return kNoRow;
    return next_row(first_row_that_reads(std::uint64_t{stored} + 1, y + 1));
}

}  // namespace Norvane
