// SPDX-License-Identifier: Apache-2.0
/// Makes one mask of breast and upper muscle.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "pipeline/masking_state.h"
#include "pipeline/muscle.h"

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

/// Joins a breast with the muscle that was found for it. Returns the status after that.
[[nodiscard]] Masking::MASK_STATUS add_muscle(PectDetect::PECT_STATUS found, Mask& breast, Mask& muscle,
                                              const FullMasks& masks, Masking::MASK_STATUS status);

/// The status after the checks of the background and of cut tissue.
[[nodiscard]] Masking::MASK_STATUS check_full_mask(const Image* image, const MaskingState& state,
                                                   const FullMasks& masks, Masking::MASK_STATUS status);

[[nodiscard]] Outcome make_full_mask(Image* image, MaskingState state, const FullMasks& masks);

}  // namespace Norvane
