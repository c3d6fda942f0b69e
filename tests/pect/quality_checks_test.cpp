// SPDX-License-Identifier: Apache-2.0
#include "support/builders.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace Norvane::Tests {
namespace {

using Status = Masking::MASK_STATUS;

TEST(BackgroundNoise, MeanOfTheStripAgainstTheLevel) {
    struct Case {
        const char* why;
        int side;
        unsigned column;  // the only one that is not 30000
        unsigned value;
        Status expected;
    };
    // The breast covers 300 .. 399, the frame 50 .. 649: strips 199 .. 299 and 400 .. 500.
    const std::vector<Case> cases{
        {"exactly 95 %", 0, 250, 9500, Status::MASK_OK},
        {"above", 0, 250, 9501, Status::MASK_BG_NOISE},
        {"first column", 0, 199, 9501, Status::MASK_BG_NOISE},
        {"before it", 0, 198, 9501, Status::MASK_OK},
        {"last column", 0, 299, 9501, Status::MASK_BG_NOISE},
        {"the breast", 0, 300, 9501, Status::MASK_OK},
        {"just dark enough", 0, 250, 19999, Status::MASK_BG_NOISE},
        {"too bright", 0, 250, 20000, Status::MASK_OK},
        {"mirrored first", 1, 400, 9501, Status::MASK_BG_NOISE},
        {"mirrored last", 1, 500, 9501, Status::MASK_BG_NOISE},
        {"mirrored beyond", 1, 501, 9501, Status::MASK_OK},
        {"no side", -1, 250, 9501, Status::MASK_OK},
    };
    for (const Case& c : cases) {
        OpenMasking m;
        m.params.side = static_cast<IMAGE_SIDE>(c.side);
        m.backgroundNoiseLevel = 10000;
        const auto image = grey_image(700, 20, [&](unsigned x, unsigned) { return x == c.column ? c.value : 30000U; });
        Mask breast = rectangle(300, 399, 5, 30), frame = rectangle(50, 649, 0, 40), *breast_at = &breast,
             *frame_at = &frame;
        EXPECT_EQ(c.expected, m.check_bg_noise(image.get(), breast_at, frame_at)) << c.why;
    }
}

TEST(BackgroundNoise, TheFramesMarginIsKept) {
    OpenMasking m;
    m.backgroundNoiseLevel = 10000;
    Mask frame = rectangle(50, 649, 0, 40), empty, *frame_at = &frame, *empty_at = &empty, *none = nullptr;
    for (const IMAGE_SIDE side : {SIDE_CHEST_RIGHT, SIDE_CHEST_LEFT}) {
        m.params.side = side;
        // The strip collapses to the one limit column, 110 or 589, which is still sampled.
        const unsigned limit = side == SIDE_CHEST_RIGHT ? 110 : 589;
        Mask breast = side == SIDE_CHEST_RIGHT ? rectangle(60, 400, 5, 9) : rectangle(300, 640, 5, 9),
             *breast_at = &breast;
        for (const unsigned bright : {limit - 1, limit, limit + 1}) {
            const auto image = grey_image(700, 20, [&](unsigned x, unsigned) { return x == bright ? 15000U : 30000U; });
            EXPECT_EQ(bright == limit ? Status::MASK_BG_NOISE : Status::MASK_OK,
                      m.check_bg_noise(image.get(), breast_at, frame_at));
            EXPECT_EQ(Status::MASK_OK, m.check_bg_noise(image.get(), empty_at, frame_at));
            EXPECT_EQ(Status::MASK_OK, m.check_bg_noise(image.get(), breast_at, empty_at));
            EXPECT_EQ(Status::MASK_OK, m.check_bg_noise(image.get(), none, none));
        }
        Mask hostile = mask_of({{0, 0, 0xFFFFFFFF}, {0xFFFFFFFF, 3, 4}}), *hostile_at = &hostile;
        const auto image = grey_image(70, 20);
        EXPECT_EQ(Status::MASK_OK, m.check_bg_noise(image.get(), hostile_at, hostile_at));
    }
}

/// The breast covers columns 100 .. 150 of rows 100 .. 200. The ring outside it covers columns 76 .. 175 of rows 76 ..
/// 224, the core without the ring inside it columns 124 .. 127 of rows 124 .. 176.
struct CutCase {
    OpenMasking masking;
    Mask breast = rectangle(100, 150, 100, 200);
    std::unique_ptr<Image> image = grey_image(300, 400);

