// SPDX-License-Identifier: Apache-2.0
/// The library's own way to read a Mask: the runs of a row in the target grid, without an array per row.
#pragma once

#include <norvane/mask.h>

#include <map>
#include <span>
#include <vector>

namespace Norvane {

/// Columns first .. last of one row, both ends in.
struct Run {
    unsigned first;
    unsigned last;
};

/// Reads rows of one mask, cheapest in ascending order. Answers as Mask::GetSegments() does, in the target grid that
/// the mask has at each call. The mask must outlive the reader and must not be cleared or assigned meanwhile; segments
/// may be added to it (an operation whose output is also its input reads each row before it writes there).
class MaskReader {
public:
    explicit MaskReader(const Mask& source) : mask(source), at(source.rows.end()) {}

    /// The runs of target row `y`, ascending; empty for a row without pixels. Valid until the next call.
    [[nodiscard]] std::span<const Run> row(unsigned y);

    /// A mask is empty when it has no rows, whatever its pixel sizes and bounds say.
    [[nodiscard]] static bool is_empty(const Mask& mask) { return mask.rows.empty(); }

private:
    const Mask& mask;
    std::map<unsigned, Mask::Runs>::const_iterator at;  // the row last found, or end
    std::vector<Run> runs;
};

}  // namespace Norvane
