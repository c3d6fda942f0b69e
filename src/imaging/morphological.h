// SPDX-License-Identifier: Apache-2.0
/// Grey-level morphology with a 3 x 3 square, repeated. Zeros lie outside the image.
#pragma once

#include <norvane/image.h>

namespace Norvane::Morphological {

int Dilate(const Image* src, Image* dst, int iterations);
int Erode(const Image* src, Image* dst, int iterations);

}  // namespace Norvane::Morphological
