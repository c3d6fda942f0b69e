// SPDX-License-Identifier: Apache-2.0
/// A Masking object with everything open and a contour state.
#pragma once

#include "support/builders.h"
#include "support/test.h"

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

/// First column of the row's first run, last column of its last one.
inline std::pair<long, long> extent_of(const Mask& field, long row, std::pair<long, long> without_runs) {
    unsigned count = 0, *pairs = nullptr;
    field.GetSegments(static_cast<unsigned>(row), count, pairs);
    if (count != 0) without_runs = {pairs[0], pairs[2 * count - 1]};
    field.ClearSegments(pairs);
    return without_runs;
}

}  // namespace Norvane::Tests
