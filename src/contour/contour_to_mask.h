// SPDX-License-Identifier: Apache-2.0
/// Writes a polar contour into a mask, pixel by pixel or as a filled polygon of its points.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include <vector>

namespace Norvane {

/// A contour and its place: around the origin in `state`, in `image`.
struct PlacedContour {
    const std::vector<float>& radii;
    const ContourState& state;
    IMAGE_SIDE side;
    const Image& image;
};

/// Adds the pixels of the field inside the contour. Returns 1 plus the sum of the extents that were written. The 1
/// keeps the ratio of image to mask finite.
double write_pixels_inside(const PlacedContour& contour, const Mask& frame, Mask& out);

/// The points of the contour, x and y in turn, in image coordinates plus the offset of the image.
[[nodiscard]] std::vector<int> points_of(const PlacedContour& contour);

/// Adds the polygon of points_of(). Returns the same sum.
double write_polygon(const PlacedContour& contour, Mask& out);

}  // namespace Norvane
