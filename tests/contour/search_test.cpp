// SPDX-License-Identifier: Apache-2.0
#include "contour/polar_bins.h"
#include "slow_search.h"

#include <gmock/gmock.h>

namespace Norvane::Tests {
namespace {

TEST(PolarAngle, HasItsExactValuesAtTheLimits) {
    const AcosTable table(Masking::NUM_IN_LUT);
    ASSERT_EQ(table.angles.size(), 3601U);
    EXPECT_EQ(table.angles[3600], 0.0F);
    EXPECT_EQ(table.angles[3599], 0.023569919168949127F);
    EXPECT_EQ(polar_angle(0, 5, table, 1, 1), 1.57079637F);
    EXPECT_EQ(polar_angle(5, 5, table, 1, -1), 6.259615421295166F);
    EXPECT_EQ(polar_angle(-5, 5, table, -1, 1), 3.14159274F);
    EXPECT_EQ(polar_angle(3, 0.00005F, table, 1, 1), 0.0F);
    EXPECT_EQ(polar_angle(9, 5, table, 1, 1), 0.0F) << "beyond the table";
    testing::internal::CaptureStdout();
    EXPECT_EQ(polar_angle(3, 5, table, 0, 1), 0.0F);
    EXPECT_EQ(polar_angle(3, 5, table, 1, 0), 0.0F);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Wrong quad\nWrong quad\n");
}

TEST(PolarRow, GivesEveryPixelTheAngleOfThePlainFunction) {
    const AcosTable table(Masking::NUM_IN_LUT);
    PolarRow row;
    for (int dy = -420; dy <= 420; dy += dy > -12 && dy < 12 ? 1 : 7) {
        const int sy = dy <= 0 ? 1 : -1;
        row.set(-700, 700, dy, sy);
        for (const int sx : {1, -1}) {
            const auto angles = tabulate<float>(table, sx, sy, [](float angle) { return angle; });
            for (int dx = sx > 0 ? 0 : -700; dx <= (sx > 0 ? 700 : 0); ++dx) {
                const auto i = static_cast<std::size_t>(dx + 700);
                const float r = static_cast<float>(std::sqrt(static_cast<double>(dx * dx + dy * dy)));
                ASSERT_EQ(row.distance[i], r);
                ASSERT_EQ(angles[row.index[i]], polar_angle(static_cast<float>(dx), r, table, sx, sy))
                    << dx << ' ' << dy;
            }
        }
    }
}

TEST(PolarCentre, LiesOnTheWallEdgeOfTheField) {
    struct Case {
        const char* why;
        IMAGE_SIDE side;
        bool has_row;
        unsigned first, last;
        int edge, centre;
    };
    for (const Case& c : {Case{"from the field", SIDE_CHEST_LEFT, true, 0, 99, 0, 10},
                          Case{"from the field", SIDE_CHEST_RIGHT, true, 0, 99, 99, 89},
                          Case{"a field with an offset", SIDE_CHEST_LEFT, true, 30, 50, 30, 33},
                          Case{"no run in the row: the image", SIDE_CHEST_LEFT, false, 0, 99, 0, 12},
                          Case{"no run in the row: the image", SIDE_CHEST_RIGHT, false, 0, 99, 119, 108},
                          Case{"columns keep 16 bits", SIDE_CHEST_LEFT, true, 0x10005, 0x10009, 5, 6}}) {
        OpenContour m(c.side);
        m.state();
        const auto image = grey_image(120, 61);
        Mask field = mask_of(std::vector<RowRun>{{c.has_row ? 30U : 31U, c.first, c.last}});
        EXPECT_EQ(m.find_polar_center(image.get(), &field), Masking::MASK_OK);
        EXPECT_EQ(m.contourState->centreRow, 30) << c.why;
        EXPECT_EQ(m.contourState->edgeColumn, c.edge) << c.why;
        EXPECT_EQ(m.contourState->centreColumn, c.centre) << c.why;
    }
    OpenContour m(static_cast<IMAGE_SIDE>(2));
    m.state().edgeColumn = 77;
    Mask none;
    EXPECT_EQ(m.find_polar_center(grey_image(120, 61).get(), &none), Masking::MASK_NO_SIDE);
    EXPECT_EQ(m.contourState->centreRow, 30);
    EXPECT_EQ(m.contourState->edgeColumn, 77);
}

int smoothing_window(BG_NOISE noise, int high, int padding, int other) {
    return noise == BG_FIXED_HIGH ? high : slow::in_padding_group(noise) ? padding : other;
}

TEST(Searches, EqualTheirPlainDefinitionsOnRandomScenes) {
    Random random(41);
    int found = 0;
    for (int round = 0; round < 150; ++round) {
        Scene s(random);
        OpenContour& m = s.masking;
        const BG_NOISE noise = m.params.bgNoise;
        const auto finish = [&](std::vector<float> radii, std::vector<float> outer, int window) {
            found += std::ranges::count_if(radii, [](float r) { return r > 10; }) > 100 ? 1 : 0;
            m.fill_in_contour_gap(radii);
            m.smooth_contour(radii, outer, window);
            return std::pair(radii, outer);
        };
        const bool full = random.chance(2);
        std::vector<float> outer(3, 1.0F);
        s.field.SetTargetPixelSize(228.0F);
        auto expected =
            finish(slow::Search{m, *s.grey, *s.search, s.field}.rays(), {}, smoothing_window(noise, 64, 8, 32));
        ASSERT_EQ(m.find_polar_contour(s.grey.get(), s.search.get(), &s.field), expected.first) << "rays " << round;

        s.field.SetTargetPixelSize(100.0F);
        expected = finish(slow::Search{m, *s.grey, *s.search, mask_of(runs_of(s.field))}.border(false),
                          std::vector<float>(full ? 720 : 0), smoothing_window(noise, 96, 8, 64));
        if (full) outer.clear();
        ASSERT_EQ(m.find_contour_border(s.grey.get(), s.search.get(), &s.field, outer, full), expected.first) << round;
        ASSERT_EQ(outer, expected.second) << round;
        EXPECT_EQ(s.field.GetTargetPixelSize(), 228.0F);

        outer.clear();
        expected = finish(slow::Search{m, *s.grey, *s.search, s.field}.border(true), std::vector<float>(720),
                          smoothing_window(noise, 96, 32, 64));
        m.params.fullContour = true;
        ASSERT_EQ(m.find_contour_border_opt(s.grey.get(), s.search.get(), &s.field, outer), expected.first) << round;
        ASSERT_EQ(outer, expected.second) << round;
        m.params.fullContour = false;
        ASSERT_EQ(m.find_contour_border_opt(s.grey.get(), s.search.get(), &s.field, outer), expected.first) << round;
        EXPECT_TRUE(outer.empty());
    }
    EXPECT_GT(found, 200) << "the scenes hold contours";
}

TEST(FastSearch, ArrangesItsSmoothingAsAsked) {
    Random random(5);
    Scene s(random);
    OpenContour& m = s.masking;
    m.params.fullContour = true;
    m.params.contourOffset = 7;
    const auto search = [&](bool smooth, bool single) {
        m.params.smoothContour = smooth;
        m.params.singleContour = single;
        std::vector<float> outer;
        auto radii = m.find_contour_border_opt(s.grey.get(), s.search.get(), &s.field, outer);
        return std::pair(radii, outer);
    };
    const std::vector<float> plain = search(true, false).first;
    std::vector<float> shifted = plain;
    for (float& r : shifted) r += 7.0F;
    const std::vector<float> zeros(720, 0.0F);
    EXPECT_EQ(search(true, true), std::pair(plain, zeros)) << "one vector as both: smoothed, not widened";
    EXPECT_EQ(search(false, false), std::pair(plain, shifted));
    EXPECT_EQ(search(false, true), std::pair(shifted, zeros));
}

TEST(Searches, ReadNothingOutsideTheImageWhateverTheState) {
    Random random(7);
    for (int round = 0; round < 300; ++round) {
        Scene s(random);
        for (unsigned i = random.below(3); i-- > 0;)
            s.field.AddSegment(random.below(3) * 0x7FFFFFFFU + random.below(90), random.below(0xFFFFFFFFU),
                               random.below(90));
        const auto anything = [&] {
            return static_cast<unsigned short>(random.chance(2) ? random.below(80) : random.below(65536));
        };
        s.masking.state().edgeColumn = anything();
        s.masking.state().centreRow = anything();
        s.masking.state().centreColumn = anything();
        s.masking.params.side = static_cast<IMAGE_SIDE>(random.between(-1, 2));
        if (random.chance(8)) s.field.Clear();
        if (random.chance(4)) s.field.SetPixelSize(static_cast<float>(random.below(3)) * 100.0F);
        std::vector<float> outer;
        const auto other = grey_image(s.grey->GetWidth() + 1, s.grey->GetHeight());
        EXPECT_TRUE(s.masking.find_contour_border(s.grey.get(), other.get(), &s.field, outer, true).empty());
        EXPECT_TRUE(s.masking.find_polar_contour(other.get(), s.search.get(), &s.field).empty());
        EXPECT_TRUE(outer.empty()) << "images of different sizes touch nothing";
        s.masking.find_polar_contour(s.grey.get(), s.search.get(), &s.field);
        s.masking.find_contour_border(s.grey.get(), s.search.get(), &s.field, outer, true);
        EXPECT_EQ(s.masking.find_contour_border_opt(s.grey.get(), s.search.get(), &s.field, outer).size(), 720U);
    }
}

}  // namespace
}  // namespace Norvane::Tests
