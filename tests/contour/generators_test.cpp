// SPDX-License-Identifier: Apache-2.0
#include "contour_fixture.h"

#include <gmock/gmock.h>

#include <array>

namespace Norvane::Tests {
namespace {

constexpr unsigned kWidth = 300;
constexpr unsigned kHeight = 400;

/// A half disc of tissue on a dark noisy background, and with a muscle in the upper corner if asked.
std::unique_ptr<Image> phantom(IMAGE_SIDE side, double radius, bool muscle = false, float pixel_size = 228.0F) {
    Random random(9);
    return grey_image(
        kWidth, kHeight,
        [&](unsigned column, unsigned y) {
            const unsigned x = side == SIDE_CHEST_LEFT ? column : kWidth - 1 - column;
            const unsigned noise = random.below(600);
            if (muscle && x + y / 2 < 90) return 52000 + noise;
            return (std::hypot(x, y - kHeight / 2.0) < radius ? 33000U : 2000U) + noise;
        },
        pixel_size);
}

Masking::Params params_for(IMAGE_SIDE side, IMAGE_VIEW view = VIEW_NO_PECT, BG_NOISE noise = BG_AUTO) {
    Masking::Params p;
    p.side = side;
    p.view = view;
    p.bgNoise = noise;
    return p;
}

Mask whole_field() { return rectangle(0, kWidth - 1, 0, kHeight - 1); }

struct Breast {
    Masking::MASK_STATUS status;
    Mask mask;
    std::array<int, 4> box{-7, -7, -7, -7};
};

Breast breast_of(Image* image, const Masking::Params& p, Mask frame = whole_field()) {
    Breast b;
    b.status = NvGenerateBreastMask(image, p, &frame, &b.mask, b.box.data());
    return b;
}

TEST(BreastMask, FollowsTheDiscOnBothSidesInBothSpeeds) {
    for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT})
        for (const bool fast : {false, true}) {
            auto p = params_for(side);
            p.maskingSpeed = fast;
            const Breast b = breast_of(phantom(side, 150).get(), p);
            EXPECT_EQ(b.status, Masking::MASK_OK);
            EXPECT_THAT(b.box, testing::ElementsAre(0, 299, 0, 399));
            const Bitmap found = bitmap_of(b.mask, kWidth, kHeight);
            int wrong = 0;
            for (unsigned y = 0; y < kHeight; ++y)
                for (unsigned x = 0; x < kWidth; ++x) {
                    const double dx = side == SIDE_CHEST_LEFT ? x : kWidth - 1 - x;
                    wrong += found.at(x, y) != (std::hypot(dx, y - kHeight / 2.0) < 150) ? 1 : 0;
                }
            EXPECT_LT(wrong, 1800) << "of 35000 pixels; side " << side << (fast ? ", fast" : "");
        }
}

TEST(BreastMask, AnswersWithTheFirstStatusThatApplies) {
    struct Case {
        const char* why;
        Masking::Params params;
        double radius;
        float pixel_size;
        bool usable;
        Masking::MASK_STATUS expected;
    };
    auto forgiving = params_for(SIDE_CHEST_LEFT, VIEW_NO_PECT, BG_AUTO_MEDIUM);
    const Case cases[] = {
        {"the side first", params_for(SIDE_UNDEFINED), 150, 300.0F, false, Masking::MASK_NO_SIDE},
        {"then the pixel size", params_for(SIDE_CHEST_LEFT), 150, 250.8F, false, Masking::MASK_BAD_PIXEL_SIZE},
        {"then the image", params_for(SIDE_CHEST_LEFT), 150, 250.7F, false, Masking::MASK_NO_IMAGE},
        {"an unknown side", params_for(static_cast<IMAGE_SIDE>(5)), 150, 228.0F, true, Masking::MASK_NO_SIDE},
        {"a pea", params_for(SIDE_CHEST_LEFT), 20, 228.0F, true, Masking::MASK_TOO_SMALL},
        {"no outline anywhere", params_for(SIDE_CHEST_LEFT, VIEW_NO_PECT, BG_FIXED_MID), 9999, 228.0F, true,
         Masking::MASK_BAD_SHAPE},
        {"a breast", forgiving, 150, 228.0F, true, Masking::MASK_OK},
    };
    for (const Case& c : cases) {
        auto image = phantom(SIDE_CHEST_LEFT, c.radius, false, c.pixel_size);
        Image unusable;
        unusable.SetPixelSize(c.pixel_size);
        const Breast b = breast_of(c.usable ? image.get() : &unusable, c.params);
        EXPECT_EQ(b.status, c.expected) << c.why;
        EXPECT_EQ(b.box[1], 299) << c.why << ": the box is filled";
    }
}

