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

/// The status of the call for the breast, given that of its search: some classes accept a large patch.
[[nodiscard]] Masking::MASK_STATUS breast_status(const MaskingState& state, Masking::MASK_STATUS found);

/// Gives the host the outline of a breast that was searched for, joined with its muscle unless that is null. Returns
/// the status of the call for the breast. `found` is the status of the search without a check of the shape.
[[nodiscard]] Masking::MASK_STATUS give_joined_outline(Image* image, MaskingState& state, Mask* breast, Mask* muscle,
                                                       Masking::MASK_STATUS found);

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
