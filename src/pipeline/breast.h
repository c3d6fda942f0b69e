// SPDX-License-Identifier: Apache-2.0
/// Makes the breast mask of a prepared image and its field.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "pipeline/masking_state.h"

#include <vector>

namespace Norvane {

/// The masks of one search. All belong to the caller.
struct BreastMasks {
    Mask* frame;   // if it is empty, the field is found first
    Mask* breast;  // is cleared first
    Mask* second;  // null, or cleared and filled with the outer contour
};

/// Whether the masks were written. MASK_CHEST_WALL is only a warning.
[[nodiscard]] inline bool has_masks(Masking::MASK_STATUS status) {
    return status == Masking::MASK_OK || status == Masking::MASK_CHEST_WALL;
}

/// If a mask other than `second` is missing, prints that to standard output.
[[nodiscard]] Outcome find_breast(Image* image, MaskingState state, const BreastMasks& masks);

/// The state with the grey levels of tissue in this image. It must have a polar origin.
[[nodiscard]] MaskingState with_thresholds(Image* image, MaskingState state);

/// Writes the image to which the contour search applies its thresholds, as ChestWallPatch() describes.
[[nodiscard]] MaskingState show_thresholded(Image* image, MaskingState state, Image* thresholded);

/// With `contourOutput`, writes the points into the host's vector (or empties it if its size is wrong), and returns 0.
/// Otherwise adds the polygon of the contour to `out` and returns 1 plus the sum of the extents written.
double write_polygon_or_points(const std::vector<float>& radii, const MaskingState& state, const Image& image,
                               Mask* out);

}  // namespace Norvane
