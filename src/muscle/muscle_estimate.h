// SPDX-License-Identifier: Apache-2.0
/// A simpler estimate of the muscle: bright tissue from the chest wall on, down to the row of the polar origin.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include <memory>
#include <vector>

namespace Norvane {

/// Where and how the estimate is made.
struct MuscleEstimate {
    IMAGE_SIDE side;
    unsigned threshold;  // grey level at which the muscle ends
    int last_row;        // not looked at any more
};

/// `limits` bounds the columns, `rows` gives the runs that are scanned; it is not empty. Null if there are no rows to
/// scan; an empty mask for a wall on neither side.
[[nodiscard]] std::unique_ptr<Mask> estimated_muscle(const Image& image, const Mask& limits, const Mask& rows,
                                                     const MuscleEstimate& wanted);

/// Running mean over `half` entries before and after each, from the first entry that is not 0 on.
void smooth_muscle_ends(std::vector<float>& columns, int half);

}  // namespace Norvane
