// SPDX-License-Identifier: Apache-2.0
/// How the library itself reads a Mask: the runs of a row in the target grid, without an array per row.
#pragma once

#include <norvane/mask.h>

#include "model/geometry.h"

#include <concepts>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace Norvane {

/// Neighbouring columns of one row.
using Run = Interval<unsigned>;

/// Reads the rows of one mask. Ascending order is the cheapest. The results are those of Mask::GetSegments(), in the
/// target grid that the mask has at each call. The mask must outlive the reader and must not be cleared or assigned
/// meanwhile. Segments may be added to it: an operation whose output is also its input reads each row before it writes
/// there.
class MaskReader {
public:
    explicit MaskReader(const Mask& source) : mask_(source), at_(source.rows.end()) {}

    /// The runs of target row `y`, in ascending order; empty if the row has no pixels. Valid until the next call.
    [[nodiscard]] std::span<const Run> row(std::integral auto y) { return runs_of(static_cast<unsigned>(y)); }

    /// The first target row from `y` on that has runs; kNoRow after the last one. For loops over the rows of any mask,
    /// so that their cost depends on the runs and not on the coordinates.
    [[nodiscard]] std::int64_t next_row(std::int64_t y);
    /// The next non-empty row after `y` that maps to a different stored row.
    [[nodiscard]] std::int64_t next_other_row(std::int64_t y);
    static constexpr std::int64_t kNoRow = std::int64_t{1} << 32;

    /// The stored row, in the mask's own grid, to which target row `y` maps.
    [[nodiscard]] static unsigned stored_row(const Mask& mask_, std::int64_t y) {
        return mask_.target_to_mask(static_cast<unsigned>(y));
    }

    /// A mask is empty if it has no rows, whatever its pixel sizes and bounds are.
    [[nodiscard]] static bool is_empty(const Mask& mask_) { return mask_.rows.empty(); }

private:
    [[nodiscard]] std::span<const Run> runs_of(unsigned y);
    [[nodiscard]] std::int64_t first_row_that_reads(std::int64_t stored, std::int64_t from) const;

    const Mask& mask_;
    std::map<unsigned, Mask::Runs>::const_iterator at_;  // the row last found, or end
    std::vector<Run> runs_;
};

/// Adds columns to a row of the mask's own grid. They must not be empty and must lie in the range of its coordinates.
template <class T>
void add_run(Mask& mask, std::integral auto row, const Interval<T>& columns) {
    mask.AddSegment(static_cast<unsigned>(row), static_cast<unsigned>(columns.first),
                    static_cast<unsigned>(columns.last - columns.first));
}

}  // namespace Norvane
