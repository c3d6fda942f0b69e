// SPDX-License-Identifier: Apache-2.0
#include "contour/contour_to_mask.h"
#include "contour/polar.h"
#include "support/open_contour.h"

namespace Norvane::Tests {
namespace {

/// Every pixel of every frame row by itself; the last row of the frame is not written.
double write_slowly(const PlacedContour& placed, const Mask& frame, Mask& out) {
    const auto& [contour, state, side, image] = placed;
    const AcosTable table(3600);
    const long width = image.GetWidth(), off_x = image.GetOffX(), off_y = image.GetOffY();
    const bool left = side == SIDE_CHEST_LEFT, right = side == SIDE_CHEST_RIGHT;
    double area = 1.0;
    const long top = static_cast<long>(frame.GetMinY()) - off_y, bottom = static_cast<long>(frame.GetMaxY()) - off_y;
    for (long y = std::max(top, 0L); y < bottom; ++y) {
        const auto [first, last] = extent_of(frame, y, {0, -1});
        const long dy = y - state.centreRow;
        const int sy = dy <= 0 ? 1 : -1;
        long start = -1;
        for (long x = first; x <= last + 1; ++x) {
            const long dx = x - state.edgeColumn;
            const auto r = static_cast<float>(std::sqrt(static_cast<double>(dx * dx + dy * dy)));
            const float angle = polar_angle(static_cast<float>(dx), r, table, dx > 0 ? 1 : -1, sy);
            const int k = static_cast<int>(static_cast<double>(angle) * 720.0 / 3.141592653589793 - sy * 0.5);
            const int bin = right ? k - 360 : left ? (sy * 1440 + k) % 1440 + 360 : k;
            const int last_bin = static_cast<int>(contour.size()) - 1;
            const bool inside = x <= last && contour[static_cast<std::size_t>(std::clamp(bin, 0, last_bin))] > r;
            if (inside && start < 0) start = x;
            if (inside || start < 0) continue;
            // A run that is open at the end of the row goes on to the image's end less the columns behind the wall.
            const long end = x <= last ? x : width - (left ? first : right ? width - last - 1 : 0) - 1;
            if (end > start) {
                out.AddSegment(static_cast<unsigned>(y + off_y), static_cast<unsigned>(start + off_x),
                               static_cast<unsigned>(end - start));
                area += static_cast<double>(end - start);
            }
            start = -1;
        }
    }
    return area;
}

TEST(PlainWriter, EqualsAnEvaluationPixelByPixel) {
    Random random(8);
    double written = 0;
    for (int round = 0; round < 200; ++round) {
        const auto side = static_cast<IMAGE_SIDE>(random.between(-1, 1));
        ContourState state;
        const auto image = grey_image(30 + random.below(60), 30 + random.below(60));
        image->SetOffX(random.below(3) * 7);
        image->SetOffY(random.below(3) * 5);
        Mask frame = random_mask(random, image->GetWidth(), image->GetHeight());
        state.edgeColumn = static_cast<unsigned short>(random.below(image->GetWidth()));
        state.centreRow = static_cast<unsigned short>(image->GetHeight() / 2);
        Contour contour(random.chance(5) ? 1 + random.below(900) : 720);
        const float base = static_cast<float>(random.below(50));
        for (float& r : contour) r = base + static_cast<float>(random.below(20)) * 0.5F - 3.0F;
        Mask out = rectangle(1, 2, 1, 1), expected = out;
        const PlacedContour placed{contour, state, side, *image};
        const double area = write_slowly(placed, frame, expected);
        ASSERT_EQ(write_pixels_inside(placed, frame, out), area) << round;
        ASSERT_EQ(runs_of(out), runs_of(expected)) << round;
        written += area;
    }
    EXPECT_GT(written, 50000.0);
    ContourState state;  // a row and a radius beyond any image
    state.centreRow = 40;
    const auto image = grey_image(50, 50);
    const Contour contour(720, 9000.5F);
    const Mask frame = mask_of({{41, 3, 30000}, {0xFFFFFF, 0, 3}});
    Mask out;
    ASSERT_EQ(write_pixels_inside({contour, state, SIDE_CHEST_LEFT, *image}, frame, out), 8999.0);
    ASSERT_EQ(runs_of(out), (Runs{{41, 3, 9001}}));
}

TEST(PolygonWriter, PutsThePointsOnTheContourInsideTheImage) {
    // Points 0, 360 and 719; those at the ends are clamped to the image.
    const std::pair<IMAGE_SIDE, Points> table[] = {{SIDE_CHEST_LEFT, {0, 60, 40, 30, 0, 0}},
                                                   {SIDE_CHEST_RIGHT, {99, 0, 59, 30, 99, 60}}};
    const auto image = grey_image(100, 61);
    image->SetOffX(1000);
    image->SetOffY(2000);
    for (const auto& [side, expected] : table) {
        ContourState state;
        state.edgeColumn = side == SIDE_CHEST_LEFT ? 0 : 99;
        state.centreRow = 30;
        Contour contour(720, 40.0F);
        const PlacedContour placed{contour, state, side, *image};
        const Points points = points_of(placed);
        Points seen;
        for (const std::size_t k : {0U, 360U, 719U})
            seen.insert(seen.end(), {points[2 * k] - 1000, points[2 * k + 1] - 2000});
        EXPECT_EQ(seen, expected);
        Mask out, polygon;
        EXPECT_EQ(write_polygon(placed, out), 1.0 + polygon.GenerateFromClosedPolygon(points, nullptr, nullptr));
        EXPECT_EQ(runs_of(out), runs_of(polygon));
        EXPECT_EQ(OpenContour(side).write_half_contour_to_mask_opt(contour, &out, nullptr, nullptr), 1.0);
    }
}

}  // namespace
}  // namespace Norvane::Tests
