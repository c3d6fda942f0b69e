// SPDX-License-Identifier: Apache-2.0
/// A Masking object with everything open and a contour state.
#pragma once

#include "support/builders.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace Norvane::Tests {

using Points = std::vector<int>;
using Contour = std::vector<float>;

struct OpenContour : OpenMasking {
    using Masking::borderFactor;
    using Masking::chestWallRatioLimit;
    using Masking::contourMargin;
    using Masking::gradientScale;
    using Masking::radiusScale;

    explicit OpenContour(int side = SIDE_CHEST_LEFT, int view = VIEW_NO_PECT, BG_NOISE noise = BG_AUTO) {
        update_params(params_for(side, view, noise));
        contourState = new ContourState;
    }
};

}  // namespace Norvane::Tests
