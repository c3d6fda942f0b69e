// SPDX-License-Identifier: Apache-2.0
/// The region in which the muscle's border is sought: the upper part of the breast, closed off towards the chest wall.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include <memory>

namespace Norvane {

/// Whether a mask is null, empty, one pixel wide or high, or without pixel size.
[[nodiscard]] bool cannot_be_searched(const Mask* mask);

/// The breast from its far edge to the frame's edge at the wall; its bounding box without a frame. Null without a
/// breast. Both masks keep the breast's pixel size as target.
[[nodiscard]] std::unique_ptr<Mask> bound_mask(Mask* breast, Mask* frame, IMAGE_SIDE side);

struct MuscleRegion {
    std::unique_ptr<Image> image;  // with its offsets; null if nothing of the bound lies inside the image
    bool is_filled = false;        // its pixels could be copied
};

/// Cuts the top of the bound mask out of the image, `height_ratio` of the mask's height.
[[nodiscard]] MuscleRegion muscle_region(const Image* image, Mask* bound, IMAGE_SIDE side, float height_ratio);

}  // namespace Norvane
