// SPDX-License-Identifier: Apache-2.0
/// A simpler estimate of the muscle: the bright tissue next to the chest wall, down to the row of the polar origin.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include <memory>
#include <vector>

namespace Norvane {

/// The settings of the estimate.
struct MuscleEstimate {
    IMAGE_SIDE side;
    unsigned threshold;  // grey level at which the muscle ends
    int last_row;        // the scan ends before this row
};

/// `limits` bounds the columns. `rows` gives the runs that are scanned; it must not be empty. Returns null if there are
/// no rows to scan, and an empty mask if the wall is on neither side.
[[nodiscard]] std::unique_ptr<Mask> estimated_muscle(const Image& image, const Mask& limits, const Mask& rows,
                                                     const MuscleEstimate& wanted);

/// A running mean over `half` entries before and after each, starting at the first entry that is not 0.
void smooth_muscle_ends(std::vector<float>& columns, int half);

}  // namespace Norvane
