// SPDX-License-Identifier: Apache-2.0
/// Whether a line parts a brighter muscle from darker tissue: two contrast tests on the strips beside it.
#pragma once

#include <norvane/image.h>
#include <norvane/pect_detect.h>

#include "muscle/line_in_image.h"

namespace Norvane {

/// Welch's test of all pixels on either side: PECT_PASS, PECT_WEAK or PECT_FAIL; PECT_NOT_FOUND for a line too deep in
/// the image. PECT_NO_IMAGE, PECT_NO_SIDE.
[[nodiscard]] PectDetect::PECT_STATUS verify_by_strips(const Image* image, const PlacedLine& line, IMAGE_SIDE side);

/// Student's test [student1908] of the differences row by row: what a gradient along the line adds to both strips
/// cancels. The same statuses but PECT_WEAK.
[[nodiscard]] PectDetect::PECT_STATUS verify_by_pairs(const Image* image, const PlacedLine& line, IMAGE_SIDE side);

}  // namespace Norvane
