// SPDX-License-Identifier: Apache-2.0
#include "muscle/muscle_region.h"
#include "support/wedge.h"

namespace Norvane::Tests {
namespace {

using Status = PectDetect::PECT_STATUS;
using enum PectDetect::PECT_STATUS;

TEST(PectDetect, FindsTheWedgeOnBothSides) {
    for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
        const auto image = wedge(side);
        Mask breast = wedge_breast(), frame = wedge_frame(), pect, tissue;
        PectDetect d;
        ASSERT_EQ(PECT_PASS, d.PectSegGenerate(image.get(), &breast, &frame, side, VIEW_PECT, &pect));
        ASSERT_EQ(PECT_PASS, d.TissueSegGenerate(image.get(), &breast, &frame, side, VIEW_PECT, &tissue));
        const Bitmap found = bitmap_of(pect, 300, 500), rest = bitmap_of(tissue, 300, 500);
        unsigned wrong = 0;
        for (unsigned y = 5; y < 490; ++y) {
            for (unsigned x = 4; x < 290; ++x) {
                const unsigned column = side == SIDE_CHEST_LEFT ? x : 299 - x;
                wrong += found.at(column, y) != in_wedge(x, y);
                ASSERT_EQ(breast.HitTest(column, y) && !found.at(column, y), rest.at(column, y)) << x << ", " << y;
            }
        }
        EXPECT_EQ(wrong, side == SIDE_CHEST_LEFT ? 895U : 259U) << "of 22000";
    }
}

TEST(PectDetect, AnswersInTheOrderOfItsChecks) {
    const auto good = wedge(SIDE_CHEST_LEFT);
    const auto dark = grey_image(300, 500, [](unsigned x, unsigned y) {
        return 20000U + (x < 60.0 * (1.0 - y / 300.0) ? 0U : 50U * ((x * 7 + y * 3) % 11));
    });
    Image no_buffer(FORMAT_UNSIGNED, 16U, 300, 500, false), *none = nullptr, *image = good.get();
    Mask breast = wedge_breast(), frame = wedge_frame(), column = rectangle(20, 20, 10, 480), empty;
    Mask unsized = rectangle(20, 270, 10, 480, 0.0F), elsewhere = rectangle(1000, 1200, 1000, 1200);
    PectDetect detector;
    const auto check = [&](const char* why, Image* at, float size, Mask* in, Mask* field, int side, Status expected) {
        if (at != nullptr) at->SetPixelSize(size);
        Mask pect;
        const auto view = static_cast<IMAGE_VIEW>(at == dark.get() ? VIEW_UNDEFINED : VIEW_PECT);
        const Status status = detector.PectSegGenerate(at, in, field, static_cast<IMAGE_SIDE>(side), view, &pect);
        EXPECT_EQ(expected, status) << why;
        EXPECT_EQ(expected != PECT_FAIL, runs_of(pect).empty()) << why;
    };
    check("side", none, 0, nullptr, nullptr, -1, PECT_NO_SIDE);
    check("image", none, 0, nullptr, nullptr, 1, PECT_NO_IMAGE);
    check("10 % coarser", image, 250.8F, &breast, &frame, 1, PECT_BAD_PIXEL_SIZE);
    check("10 % finer", image, 205.2F, &breast, &frame, 1, PECT_BAD_PIXEL_SIZE);
    check("just inside", image, 250.7F, nullptr, &frame, 1, PECT_BAD_MASK);
    check("not a number", image, NAN, &breast, &frame, 1, PECT_BAD_PIXEL_SIZE);
    check("one column", image, 228.0F, &column, &frame, 1, PECT_BAD_MASK);
    check("no pixel size", image, 228.0F, &unsized, &frame, 1, PECT_BAD_MASK);
    check("masks before buffer", &no_buffer, 228.0F, &breast, &empty, 1, PECT_BAD_MASK);
    check("no buffer", &no_buffer, 228.0F, &breast, &frame, 1, PECT_NO_IMAGE);
    check("empty bound mask", image, 228.0F, &breast, &elsewhere, 1, PECT_BAD_MASK);
    check("outside the image", image, 228.0F, &elsewhere, &elsewhere, 0, PECT_BAD_MASK);
    check("rejected, still written", dark.get(), 228.0F, &breast, &frame, 1, PECT_FAIL);
    EXPECT_EQ(PECT_NOT_APPLICABLE,
              detector.PectSegGenerate(none, nullptr, nullptr, SIDE_UNDEFINED, VIEW_NO_PECT, nullptr));
    EXPECT_EQ(PECT_PASS, detector.PectSegGenerate(image, &breast, &frame, SIDE_CHEST_LEFT, VIEW_PECT, nullptr));
}

TEST(BoundMask, ReachesToTheFrameAtTheWall) {
    Mask breast = mask_of({{3, 10, 20}, {4, 8, 24}, {5, 9, 30}});
    const Mask frame = mask_of({{1, 2, 5}, {1, 7, 40}, {2, 31, 50}, {3, 3, 8}, {4, 30, 35}, {5, 0, 60}, {6, 0, 60}});
    const auto bound_of = [&](Mask* f, int side) {
        return runs_of(*bound_mask(&breast, f, static_cast<IMAGE_SIDE>(side)));
    };
    Mask empty, copy = frame;
    copy.SetTargetPixelSize(400.0F);
    EXPECT_EQ(runs_of(rectangle(8, 30, 3, 5)), bound_of(nullptr, 1));
    EXPECT_EQ(runs_of(rectangle(8, 30, 3, 5)), bound_of(&empty, 0));
    // On the left a frame that begins at the breast's last column still gives a pixel; on the right that is no row.
    EXPECT_EQ((Runs{{1, 2, 30}, {3, 3, 30}, {4, 30, 30}}), bound_of(&copy, 1));
    EXPECT_EQ((Runs{{1, 8, 40}, {2, 8, 50}, {4, 8, 35}}), bound_of(&copy, 0));
    EXPECT_EQ(228.0F, copy.GetTargetPixelSize());
    breast.AddSegment(0xFFFFFFF0, 8, 0);  // a breast that reaches far below the frame costs no time
    EXPECT_EQ((Runs{{1, 8, 40}, {2, 8, 50}, {4, 8, 35}, {5, 8, 60}, {6, 8, 60}}), bound_of(&copy, 0));
    Mask coarse = rectangle(0, 20, 2, 2, 684.0F);  // row 2 of it covers rows 5 .. 7 of the breast's grid
    EXPECT_EQ((Runs{{5, 8, 60}, {6, 8, 60}, {7, 8, 60}}), bound_of(&coarse, 0));
    EXPECT_EQ(nullptr, bound_mask(&empty, &copy, SIDE_CHEST_LEFT));
    EXPECT_EQ(nullptr, bound_mask(nullptr, &copy, SIDE_CHEST_LEFT));
}

TEST(Roi, CoversTheUpperPartOfTheBoundMask) {
    const auto image = grey_image(60, 80, [](unsigned x, unsigned y) { return 1000 * y + x; });
    image->SetOffX(5);
    image->SetOffY(7);
    // Rows 10 .. 30: 0.4 of 20 rows is 8, so rows 10 .. 17; what lies below does not widen the region.
    Mask bound = mask_of({{10, 12, 40}, {14, 9, 33}, {17, 12, 50}, {18, 2, 64}, {30, 12, 20}});
    Mask empty, below = rectangle(0, 10, 500, 600);
    for (const auto& [side, left, width] :
         {std::tuple(SIDE_CHEST_LEFT, 5U, 45U), std::tuple(SIDE_CHEST_RIGHT, 9U, 55U)}) {
        const MuscleRegion region = muscle_region(image.get(), &bound, side, 0.4F);
        ASSERT_TRUE(region.is_filled);
        const Image* roi = region.image.get();
        EXPECT_EQ((std::vector{left, 10U, width, 8U, 3000 + left - 5}),
                  (std::vector{roi->GetOffX(), roi->GetOffY(), roi->GetWidth(), roi->GetHeight(), grey(*roi, 0, 0)}));
        EXPECT_EQ(228.0F, roi->GetPixelSize());
        for (Mask* outside : {&empty, &below})
            EXPECT_EQ(nullptr, muscle_region(image.get(), outside, side, 0.4F).image);
    }
}

}  // namespace
}  // namespace Norvane::Tests
