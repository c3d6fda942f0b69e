// SPDX-License-Identifier: Apache-2.0
/// Raises dark tissue next to the chest wall, because the contour search would cut it away. The extent of the tissue at
/// the wall is measured, a half ellipse is laid over it, and every dark pixel inside is raised above the noise level.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "rules/settings.h"

namespace Norvane {

/// Raises the pixels of an image that is cut to its field. Returns the raised fraction of the ellipse. It is 0 for
/// classes with padding, and if there is no field, no wall or too little tissue at it. `centre_column` bounds the
/// near-wall zone.
double raise_chest_wall(Image& work, const Mask* frame, const Masking::Params& params, const Settings& settings,
                        int centre_column);

/// Writes the image to which a search applies its thresholds: the field of `image`, raised at the wall and blurred.
/// `thresholded` must have a buffer of the size of the image's; null makes the filter refuse. Returns the raised
/// fraction.
double write_thresholded(const Image& image, Mask* frame, const Masking::Params& params, const Settings& settings,
                         int centre_column, Image* thresholded);

}  // namespace Norvane
