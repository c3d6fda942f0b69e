// SPDX-License-Identifier: Apache-2.0
/// A Masking object with everything open, and random scenes for the contour searches.
#pragma once

#include "support/builders.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace Norvane::Tests {

struct OpenContour : OpenMasking {
    using Masking::borderFactor;
    using Masking::chestWallRatioLimit;
    using Masking::contourMargin;
    using Masking::gradientScale;
    using Masking::radiusScale;

    explicit OpenContour(IMAGE_SIDE side = SIDE_CHEST_LEFT, IMAGE_VIEW view = VIEW_NO_PECT, BG_NOISE noise = BG_AUTO) {
        Params p;
        p.side = side;
        p.view = view;
        p.bgNoise = noise;
        update_params(p);
    }
    ContourState& state() {
        if (contourState == nullptr) contourState = new ContourState;
        return *contourState;
    }
};

/// An image of noise, dark holes and frame-bright spots around a bright half disc, the image that is thresholded, and a
/// field that leaves rows out and may reach beyond the image.
struct Scene {
    std::unique_ptr<Image> grey, search;
    Mask field;
    OpenContour masking;

    explicit Scene(Random& random) {
        const unsigned width = 20 + random.below(60);
        const unsigned height = 20 + random.below(60);
        constexpr BG_NOISE kClasses[] = {BG_AUTO, BG_AUTO_COARSE, BG_MG, BG_FIXED_MID, BG_FIXED_HIGH, BG_MG_RAW_3};
        masking = OpenContour(random.chance(2) ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT,
                              random.chance(2) ? VIEW_PECT : VIEW_NO_PECT, kClasses[random.below(6)]);
        const bool left = masking.params.side == SIDE_CHEST_LEFT;
        const unsigned radius = random.chance(3) ? 999 : width / 2 + random.below(width / 2);
        const unsigned step = random.chance(2) ? 250 : 1;  // of the grey levels: coarse ones meet the limits exactly
        const unsigned level = 5000 + random.below(4000);
        grey = grey_image(width, height, [&](unsigned x, unsigned y) {
            const double dx = left ? x : width - 1 - x;
            const bool inside = std::hypot(dx, y - height / 2.0) < radius;
            if (random.chance(40)) return random.chance(2) ? 61000U + random.below(4000) : random.below(3000);
            const unsigned grey_level = (inside ? 16000U - static_cast<unsigned>(dx * 60) : 3000U) + random.below(2000);
            return grey_level / step * step;
        });
        search = grey_image(width, height, [&](unsigned x, unsigned y) {
            return random.chance(6) ? level + random.below(random.chance(2) ? 3 : level / 6) : Tests::grey(*grey, x, y);
        });
        for (unsigned y = random.below(height / 4); y < height + 2 - random.below(4); ++y) {
            if (random.chance(9)) continue;
            const unsigned first = random.below(6);
            field.AddSegment(y, first, width - random.below(8) - first);
        }
        field.SetPixelSize(228.0F);
        masking.backgroundNoiseLevel = static_cast<unsigned short>(level);
        const float third = static_cast<float>(250 * (1 + random.below(20))) / 3.0F;
        masking.gradientThreshold = random.chance(4) ? 0.0F : std::nextafter(third, random.chance(2) ? 0.0F : third);
        masking.changeThreshold = random.chance(2);
        masking.state().tissueMean = static_cast<unsigned short>(12000 + random.below(9000));
        masking.state().thresholdScale = 0.33F + 0.01F * static_cast<float>(random.below(40));
        masking.params.contourOffset = random.between(-3, 3);
        field.SetTargetPixelSize(228.0F);
        masking.find_polar_center(grey.get(), &field);
    }
};

}  // namespace Norvane::Tests