TEST(BreastMask, RefusesMissingObjects) {
    const auto image = phantom(SIDE_CHEST_LEFT, 150);
    Image unusable;
    const auto given = params_for(SIDE_CHEST_LEFT, VIEW_NO_PECT, BG_GIVEN_LEVEL);
    Mask mask;
    int box = -7;
    testing::internal::CaptureStdout();
    EXPECT_EQ(NvGenerateBreastMask(nullptr, params_for(SIDE_UNDEFINED), nullptr, nullptr, nullptr),
              Masking::MASK_NO_IMAGE);
    EXPECT_EQ(NvGenerateBreastMask(image.get(), params_for(SIDE_UNDEFINED), nullptr, nullptr, &box),
              Masking::MASK_NO_MASK);
    EXPECT_EQ(NvGenerateFullMask(nullptr, given, nullptr, nullptr, nullptr, nullptr), Masking::MASK_NO_IMAGE);
    EXPECT_EQ(NvGenerateFullMask(image.get(), given, nullptr, nullptr, nullptr, nullptr), Masking::MASK_NO_MASK);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "(from GenerateBreastMask) Load an image to generate mask!\n"
              "(from generateMask) Initialize TSO.Mask object first!\n"
              "(from GenerateFullMask) Load an image to generate mask!\n"
              "(from generateMask) Initialize TSO.Mask object first!\n");
    EXPECT_EQ(NvGenerateBreastMask(image.get(), given, nullptr, nullptr, &box), Masking::MASK_BOUNDARY_TRACING);
    EXPECT_EQ(NvGenerateBreastMask(&unusable, given, nullptr, &mask, &box), Masking::MASK_NO_IMAGE);
    EXPECT_EQ(box, -7);
    EXPECT_EQ(NvGenerateBreastMask(image.get(), params_for(SIDE_CHEST_LEFT), nullptr, &mask, nullptr),
              Masking::MASK_OK);
    EXPECT_FALSE(runs_of(mask).empty()) << "no frame and no box given: both made inside";
}

TEST(BreastMask, WarnsOfAPatchedChestWallButNotInTheMediumClass) {
    // The tissue next to the wall is darker than the noise level, and patched.
    const auto image = grey_image(500, 600, [](unsigned x, unsigned y) {
        const double r = std::hypot(x, y - 300.0);
        return r < 160 ? 8000U : r < 380 ? 30000U : 1000U + (x * 7 + y * 13) % 500;
    });
    for (const BG_NOISE noise : {BG_FIXED_MID, BG_AUTO_MEDIUM}) {
        const bool medium = noise == BG_AUTO_MEDIUM;
        OpenContour m;
        if (medium) m.chestWallRatioLimit = -1.0;  // its own noise level lies below the dark tissue
        const auto p = params_for(SIDE_CHEST_LEFT, VIEW_NO_PECT, noise);
        Mask frame = rectangle(0, 499, 0, 599), mask, *breast = &mask, *pect = nullptr, *second = nullptr;
        EXPECT_EQ(m.GenerateBreastMask(image.get(), p, breast, &frame, nullptr),
                  medium ? Masking::MASK_OK : Masking::MASK_CHEST_WALL);
        EXPECT_EQ(m.backgroundNoiseLevel == 14001, !medium);
        EXPECT_FALSE(runs_of(mask).empty()) << "the masks are written";
        EXPECT_EQ(m.GenerateFullMask(image.get(), p, breast, pect, second, &frame), Masking::MASK_CHEST_WALL);
    }
}

