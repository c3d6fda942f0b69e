// SPDX-License-Identifier: Apache-2.0
/// Set algebra and morphology of masks, and conversions between masks and 1-bit images.
///
/// Several operations read a mask in a grid of their choice and change its target pixel size. Each says so.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

namespace Norvane::Utils {

/// dst = src, in the grid of src, whose target pixel size becomes its own. Returns 0; 1 with a message for null.
int MaskCopy(Mask* src, Mask* dst);

/// Adds a minus b to `out`, in the grid of `out` (that of a when its pixel size is at most 1). a and b keep the target
/// pixel size of that grid. 0; 2 for null.
int MaskSubtract(Mask* a, Mask* b, Mask* out);

/// Adds a and b to `out`, in the grid of b, which a and b keep as target and `out` as pixel size. 0; 2 for null.
int MaskIntersect(Mask* a, Mask* b, Mask* out);

/// Renders the mask's bounding box, in its own grid, into a new 1-bit buffer of `image`. 0; 1 for null.
int MaskToImage(Mask* mask, Image* image);

/// Replaces the mask by the set pixels of a 1-bit image. Every run ends one column past its last set pixel (a run that
/// is open at the end of the row at the width). 0; 1 for null or no buffer; 2 for other depths.
int ImageToMask(const Image* image, Mask* mask);

/// Zeroes every pixel outside the mask, whose target pixel size becomes the image's. 0; 1 for null or no buffer; 2 for
/// 1-bit images.
int ApplyMask(Image* image, Mask* mask);

/// Sets those pixels of a w x h rectangle of `dst` that are set in `src`; 1-bit images. 0; 1 for null, no buffer or a
/// rectangle that leaves an image; 3 for other depths.
int CopyBinaryRegion(const Image* src, Image* dst, unsigned srcX, unsigned srcY, unsigned dstX, unsigned dstY,
                     unsigned w, unsigned h);

/// dst = src eroded or dilated `iterations` times by a 3 x 3 square, through a 1-bit image (so runs end one column
/// later; see ImageToMask). Beyond the mask's bounding box lies background. 0, 1 or 3.
int MaskErode(Mask* src, Mask* dst, int iterations);
int MaskDilate(Mask* src, Mask* dst, int iterations);

}  // namespace Norvane::Utils
