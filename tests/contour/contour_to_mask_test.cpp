// SPDX-License-Identifier: Apache-2.0
#include "contour/polar.h"
#include "contour_fixture.h"

namespace Norvane::Tests {
namespace {

/// Every pixel of every frame row by itself; the last row of the frame is not written.
double write_slowly(const Contour& contour, const OpenContour& m, const Mask& frame, const Image& image, Mask& out) {
    const AcosTable table(3600);
    const long width = image.GetWidth(), off_x = image.GetOffX(), off_y = image.GetOffY();
    const bool left = m.params.side == SIDE_CHEST_LEFT, right = m.params.side == SIDE_CHEST_RIGHT;
    double area = 1.0;
    for (long y = std::max(frame.GetMinY() - off_y, 0L); y < frame.GetMaxY() - off_y; ++y) {
        const auto [first, last] = extent_of(frame, y, {0, -1});
        const long dy = y - m.contourState->centreRow;
        const int sy = dy <= 0 ? 1 : -1;
        long start = -1;
        for (long x = first; x <= last + 1; ++x) {
            const long dx = x - m.contourState->edgeColumn;
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
        OpenContour m(random.between(-1, 1));
        const auto image = grey_image(30 + random.below(60), 30 + random.below(60));
        image->SetOffX(random.below(3) * 7);
        image->SetOffY(random.below(3) * 5);
        Mask frame = random_mask(random, image->GetWidth(), image->GetHeight());
        m.contourState->edgeColumn = static_cast<unsigned short>(random.below(image->GetWidth()));
        m.contourState->centreRow = static_cast<unsigned short>(image->GetHeight() / 2);
        Contour contour(random.chance(5) ? 1 + random.below(900) : 720);
        const float base = static_cast<float>(random.below(50));
        for (float& r : contour) r = base + static_cast<float>(random.below(20)) * 0.5F - 3.0F;
        Mask out = rectangle(1, 2, 1, 1), expected = out;
        const double area = write_slowly(contour, m, frame, *image, expected);
        ASSERT_EQ(m.write_half_contour_to_mask(contour, &out, &frame, image.get()), area) << round;
        ASSERT_EQ(runs_of(out), runs_of(expected)) << round;
        written += area;
    }
    EXPECT_GT(written, 50000.0);
    OpenContour m(SIDE_CHEST_LEFT);  // a row and a radius beyond any image
    m.contourState->centreRow = 40;
    const auto image = grey_image(50, 50);
    Contour contour(720, 9000.5F);
    Mask frame = mask_of({{41, 3, 30000}, {0xFFFFFF, 0, 3}}), out;
    ASSERT_EQ(m.write_half_contour_to_mask(contour, &out, &frame, image.get()), 8999.0);
    ASSERT_EQ(runs_of(out), std::vector<RowRun>({{41, 3, 9001}}));
}

TEST(PolygonWriter, PutsThePointsOnTheContourInsideTheImage) {
    // Points 0, 360 and 719; those at the ends are clamped to the image.
    const std::array expected{Points{0, 60, 40, 30, 0, 0}, Points{99, 0, 59, 30, 99, 60}};
    for (const int side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
        const bool left = side == SIDE_CHEST_LEFT;
        OpenContour m(side);
        m.contourState->edgeColumn = left ? 0 : 99;
        m.contourState->centreRow = 30;
        const auto image = grey_image(100, 61);
        image->SetOffX(1000);
        image->SetOffY(2000);
        Contour contour(720, 40.0F), empty;
        Points points(1440), other(7), seen;
        Mask out, polygon;
        const auto write = [&](Contour& radii, Image* to, Points* list) {
            m.params.contour = list;
            m.params.contourOutput = list != nullptr;
            return m.write_half_contour_to_mask_opt(radii, &out, nullptr, to);
        };
        for (Points* list : {&points, &other}) EXPECT_EQ(write(contour, image.get(), list), 0.0);
        EXPECT_EQ(write(contour, nullptr, &other), 0.0);
        for (const std::size_t k : {0U, 360U, 719U})
            seen.insert(seen.end(), {points[2 * k] - 1000, points[2 * k + 1] - 2000});
        EXPECT_EQ(seen, expected[left ? 0 : 1]);
        EXPECT_TRUE(other.empty() && runs_of(out).empty());
        const double area = write(contour, image.get(), nullptr);
        EXPECT_EQ(area, 1.0 + polygon.GenerateFromClosedPolygon(points, nullptr, nullptr));
        EXPECT_EQ(runs_of(out), runs_of(polygon));
        EXPECT_EQ(write(empty, image.get(), nullptr), 1.0);
    }
}

}  // namespace
}  // namespace Norvane::Tests
