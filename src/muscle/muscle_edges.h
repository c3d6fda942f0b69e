// SPDX-License-Identifier: Apache-2.0
/// Edges of the pectoral region: gradients whose direction fits the muscle's border, the strongest of them kept.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include "model/geometry.h"

#include <cstdint>
#include <memory>
#include <span>

namespace Norvane {

/// Which gradients are kept.
struct EdgeLimits {
    int margin;            // pixels along the region's border that get no edge
    float fraction;        // of the region's pixels
    Interval<int> angles;  // of the gradient, degrees, both ends out; between -89 and 89
};

/// The muscle is a bright wedge in the upper corner at the chest wall, so the gradient across its border points up and
/// to the wall; dy / dx of that direction is positive for a wall on the left.
[[nodiscard]] EdgeLimits muscle_edge_limits(IMAGE_SIDE side);

/// Writes x and y weight of each cell, row by row, as far as `kernel` reaches; the sum of their magnitudes.
float write_kernel(int half_x, int half_y, std::span<float> kernel);

/// The grey level that a fraction of the region's pixels, the darkest, do not exceed. `mask` keeps the region's pixel
/// size as target. 0 for null.
[[nodiscard]] std::uint16_t background_threshold(const Image* region, Mask* mask, float fraction);

/// The grey level that a fraction of the image's pixels, the brightest, reach; at least 1.
[[nodiscard]] std::uint16_t brightest_level(Image* image, float fraction);

/// A binary image (0, 65535) of the edges; null if the region, the mask or the limits cannot be used.
[[nodiscard]] std::unique_ptr<Image> muscle_edges(const Image* region, Mask* mask, const EdgeLimits& limits);

}  // namespace Norvane
