// SPDX-License-Identifier: Apache-2.0
/// Finds the exposed field: first the automatic noise level, if it is asked for, and then the frame.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "levels/noise_level.h"
#include "pipeline/masking_state.h"

#include <optional>

namespace Norvane {

/// If the noise level has to be computed from the image, computes it and stores it in the settings, and in the
/// parameters as the level of the host. Returns the histogram, if one was counted.
[[nodiscard]] std::optional<GreyHistogram> settle_noise_level(Image* image, MaskingState& state);

struct FieldOutcome {
    Outcome outcome;
    std::optional<GreyHistogram> histogram;  // of this image, if it was counted
};

/// `auto_level` allows the automatic noise level and the padding frames. If the search fails, it prints that to
/// standard output and returns MASK_OK; the mask stays empty.
[[nodiscard]] FieldOutcome find_field(Image* image, MaskingState state, Mask*& frame, bool auto_level);

}  // namespace Norvane
