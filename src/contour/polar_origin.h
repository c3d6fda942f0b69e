// SPDX-License-Identifier: Apache-2.0
/// The polar origin on the chest wall.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

namespace Norvane {

/// `state` with the row and columns of the origin: half the image height, and the field's edge at the wall in that row
/// (the image's without a frame, or if the frame has no pixel there). For a wall on neither side only the row is set.
[[nodiscard]] ContourState with_polar_origin(ContourState state, const Image& image, const Mask* frame,
                                             IMAGE_SIDE side);

}  // namespace Norvane
