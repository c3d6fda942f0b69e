// SPDX-License-Identifier: Apache-2.0
/// What all mask operations require of their image.
#pragma once

#include <norvane/image.h>
#include <norvane/masking.h>

#include <cmath>

namespace Norvane {

/// Whether an image is 16-bit unsigned and has a buffer and at least one pixel. Out of line: when inlined, its early
/// returns made the optimiser treat the loops after it as cold.
[[nodiscard]] bool has_usable_pixels(const Image& image);

/// Whether the mask operations can read the image at all.
[[nodiscard]] inline bool is_usable(const Image* image) { return image != nullptr && has_usable_pixels(*image); }

/// Whether a pixel size (micrometres) is more than 10 % off the working pixel size, or is not a number. The difference
/// is rounded to float before the comparison, so 250.8 as a float is beyond the limit.
[[nodiscard]] inline bool is_off_working_pixel_size(float pixel_size) {
    constexpr double kLimit = double{Masking::c_lowres_pixelsize} * double{0.1F};
    const float difference = std::fabs(pixel_size - Masking::c_lowres_pixelsize);
    return !(double{difference} <= kLimit);
}

}  // namespace Norvane
