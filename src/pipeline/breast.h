// SPDX-License-Identifier: Apache-2.0
/// From a prepared image and its field to the breast mask.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "pipeline/masking_state.h"

#include <vector>

namespace Norvane {

/// The masks of one search; all are the caller's.
struct BreastMasks {
    Mask* frame;   // searched first if it is empty
    Mask* breast;  // cleared
    Mask* second;  // null, or cleared and given the outer contour
};

/// The masks were written; MASK_CHEST_WALL only warns.
[[nodiscard]] inline bool has_masks(Masking::MASK_STATUS status) {
    return status == Masking::MASK_OK || status == Masking::MASK_CHEST_WALL;
}

/// Says on standard output if a mask is missing (not of `second`).
[[nodiscard]] Outcome find_breast(Image* image, MaskingState state, const BreastMasks& masks);

/// Writes the image that the contour search thresholds, as ChestWallPatch() promises.
[[nodiscard]] MaskingState show_thresholded(Image* image, MaskingState state, Image* thresholded);

/// With `contourOutput` the points go to the host's vector, which is emptied if its size does not fit, and nothing is
/// written; else the contour's polygon is added to `out`. 1 plus the sum of the extents written, 0 for points.
double write_polygon_or_points(const std::vector<float>& radii, const MaskingState& state, const Image& image,
                               Mask* out);

}  // namespace Norvane
