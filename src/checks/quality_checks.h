// SPDX-License-Identifier: Apache-2.0
/// Plausibility of finished masks. Each check answers MASK_OK or its own status.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include <cstdint>
#include <vector>

namespace Norvane {

/// MASK_TOO_SMALL or MASK_BAD_SHAPE. `area`: the pixels written before the cut with the field.
[[nodiscard]] Masking::MASK_STATUS check_shape(const Image& image, const Mask& breast, double area);

/// Whether the bounding box of the points (x and y in turn) covers less than 1/60 of the image. Products wrap as
/// unsigned numbers do.
[[nodiscard]] bool is_small(const std::vector<int>& points, const Image& image);

/// MASK_BG_NOISE if the background beside the breast is nearly as bright as the noise level. MASK_OK without a wall,
/// and if the image cannot be used or a mask is null.
[[nodiscard]] Masking::MASK_STATUS check_background(const Image* image, const Mask* breast, const Mask* frame,
                                                    IMAGE_SIDE side, std::uint16_t noise_level);

/// MASK_CUT_TISSUE if many pixels just outside the breast are about as bright as those inside. MASK_NO_MASK for a
/// breast of fewer than two rows; MASK_OK if the image cannot be used or the frame is null.
[[nodiscard]] Masking::MASK_STATUS check_for_cut_tissue(const Image* image, Mask* breast, Mask* frame,
                                                        const Masking::Params& params, std::uint16_t noise_level);

}  // namespace Norvane
