// SPDX-License-Identifier: Apache-2.0
/// Tests whether a line separates a brighter muscle from darker tissue: two contrast tests on the strips beside it.
#pragma once

#include <norvane/image.h>
#include <norvane/pect_detect.h>

#include "muscle/line_in_image.h"

namespace Norvane {

/// Welch's test of all pixels on both sides. Returns PECT_PASS, PECT_WEAK or PECT_FAIL; PECT_NOT_FOUND if the line is
/// too deep in the image; PECT_NO_IMAGE or PECT_NO_SIDE.
[[nodiscard]] PectDetect::PECT_STATUS verify_by_strips(const Image* image, const PlacedLine& line, IMAGE_SIDE side);

/// Student's test [student1908] of the differences row by row. A gradient along the line adds the same to both strips
/// and cancels. Returns the same statuses except PECT_WEAK.
[[nodiscard]] PectDetect::PECT_STATUS verify_by_pairs(const Image* image, const PlacedLine& line, IMAGE_SIDE side);

}  // namespace Norvane
