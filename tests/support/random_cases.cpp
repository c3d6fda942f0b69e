// SPDX-License-Identifier: Apache-2.0
#include "support/random_cases.h"

#include <algorithm>

namespace Norvane::Tests {
namespace {

std::unique_ptr<Image> breast(Random& random, unsigned width, unsigned height, bool on_left) {
    BreastSketch sketch;
    sketch.on_left = on_left;
    sketch.radius = random.between(10, 1 + static_cast<int>(std::max(width, height)));
    sketch.middle = random.between(0, static_cast<int>(height));
    sketch.muscle = random.between(0, static_cast<int>(width));
    sketch.frame = random.chance(3) ? random.between(0, 12) : 0;
    sketch.noise = 1 + random.below(random.chance(4) ? 20000 : 800);
    sketch.dark = random.below(16000);
    sketch.bright = random.below(40000);
    sketch.more = random.below(12000);
    return grey_image(width, height, [&](unsigned x, unsigned y) { return sketch.grey(x, y, width, height, random); });
}

}  // namespace

std::unique_ptr<Image> random_image(Random& random, bool on_left) {
    const unsigned width = 1 + random.below(300), height = 1 + random.below(300);
    if (random.chance(8)) return grey_image(width, height, [&](unsigned, unsigned) { return random.below(65536); });
    return breast(random, std::max(width, 60U), std::max(height, 60U), on_left);
}

Masking::Params random_params(Random& random, bool on_left, std::vector<int>& contour) {
    Masking::Params p;
    p.side = random.chance(20) ? SIDE_UNDEFINED : on_left ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
    p.view = random.chance(8) ? VIEW_NO_PECT : VIEW_PECT;
    p.bgNoise = static_cast<BG_NOISE>(random.below(10));
    p.noiseLevel = static_cast<unsigned short>(random.below(30000));
    p.pixelPaddingValueRangeLimit = static_cast<unsigned short>(random.below(65536));
    for (bool* flag : {&p.fullContour, &p.singleContour, &p.smoothContour, &p.checkCutTissue, &p.maskingSpeed})
        *flag = random.chance(2);
    p.pectContour = random.chance(4);
    p.contourOffset = random.between(-3, 3);
    if (random.chance(4)) {
        p.contourOutput = true;
        contour.assign(1440, 0);
        p.contour = &contour;
    }
    return p;
}

}  // namespace Norvane::Tests
