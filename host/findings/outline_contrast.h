// SPDX-License-Identifier: Apache-2.0
/// Measures how clearly the outline of a breast mask shows in the image.
#pragma once

#include "findings/region.h"

#include <norvane/image.h>

namespace Norvane::Host {

/// Mean step of the natural logarithm of the grey level across the skin line, from the outside inwards, along rows and
/// columns. 0 if no skin line lies inside the frame. Where the mask ends at the border of the frame or of the image,
/// and so at the chest wall, nothing is measured. On film, 0.1 is a faint outline and 0.3 a good one; on a black
/// background the value is several times larger.
[[nodiscard]] double outline_contrast(const Image& prepared, const Region& breast, const Region& frame);

}  // namespace Norvane::Host
