// SPDX-License-Identifier: Apache-2.0
#include "contour_fixture.h"

#include <gmock/gmock.h>

#include <array>
#include <fstream>
#include <sstream>

namespace Norvane::Tests {
namespace {

using Points = std::vector<int>;

TEST(BoundaryOfAMask, WalksAroundARectangle) {
    const auto image = grey_image(40, 30);
    Mask mask = rectangle(5, 8, 4, 6);
    // The lower half of the image is empty, so the box ends at the last row.
    OpenContour m;
    m.params.noiseLevel = 700;
    Points points;
    ASSERT_TRUE(m.convert_mask_to_boundary(image.get(), &mask, points));
    EXPECT_THAT(Points(points.begin(), points.begin() + 18),
                testing::ElementsAre(5, 4, 6, 4, 7, 4, 8, 4, 8, 5, 8, 6, 7, 6, 6, 6, 5, 6));
    EXPECT_THAT(Points(points.end() - 4, points.end()), testing::ElementsAre(5, 29, 5, 29))
        << "up along the box is not taken: down to its bottom instead";
    EXPECT_EQ(m.params.noiseLevel, 0) << "only black is padding afterwards";

    OpenContour right(SIDE_CHEST_RIGHT);
    Mask mirrored = rectangle(31, 34, 4, 6);
    points.clear();
    ASSERT_TRUE(right.convert_mask_to_boundary(image.get(), &mirrored, points));
    EXPECT_THAT(Points(points.begin(), points.begin() + 18),
                testing::ElementsAre(34, 4, 33, 4, 32, 4, 31, 4, 31, 5, 31, 6, 32, 6, 33, 6, 34, 6));
}

TEST(BoundaryOfAMask, FailsWithoutImageOrSide) {
    Mask mask = rectangle(5, 8, 4, 6);
    Points points;
    Image unusable;
    OpenContour m;
    EXPECT_FALSE(m.convert_mask_to_boundary(&unusable, &mask, points));
    m.params.side = SIDE_UNDEFINED;
    EXPECT_FALSE(m.convert_mask_to_boundary(grey_image(20, 20).get(), &mask, points));
    EXPECT_TRUE(points.empty());
}

TEST(BoundaryTracing, GoesDownFromALonePixelAndClosesAtTheBottom) {
    const auto image = grey_image(20, 12);
    for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
        OpenContour m(side);
        std::array<int, 4> box{3, 9, 2, 7};
        Points points{5, 3};
        m.boundary_tracing(image.get(), box.data(), points);
        Points expected{5, 3, 5, 4, 5, 5, 5, 6, 5, 7};
        for (int x = 5; side == SIDE_CHEST_LEFT ? x >= 3 : x <= 9; x += side == SIDE_CHEST_LEFT ? -1 : 1)
            expected.insert(expected.end(), {x, 7});
        EXPECT_EQ(points, expected);
    }
}

TEST(BoundaryTracing, TurnsRoundWhereItRunsUpTheBoxAndLooksAheadFromALonePixel) {
    const auto image = grey_image(20, 20, [](unsigned x, unsigned y) {
        return (x == 4 && y >= 2 && y <= 6) || ((x == 11 || x == 13) && y == 4) ? 9U : 0U;
    });
    for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
        OpenContour m(side);
        std::array<int, 4> box{4, 4, 0, 19}, wide{0, 19, 0, 19};
        Points column{4, 6}, lone{12, 3};
        m.boundary_tracing(image.get(), box.data(), column);
        EXPECT_THAT(Points(column.begin() + 2, column.begin() + 4), testing::ElementsAre(4, 7)) << "below, not above";
        m.boundary_tracing(image.get(), wide.data(), lone);
        EXPECT_THAT(Points(lone.begin() + 2, lone.begin() + 6),
                    testing::ElementsAre(12, 4, side == SIDE_CHEST_LEFT ? 13 : 11, 4));
    }
}

TEST(BoundaryTracing, EndsAfterTenThousandPoints) {
    // A closed region whose first two points are never met again in order.
    const auto image =
        grey_image(40, 40, [](unsigned x, unsigned y) { return x > 8 && x < 30 && y > 8 && y < 20 ? 500U : 0U; });
    OpenContour m;
    std::array<int, 4> box{0, 39, 0, 39};
    Points points{1, 1, 15, 9};
    m.boundary_tracing(image.get(), box.data(), points);
    EXPECT_EQ(points.size(), 2U * 10001U);
}

