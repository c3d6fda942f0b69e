// SPDX-License-Identifier: Apache-2.0
/// Finds the edges of the pectoral region: the strongest gradients whose direction fits the border of the muscle.
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
    int margin;            // so many pixels along the border of the region get no edge
    float fraction;        // share of the region's pixels that are kept
    Interval<int> angles;  // of the gradient, in degrees, both ends excluded; between -89 and 89
};

/// The muscle is a bright wedge in the upper corner at the chest wall. So the gradient across its border points up and
/// to the wall. If the wall is on the left, dy / dx of that direction is positive.
[[nodiscard]] EdgeLimits muscle_edge_limits(IMAGE_SIDE side);

/// Writes the x and y weights of each cell, row by row, as far as `kernel` reaches. Returns the sum of their
/// magnitudes.
float write_kernel(int half_x, int half_y, std::span<float> kernel);

/// The grey level that the darkest fraction of the region's pixels does not exceed; 0 for null. `mask` keeps the pixel
/// size of the region as its target.
[[nodiscard]] std::uint16_t background_threshold(const Image* region, Mask* mask, float fraction);

/// The grey level that the brightest fraction of the image's pixels reaches; at least 1.
[[nodiscard]] std::uint16_t brightest_level(Image* image, float fraction);

/// A binary image (0, 65535) of the edges; null if the region, the mask or the limits cannot be used.
[[nodiscard]] std::unique_ptr<Image> muscle_edges(const Image* region, Mask* mask, const EdgeLimits& limits);

}  // namespace Norvane