TEST(BreastMask, ReturnsTheContourAsPoints) {
    const auto image = phantom(SIDE_CHEST_LEFT, 150, true);
    std::vector<int> contour(1440), odd(10);
    auto p = params_for(SIDE_CHEST_LEFT);
    p.contourOutput = true;
    p.contour = &contour;
    EXPECT_EQ(breast_of(image.get(), p).status, Masking::MASK_TOO_SMALL) << "the plain writer gives no points: all 0";
    p.maskingSpeed = true;
    Breast b = breast_of(image.get(), p);
    EXPECT_EQ(b.status, Masking::MASK_OK);
    EXPECT_TRUE(runs_of(b.mask).empty());
    EXPECT_NEAR(contour[720], 150, 6);

    p.view = VIEW_PECT;
    p.pectContour = true;
    b = breast_of(image.get(), p);
    EXPECT_EQ(b.status, Masking::MASK_OK);
    EXPECT_FALSE(runs_of(b.mask).empty()) << "with the muscle joined the breast mask is written, too";
    EXPECT_EQ(*std::min_element(contour.begin(), contour.end()), 0);
    p.contour = &odd;
    EXPECT_EQ(breast_of(image.get(), p).status, Masking::MASK_OK);
    EXPECT_TRUE(odd.empty());
    p.contour = &contour;
    p.side = SIDE_UNDEFINED;
    EXPECT_EQ(breast_of(image.get(), p).status, Masking::MASK_BOUNDARY_TRACING) << "no side, no boundary";
    contour.assign(1440, 3);
    p.pectContour = false;
    EXPECT_EQ(breast_of(image.get(), p).status, Masking::MASK_TOO_SMALL) << "the box of the points has the last word";
}

TEST(FullMask, FollowsThePointerRules) {
    const auto image = phantom(SIDE_CHEST_LEFT, 150, true);
    Masking masking;
    Mask frame = whole_field(), full_mask, pect_mask, second_mask;
    Mask *full = &full_mask, *pect = &pect_mask, *second = nullptr;
    const auto mlo = params_for(SIDE_CHEST_LEFT, VIEW_PECT);
    masking.GenerateFullMask(image.get(), mlo, full, pect, second, &frame);
    ASSERT_FALSE(runs_of(pect_mask).empty()) << "the muscle is found";
    EXPECT_EQ(second, &pect_mask) << "it takes the place of the missing second mask";
    const auto joined = runs_of(full_mask);

    full_mask.Clear();
    pect = nullptr, second = nullptr;
    masking.GenerateFullMask(image.get(), mlo, full, pect, second, &frame);
    EXPECT_EQ(runs_of(full_mask), joined) << "found in a scratch mask";
    EXPECT_EQ(pect, nullptr);
    EXPECT_EQ(second, nullptr) << "a scratch mask must not get out";

    pect = &pect_mask, second = &second_mask, full_mask.Clear();
    EXPECT_EQ(masking.GenerateFullMask(image.get(), params_for(SIDE_CHEST_LEFT), full, pect, second, &frame),
              Masking::MASK_NO_MASK)
        << "without full contour the second mask is empty, and checked";
    EXPECT_EQ(pect, nullptr);
    EXPECT_EQ(second, &second_mask);

    Image unusable(*image);
    unusable.SetBits(8, false);
    pect = &pect_mask;
    const auto before = runs_of(full_mask);
    EXPECT_EQ(masking.GenerateFullMask(&unusable, params_for(SIDE_CHEST_LEFT), full, pect, second, &frame),
              Masking::MASK_NO_IMAGE);
    EXPECT_EQ(pect, &pect_mask);
    EXPECT_EQ(runs_of(full_mask), before);
    EXPECT_EQ(masking.GenerateFullMask(image.get(), params_for(SIDE_UNDEFINED, VIEW_PECT), full, pect, second, &frame),
              Masking::MASK_NO_SIDE);
    EXPECT_EQ(pect, nullptr);
    EXPECT_TRUE(runs_of(full_mask).empty()) << "replaced by the breast that was not found";
}

