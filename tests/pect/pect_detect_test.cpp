// SPDX-License-Identifier: Apache-2.0
#include "support/builders.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

namespace Norvane::Tests {
namespace {

using Status = PectDetect::PECT_STATUS;
constexpr unsigned kWidth = 300, kHeight = 500;

/// A bright wedge in the upper corner at the chest wall over darker tissue. The line meets the top row at `at_top`
/// columns from the wall and the wall at row 300.
std::unique_ptr<Image> wedge(IMAGE_SIDE side, unsigned at_top, unsigned contrast = 20000) {
    Random random(77);
    return grey_image(kWidth, kHeight, [&, side](unsigned x, unsigned y) {
        const unsigned from_wall = side == SIDE_CHEST_LEFT ? x : kWidth - 1 - x;
        const double line = at_top * (1.0 - y / 300.0);
        return 20000 + random.below(400) + (from_wall < line ? contrast : 0U);
    });
}

TEST(PectDetect, FindsTheWedgeOnBothSides) {
    for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
        const auto image = wedge(side, 150);
        Mask breast = rectangle(20, 270, 10, 480), frame = rectangle(4, 295, 5, 490), pect, tissue;
        PectDetect detector;
        ASSERT_EQ(Status::PECT_PASS, detector.PectSegGenerate(image.get(), &breast, &frame, side, VIEW_PECT, &pect));
        const Bitmap found = bitmap_of(pect, kWidth, kHeight);
        unsigned wrong = 0, area = 0;
        for (unsigned y = 5; y < 295; ++y) {
            for (unsigned from_wall = 4; from_wall < 290; ++from_wall) {
                const bool is_muscle = from_wall < 150 * (1.0 - y / 300.0);
                wrong += found.at(side == SIDE_CHEST_LEFT ? from_wall : kWidth - 1 - from_wall, y) != is_muscle;
                area += is_muscle;
            }
        }
        EXPECT_LT(wrong, area / 20) << side;

        ASSERT_EQ(Status::PECT_PASS,
                  detector.TissueSegGenerate(image.get(), &breast, &frame, side, VIEW_PECT, &tissue));
        const Bitmap rest = bitmap_of(tissue, kWidth, kHeight), whole = bitmap_of(breast, kWidth, kHeight);
        for (unsigned y = 0; y < kHeight; y += 7)
            for (unsigned x = 0; x < kWidth; ++x) ASSERT_EQ(whole.at(x, y) && !found.at(x, y), rest.at(x, y));
    }
}

TEST(PectDetect, ADarkWedgeIsRejectedAndStillWritten) {
    const auto image = grey_image(kWidth, kHeight, [](unsigned x, unsigned y) {
        return 20000U + (x < 60.0 * (1.0 - y / 300.0) ? 0U : 50U * ((x * 7 + y * 3) % 11));
    });
    Mask breast = rectangle(20, 270, 10, 480), frame = rectangle(4, 295, 5, 490), pect;
    PectDetect detector;
    EXPECT_EQ(Status::PECT_FAIL,
              detector.PectSegGenerate(image.get(), &breast, &frame, SIDE_CHEST_LEFT, VIEW_UNDEFINED, &pect));
    EXPECT_FALSE(runs_of(pect).empty());
}

TEST(PectDetect, AnswersInTheOrderOfItsChecks) {
    const auto good = wedge(SIDE_CHEST_LEFT, 150);
    Image no_buffer(FORMAT_UNSIGNED, 16U, 300, 500, false);
    no_buffer.SetPixelSize(228.0F);
    Mask breast = rectangle(20, 270, 10, 480), frame = rectangle(4, 295, 5, 490), column = rectangle(20, 20, 10, 480);
    Mask empty, unsized = rectangle(20, 270, 10, 480, 0.0F), elsewhere = rectangle(1000, 1200, 1000, 1200);
    struct Case {
        const char* why;
        Image* image;
        float pixel_size;
        Mask *breast, *frame;
        IMAGE_SIDE side;
        IMAGE_VIEW view;
        Status expected;
    };
    const std::vector<Case> cases{
        {"view before all", nullptr, 0, nullptr, nullptr, SIDE_UNDEFINED, VIEW_NO_PECT, Status::PECT_NOT_APPLICABLE},
        {"side", nullptr, 0, nullptr, nullptr, SIDE_UNDEFINED, VIEW_PECT, Status::PECT_NO_SIDE},
        {"image", nullptr, 0, nullptr, nullptr, SIDE_CHEST_LEFT, VIEW_PECT, Status::PECT_NO_IMAGE},
        {"10 % coarser", good.get(), 250.8F, &breast, &frame, SIDE_CHEST_LEFT, VIEW_PECT, Status::PECT_BAD_PIXEL_SIZE},
        {"10 % finer", good.get(), 205.2F, &breast, &frame, SIDE_CHEST_LEFT, VIEW_PECT, Status::PECT_BAD_PIXEL_SIZE},
        {"just inside", good.get(), 250.7F, nullptr, &frame, SIDE_CHEST_LEFT, VIEW_PECT, Status::PECT_BAD_MASK},
        {"not a number", good.get(), NAN, &breast, &frame, SIDE_CHEST_LEFT, VIEW_PECT, Status::PECT_BAD_PIXEL_SIZE},
        {"one column", good.get(), 228.0F, &column, &frame, SIDE_CHEST_LEFT, VIEW_PECT, Status::PECT_BAD_MASK},
        {"empty frame", good.get(), 228.0F, &breast, &empty, SIDE_CHEST_LEFT, VIEW_PECT, Status::PECT_BAD_MASK},
        {"no pixel size", good.get(), 228.0F, &unsized, &frame, SIDE_CHEST_LEFT, VIEW_PECT, Status::PECT_BAD_MASK},
        {"masks before buffer", &no_buffer, 228.0F, &breast, &empty, SIDE_CHEST_LEFT, VIEW_PECT, Status::PECT_BAD_MASK},
        {"no buffer", &no_buffer, 228.0F, &breast, &frame, SIDE_CHEST_LEFT, VIEW_PECT, Status::PECT_NO_IMAGE},
        {"empty bound mask", good.get(), 228.0F, &breast, &elsewhere, SIDE_CHEST_LEFT, VIEW_PECT,
         Status::PECT_BAD_MASK},
        {"outside the image", good.get(), 228.0F, &elsewhere, &elsewhere, SIDE_CHEST_RIGHT, VIEW_PECT,
         Status::PECT_BAD_MASK},
    };
    for (const Case& c : cases) {
        if (c.image != nullptr) c.image->SetPixelSize(c.pixel_size);
        Mask pect;
        PectDetect detector;
        EXPECT_EQ(c.expected, detector.PectSegGenerate(c.image, c.breast, c.frame, c.side, c.view, &pect)) << c.why;
        EXPECT_TRUE(runs_of(pect).empty()) << c.why;
    }
    PectDetect detector;
    EXPECT_EQ(Status::PECT_PASS,
              detector.PectSegGenerate(good.get(), &breast, &frame, SIDE_CHEST_LEFT, VIEW_PECT, nullptr));
}

TEST(BoundMask, ReachesToTheFrameAtTheWall) {
    OpenPectDetect detector;
    Mask breast = mask_of({{3, 10, 20}, {4, 8, 24}, {5, 9, 30}});
    const Mask frame = mask_of({{1, 2, 5}, {1, 7, 40}, {2, 31, 50}, {3, 3, 8}, {4, 30, 35}, {5, 0, 60}, {6, 0, 60}});
    const auto bound_of = [&](Mask* f, int side) {
        const std::unique_ptr<Mask> bound(detector.get_bound_mask(&breast, f, static_cast<IMAGE_SIDE>(side)));
        return runs_of(*bound);
    };
    Mask empty, copy = frame;
    copy.SetTargetPixelSize(400.0F);
    EXPECT_EQ(runs_of(rectangle(8, 30, 3, 5)), bound_of(nullptr, 1));
    EXPECT_EQ(runs_of(rectangle(8, 30, 3, 5)), bound_of(&empty, 0));
    // On the left a frame that begins at the breast's last column still gives a pixel; on the right that is no row.
    EXPECT_EQ((std::vector<RowRun>{{1, 2, 30}, {3, 3, 30}, {4, 30, 30}}), bound_of(&copy, 1));
    EXPECT_EQ((std::vector<RowRun>{{1, 8, 40}, {2, 8, 50}, {4, 8, 35}}), bound_of(&copy, 0));
    EXPECT_EQ(228.0F, copy.GetTargetPixelSize());
    breast.AddSegment(0xFFFFFFF0, 8, 0);  // a breast that reaches far below the frame costs no time
    EXPECT_EQ((std::vector<RowRun>{{1, 8, 40}, {2, 8, 50}, {4, 8, 35}, {5, 8, 60}, {6, 8, 60}}), bound_of(&copy, 0));
    Mask coarse = rectangle(0, 20, 2, 2, 684.0F);  // row 2 of it covers rows 5 .. 7 of the breast's grid
    EXPECT_EQ((std::vector<RowRun>{{5, 8, 60}, {6, 8, 60}, {7, 8, 60}}), bound_of(&coarse, 0));
    EXPECT_EQ(nullptr, detector.get_bound_mask(&empty, &copy, SIDE_CHEST_LEFT));
    EXPECT_EQ(nullptr, detector.get_bound_mask(nullptr, &copy, SIDE_CHEST_LEFT));
}

TEST(Roi, CoversTheUpperPartOfTheBoundMask) {
    OpenPectDetect detector;
    const auto image = grey_image(60, 80, [](unsigned x, unsigned y) { return 1000 * y + x; });
    image->SetOffX(5);
    image->SetOffY(7);
    // Rows 10 .. 30: 0.4 of 20 rows is 8, so rows 10 .. 17; what lies below does not widen the region.
    Mask bound = mask_of({{10, 12, 40}, {14, 9, 33}, {17, 12, 50}, {18, 2, 64}, {30, 12, 20}});
    struct Case {
        IMAGE_SIDE side;
        unsigned left, width;
    };
    for (const Case& c : {Case{SIDE_CHEST_LEFT, 5, 45}, Case{SIDE_CHEST_RIGHT, 9, 55}}) {
        Image* roi = nullptr;
        ASSERT_TRUE(detector.get_roi(image.get(), &bound, c.side, roi));
        const std::unique_ptr<Image> owned(roi);
        EXPECT_EQ(c.left, roi->GetOffX());
        EXPECT_EQ(10U, roi->GetOffY());
        EXPECT_EQ(c.width, roi->GetWidth());
        EXPECT_EQ(8U, roi->GetHeight());
        EXPECT_EQ(228.0F, roi->GetPixelSize());
        EXPECT_EQ(3000U + c.left - 5, grey(*roi, 0, 0));
    }
    Image* roi = image.get();
    Mask empty, below = rectangle(0, 10, 500, 600);
    EXPECT_FALSE(detector.get_roi(image.get(), &empty, SIDE_CHEST_LEFT, roi));
    EXPECT_FALSE(detector.get_roi(image.get(), &below, SIDE_CHEST_LEFT, roi));
    EXPECT_EQ(nullptr, roi);
}

}  // namespace
}  // namespace Norvane::Tests
