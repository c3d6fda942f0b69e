// SPDX-License-Identifier: Apache-2.0
/// The exposed field: the automatic noise level first, where it is asked for, and then the frame search.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include "levels/noise_level.h"
#include "pipeline/masking_state.h"

#include <optional>

namespace Norvane {

/// If the noise level is still to be computed from the image, it becomes part of the settings, and of the parameters as
/// the level of the host. The histogram, if one was counted.
[[nodiscard]] std::optional<GreyHistogram> settle_noise_level(Image* image, MaskingState& state);

struct FieldOutcome {
    Outcome outcome;
    std::optional<GreyHistogram> histogram;  // of this image, if it was counted
};

/// `auto_level` allows the automatic noise level and the padding frames. A search that fails says so on standard output
/// and answers MASK_OK; its mask stays empty.
[[nodiscard]] FieldOutcome find_field(Image* image, MaskingState state, Mask*& frame, bool auto_level);

}  // namespace Norvane
