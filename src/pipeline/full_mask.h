// SPDX-License-Identifier: Apache-2.0
/// Makes one mask of breast and upper muscle.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "pipeline/masking_state.h"

namespace Norvane {

/// Adds the breast and the upper two thirds of the muscle to `out`, in the breast's grid. In the lower third, the
/// straight border no longer follows the muscle. If one of them is null, `out` becomes the other. Returns false if both
/// are.
bool join_masks(Mask* breast, Mask* muscle, Mask*& out);

/// The masks that the host passes and receives. See NvGenerateFullMask().
struct FullMasks {
    Mask*& full;
    Mask*& muscle;  // becomes null if no muscle was searched for
    Mask*& second;
    Mask* frame;
};

[[nodiscard]] Outcome make_full_mask(Image* image, MaskingState state, const FullMasks& masks);

}  // namespace Norvane
