// SPDX-License-Identifier: Apache-2.0
/// What all mask operations ask of their image, and lengths on its grid.
#pragma once

#include <norvane/image.h>
#include <norvane/masking.h>

#include "model/numbers.h"

#include <cmath>

namespace Norvane {

/// Whether an image is 16-bit unsigned, with a buffer and at least one pixel. Not inline: its branches, most of which
/// end an operation, made the compiler take the pixel loops behind them for rarely run ones.
[[nodiscard]] bool has_usable_pixels(const Image& image);

/// Whether the mask operations can read the image at all.
[[nodiscard]] inline bool is_usable(const Image* image) { return image != nullptr && has_usable_pixels(*image); }

/// Whether a pixel size (micrometres) lies more than 10 % off the working pixel size, or is not a number. The
/// difference is rounded to float before the comparison: 250.8 as a float is beyond the limit.
[[nodiscard]] inline bool is_off_working_pixel_size(float pixel_size) {
    constexpr double kLimit = static_cast<double>(Masking::c_lowres_pixelsize) * static_cast<double>(0.1F);
    const float difference = std::fabs(pixel_size - Masking::c_lowres_pixelsize);
    return !(static_cast<double>(difference) <= kLimit);
}

/// A length in pixels, rounded half up. 0 for a pixel size of 0 or one that is not a number.
[[nodiscard]] inline int pixels_for(double micrometres, float pixel_size) {
    if (pixel_size == 0.0F || std::isnan(pixel_size)) return 0;
    return truncate_to<int>(micrometres / static_cast<double>(pixel_size) + 0.5);
}

/// The classes whose frame is made of padding values and whose background is (nearly) black: their frames are found by
/// the padding, the chest wall is not patched, and contours are smoothed little.
[[nodiscard]] constexpr bool is_padding_class(BG_NOISE noise_class) {
    return noise_class == BG_MG || noise_class == BG_MG_RAW || noise_class == BG_GIVEN_LEVEL ||
           noise_class == BG_MG_RAW_2 || noise_class == BG_MG_RAW_3;
}

}  // namespace Norvane
