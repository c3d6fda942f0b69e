// SPDX-License-Identifier: Apache-2.0
/// Searches for the skin line. The result is Masking::c_num_angles radii, in pixels, around the polar origin; gaps are
/// filled, and the radii are smoothed.
#pragma once

#include <norvane/mask.h>

#include "contour/search_images.h"
#include "rules/settings.h"

#include <vector>

namespace Norvane {

/// The input of a search apart from its images.
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

/// Searches along rays half a degree apart.
[[nodiscard]] std::vector<float> contour_along_rays(const SearchImages& images, const Mask& frame,
                                                    const SearchRules& rules);

/// Searches over all pixels of the field and takes the angle of each from a table. `with_outer` asks for the outer
/// contour.
[[nodiscard]] Outlines contour_of_all_pixels(const SearchImages& images, const Mask& frame, const SearchRules& rules,
                                             bool with_outer);

/// The fast search, which follows the tissue from row to row; its results differ. The parameters say whether the outer
/// contour is wanted. With `singleContour`, the wider contour replaces the contour itself, and `outer` is only resized.
[[nodiscard]] Outlines contour_near_tissue(const SearchImages& images, const Mask& frame, const SearchRules& rules,
                                           std::vector<float> outer);

}  // namespace Norvane
