// SPDX-License-Identifier: Apache-2.0
/// How clearly the outline of a breast mask stands in the image.
#pragma once

#include "findings/region.h"

#include <norvane/image.h>

namespace Norvane::Host {

/// Mean step of the natural logarithm of the grey level across the skin line, from the outside inwards, along rows and
/// columns; 0 where no skin line lies inside the frame. Borders of the frame and of the image, and with them the chest
/// wall, do not count. On film 0.1 is a faint outline and 0.3 a good one; on black backgrounds it is several times
/// that.
[[nodiscard]] double outline_contrast(const Image& prepared, const Region& breast, const Region& frame);

}  // namespace Norvane::Host
