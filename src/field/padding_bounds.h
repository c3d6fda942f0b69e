// SPDX-License-Identifier: Apache-2.0
/// Finds the field of an image as a rectangle, for images that are bounded by padding values and for binary images.
#pragma once

#include <norvane/image.h>

#include "model/geometry.h"

namespace Norvane {

using Bounds = Rectangle<int>;
inline constexpr Bounds kNotFound{{-1, -1}, {-1, -1}};

/// The grey levels between the two ends that the host gives in either order.
[[nodiscard]] inline Interval<int> padding_levels(const Masking::Params& params) {
    const auto [low, high] = std::minmax(params.noiseLevel, params.pixelPaddingValueRangeLimit);
    return {low, high};
}

/// The field of an image whose padding has the grey levels `padding`. If the chest wall is on neither side, the whole
/// image. kNotFound if the image cannot be used.
[[nodiscard]] Bounds padding_bounds(const Image* image, IMAGE_SIDE side, const Interval<int>& padding);

/// The bounds of the pixels that are not 0, with up to two rows of background below them. kNotFound if the image cannot
/// be used.
[[nodiscard]] Bounds content_bounds(const Image* image);

}  // namespace Norvane
