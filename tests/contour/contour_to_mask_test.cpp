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
        unsigned count = 0, *pairs = nullptr;
        frame.GetSegments(static_cast<unsigned>(y), count, pairs);
        const long first = count == 0 ? 0L : pairs[0], last = count == 0 ? -1L : pairs[2 * count - 1];
        frame.ClearSegments(pairs);
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
    struct Case {
        int side;
        unsigned short edge;
        Points down, across, up;  // points 0, 360 and 719; those at the ends are clamped to the image
    };
    for (const Case& c : {Case{1, 0, {0, 60}, {40, 30}, {0, 0}}, Case{0, 99, {99, 0}, {59, 30}, {99, 60}}}) {
        OpenContour m(c.side);
        m.contourState->edgeColumn = c.edge;
        m.contourState->centreRow = 30;
        const auto image = grey_image(100, 61);
        image->SetOffX(1000);
        image->SetOffY(2000);
        Contour contour(720, 40.0F), empty;
        Points points(1440), other(7);
        Mask out, polygon;
        m.params.contourOutput = true;
        for (Points* list : {&points, &other}) {
            m.params.contour = list;
            EXPECT_EQ(m.write_half_contour_to_mask_opt(contour, &out, nullptr, image.get()), 0.0);
        }
        const auto point = [&](std::size_t k) { return Points{points[2 * k] - 1000, points[2 * k + 1] - 2000}; };
        EXPECT_THAT((std::array{point(0), point(360), point(719)}), testing::ElementsAre(c.down, c.across, c.up));
        EXPECT_EQ(m.write_half_contour_to_mask_opt(contour, &out, nullptr, nullptr), 0.0);
        EXPECT_TRUE(other.empty() && runs_of(out).empty());
        m.params.contourOutput = false;
        const double area = m.write_half_contour_to_mask_opt(contour, &out, nullptr, image.get());
        EXPECT_EQ(area, 1.0 + polygon.GenerateFromClosedPolygon(points, nullptr, nullptr));
        EXPECT_EQ(runs_of(out), runs_of(polygon));
        EXPECT_EQ(m.write_half_contour_to_mask_opt(empty, &out, nullptr, image.get()), 1.0);
    }
}

}  // namespace
}  // namespace Norvane::Tests
