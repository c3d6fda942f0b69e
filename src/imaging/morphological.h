// SPDX-License-Identifier: Apache-2.0
/// Repeated grey-level morphology with a 3 x 3 square. Outside the image are zeros.
#pragma once

#include <norvane/image.h>

namespace Norvane::Morphological {

int Dilate(const Image* src, Image* dst, int iterations);
int Erode(const Image* src, Image* dst, int iterations);

}  // namespace Norvane::Morphological
