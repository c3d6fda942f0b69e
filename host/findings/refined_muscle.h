// SPDX-License-Identifier: Apache-2.0
/// The pectoral muscle with a curved border.
#pragma once

#include "findings/region.h"

#include <norvane/image.h>
#include <norvane/masking.h>

namespace Norvane::Host {

struct RefinedMuscle {
    Region region;              ///< the exact muscle if no better border was found
    bool is_refined = false;    ///< whether the border is one of its own
    double low_contrast = 0.0;  ///< 20th percentile of the log contrast along the border; 0 without a border
};

/// Lets the straight border of `exact` follow the image.
///
/// The library's border of the muscle is a straight line, but the lower end of a muscle is curved. This search looks at
/// profiles across the line. Each pixel of a profile has a cost, which says how unlike a border it is, and the path
/// with the least cost through all profiles is the border (dynamic programming, as in [timp2004] for masses). The
/// cost weighs the contrast between bands of four widths, on a linear and a logarithmic scale, and the distance from
/// the line. Its weights are those of a conditional logit [mcfadden1974], which was fitted to labelled films.
///
/// A line that was drawn along another edge is out of reach of these profiles. Rays from the corner between chest wall
/// and upper border reach further, so a second line is fitted to the best path through them. It replaces the first if
/// there is more contrast along its border. If `exact` is empty, lines of typical position are tried in the same way.
/// If there is next to no contrast along the border, the exact muscle remains.
///
/// `breast` bounds the muscle, together with `exact`.
[[nodiscard]] RefinedMuscle refine_muscle(const Image& prepared, const Region& breast, const Region& exact,
                                          IMAGE_SIDE side);

}  // namespace Norvane::Host
