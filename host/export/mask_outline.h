// SPDX-License-Identifier: Apache-2.0
/// Makes closed lines of the outline of a mask, for drawing.
#pragma once

#include "findings/region.h"

#include <vector>

namespace Norvane::Host {

struct OutlinePoint {
    double x, y;
};
using Outline = std::vector<OutlinePoint>;  // closed: the last point joins the first

/// The lines between the pixels inside and outside: one line per island and one per hole. Coordinates are those of
/// pixel corners: pixel (x, y) covers x .. x + 1. The steps between pixels are smoothed; the line stays within one
/// pixel of the corners. Pixels outside the grid of width x height are left out.
[[nodiscard]] std::vector<Outline> outlines_of(const Region& region, unsigned width, unsigned height);

/// Removes points of a closed line that lie within `tolerance` pixels of the new line (Douglas and Peucker, 1973).
[[nodiscard]] Outline simplified(const Outline& line, double tolerance);

}  // namespace Norvane::Host
