// SPDX-License-Identifier: Apache-2.0
/// Follows the border of a region pixel by pixel. Points are x and y in turn.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "model/geometry.h"

#include <vector>

namespace Norvane {

/// What bounds a walk: pixels of `box` whose grey level is not of the padding. The wall lies on the left or right.
struct TracedRegion {
    const Image& image;
    Rectangle<int> box;
    Interval<int> padding;  // grey levels
    IMAGE_SIDE side;
};

/// Appends the border to `points`, from the last point on.
void trace_boundary(const TracedRegion& region, std::vector<int>& points);

/// The points of the top edge of the field, from the wall up to the padding. On the left none when the wall's corner is
/// padding, on the right none when it is and the image goes on behind it.
[[nodiscard]] std::vector<int> top_edge(const TracedRegion& region);

/// Sets the pixels of the mask, as far as the image has them.
void paint(const Mask& mask, Image& image);

/// Where the boundary of a painted mask is taken up: the topmost painted pixel on the wall's edge of the box.
[[nodiscard]] std::vector<int> start_of_boundary(const Image& painted, const Rectangle<int>& box, IMAGE_SIDE side);

}  // namespace Norvane
