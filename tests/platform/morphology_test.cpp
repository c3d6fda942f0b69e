// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "platform/picture.h"

namespace Norvane::Tests {
namespace {

/// One 3 x 3 step, zeros outside; extremes of the neighbourhood.
Picture one_step(const Picture& src, bool dilate) {
    Picture out = src;
    for (unsigned y = 0; y < src.height(); ++y)
        for (unsigned x = 0; x < src.width(); ++x) {
            double v = src.at(x, y);
            for (int j = -1; j <= 1; ++j)
                for (int i = -1; i <= 1; ++i) {
                    const std::int64_t u = std::int64_t{x} + i, w = std::int64_t{y} + j;
                    const bool inside = u >= 0 && w >= 0 && u < src.width() && w < src.height();
                    const double other =
                        inside ? src.at(static_cast<std::size_t>(u), static_cast<std::size_t>(w)) : 0.0;
                    v = dilate ? std::max(v, other) : std::min(v, other);
                }
            out.put(x, y, v);
        }
    return out;
}

TEST(Morphology, EqualsRepeatedThreeByThreeSteps) {
    Random random(3);
    for (const Depth& depth : {k1U, k8U, k16U})
        for (const unsigned width : {1U, 7U, 8U, 31U, 63U, 64U, 65U, 130U})
            for (const unsigned height : {1U, 2U, 23U})
                for (const bool dilate : {true, false}) {
                    Picture src = random_picture(random, depth, width, height);
                    for (unsigned i = 0; i < width * height / 2; ++i)  // large even areas, or nothing survives
                        if (!dilate || depth.depth != kIplDepth1U || random.chance(2))
                            src.put(random.below(width), random.below(height), dilate ? 0 : depth.largest);
                    Picture expected = src;
                    for (int n = 1; n <= 25; ++n) {
                        expected = one_step(expected, dilate);
                        if (n > 4 && n % 7 != 0 && n != 24) continue;
                        Picture dst = src;
                        (dilate ? iplDilate : iplErode)(src.get(), dst.get(), n);
                        ASSERT_EQ(kIplOk, iplGetErrStatus());
                        ASSERT_EQ(expected, dst)
                            << width << " x " << height << ", " << n << " steps, bits " << depth.depth;
                    }
                }
}

TEST(Morphology, AnyNumberOfStepsFillsOrClears) {
    for (const Depth& depth : {k1U, k8U, k16U}) {
        Picture src(depth, 70, 40), dst(depth, 70, 40);
        for (unsigned y = 0; y < 40; ++y)
            for (unsigned x = 0; x < 70; ++x) src.put(x, y, x == 69 && y == 39 ? depth.largest : 0.0);
        iplDilate(src.get(), dst.get(), std::numeric_limits<int>::max());
        EXPECT_EQ(depth.largest, dst.at(0, 0));
        iplErode(dst.get(), dst.get(), std::numeric_limits<int>::max());
        EXPECT_EQ(0.0, dst.at(35, 20));
        EXPECT_EQ(0.0, dst.at(69, 39));
    }
}

}  // namespace
}  // namespace Norvane::Tests
