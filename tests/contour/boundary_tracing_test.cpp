// SPDX-License-Identifier: Apache-2.0
#include "support/open_contour.h"

#include <fstream>
#include <iterator>

namespace Norvane::Tests {
namespace {

TEST(BoundaryOfAMask, WalksAroundARectangleAndFailsWithoutImageOrSide) {
    const auto image = grey_image(40, 30);
    for (const int side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT, SIDE_UNDEFINED}) {
        const bool right = side == SIDE_CHEST_RIGHT, has_side = side != SIDE_UNDEFINED;
        OpenContour m(side);
        m.params.noiseLevel = 700;
        Mask mask = right ? rectangle(31, 34, 4, 6) : rectangle(5, 8, 4, 6);
        Points points, expected{5, 4, 6, 4, 7, 4, 8, 4, 8, 5, 8, 6, 7, 6, 6, 6, 5, 6};
        for (std::size_t i = 0; i < expected.size() && right; i += 2) expected[i] = 39 - expected[i];
        Image unusable;
        EXPECT_FALSE(m.convert_mask_to_boundary(&unusable, &mask, points));
        EXPECT_EQ(m.convert_mask_to_boundary(image.get(), &mask, points), has_side);
        EXPECT_EQ(m.params.noiseLevel, 0) << "only black is padding afterwards";
        ASSERT_EQ(points.empty(), !has_side);
        if (!has_side) continue;
        EXPECT_EQ(Points(points.end() - 2, points.end()), (Points{right ? 34 : 5, 29})) << "not up: to the bottom";
        points.resize(expected.size());
        EXPECT_EQ(points, expected);
    }
}

TEST(BoundaryTracing, TurnsAtTheBoxAndClosesAtItsBottom) {
    const auto image = grey_image(20, 20, [](unsigned x, unsigned y) {
        return (x == 4 && y >= 2 && y <= 6) || ((x == 11 || x == 13) && y == 4) ? 9U : 0U;
    });
    const auto check = [&](const char* why, int side, std::array<int, 4> box, Points points, const Points& first) {
        OpenContour(side).boundary_tracing(image.get(), box.data(), points);
        points.resize(first.size());
        EXPECT_EQ(points, first) << why;
    };
    check("alone: down, then to the wall", 1, {3, 9, 8, 12}, {5, 8},
          {5, 8, 5, 9, 5, 10, 5, 11, 5, 12, 5, 12, 4, 12, 3, 12});
    check("alone: down, then to the wall", 0, {3, 9, 8, 12}, {8, 8}, {8, 8, 8, 9, 8, 10, 8, 11, 8, 12, 8, 12, 9, 12});
    check("running up the left edge of the box: below instead", 1, {4, 9, 0, 19}, {4, 6}, {4, 6, 4, 7});
    check("running up its right edge", 0, {0, 4, 0, 19}, {4, 6}, {4, 6, 4, 7});
    check("looks ahead from a lone pixel", 1, {0, 19, 0, 19}, {12, 3}, {12, 3, 12, 4, 13, 4});
    check("looks ahead from a lone pixel", 0, {0, 19, 0, 19}, {12, 3}, {12, 3, 12, 4, 11, 4});
    // A closed region whose first two points are never met again in order.
    const auto block = grey_image(40, 40, [](unsigned x, unsigned y) { return x > 8 && x < 30 && y > 8 && y < 20; });
    std::array<int, 4> box{0, 39, 0, 39};
    Points endless{1, 1, 15, 9};
    OpenContour().boundary_tracing(block.get(), box.data(), endless);
    EXPECT_EQ(endless.size(), 2U * 10001U);
}

TEST(PaddingBreast, GivesContourPointsAndLeavesTheMaskAlone) {
    // The breast is whatever is not padding (100 .. 120), left of a slanted edge.
    const auto image =
        grey_image(120, 90, [](unsigned x, unsigned y) { return x < 60 - y / 3 && y < 80 ? 5000U : 110U; });
    const auto all_padding = grey_image(9, 9, [](unsigned, unsigned) { return 110U; });
    const auto one_row = grey_image(20, 1, [](unsigned x, unsigned) { return x < 12 ? 5000U : 110U; });
    OpenContour m(SIDE_CHEST_LEFT, VIEW_NO_PECT, BG_GIVEN_LEVEL);
    m.params.noiseLevel = 120;
    m.params.pixelPaddingValueRangeLimit = 100;
    Points contour(1440, -1), other(3);
    Mask mask = rectangle(1, 2, 3, 4, 10.0F), *breast = &mask;
    std::array<int, 4> box{};
    m.params.contour = &contour;
    EXPECT_EQ(m.breast_masking_by_boundary_tracing(image.get(), breast, box.data()), Masking::MASK_BOUNDARY_TRACING);
    EXPECT_EQ(runs_of(mask), runs_of(rectangle(1, 2, 3, 4)));
    EXPECT_EQ(mask.GetPixelSize(), 228.0F);
    EXPECT_THAT(box, testing::ElementsAre(0, 119, 0, 80));
    for (const auto& [at, x, y] : {std::tuple(0U, 0, 0), {100U, 27, 0}, {300U, 53, 18}, {719U, 0, 80}})
        EXPECT_THAT((Points{contour[2 * at], contour[2 * at + 1]}), testing::ElementsAre(x, y)) << at;
    EXPECT_EQ(std::ranges::count(contour, -1), 0);
    contour.assign(1440, -1);
    m.breast_masking_by_boundary_tracing(all_padding.get(), breast, nullptr);
    EXPECT_THAT((Points{contour[0], contour[1]}), testing::ElementsAre(0, 0)) << "padding up to the corner";
    m.breast_masking_by_boundary_tracing(one_row.get(), breast, nullptr);
    EXPECT_EQ(std::ranges::max(contour), 11) << "a field of one row: up to the padding";
    m.params.contour = &other;
    m.breast_masking_by_boundary_tracing(image.get(), breast, nullptr);
    EXPECT_TRUE(other.empty());
}

TEST(ContourFile, ShowsTheEndsOfRunsOrThePoints) {
    OpenContour m;
    Image image(FORMAT_UNSIGNED, 16, 4, 2, true);
    Mask mask = mask_of(std::vector<RowRun>{{1, 0, 2}, {0, 3, 90}, {77, 1, 1}});
    Points points{3, 1, -1, 0, 4, 0, 0, 2, 1, 0, 1, 0, 2};
    m.params.contour = &points;
    const auto picture = [&](Image& of, Mask* outline) {
        const std::string name = testing::TempDir() + "contour_picture.pgm";
        m.save_contour_to_file(name, &of, outline);
        std::ifstream file(name);
        return std::string(std::istreambuf_iterator(file), {});
    };
    EXPECT_EQ(picture(image, &mask), "P2\n4\n2\n65535\n65535\t65535\t65535\t0\t\n0\t65535\t0\t65535\t\n");
    EXPECT_EQ(picture(image, nullptr), "P2\n4\n2\n65535\n65535\t0\t65535\t65535\t\n65535\t65535\t65535\t0\t\n");
    m.save_contour_to_file("x.pgm", nullptr, nullptr);
}

}  // namespace
}  // namespace Norvane::Tests
