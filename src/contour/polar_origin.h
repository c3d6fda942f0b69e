// SPDX-License-Identifier: Apache-2.0
/// Finds the polar origin on the chest wall.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

namespace Norvane {

/// `state` with the row and columns of the origin. The row is half the image height, and the column is the field's edge
/// at the wall in that row, or that of the image if there is no frame or the frame has no pixel there. If the wall is
/// on neither side, only the row is set.
[[nodiscard]] ContourState with_polar_origin(ContourState state, const Image& image, const Mask* frame,
                                             IMAGE_SIDE side);

}  // namespace Norvane
