// SPDX-License-Identifier: Apache-2.0
/// Cuts out the region in which the border of the muscle is searched: the upper part of the breast, closed off towards
/// the chest wall.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include <memory>

namespace Norvane {

/// Whether a mask is null or empty, is one pixel wide or high, or has no pixel size.
[[nodiscard]] bool cannot_be_searched(const Mask* mask);

/// The breast from its far edge to the edge of the frame at the wall. If there is no frame, the bounding box of the
/// breast. Null if there is no breast. Both masks keep the pixel size of the breast as their target.
[[nodiscard]] std::unique_ptr<Mask> bound_mask(Mask* breast, Mask* frame, IMAGE_SIDE side);

struct MuscleRegion {
    std::unique_ptr<Image> image;  // with its offsets; null if nothing of the bound lies inside the image
    bool is_filled = false;        // whether its pixels could be copied
};

/// Cuts the upper part of the bound mask out of the image: `height_ratio` of the mask's height.
[[nodiscard]] MuscleRegion muscle_region(const Image* image, Mask* bound, IMAGE_SIDE side, float height_ratio);

}  // namespace Norvane
