// SPDX-License-Identifier: Apache-2.0
#include "muscle/muscle_estimate.h"
#include "support/wedge.h"

namespace Norvane::Tests {
namespace {

using Status = Masking::MASK_STATUS;
using enum Masking::MASK_STATUS;

TEST(GeneratePectMask, MapsTheDetectorsAnswers) {
    const auto good = wedge(SIDE_CHEST_LEFT), flat = wedge(SIDE_CHEST_LEFT, 0);
    Mask breast = wedge_breast(), field;
    const auto check = [&](const char* why, Image* image, Mask* in, int side, int view, Status expected) {
        Mask pect, frame = wedge_frame();
        const auto params = params_for(side, view);
        EXPECT_EQ(expected, NvGeneratePectMask(image, params, &frame, in, &pect)) << why;
        EXPECT_EQ(expected, NvGeneratePectMask(image, params, &frame, in, nullptr)) << why << ", not wanted";
        if (view == VIEW_NO_PECT) NvGeneratePectMask(image, params, &field, in, &pect);
    };
    check("found", good.get(), &breast, 1, VIEW_PECT, MASK_OK);
    check("flat", flat.get(), &breast, 1, VIEW_PECT, MASK_PECT_REJECTED);
    check("view", good.get(), &breast, 1, VIEW_NO_PECT, MASK_PECT_NOT_APPLICABLE);
    check("side", good.get(), &breast, -1, VIEW_PECT, MASK_PECT_FAILED);
    EXPECT_FALSE(runs_of(field).empty()) << "an empty frame mask of the caller's is made first, whatever the view";
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
        const Mask limit = rectangle(20, 150, 0, 119, 114.0F), rows = rectangle(2, 197, 10, 110);
        const auto result = estimated_muscle(*muscle(side), limit, rows, {side, 30000, 100});
        ASSERT_NE(nullptr, result);
        EXPECT_EQ(114.0F, result->GetPixelSize());
        // Rows 10 + 13 .. 99. The line is smoothed over 65 rows, so the one row in which it stops at 20 takes 10 / 65
        // off its neighbours.
        std::vector<RowRun> expected;
        for (unsigned y = 23; y < 100; ++y)
            expected.push_back(side == SIDE_CHEST_LEFT ? RowRun{y, 2, y < 70 - 32 ? 30U : 29U} : RowRun{y, 169, 197});
        EXPECT_EQ(expected, runs_of(*result)) << side;
    }
}

TEST(ThresholdEstimate, GivesNullWhereItCannotRun) {
    const auto image = muscle(SIDE_CHEST_LEFT);
    Mask rows = rectangle(2, 197, 10, 110), column = rectangle(20, 20, 10, 110), row = rectangle(2, 197, 60, 60), empty;
    OpenMasking masking;
    const auto estimate = [&](Mask* limit, Mask* row_mask) {
        return std::unique_ptr<Mask>(masking.generate_pect(image.get(), limit, row_mask));
    };
    EXPECT_EQ(nullptr, estimate(&rows, &rows)) << "no contour state";
    masking.contourState = new ContourState;
    masking.contourState->centreRow = 23;
    EXPECT_EQ(nullptr, estimate(&rows, &rows)) << "first row 23 is the last";
    masking.contourState->centreRow = 24;
    const auto without_side = estimate(&rows, &rows);
    ASSERT_NE(nullptr, without_side);
    EXPECT_TRUE(runs_of(*without_side).empty());
    for (Mask* useless : {&empty, &column, &row}) EXPECT_EQ(nullptr, estimate(&rows, useless));
    EXPECT_EQ(nullptr, estimate(nullptr, &rows));
    masking.params.view = VIEW_NO_PECT;
    EXPECT_EQ(nullptr, estimate(&rows, &rows));
}

}  // namespace
}  // namespace Norvane::Tests
