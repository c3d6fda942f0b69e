// SPDX-License-Identifier: Apache-2.0
/// Makes the breast mask and gives the host the outline as 720 points, x and y interleaved.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "model/geometry.h"
#include "pipeline/masking_state.h"

#include <vector>

namespace Norvane {

/// See NvGenerateBreastMask(). `box` is null or takes four values.
[[nodiscard]] Outcome make_breast_mask(Image* image, MaskingState state, Mask* breast, Mask* frame, int* box);

/// The parameters after tracing a mask, where only black is padding.
[[nodiscard]] inline Masking::Params without_padding(Masking::Params params) {
    params.noiseLevel = params.pixelPaddingValueRangeLimit = 0;
    return params;
}

/// Appends the boundary of the mask to `points`. Returns false if it has none. The side of the wall says where the
/// boundary begins; if the wall is on neither side, the points stay unchanged.
bool append_boundary(const Image* image, const Mask* mask, IMAGE_SIDE side, std::vector<int>& points);

/// Traces the breast of an image whose background is a range of padding values, and gives the host its outline. Returns
/// the bounds of the field.
Rectangle<int> trace_breast(const Image& image, const Masking::Params& params);

/// Writes first and last column, first and last row. Does nothing for null.
void write_bounds(const Rectangle<int>& bounds, int* box);

}  // namespace Norvane
