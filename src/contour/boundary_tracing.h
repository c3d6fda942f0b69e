// SPDX-License-Identifier: Apache-2.0
/// Follows the border of a region pixel by pixel. Points are x and y in turn.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "model/geometry.h"

#include <vector>

namespace Norvane {

/// The region of a walk: the pixels of `box` whose grey level is not padding. The wall lies on the left or right.
struct TracedRegion {
    const Image& image;
    Rectangle<int> box;
    Interval<int> padding;  // grey levels
    IMAGE_SIDE side;
};

/// Appends the border to `points`, starting at the last point.
void trace_boundary(const TracedRegion& region, std::vector<int>& points);

/// The points of the top edge of the field, from the wall to the padding. With the wall on the left, there are none if
/// the corner at the wall is padding. With the wall on the right, there are none if it is and the image continues
/// beyond it.
[[nodiscard]] std::vector<int> top_edge(const TracedRegion& region);

/// Sets the pixels of the mask that lie inside the image.
void paint(const Mask& mask, Image& image);

/// Where the boundary of a painted mask starts: the topmost painted pixel on the edge of the box at the wall.
[[nodiscard]] std::vector<int> start_of_boundary(const Image& painted, const Rectangle<int>& box, IMAGE_SIDE side);

}  // namespace Norvane
