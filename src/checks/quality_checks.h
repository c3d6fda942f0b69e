// SPDX-License-Identifier: Apache-2.0
/// Checks whether finished masks are plausible. Each check returns MASK_OK or its own status.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include <cstdint>
#include <vector>

namespace Norvane {

/// May return MASK_TOO_SMALL or MASK_BAD_SHAPE. `area` is the number of pixels before the mask was cut to the field.
[[nodiscard]] Masking::MASK_STATUS check_shape(const Image& image, const Mask& breast, double area);

/// Whether the bounding box of the points (x and y in turn) covers less than 1/60 of the image. Products wrap like
/// unsigned numbers.
[[nodiscard]] bool is_small(const std::vector<int>& points, const Image& image);

/// MASK_BG_NOISE if the background beside the breast is nearly as bright as the noise level. MASK_OK if there is no
/// wall, if the image cannot be used, or if a mask is null.
[[nodiscard]] Masking::MASK_STATUS check_background(const Image* image, const Mask* breast, const Mask* frame,
                                                    IMAGE_SIDE side, std::uint16_t noise_level);

/// MASK_CUT_TISSUE if many pixels just outside the breast are about as bright as those inside. MASK_NO_MASK if the
/// breast has fewer than two rows. MASK_OK if the image cannot be used or the frame is null.
[[nodiscard]] Masking::MASK_STATUS check_for_cut_tissue(const Image* image, Mask* breast, Mask* frame,
                                                        const Masking::Params& params, std::uint16_t noise_level);

}  // namespace Norvane
