// SPDX-License-Identifier: Apache-2.0
/// The search for the skin line: radii in pixels around the polar origin, Masking::c_num_angles of them, with gaps
/// filled and smoothed.
#pragma once

#include <norvane/mask.h>

#include "contour/search_images.h"
#include "rules/settings.h"

#include <vector>

namespace Norvane {

/// What a search is given beside its images.
struct SearchRules {
    const Masking::Params& params;
    const Settings& settings;
    const ContourState& state;
};

/// The contour, and one outside it.
struct Outlines {
    std::vector<float> radii;
    std::vector<float> outer;
};

/// Along rays half a degree apart.
[[nodiscard]] std::vector<float> contour_along_rays(const SearchImages& images, const Mask& frame,
                                                    const SearchRules& rules);

/// Over all pixels of the field, with the angle of each by table. `with_outer` asks for the outer contour.
[[nodiscard]] Outlines contour_of_all_pixels(const SearchImages& images, const Mask& frame, const SearchRules& rules,
                                             bool with_outer);

/// The fast search, which follows the tissue from row to row; its results differ. What the call wants of the outer
/// contour stands in its parameters: with `singleContour` the wider contour takes the place of the contour itself, and
/// `outer` comes back as it was, resized.
[[nodiscard]] Outlines contour_near_tissue(const SearchImages& images, const Mask& frame, const SearchRules& rules,
                                           std::vector<float> outer);

}  // namespace Norvane
