// SPDX-License-Identifier: Apache-2.0
#include "pect_fixture.h"

namespace Norvane::Tests {
namespace {

using Status = Masking::MASK_STATUS;
using enum Masking::MASK_STATUS;

TEST(GeneratePectMask, MapsTheDetectorsAnswers) {
    const auto good = wedge(SIDE_CHEST_LEFT), flat = wedge(SIDE_CHEST_LEFT, 0), fine = wedge(SIDE_CHEST_LEFT);
    fine->SetPixelSize(200.0F);
    Mask breast = wedge_breast(), field;
    const auto check = [&](const char* why, Image* image, Mask* in, int side, int view, Status framed, Status bare) {
        Mask pect, given = wedge_frame(), *frame = &given, *none = nullptr, *made = &field, *out = &pect;
        Masking::Params params;
        params.side = static_cast<IMAGE_SIDE>(side);
        params.view = static_cast<IMAGE_VIEW>(view);
        EXPECT_EQ(framed, NvGeneratePectMask(image, params, frame, in, out)) << why;
        EXPECT_EQ(bare, NvGeneratePectMask(image, params, none, in, out)) << why << ", without frame";
        if (view == VIEW_NO_PECT) NvGeneratePectMask(image, params, made, in, out);
    };
    check("found", good.get(), &breast, 1, VIEW_PECT, MASK_OK, MASK_OK);
    check("flat", flat.get(), &breast, 1, VIEW_PECT, MASK_PECT_REJECTED, MASK_PECT_REJECTED);
    check("view", good.get(), &breast, 1, VIEW_NO_PECT, MASK_PECT_NOT_APPLICABLE, MASK_PECT_NOT_APPLICABLE);
    check("side", good.get(), &breast, -1, VIEW_PECT, MASK_PECT_FAILED, MASK_NO_MASK);
    check("image", nullptr, &breast, 1, VIEW_PECT, MASK_PECT_FAILED, MASK_NO_MASK);
    check("pixel size", fine.get(), &breast, 1, VIEW_PECT, MASK_PECT_FAILED, MASK_NO_MASK);
    check("no breast", good.get(), nullptr, 1, VIEW_PECT, MASK_PECT_FAILED, MASK_PECT_FAILED);
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
    for (Mask line : {rectangle(20, 20, 10, 110), rectangle(2, 197, 60, 60)}) {
        Mask* line_at = &line;
        EXPECT_EQ(nullptr, masking.generate_pect(image.get(), rows_at, line_at));
    }
    masking.params.view = VIEW_NO_PECT;
    EXPECT_EQ(nullptr, masking.generate_pect(image.get(), rows_at, rows_at));
}

}  // namespace
}  // namespace Norvane::Tests
