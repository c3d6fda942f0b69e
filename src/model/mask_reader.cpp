// SPDX-License-Identifier: Apache-2.0
#include "model/mask_reader.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace Norvane {

std::span<const Run> MaskReader::runs_of(unsigned y) {
    const unsigned wanted = mask_.target_to_mask(y);
    // In a loop over rows, the wanted row is the last one found or the one after it.
    if (at_ != mask_.rows.end() && at_->first < wanted) ++at_;
    if (at_ == mask_.rows.end() || at_->first != wanted) at_ = mask_.rows.find(wanted);
    runs_.clear();
    if (at_ == mask_.rows.end()) return {};
    for (const auto& [first, last] : at_->second)
        runs_.push_back({mask_.mask_to_target(first), mask_.mask_to_target(last)});
    return runs_;
}

// The stored row never decreases as the target row increases, for any pixel sizes, because coordinates saturate.
std::int64_t MaskReader::first_row_that_reads(std::int64_t stored, std::int64_t from) const {
    std::int64_t step = 1, below = from;  // all rows below this one read an earlier stored row
    while (below < kNoRow && stored_row(mask_, std::min(below + step, kNoRow) - 1) < stored) {
        below += step;
        step *= 2;
    }
    std::int64_t end = std::min(below + step, kNoRow);
    while (below < end) {
        const std::int64_t middle = below + (end - below) / 2;
        if (stored_row(mask_, middle) < stored)
            below = middle + 1;
        else
            end = middle;
    }
    return std::min(below, kNoRow);
}

std::int64_t MaskReader::next_row(std::int64_t y) {
    while (y < kNoRow) {
        const unsigned wanted = stored_row(mask_, y);
        const bool is_behind_last = at_ != mask_.rows.end() && at_->first < wanted;
        if (is_behind_last) ++at_;
        if (!is_behind_last || (at_ != mask_.rows.end() && at_->first < wanted)) at_ = mask_.rows.lower_bound(wanted);
        if (at_ == mask_.rows.end()) break;
        if (at_->first == wanted) return y;
        y = first_row_that_reads(at_->first, y + 1);
    }
    return kNoRow;
}

std::int64_t MaskReader::next_other_row(std::int64_t y) {
    const unsigned stored = stored_row(mask_, y);
    if (stored == std::numeric_limits<unsigned>::max()) return kNoRow;
    return next_row(first_row_that_reads(std::int64_t{stored} + 1, y + 1));
}

}  // namespace Norvane
