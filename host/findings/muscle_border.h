// SPDX-License-Identifier: Apache-2.0
/// The curved border of the muscle near a straight line.
#pragma once

#include "findings/border_profiles.h"

#include <optional>
#include <vector>

namespace Norvane::Host {

struct MuscleBorder {
    std::vector<GridPoint> points;  ///< from above the image to beyond the chest wall
    double contrast = 0.0;          ///< mean difference of the grey levels inside and outside, white being 1
    double log_contrast = 0.0;      ///< the same for the logarithm of the grey level
    double low_log_contrast = 0.0;  ///< its 20th percentile
};

/// The line through points of a border; nothing if there are too few or if they do not run downwards to the wall.
[[nodiscard]] std::optional<MuscleLine> fitted_line(const std::vector<GridPoint>& points);

/// The best border near a line. `height` is that of the image.
[[nodiscard]] MuscleBorder border_near(const MuscleGrey& image, const MuscleLine& line, double height);

/// The line through the best border that rays from the upper corner at the chest wall find, further from `line` than
/// border_near() looks.
[[nodiscard]] std::optional<MuscleLine> line_by_rays(const MuscleGrey& image, MuscleLine line, double height);

}  // namespace Norvane::Host
