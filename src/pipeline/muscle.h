// SPDX-License-Identifier: Apache-2.0
/// Makes the mask of the pectoral muscle for a known breast mask.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/pect_detect.h>

#include "pipeline/masking_state.h"

namespace Norvane {

/// Searches for the muscle, if nothing prevents it, and adds it to `muscle`.
[[nodiscard]] PectDetect::PECT_STATUS seek_muscle(Image* image, Mask* breast, Mask* frame,
                                                  const Masking::Params& params, Mask* muscle);

[[nodiscard]] inline bool found_muscle(PectDetect::PECT_STATUS status) {
    return status == PectDetect::PECT_PASS || status == PectDetect::PECT_WEAK;
}

/// The status of a mask that such a search has filled.
[[nodiscard]] Masking::MASK_STATUS mask_status(PectDetect::PECT_STATUS status);

/// If `frame` is null or empty, the frame is found first. See NvGeneratePectMask().
[[nodiscard]] Outcome make_muscle_mask(Image* image, Mask* breast, MaskingState state, Mask* muscle, Mask* frame);

}  // namespace Norvane
