// SPDX-License-Identifier: Apache-2.0
/// A scene with a muscle.
#pragma once

#include "support/builders.h"
#include "support/test.h"

namespace Norvane::Tests {

constexpr double kPi = 3.141592653589793;

/// Whether a pixel, by its columns from the wall, lies in the muscle of wedge().
inline bool in_wedge(unsigned from_wall, unsigned y) { return from_wall < 150 * (1.0 - y / 300.0); }

/// A bright wedge in the upper corner at the chest wall over darker tissue; 300 x 500. Fits wedge_breast and
/// wedge_frame.
inline std::unique_ptr<Image> wedge(int side, unsigned contrast = 20000) {
    Random random(77);
    return grey_image(300, 500, [&](unsigned x, unsigned y) {
        return 20000 + random.below(400) + (in_wedge(side == SIDE_CHEST_LEFT ? x : 299 - x, y) ? contrast : 0U);
    });
}
inline Mask wedge_breast() { return rectangle(20, 270, 10, 480); }
inline Mask wedge_frame() { return rectangle(4, 295, 5, 490); }

}  // namespace Norvane::Tests
