// SPDX-License-Identifier: Apache-2.0
/// The pectoral muscle of a breast mask that is known.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/pect_detect.h>

#include "pipeline/masking_state.h"

namespace Norvane {

/// The search, if nothing refuses it; the muscle is added to `muscle`.
[[nodiscard]] PectDetect::PECT_STATUS seek_muscle(Image* image, Mask* breast, Mask* frame,
                                                  const Masking::Params& params, Mask* muscle);

[[nodiscard]] inline bool found_muscle(PectDetect::PECT_STATUS status) {
    return status == PectDetect::PECT_PASS || status == PectDetect::PECT_WEAK;
}

/// An empty or null `frame` is searched first. See NvGeneratePectMask().
[[nodiscard]] Outcome make_muscle_mask(Image* image, Mask* breast, MaskingState state, Mask* muscle, Mask* frame);

}  // namespace Norvane
