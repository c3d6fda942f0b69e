// SPDX-License-Identifier: Apache-2.0
#include "support/open_contour.h"
#include "support/random_cases.h"

namespace Norvane::Tests {
namespace {

using enum Masking::MASK_STATUS;

/// A half disc of tissue on a dark noisy background, and with a muscle in the upper corner if asked; 300 x 400.
std::unique_ptr<Image> phantom(double radius, bool muscle = false, bool right = false) {
    Random random(9);
    return grey_image(300, 400, [&](unsigned column, unsigned y) {
        const unsigned x = right ? 299 - column : column, noise = random.below(600);
        if (muscle && x + y / 2 < 90) return 52000 + noise;
        return (std::hypot(x, y - 200.0) < radius ? 33000U : 2000U) + noise;
    });
}
Mask whole_field() { return rectangle(0, 299, 0, 399); }

struct Breast {
    Masking::MASK_STATUS status;
    Mask mask;
    std::array<int, 4> box{-7, -7, -7, -7};

    Breast(Image& image, const Masking::Params& p) {
        Mask frame = whole_field();
        status = NvGenerateBreastMask(&image, p, &frame, &mask, box.data());
    }
};

TEST(BreastMask, FollowsTheDiscOnBothSidesInBothSpeeds) {
    for (const bool right : {false, true})
        for (const bool fast : {false, true}) {
            auto p = params_for(right ? SIDE_CHEST_RIGHT : SIDE_CHEST_LEFT);
            p.maskingSpeed = fast;
            const Breast b(*phantom(150, false, right), p);
            EXPECT_EQ(b.status, MASK_OK);
            EXPECT_THAT(b.box, testing::ElementsAre(0, 299, 0, 399));
            const Bitmap found = bitmap_of(b.mask, 300, 400);
            int wrong = 0;
            for (unsigned y = 0; y < 400; ++y)
                for (unsigned x = 0; x < 300; ++x)
                    wrong += found.at(right ? 299 - x : x, y) != (std::hypot(x, y - 200.0) < 150) ? 1 : 0;
            constexpr int kWrong[] = {1023, 660, 712, 659};  // of 35000
            EXPECT_EQ(wrong, kWrong[2 * right + fast]) << (right ? "right" : "left") << (fast ? ", fast" : "");
        }
}

TEST(BreastMask, IsJudgedByItsShape) {
    const auto check = [](const char* why, BG_NOISE noise, double radius, int expected) {
        const Breast b(*phantom(radius), params_for(SIDE_CHEST_LEFT, VIEW_NO_PECT, noise));
        EXPECT_EQ(b.status, expected) << why;
        EXPECT_EQ(b.box[1], 299) << why << ": the box is filled";
    };
    check("a pea", BG_AUTO, 34, MASK_TOO_SMALL);
    check("a larger one", BG_AUTO, 35, MASK_OK);
    check("nearly the whole image", BG_AUTO, 266, MASK_OK);
    check("no outline", BG_FIXED_MID, 268, MASK_BAD_SHAPE);
}

TEST(BreastMask, RefusesMissingObjects) {
    const auto image = phantom(150);
    Image unusable, *here = image.get();
    const auto given = params_for(SIDE_CHEST_LEFT, VIEW_NO_PECT, BG_GIVEN_LEVEL);
    Mask mask, frame = rectangle(5, 150, 3, 103);
    int box[4] = {-7};
    EXPECT_EQ(NvGenerateBreastMask(here, params_for(-1), &frame, nullptr, box), MASK_NO_MASK);
    EXPECT_THAT(box, testing::ElementsAre(5, 150, 3, 103)) << "the frame is known all the same";
    box[0] = -7;
    EXPECT_EQ(NvGenerateBreastMask(here, given, nullptr, nullptr, box), MASK_BOUNDARY_TRACING);
    EXPECT_EQ(NvGenerateBreastMask(&unusable, given, nullptr, &mask, box), MASK_NO_IMAGE);
    EXPECT_EQ(box[0], -7);
    EXPECT_EQ(NvGenerateBreastMask(here, params_for(1), nullptr, &mask, nullptr), MASK_OK);
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
        EXPECT_EQ(m.GenerateBreastMask(image.get(), p, breast, &frame, nullptr), medium ? MASK_OK : MASK_CHEST_WALL);
        EXPECT_EQ(m.backgroundNoiseLevel == 14001, !medium);
        EXPECT_FALSE(runs_of(mask).empty()) << "the masks are written";
        EXPECT_EQ(m.GenerateFullMask(image.get(), p, breast, pect, second, &frame), MASK_CHEST_WALL);
    }
}

TEST(BreastMask, ReturnsTheContourAsPoints) {
    const auto image = phantom(150, true);
    const auto check = [&](const char* why, int side, bool fast, bool muscle, Points& contour, int expected) {
        auto p = params_for(side, muscle ? VIEW_PECT : VIEW_NO_PECT);
        p.contourOutput = true;
        p.contour = &contour;
        p.maskingSpeed = fast;
        p.pectContour = muscle;
        const Breast b(*image, p);
        EXPECT_EQ(b.status, expected) << why;
        EXPECT_EQ(runs_of(b.mask).empty(), !muscle || side < 0) << why << ": the mask";
    };
    Points points(1440), other(10);
    const int* const storage = points.data();
    check("no points from the plain writer: all 0", 1, false, false, points, MASK_TOO_SMALL);
    check("points instead of the mask", 1, true, false, points, MASK_OK);
    EXPECT_EQ(points.data(), storage) << "hosts may look at it by address";
    EXPECT_THAT((Points{points[200], points[201], points[720], points[721]}), testing::ElementsAre(64, 337, 151, 200));
    check("with the muscle joined the mask, too", 1, true, true, points, MASK_OK);
    EXPECT_EQ(*std::ranges::min_element(points), 0);
    check("a list of another size", 1, true, true, other, MASK_OK);
    EXPECT_TRUE(other.empty());
    check("no side, no boundary", -1, true, true, points, MASK_BOUNDARY_TRACING);
    points.assign(1440, 300);
    check("the box of the points has the last word", -1, true, false, points, MASK_TOO_SMALL);
}

TEST(FullMask, FollowsThePointerRules) {
    const auto image = phantom(150, true);
    Image unusable(FORMAT_UNSIGNED, 16, 300, 400, false);
    unusable.SetPixelSize(228.0F);
    Mask frame = whole_field(), full_mask, pect_mask, second_mask, *full = &full_mask, *pect, *second;
    const auto generate = [&](Image& from, int side, int view, Mask* given_pect, Mask* given_second) {
        pect = given_pect, second = given_second;
        return Masking().GenerateFullMask(&from, params_for(side, view), full, pect, second, &frame);
    };
    generate(*image, SIDE_CHEST_LEFT, VIEW_PECT, &pect_mask, nullptr);
    EXPECT_EQ(second, &pect_mask) << "the muscle's takes the place of the missing second mask";
    const auto joined = runs_of(full_mask);
    full_mask.Clear();
    generate(*image, SIDE_CHEST_LEFT, VIEW_PECT, nullptr, nullptr);
    EXPECT_EQ(runs_of(full_mask), joined) << "found in a scratch mask, which must not get out";
    EXPECT_TRUE(pect == nullptr && second == nullptr);

    full_mask.Clear();
    EXPECT_EQ(generate(*image, SIDE_CHEST_LEFT, VIEW_NO_PECT, &pect_mask, &second_mask), MASK_NO_MASK)
        << "an empty second mask is checked";
    EXPECT_EQ(pect, nullptr);
    EXPECT_NE(runs_of(full_mask), joined);
    EXPECT_EQ(generate(unusable, SIDE_CHEST_LEFT, VIEW_NO_PECT, &pect_mask, second), MASK_NO_IMAGE);
    EXPECT_EQ(pect, &pect_mask);
    EXPECT_FALSE(runs_of(full_mask).empty());
    EXPECT_EQ(generate(*image, SIDE_UNDEFINED, VIEW_PECT, &pect_mask, second), MASK_NO_SIDE);
    EXPECT_EQ(pect, nullptr);
    EXPECT_TRUE(runs_of(full_mask).empty()) << "replaced by the breast that was not found";
}

TEST(FullMask, PutsTheOuterContourIntoTheSecondMask) {
    const auto image = phantom(150, false, true);
    auto p = params_for(SIDE_CHEST_RIGHT);
    p.fullContour = true;
    for (int round = 0; round < 4; ++round) {
        p.maskingSpeed = round % 2 != 0;
        p.singleContour = round > 1;
        Mask frame = whole_field(), full, pect, second = rectangle(1, 2, 3, 4);
        const auto status = NvGenerateFullMask(image.get(), p, &frame, &full, &pect, &second);
        EXPECT_EQ(status, p.singleContour ? MASK_NO_MASK : MASK_OK) << "the second mask is checked";
        EXPECT_EQ(second.GetPixelSize(), p.singleContour ? 0.0F : 228.0F);
        EXPECT_EQ(runs_of(second).empty(), p.singleContour);
        EXPECT_TRUE(p.singleContour || second.GetMinX() + 2 < full.GetMinX()) << "outside the breast";
    }
}

TEST(FullMask, FailsThePectoralSearchThatCannotRun) {
    OpenContour m;
    m.chestWallRatioLimit = -1.0;  // a status with masks, though nothing but background is there
    Mask frame = whole_field(), full_mask, pect_mask, *full = &full_mask, *pect = &pect_mask, *second = nullptr;
    Mask even = rectangle(0, 100, 150, 250);  // tissue without an edge: a line is rejected, and the breast stands
    EXPECT_EQ(
        NvGenerateFullMask(phantom(150).get(), params_for(1, VIEW_PECT, BG_FIXED_MID), &even, full, pect, nullptr),
        MASK_OK);
    EXPECT_FALSE(runs_of(full_mask).empty());
    EXPECT_EQ(m.GenerateFullMask(phantom(0).get(), params_for(1, VIEW_PECT, BG_FIXED_HIGH), full, pect, second, &frame),
              MASK_PECT_FAILED);
}

TEST(JoinOfBreastAndMuscle, TakesTheUpperTwoThirdsOfTheMuscle) {
    OpenContour m;
    Mask breast = rectangle(10, 20, 0, 30), pect = rectangle(0, 5, 0, 30);
    Mask joined = mask_of({{50, 1, 2}}, 0.0F), expected = rectangle(10, 20, 0, 29), *out = &joined;
    for (unsigned y = 0; y < 20; ++y) expected.AddSegment(y, 0, 5);
    expected.AddSegment(50, 1, 1);
    EXPECT_TRUE(m.generate_full_mask(&breast, &pect, out));
    EXPECT_EQ(runs_of(joined), runs_of(expected)) << "the last row is left out, what was there stays";
    EXPECT_EQ(joined.GetTargetPixelSize(), 228.0F);
    EXPECT_TRUE(m.generate_full_mask(nullptr, &pect, out) && out == &pect);
    EXPECT_TRUE(m.generate_full_mask(&breast, nullptr, out) && out == &breast);
    EXPECT_FALSE(m.generate_full_mask(nullptr, nullptr, out));
    EXPECT_TRUE(m.generate_full_mask(&breast, &pect, out)) << "into the breast itself";
    EXPECT_EQ(runs_of(breast)[0], (RowRun{0, 0, 5}));
}

/// The masks of NvGenerateAllMasks() by one call after another.
AllMasks one_by_one(Image* image, const Masking::Params& asked) {
    Masking::Params p = asked;
    p.fullContour = true;
    p.singleContour = p.contourOutput = p.pectContour = false;
    AllMasks all;
    Mask *frame = &all.frame, muscle, unused;
    all.frameStatus = NvGenerateFrameMask(image, p, frame);
    all.fullStatus = NvGenerateFullMask(image, p, frame, &all.full, &muscle, &all.outer);
    if (p.bgNoise == BG_GIVEN_LEVEL) {
        Masking::Params without_muscle = p;
        without_muscle.view = VIEW_NO_PECT;
        without_muscle.checkCutTissue = false;
        all.breastStatus = NvGenerateFullMask(image, without_muscle, frame, &all.breast, nullptr, nullptr);
    } else {
        all.breastStatus = NvGenerateBreastMask(image, p, frame, &all.breast, nullptr);
    }
    all.pectStatus = NvGeneratePectMask(image, p, frame, &all.breast, &all.pect);
    if (asked.contourOutput) all.contourStatus = NvGenerateBreastMask(image, asked, frame, &unused, nullptr);
    return all;
}

TEST(AllMasks, EqualOneCallAfterAnother) {
    Random random(21);
    std::map<int, int> statuses;
    for (int round = 0; round < 400; ++round) {
        const bool on_left = random.chance(2);
        const auto image = random_image(random, on_left);
        std::vector<int> contour, expected_contour;
        Masking::Params params = random_params(random, on_left, contour);
        if (random.chance(20)) params.side = static_cast<IMAGE_SIDE>(7);
        if (random.chance(20)) params.view = VIEW_UNDEFINED;
        if (random.chance(20)) image->SetPixelSize(300.0F);
        AllMasks all;
        all.breast = rectangle(1, 2, 3, 4);  // results of an earlier call
        NvGenerateAllMasks(image.get(), params, all);
        expected_contour.resize(contour.size());
        if (params.contour != nullptr) params.contour = &expected_contour;
        const AllMasks expected = one_by_one(image.get(), params);
        for (const auto mask :
             {&AllMasks::frame, &AllMasks::breast, &AllMasks::pect, &AllMasks::full, &AllMasks::outer})
            EXPECT_EQ(runs_of(expected.*mask), runs_of(all.*mask)) << round;
        for (const auto status : {&AllMasks::frameStatus, &AllMasks::breastStatus, &AllMasks::pectStatus,
                                  &AllMasks::fullStatus, &AllMasks::contourStatus}) {
            EXPECT_EQ(expected.*status, all.*status) << round;
            ++statuses[all.*status];
        }
        EXPECT_EQ(expected_contour, contour) << round;
    }
    EXPECT_GT(statuses.size(), 10U) << "the images reach most statuses";
}

}  // namespace
}  // namespace Norvane::Tests