TEST(FullMask, PutsTheOuterContourIntoTheSecondMask) {
    const auto image = phantom(SIDE_CHEST_RIGHT, 150);
    auto p = params_for(SIDE_CHEST_RIGHT);
    p.fullContour = true;
    for (int round = 0; round < 4; ++round) {
        p.maskingSpeed = round % 2 != 0;
        p.singleContour = round > 1;
        Mask frame = whole_field(), full, pect, second = rectangle(1, 2, 3, 4);
        const auto status = NvGenerateFullMask(image.get(), p, &frame, &full, &pect, &second);
        EXPECT_EQ(status, p.singleContour ? Masking::MASK_NO_MASK : Masking::MASK_OK) << "the second mask is checked";
        EXPECT_EQ(second.GetPixelSize(), p.singleContour ? 0.0F : 228.0F);
        EXPECT_EQ(runs_of(second).empty(), p.singleContour);
        EXPECT_TRUE(p.singleContour || second.GetMinX() + 2 < full.GetMinX()) << "outside the breast";
    }
}

TEST(FullMask, FailsThePectoralSearchThatCannotRun) {
    OpenContour m;
    m.chestWallRatioLimit = -1.0;  // a status with masks, though nothing but background is there
    Mask frame = whole_field(), full_mask, pect_mask, *full = &full_mask, *pect = &pect_mask, *second = nullptr;
    auto p = params_for(SIDE_CHEST_LEFT, VIEW_PECT, BG_FIXED_MID);
    Mask even = rectangle(0, 100, 150, 250);  // tissue without an edge: a line is rejected, and the breast stands
    EXPECT_EQ(NvGenerateFullMask(phantom(SIDE_CHEST_LEFT, 150).get(), p, &even, full, pect, nullptr), Masking::MASK_OK);
    EXPECT_FALSE(runs_of(full_mask).empty());
    p.bgNoise = BG_FIXED_HIGH;
    EXPECT_EQ(m.GenerateFullMask(phantom(SIDE_CHEST_LEFT, 0).get(), p, full, pect, second, &frame),
              Masking::MASK_PECT_FAILED);
}

TEST(JoinOfBreastAndMuscle, TakesTheUpperTwoThirdsOfTheMuscle) {
    OpenContour m;
    Mask breast = rectangle(10, 20, 0, 30), pect = rectangle(0, 5, 0, 30), joined, *out = &joined;
    joined.AddSegment(50, 1, 1);
    EXPECT_TRUE(m.generate_full_mask(&breast, &pect, out));
    std::vector<RowRun> expected;
    for (unsigned y = 0; y < 30; ++y) {
        if (y < 20) expected.push_back({y, 0, 5});
        expected.push_back({y, 10, 20});
    }
    expected.push_back({50, 1, 2});
    EXPECT_EQ(runs_of(joined), expected) << "the last row is left out, what was there stays";
    EXPECT_EQ(joined.GetTargetPixelSize(), 228.0F);
    EXPECT_TRUE(m.generate_full_mask(nullptr, &pect, out));
    EXPECT_EQ(out, &pect);
    EXPECT_TRUE(m.generate_full_mask(&breast, nullptr, out));
    EXPECT_EQ(out, &breast);
    EXPECT_FALSE(m.generate_full_mask(nullptr, nullptr, out));
    EXPECT_TRUE(m.generate_full_mask(&breast, &pect, out)) << "into the breast itself";
    EXPECT_EQ(runs_of(breast)[0], (RowRun{0, 0, 5}));
}

}  // namespace
}  // namespace Norvane::Tests
