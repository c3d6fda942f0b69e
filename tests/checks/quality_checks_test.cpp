// SPDX-License-Identifier: Apache-2.0
#include "checks/quality_checks.h"
#include "support/wedge.h"

namespace Norvane::Tests {
namespace {

using enum Masking::MASK_STATUS;

TEST(BackgroundNoise, MeanOfTheStripAgainstTheLevel) {
    const Mask whole = rectangle(50, 649, 0, 40), empty;
    const auto check = [&](const char* why, int side, unsigned first, unsigned bright, unsigned value, bool noisy) {
        const auto image = grey_image(700, 20, [&](unsigned x, unsigned) { return x == bright ? value : 30000U; });
        const auto status = [&](const Mask* breast, const Mask* frame) {
            return check_background(image.get(), breast, frame, static_cast<IMAGE_SIDE>(side), 10000);
        };
        const Mask breast = rectangle(first, first + 99, 5, 30);
        EXPECT_EQ(noisy ? MASK_BG_NOISE : MASK_OK, status(&breast, &whole)) << why;
        EXPECT_EQ(MASK_OK, status(&empty, &whole)) << why;
        EXPECT_EQ(MASK_OK, status(nullptr, nullptr)) << why;
        // The bounds of an empty frame are -1 .. 0: on the left the strip lies outside the image, on the right it keeps
        // to the columns from 59 on.
        const bool is_seen = side == 0 && first > 160 && noisy;
        EXPECT_EQ(is_seen ? MASK_BG_NOISE : MASK_OK, status(&breast, &empty)) << why;
    };
    check("exactly 95 %", 0, 300, 250, 9500, false);
    check("above", 0, 300, 250, 9501, true);
    check("just dark enough", 0, 300, 250, 19999, true);
    check("too bright", 0, 300, 250, 20000, false);
    check("first column", 0, 300, 199, 9501, true);
    check("before it", 0, 300, 198, 9501, false);
    check("last column", 0, 300, 299, 9501, true);
    check("the breast", 0, 300, 300, 9501, false);
    check("mirrored: the breast", 1, 300, 399, 9501, false);
    check("mirrored first", 1, 300, 400, 9501, true);
    check("mirrored last", 1, 300, 500, 9501, true);
    check("mirrored beyond", 1, 300, 501, 9501, false);
    check("no side", -1, 300, 250, 9501, false);
    for (const unsigned beyond :
         {0U, 1U, 2U}) {  // next to the frame the strip collapses to one column, 60 from its end
        check("the limit", 0, 60, 109 + beyond, 9501, beyond == 1);
        check("mirrored limit", 1, 541, 588 + beyond, 9501, beyond == 1);
    }
}

/// The breast covers columns 100 .. 150 of rows 100 .. 200. The ring outside it covers columns 76 .. 175 of rows 76 ..
/// 224, the core without the ring inside it columns 124 .. 127 of rows 124 .. 176.
struct CutCase {
    Masking::Params params;
    Mask breast = rectangle(100, 150, 100, 200);
    std::unique_ptr<Image> image = grey_image(300, 400);

    CutCase(int side, int view) : params(params_for(side, view)) {
        for (unsigned y = 100; y <= 200; ++y)
            for (unsigned x = 100; x <= 150; ++x) set_grey(*image, x, y, 12000);
    }
    bool is_cut(Mask frame) {
        return check_for_cut_tissue(image.get(), &breast, &frame, params, 10000) == MASK_CUT_TISSUE;
    }
};

TEST(CutTissue, WithoutAViewOnePixelOutsideIsEnough) {
    const Mask all = rectangle(0, 299, 0, 399), tight = rectangle(70, 180, 70, 270);
    // x, y and value of the last that counts and of the first that does not.
    const auto check = [](const char* what, int side, const Mask& frame, const unsigned(&in)[3],
                          const unsigned(&out)[3]) {
        for (unsigned beyond = 0; beyond < 8; beyond = beyond == 0 ? 1 : 2 * beyond) {
            CutCase cut(side, VIEW_UNDEFINED);
            set_grey(*cut.image, beyond == 1 ? out[0] : in[0], beyond == 2 ? out[1] : in[1],
                     beyond == 4 ? out[2] : in[2]);
            EXPECT_EQ(beyond == 0, cut.is_cut(frame)) << what << ", beyond " << beyond;
        }
    };
    check("left and top", -1, all, {76, 76, 10501}, {75, 75, 10500});
    check("right and bottom", -1, all, {175, 224, 13799}, {176, 225, 13800});
    check("margins left, top", 1, tight, {83, 83, 10501}, {82, 82, 10500});
    check("margins right, bottom", 0, tight, {167, 198, 13799}, {168, 199, 13800});
}

TEST(CutTissue, EachBandHasItsOwnWeight) {
    // Rows of the band that no other band shares, and the pixels outside that are enough (none: 0). At the wall those
    // before a column do not count.
    const auto check = [&](int view, unsigned first, unsigned last, unsigned enough, int side = -1, unsigned wall = 0) {
        const Mask frame = rectangle(side < 0 ? 0 : 33, 299, 0, 399);
        CutCase cut(side, view);
        unsigned placed = 0;
        for (unsigned i = 100 * first; i < 100 * (last + 1) && (enough == 0 || placed < enough); ++i) {
            if (cut.breast.HitTest(76 + i % 100, i / 100)) continue;
            if (76 + i % 100 >= wall && ++placed == enough) {
                EXPECT_FALSE(cut.is_cut(frame)) << first;
            }
            set_grey(*cut.image, 76 + i % 100, i / 100, 12000);
        }
        EXPECT_EQ(enough != 0, cut.is_cut(frame)) << first;
    };
    check(VIEW_NO_PECT, 76, 124, 462);   // 24 * 51 + 2 * 47 inside, times 0.35
    check(VIEW_NO_PECT, 126, 149, 306);  // 26 * 47, times 0.25
    check(VIEW_NO_PECT, 176, 224, 462);
    check(VIEW_PECT, 134, 165, 400);                       // 34 * 47, times 0.25
    check(VIEW_PECT, 134, 165, 400, SIDE_CHEST_LEFT, 99);  // 15 mm from the frame
    check(VIEW_PECT, 76, 132, 0);                          // a cut in the top third is the muscle's
}

TEST(CutTissue, NeedsABreastOfMoreThanOneRow) {
    const auto image = grey_image(100, 100, [](unsigned, unsigned) { return 30000U; });
    Mask line = rectangle(10, 60, 20, 20), breast = rectangle(0, 99, 0, 99), frame = breast, empty;
    for (Mask* none : {static_cast<Mask*>(nullptr), &line, &empty})
        EXPECT_EQ(MASK_NO_MASK, check_for_cut_tissue(image.get(), none, &frame, params_for(1), 10000));
    for (Mask* field : {static_cast<Mask*>(nullptr), &empty, &frame})  // the whole image leaves no ring outside
        EXPECT_EQ(MASK_OK, check_for_cut_tissue(image.get(), &breast, field, params_for(1), 10000));
}

}  // namespace
}  // namespace Norvane::Tests
