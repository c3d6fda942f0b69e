// SPDX-License-Identifier: Apache-2.0
/// Chooses the noise class of an image from its pixels.
#pragma once

#include "io/header.h"

#include <norvane/image.h>
#include <norvane/masking.h>

namespace Norvane::Host {

/// BG_MG if the dark regions at the border of a prepared image are flat, lie at (nearly) the darkest level and end with
/// a step, like the background of a processed digital image. BG_AUTO_COARSE for the grey, uneven background of film.
/// `side` is that of the chest wall, where there is no background.
[[nodiscard]] Sourced<BG_NOISE> choose_noise(const Image& prepared, IMAGE_SIDE side);

}  // namespace Norvane::Host
