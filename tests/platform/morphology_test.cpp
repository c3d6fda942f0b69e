// SPDX-License-Identifier: Apache-2.0
#include "support/picture.h"

namespace Norvane::Tests {
namespace {

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
                        expected = dilated_or_eroded(expected, dilate);
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
    constexpr int kMost = std::numeric_limits<int>::max();
    for (const Depth& depth : {k1U, k8U, k16U}) {
        Picture picture(depth, 70, 40, [&](auto x, auto y) { return x == 69 && y == 39 ? depth.largest : 0.0; });
        iplDilate(picture.get(), picture.get(), kMost);
        EXPECT_EQ(depth.largest, picture.at(0, 0));
        iplErode(picture.get(), picture.get(), kMost);
        EXPECT_EQ(0.0, picture.at(35, 20));
        EXPECT_EQ(0.0, picture.at(69, 39));
    }
}

}  // namespace
}  // namespace Norvane::Tests
