// SPDX-License-Identifier: Apache-2.0
/// Writes a polar contour into a mask: pixel by pixel, or as a filled polygon of its points.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include <vector>

namespace Norvane {

/// A contour, and where it lies: the origin of `state`, in `image`.
struct PlacedContour {
    const std::vector<float>& radii;
    const ContourState& state;
    IMAGE_SIDE side;
    const Image& image;
};

/// Adds the field's pixels inside the contour. 1 plus the sum of the extents written: the ratio of image to mask stays
/// finite.
double write_pixels_inside(const PlacedContour& contour, const Mask& frame, Mask& out);

/// The contour's points in image coordinates plus the image's offset, x and y in turn.
[[nodiscard]] std::vector<int> points_of(const PlacedContour& contour);

/// Adds the polygon of points_of(). The same sum.
double write_polygon(const PlacedContour& contour, Mask& out);

}  // namespace Norvane
