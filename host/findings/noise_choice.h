// SPDX-License-Identifier: Apache-2.0
/// Chooses the noise class of an image from its pixels.
#pragma once

#include "io/header.h"

#include <norvane/image.h>
#include <norvane/masking.h>

namespace Norvane::Host {

/// BG_MG if the dark border regions of a prepared image are flat and at (nearly) the darkest level of all, as the
/// background of a digital image is after its processing, and if the background ends at a step; BG_AUTO_COARSE for the
/// grey, uneven background of film. `side` is that of the chest wall, where no background is.
[[nodiscard]] Sourced<BG_NOISE> choose_noise(const Image& prepared, IMAGE_SIDE side);

}  // namespace Norvane::Host
