// SPDX-License-Identifier: Apache-2.0
/// The breast mask with the host's outline of 720 points, as interleaved x and y.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "model/geometry.h"
#include "pipeline/masking_state.h"

#include <vector>

namespace Norvane {

/// See NvGenerateBreastMask(). `box`: null or four values.
[[nodiscard]] Outcome make_breast_mask(Image* image, MaskingState state, Mask* breast, Mask* frame, int* box);

/// The parameters as tracing a mask leaves them: only black is padding there.
[[nodiscard]] inline Masking::Params without_padding(Masking::Params params) {
    params.noiseLevel = params.pixelPaddingValueRangeLimit = 0;
    return params;
}

/// Appends the mask's boundary to `points`; false without one. The wall's side says where it begins: for a wall on
/// neither side the points stay as they are.
bool append_boundary(const Image* image, const Mask* mask, IMAGE_SIDE side, std::vector<int>& points);

/// Traces the breast of an image whose background is a range of padding values, and gives the host its outline. The
/// bounds of the field.
Rectangle<int> trace_breast(const Image& image, const Masking::Params& params);

/// First and last column, first and last row; nothing for null.
void write_bounds(const Rectangle<int>& bounds, int* box);

}  // namespace Norvane
