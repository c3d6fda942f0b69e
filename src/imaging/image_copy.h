// SPDX-License-Identifier: Apache-2.0
/// Copies a rectangle between images and converts its samples.
#pragma once

#include <norvane/image.h>

namespace Norvane::Utils {

/// Copies w x h pixels from (srcX, srcY) to (dstX, dstY), clipped to both images, in the format of `dst`.
/// 0; 1 for a null image or buffer; 2 for a 1-bit image at an x other than 0; 3 for a pair of formats without
/// conversion.
int ImageCopy(const Image* src, Image* dst, unsigned srcX, unsigned srcY, unsigned dstX, unsigned dstY, unsigned w,
              unsigned h);

/// The whole of `src` to the top-left corner of `dst`.
int ImageCopy(const Image* src, Image* dst);

}  // namespace Norvane::Utils