TEST(BoundaryTracing, SurvivesAnyBoxAndList) {
    Random random(12);
    for (int round = 0; round < 3000; ++round) {
        const auto image = grey_image(1 + random.below(20), 1 + random.below(20),
                                      [&](unsigned, unsigned) { return random.below(3) * 300; });
        OpenContour m(static_cast<IMAGE_SIDE>(random.between(0, 1)));
        const auto anything = [&] {
            return random.chance(9) ? static_cast<int>(random.below(0xFFFFFFFFU)) : random.between(-3, 22);
        };
        std::array<int, 4> box{anything(), anything(), anything(), anything()};
        Points points(1 + random.below(6));
        for (int& v : points) v = anything();
        m.boundary_tracing(image.get(), box.data(), points);
        EXPECT_LE(points.size(), 2U * 10100U);
    }
}

TEST(PaddingBreast, GivesContourPointsAndLeavesTheMaskAlone) {
    // The breast is whatever is not padding (100 .. 120), left of a slanted edge.
    const auto image =
        grey_image(120, 90, [](unsigned x, unsigned y) { return x < 60 - y / 3 && y < 80 ? 5000U : 110U; });
    OpenContour m(SIDE_CHEST_LEFT, VIEW_NO_PECT, BG_GIVEN_LEVEL);
    m.params.noiseLevel = 120;
    m.params.pixelPaddingValueRangeLimit = 100;
    Points contour(1440, -1), other(3);
    m.params.contour = &contour;
    Mask mask = rectangle(1, 2, 3, 4, 10.0F), *breast = &mask;
    const auto before = runs_of(mask);
    std::array<int, 4> box{};
    EXPECT_EQ(m.breast_masking_by_boundary_tracing(image.get(), breast, box.data()), Masking::MASK_BOUNDARY_TRACING);
    EXPECT_EQ(runs_of(mask), before);
    EXPECT_EQ(mask.GetPixelSize(), 228.0F);
    EXPECT_THAT(box, testing::ElementsAre(0, 119, 0, 80));
    EXPECT_THAT(Points(contour.begin(), contour.begin() + 2), testing::ElementsAre(0, 0));
    EXPECT_THAT(Points(contour.end() - 2, contour.end()), testing::ElementsAre(0, 80));
    EXPECT_EQ(std::ranges::count(contour, -1), 0);
    contour.assign(1440, -1);
    m.breast_masking_by_boundary_tracing(grey_image(9, 9, [](unsigned, unsigned) { return 110U; }).get(), breast,
                                         nullptr);
    EXPECT_THAT(Points(contour.begin(), contour.begin() + 2), testing::ElementsAre(0, 0)) << "padding up to the corner";
    m.params.contour = &other;
    m.breast_masking_by_boundary_tracing(image.get(), breast, nullptr);
    EXPECT_TRUE(other.empty());
}

std::string file_of(OpenContour& m, Image& image, Mask* mask) {
    const std::string name = testing::TempDir() + "contour_picture.pgm";
    m.save_contour_to_file(name, &image, mask);
    std::ifstream file(name);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

TEST(ContourFile, ShowsTheEndsOfRunsOrThePoints) {
    OpenContour m;
    Image tiny(FORMAT_UNSIGNED, 16, 2, 1, true), flat(FORMAT_UNSIGNED, 16, 3, 0, true),
        image(FORMAT_UNSIGNED, 16, 4, 2, true);
    EXPECT_EQ(file_of(m, tiny, nullptr), "P2\n2\n1\n65535\n65535\t65535\t\n");
    EXPECT_EQ(file_of(m, flat, nullptr), "P2\n3\n0\n65535\n");
    Mask mask = mask_of(std::vector<RowRun>{{1, 0, 2}, {0, 3, 90}, {77, 1, 1}});
    EXPECT_EQ(file_of(m, image, &mask), "P2\n4\n2\n65535\n65535\t65535\t65535\t0\t\n0\t65535\t0\t65535\t\n");
    Points points{3, 1, -1, 0, 4, 0, 0, 2, 1, 0, 1, 0, 2};
    m.params.contour = &points;
    EXPECT_EQ(file_of(m, image, nullptr), "P2\n4\n2\n65535\n65535\t0\t65535\t65535\t\n65535\t65535\t65535\t0\t\n");
    m.save_contour_to_file(testing::TempDir() + "no/such/folder/x.pgm", &image, nullptr);
    m.save_contour_to_file("x.pgm", nullptr, nullptr);
}

}  // namespace
}  // namespace Norvane::Tests
