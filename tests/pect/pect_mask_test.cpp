// SPDX-License-Identifier: Apache-2.0
#include "support/builders.h"

#include <gtest/gtest.h>

#include <memory>

namespace Norvane::Tests {
namespace {

using Status = Masking::MASK_STATUS;

/// Wedge of `contrast` in the upper left corner; 300 x 500.
std::unique_ptr<Image> wedge(unsigned contrast) {
    Random random(77);
    return grey_image(300, 500, [&](unsigned x, unsigned y) {
        return 20000 + random.below(400) + (x < 150 * (1.0 - y / 300.0) ? contrast : 0U);
    });
}

TEST(GeneratePectMask, MapsTheDetectorsAnswers) {
    const auto good = wedge(20000), flat = wedge(0), fine = wedge(20000);
    fine->SetPixelSize(200.0F);
    Image no_buffer(FORMAT_UNSIGNED, 16U, 300, 500, false);
    no_buffer.SetPixelSize(228.0F);
    Mask breast = rectangle(20, 270, 10, 480);
    const Mask frame = rectangle(4, 295, 5, 490);
    struct Case {
        const char* why;
        Image* image;
        Mask* breast;
        bool has_frame;
        IMAGE_SIDE side;
        IMAGE_VIEW view;
        Status expected;
    };
    const std::vector<Case> cases{
        {"found", good.get(), &breast, true, SIDE_CHEST_LEFT, VIEW_PECT, Status::MASK_OK},
        {"no contrast", flat.get(), &breast, true, SIDE_CHEST_LEFT, VIEW_PECT, Status::MASK_PECT_REJECTED},
        {"view", good.get(), &breast, true, SIDE_CHEST_LEFT, VIEW_NO_PECT, Status::MASK_PECT_NOT_APPLICABLE},
        {"side, with a frame", good.get(), &breast, true, SIDE_UNDEFINED, VIEW_PECT, Status::MASK_PECT_FAILED},
        {"side, without", good.get(), &breast, false, SIDE_UNDEFINED, VIEW_PECT, Status::MASK_NO_MASK},
        {"no image, with a frame", nullptr, &breast, true, SIDE_CHEST_LEFT, VIEW_PECT, Status::MASK_PECT_FAILED},
        {"no image, without", nullptr, &breast, false, SIDE_CHEST_LEFT, VIEW_PECT, Status::MASK_NO_MASK},
        {"pixel size, with a frame", fine.get(), &breast, true, SIDE_CHEST_LEFT, VIEW_PECT, Status::MASK_PECT_FAILED},
        {"pixel size, without", fine.get(), &breast, false, SIDE_CHEST_LEFT, VIEW_PECT, Status::MASK_NO_MASK},
        {"no breast", good.get(), nullptr, true, SIDE_CHEST_LEFT, VIEW_PECT, Status::MASK_PECT_FAILED},
        {"no buffer", &no_buffer, &breast, true, SIDE_CHEST_LEFT, VIEW_PECT, Status::MASK_PECT_FAILED},
    };
    for (const Case& c : cases) {
        Mask pect, given = frame, *field = c.has_frame ? &given : nullptr, *out = &pect, *in = c.breast;
        Masking::Params params;
        params.side = c.side;
        params.view = c.view;
        EXPECT_EQ(c.expected, NvGeneratePectMask(c.image, params, field, in, out)) << c.why;
    }
    // An empty frame mask of the caller's is made first, whatever the view.
    Mask pect, field, *field_at = &field, *out = &pect, *in = &breast;
    Masking::Params params;
    params.side = SIDE_CHEST_LEFT;
    params.view = VIEW_NO_PECT;
    EXPECT_EQ(Status::MASK_PECT_NOT_APPLICABLE, NvGeneratePectMask(good.get(), params, field_at, in, out));
    EXPECT_FALSE(runs_of(field).empty());
}

/// Bright muscle of 30 columns at the wall, 200 x 120.
std::unique_ptr<Image> muscle(IMAGE_SIDE side) {
    return grey_image(200, 120, [side](unsigned x, unsigned y) {
        const unsigned from_wall = side == SIDE_CHEST_LEFT ? x : 199 - x;
        if (y == 70 && from_wall == 20) return 60000U;  // one row with frame over the muscle
        return from_wall < 30 ? 40000U : 5000U;
    });
}

TEST(ThresholdEstimate, MirrorsAndIsSmoothed) {
    for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
        OpenMasking masking;
        masking.params.side = side;
        masking.params.view = VIEW_PECT;
        masking.contourState = new ContourState;
        masking.contourState->tissueThreshold = 30000;
        masking.contourState->centreRow = 100;
        const auto image = muscle(side);
        Mask limit = rectangle(20, 150, 0, 119, 114.0F), rows = rectangle(2, 197, 10, 110), *limit_at = &limit,
             *rows_at = &rows;
        const std::unique_ptr<Mask> result(masking.generate_pect(image.get(), limit_at, rows_at));
        ASSERT_NE(nullptr, result);
        EXPECT_EQ(114.0F, result->GetPixelSize());
        const auto runs = runs_of(*result);
        ASSERT_EQ(77U, runs.size());  // rows 10 + 13 .. 99
        // The line is smoothed over 65 rows, so the one row in which it stops at 20 takes 10 / 65 off its neighbours.
        const auto expected = [&](unsigned row) {
            const double column = (side == SIDE_CHEST_LEFT ? 30.0 : 169.0);
            const bool near = row >= 70 - 32 && row <= 99;
            const double pull = near ? (side == SIDE_CHEST_LEFT ? -0.1 : 0.1) : 0.0;
            const auto line = static_cast<unsigned>(column + pull);
            return side == SIDE_CHEST_LEFT ? RowRun{row, 2, line} : RowRun{row, line, 197};
        };
        for (const RowRun& r : runs) EXPECT_EQ(expected(r.row), r) << side;
    }
}

TEST(ThresholdEstimate, GivesNullWhereItCannotRun) {
    const auto image = muscle(SIDE_CHEST_LEFT);
    Mask rows = rectangle(2, 197, 10, 110), empty, *rows_at = &rows, *empty_at = &empty, *none = nullptr;
    OpenMasking masking;
    EXPECT_EQ(nullptr, masking.generate_pect(image.get(), rows_at, rows_at));  // no contour state
    masking.contourState = new ContourState;
    masking.contourState->centreRow = 23;
    EXPECT_EQ(nullptr, masking.generate_pect(image.get(), rows_at, rows_at));  // first row 23 is the last
    masking.contourState->centreRow = 24;
    const std::unique_ptr<Mask> undefined_side(masking.generate_pect(image.get(), rows_at, rows_at));
    ASSERT_NE(nullptr, undefined_side);
    EXPECT_TRUE(runs_of(*undefined_side).empty());
    EXPECT_EQ(nullptr, masking.generate_pect(image.get(), rows_at, empty_at));
    EXPECT_EQ(nullptr, masking.generate_pect(image.get(), none, rows_at));
    masking.params.view = VIEW_NO_PECT;
    EXPECT_EQ(nullptr, masking.generate_pect(image.get(), rows_at, rows_at));
}

}  // namespace
}  // namespace Norvane::Tests
