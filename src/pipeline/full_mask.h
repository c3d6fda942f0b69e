// SPDX-License-Identifier: Apache-2.0
/// Breast and upper muscle in one mask.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "pipeline/masking_state.h"

namespace Norvane {

/// Adds the breast and the muscle's upper two thirds to `out`, in the breast's grid: in the lower third the muscle's
/// straight border no longer follows it. If one of them is null, `out` becomes the other. False if both are.
bool join_masks(Mask* breast, Mask* muscle, Mask*& out);

/// What the host passes and receives. See NvGenerateFullMask().
struct FullMasks {
    Mask*& full;
    Mask*& muscle;  // becomes null if none was sought
    Mask*& second;
    Mask* frame;
};

[[nodiscard]] Outcome make_full_mask(Image* image, MaskingState state, const FullMasks& masks);

}  // namespace Norvane
