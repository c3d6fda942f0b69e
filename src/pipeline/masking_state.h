// SPDX-License-Identifier: Apache-2.0
/// What a Masking holds between calls, as a value. The pipeline takes it and returns it.
#pragma once

#include "rules/settings.h"

#include <optional>

namespace Norvane {

struct MaskingState {
    Masking::Params params;
    Settings settings;
    std::optional<ContourState> contour;  // empty before the first search
};

/// A status, and the state that the host may read after it.
struct Outcome {
    Masking::MASK_STATUS status;
    MaskingState state;
};

}  // namespace Norvane