    CutCase(int side, int view) {
        masking.params.side = static_cast<IMAGE_SIDE>(side);
        masking.params.view = static_cast<IMAGE_VIEW>(view);
        masking.backgroundNoiseLevel = 10000;
        for (unsigned y = 100; y <= 200; ++y)
            for (unsigned x = 100; x <= 150; ++x) set_grey(*image, x, y, 12000);
    }
    bool is_cut(Mask frame) {
        Mask *breast_at = &breast, *frame_at = &frame;
        return masking.check_cut_tissue(image.get(), breast_at, frame_at) == Status::MASK_CUT_TISSUE;
    }
};

TEST(CutTissue, WithoutAViewOnePixelOutsideIsEnough) {
    struct Case {
        const char* what;
        int side;
        Mask frame;
        unsigned x_in, x_out, y_in, y_out, grey_in, grey_out;  // the last that counts, the first that does not
    };
    const Mask all = rectangle(0, 299, 0, 399), tight = rectangle(70, 180, 70, 270);
    const std::vector<Case> cases{{"left and top", -1, all, 76, 75, 76, 75, 10501, 10500},
                                  {"right and bottom", -1, all, 175, 176, 224, 225, 13799, 13800},
                                  {"margins left, top", 1, tight, 83, 82, 83, 82, 10501, 10500},
                                  {"margins right, bottom", 0, tight, 167, 168, 198, 199, 13799, 13800}};
    for (const Case& c : cases) {
        const auto cut_by = [&](unsigned x, unsigned y, unsigned value) {
            CutCase cut(c.side, VIEW_UNDEFINED);
            set_grey(*cut.image, x, y, value);
            return cut.is_cut(c.frame);
        };
        EXPECT_TRUE(cut_by(c.x_in, c.y_in, c.grey_in)) << c.what;
        EXPECT_FALSE(cut_by(c.x_out, c.y_in, c.grey_in)) << c.what;
        EXPECT_FALSE(cut_by(c.x_in, c.y_out, c.grey_in)) << c.what;
        EXPECT_FALSE(cut_by(c.x_in, c.y_in, c.grey_out)) << c.what;
    }
}

TEST(CutTissue, EachBandHasItsOwnWeight) {
    struct Case {
        int view;
        unsigned first, last;  // rows of the band that no other band shares
        unsigned enough;       // pixels outside
    };
    const std::vector<Case> cases{
        {VIEW_NO_PECT, 76, 124, 462},   // 24 * 51 + 2 * 47 inside, times 0.35
        {VIEW_NO_PECT, 126, 149, 306},  // 26 * 47, times 0.25
        {VIEW_NO_PECT, 176, 224, 462},
        {VIEW_PECT, 134, 165, 400},  // 34 * 47, times 0.25
    };
    for (const Case& c : cases) {
        CutCase cut(SIDE_UNDEFINED, c.view);
        const Mask frame = rectangle(0, 299, 0, 399);
        unsigned placed = 0;
        for (unsigned y = c.first; y <= c.last; ++y) {
            for (unsigned x = 76; x <= 175 && placed < c.enough; ++x) {
                if (cut.breast.HitTest(x, y)) continue;
                ++placed;
                if (placed == c.enough) {
                    EXPECT_FALSE(cut.is_cut(frame)) << c.first;
                }
                set_grey(*cut.image, x, y, 12000);
            }
        }
        EXPECT_TRUE(cut.is_cut(frame)) << c.first;
    }
    CutCase muscle(SIDE_UNDEFINED, VIEW_PECT);  // a cut in the top third is the muscle's
    for (unsigned y = 76; y <= 132; ++y)
        for (unsigned x = 76; x <= 175; ++x) set_grey(*muscle.image, x, y, 12000);
    EXPECT_FALSE(muscle.is_cut(rectangle(0, 299, 0, 399)));
}

TEST(CutTissue, NeedsABreastOfMoreThanOneRow) {
    OpenMasking m;
    m.params.side = SIDE_CHEST_LEFT;
    const auto image = grey_image(100, 100, [](unsigned, unsigned) { return 30000U; });
    Mask line = rectangle(10, 60, 20, 20), breast = rectangle(0, 99, 0, 99), empty, frame = rectangle(0, 99, 0, 99);
    Mask *none = nullptr, *line_at = &line, *empty_at = &empty, *breast_at = &breast, *frame_at = &frame;
    EXPECT_EQ(Status::MASK_NO_MASK, m.check_cut_tissue(image.get(), none, frame_at));
    EXPECT_EQ(Status::MASK_NO_MASK, m.check_cut_tissue(image.get(), line_at, frame_at));
    EXPECT_EQ(Status::MASK_NO_MASK, m.check_cut_tissue(image.get(), empty_at, frame_at));
    EXPECT_EQ(Status::MASK_OK, m.check_cut_tissue(image.get(), breast_at, frame_at));  // no ring outside
    EXPECT_EQ(Status::MASK_OK, m.check_cut_tissue(image.get(), breast_at, empty_at));
    EXPECT_EQ(Status::MASK_OK, m.check_cut_tissue(image.get(), breast_at, none));
}

}  // namespace
}  // namespace Norvane::Tests
