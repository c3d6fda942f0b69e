// SPDX-License-Identifier: Apache-2.0
/// Finds the pectoral border as a straight line [karssemeijer1998] by a Hough transform [hough1962] of the edges over
/// angle and distance [duda1972], and writes the muscle that the line bounds.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include "model/geometry.h"
#include "muscle/line_in_image.h"

#include <memory>
#include <optional>

namespace Norvane {

/// The strongest line, and the counters by distance (rows) and angle (columns).
struct HoughPeak {
    Line line;
    std::unique_ptr<Image> accumulator;
};

/// The strongest line whose normal lies in `degrees`. Nothing if the image cannot be used.
[[nodiscard]] std::optional<HoughPeak> strongest_line(const Image* edges, const Interval<float>& degrees);

/// The strongest line whose normal the border of a muscle can have.
[[nodiscard]] std::optional<Line> muscle_border(const Image* edges, IMAGE_SIDE side);

/// Adds the pixels between the line and the edge of the bound mask at the wall. `bound` keeps the pixel size of the
/// image as its target, and `muscle` gets it as its own.
void write_muscle(const Image& image, Mask& bound, const PlacedLine& line, IMAGE_SIDE side, Mask& muscle);

}  // namespace Norvane
