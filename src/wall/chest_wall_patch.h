// SPDX-License-Identifier: Apache-2.0
/// Raises dark tissue next to the chest wall, which the contour search would cut away: the tissue's extent against the
/// wall is measured, a half ellipse laid over it, and every dark pixel inside brought above the noise level.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "rules/settings.h"

namespace Norvane {

/// Raises the pixels of an image that is cut to its field. The raised fraction of the ellipse; 0 for the classes of
/// padding, without a field, without a wall, or with too little tissue at it. `centre_column` bounds the near-wall
/// zone.
double raise_chest_wall(Image& work, const Mask* frame, const Masking::Params& params, const Settings& settings,
                        int centre_column);

/// Writes the image that a search thresholds: the field of `image`, raised at the wall and blurred. `thresholded` has a
/// buffer of the size of the image's; null makes the filter refuse. The raised fraction.
double write_thresholded(const Image& image, Mask* frame, const Masking::Params& params, const Settings& settings,
                         int centre_column, Image* thresholded);

}  // namespace Norvane
