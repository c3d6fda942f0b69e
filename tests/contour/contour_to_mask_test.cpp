// SPDX-License-Identifier: Apache-2.0
#include "contour/polar.h"
#include "contour_fixture.h"

#include <gtest/gtest.h>

namespace Norvane::Tests {
namespace {

/// Every pixel of every frame row by itself.
double write_slowly(const std::vector<float>& contour, const OpenContour& m, const Mask& frame, const Image& image,
                    Mask& out) {
    const AcosTable table(3600);
    const ContourState& s = *m.contourState;
    const long width = image.GetWidth();
    double area = 1.0;
    const unsigned off_y = image.GetOffY();
    const unsigned y0 = frame.GetMinY() > off_y ? frame.GetMinY() - off_y : 0;
    const unsigned y1 = frame.GetMaxY() > off_y ? frame.GetMaxY() - off_y : 0;
    for (unsigned y = y0; y < y1; ++y) {
        unsigned count = 0, *pairs = nullptr;
        frame.GetSegments(y, count, pairs);
        if (count == 0) continue;
        const long first = pairs[0], last = pairs[2 * count - 1];
        frame.ClearSegments(pairs);
        const long dy = static_cast<long>(y) - s.centreRow;
        const int sy = dy <= 0 ? 1 : -1;
        const bool left = m.params.side == SIDE_CHEST_LEFT, right = m.params.side == SIDE_CHEST_RIGHT;
        const auto emit = [&](long start, long extent) {
            if (extent <= 0) return;
            out.AddSegment(y + off_y, image.GetOffX() + static_cast<unsigned>(start), static_cast<unsigned>(extent));
            area += static_cast<double>(extent);
        };
        long start = -1;
        for (long x = first; x <= last; ++x) {
            const long dx = x - s.edgeColumn;
            const float r = static_cast<float>(std::sqrt(static_cast<double>(dx * dx + dy * dy)));
            const float angle = polar_angle(static_cast<float>(dx), r, table, dx > 0 ? 1 : -1, sy);
            const int k = static_cast<int>(static_cast<double>(angle) * 720.0 / 3.141592653589793 - sy * 0.5);
            const int bin = right ? k - 360 : left ? (sy * 1440 + k) % 1440 + 360 : k;
            const int bins = static_cast<int>(contour.size());
            const bool inside = contour[static_cast<std::size_t>(std::clamp(bin, 0, bins - 1))] > r;
            if (inside && start < 0) start = x;
            if (!inside && start >= 0) emit(start, x - start), start = -1;
        }
        if (start >= 0) emit(start, width - (left ? first : right ? width - last - 1 : 0) - 1 - start);
    }
    return area;
}

TEST(PlainWriter, EqualsAnEvaluationPixelByPixel) {
    Random random(8);
    double written = 0;
    for (int round = 0; round < 200; ++round) {
        OpenContour m(static_cast<IMAGE_SIDE>(random.between(-1, 1)));
        auto image = grey_image(30 + random.below(60), 30 + random.below(60));
        image->SetOffX(random.below(3) * 7);
        image->SetOffY(random.below(3) * 5);
        Mask frame = random_mask(random, image->GetWidth(), image->GetHeight());
        m.state().edgeColumn = static_cast<unsigned short>(random.below(image->GetWidth()));
        m.state().centreRow = static_cast<unsigned short>(image->GetHeight() / 2);
        std::vector<float> contour(random.chance(5) ? 1 + random.below(900) : 720);
        const float base = static_cast<float>(random.below(50));
        for (float& r : contour) r = base + static_cast<float>(random.below(20)) * 0.5F - 3.0F;
        Mask out = rectangle(1, 2, 1, 1), expected = out;
        const double area = write_slowly(contour, m, frame, *image, expected);
        ASSERT_EQ(m.write_half_contour_to_mask(contour, &out, &frame, image.get()), area) << round;
        ASSERT_EQ(runs_of(out), runs_of(expected)) << round;
        written += area;
    }
    EXPECT_GT(written, 50000.0);
}

TEST(PlainWriter, ClosesARunThatIsOpenAtTheEndOfTheRow) {
    struct Case {
        IMAGE_SIDE side;
        unsigned first, last, edge, run_first, run_last;
    };
    for (const Case& c : {Case{SIDE_CHEST_LEFT, 10, 99, 10, 10, 89}, Case{SIDE_CHEST_RIGHT, 0, 89, 89, 0, 89}}) {
        OpenContour m(c.side);
        m.state().edgeColumn = static_cast<unsigned short>(c.edge);
        m.state().centreRow = 10;
        const auto image = grey_image(100, 20);
        Mask frame = rectangle(c.first, c.last, 5, 6), out;
        std::vector<float> contour(720, 500.0F);
        EXPECT_EQ(m.write_half_contour_to_mask(contour, &out, &frame, image.get()), 1.0 + c.run_last - c.run_first);
        EXPECT_EQ(runs_of(out), (std::vector<RowRun>{{5, c.run_first, c.run_last}})) << "the last row is not written";
    }
}

TEST(PolygonWriter, PutsThePointsOnTheContourInsideTheImage) {
    for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
        OpenContour m(side);
        const bool left = side == SIDE_CHEST_LEFT;
        m.state().edgeColumn = left ? 0 : 99;
        m.state().centreRow = 30;
        auto image = grey_image(100, 61);
        image->SetOffX(1000);
        image->SetOffY(2000);
        std::vector<float> contour(720, 40.0F);
        std::vector<int> points(1440), other(7);
        Mask out;
        m.params.contourOutput = true;
        m.params.contour = &points;
        EXPECT_EQ(m.write_half_contour_to_mask_opt(contour, &out, nullptr, image.get()), 0.0);
        const auto point = [&](std::size_t k) { return std::pair(points[2 * k] - 1000, points[2 * k + 1] - 2000); };
        EXPECT_EQ(point(360), (left ? std::pair(40, 30) : std::pair(59, 30)));
        EXPECT_EQ(point(0), (left ? std::pair(0, 60) : std::pair(99, 0))) << "clamped to the image";
        EXPECT_EQ(point(719), (left ? std::pair(0, 0) : std::pair(99, 60)));
        m.params.contour = &other;
        EXPECT_EQ(m.write_half_contour_to_mask_opt(contour, &out, nullptr, image.get()), 0.0);
        EXPECT_TRUE(other.empty());
        EXPECT_TRUE(runs_of(out).empty());

        m.params.contourOutput = false;
        Mask polygon;
        const double area = m.write_half_contour_to_mask_opt(contour, &out, nullptr, image.get());
        EXPECT_EQ(area, 1.0 + polygon.GenerateFromClosedPolygon(points, nullptr, nullptr));
        EXPECT_EQ(runs_of(out), runs_of(polygon));
        std::vector<float> empty;
        EXPECT_EQ(m.write_half_contour_to_mask_opt(empty, &out, nullptr, image.get()), 1.0);
    }
}

}  // namespace
}  // namespace Norvane::Tests
