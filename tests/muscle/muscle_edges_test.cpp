// SPDX-License-Identifier: Apache-2.0
#include "muscle/muscle_edges.h"
#include "support/wedge.h"

namespace Norvane::Tests {
namespace {

/// First and last masked column of each row of the region, gaps included, in the region's columns.
std::map<unsigned, std::pair<int, int>> spans_in(const Image& roi, const Mask& mask) {
    std::map<unsigned, std::pair<int, int>> spans;
    for (const RowRun& r : runs_of(mask)) {
        if (r.row < roi.GetOffY() || r.row - roi.GetOffY() >= roi.GetHeight()) continue;
        const int off_x = static_cast<int>(roi.GetOffX()), last = static_cast<int>(r.last) - off_x;
        spans.try_emplace(r.row - roi.GetOffY(), static_cast<int>(r.first) - off_x, last).first->second.second = last;
    }
    return spans;
}

/// The darkest 24 % end here, by sorting. A span left of the region counts its column 0.
unsigned plain_background(const Image& roi, const Mask& mask) {
    std::vector<unsigned> values;
    for (const auto& [row, span] : spans_in(roi, mask)) {
        const int end = std::clamp(span.second, 0, static_cast<int>(roi.GetWidth()) - 1);
        for (int x = std::max(span.first, 0); x <= end; ++x) values.push_back(grey(roi, static_cast<unsigned>(x), row));
    }
    std::ranges::sort(values);
    const auto target = static_cast<std::size_t>(static_cast<float>(values.size()) * 0.24F);
    return target == 0 ? 0 : values[target - 1];
}

/// Edge magnitude of one pixel as its definition says it, with a clipped window.
unsigned plain_magnitude(const Image& roi, int x, int y, float kernel_sum, float tan_min, float tan_max) {
    const int w = static_cast<int>(roi.GetWidth()), h = static_cast<int>(roi.GetHeight());
    const auto at = [&](int cx, int cy) { return grey(roi, static_cast<unsigned>(cx), static_cast<unsigned>(cy)); };
    const int top = std::max(y - 4, 0), left = std::max(x - 4, 0), right = std::min(x + 4, w - 1);
    if (at(left, top) == 0 || at(right, top) == 0) return 0;
    float gx = 0.0F, gy = 0.0F;
    for (int cy = top; cy <= std::min(y + 4, h - 1); ++cy) {
        for (int cx = left; cx <= right; ++cx) {
            const int dx = cx - x, dy = cy - y;
            if (dx == 0 && dy == 0) continue;
            const auto squares = static_cast<float>(dx * dx + dy * dy), p = static_cast<float>(at(cx, cy));
            gx += p * (static_cast<float>(dx) / squares);
            gy += p * (static_cast<float>(dy) / squares);
        }
    }
    gx /= kernel_sum;
    gy /= kernel_sum;
    if (gx == 0.0F || !(tan_min < gy / gx) || !(gy / gx < tan_max)) return 0;
    return static_cast<unsigned>(std::sqrt(static_cast<double>(gx * gx + gy * gy))) & 0xFFFFU;
}

TEST(PectEdge, EqualsThePlainDefinition) {
    Random random(5);
    for (int round = 0; round < 60; ++round) {
        const unsigned width = 12 + random.below(40), height = 11 + random.below(25);
        const bool coarse = random.chance(3);  // few grey levels and zeros: gradients exactly on the limits
        const auto roi = grey_image(width, height, [&](unsigned x, unsigned y) {
            return coarse ? 6000 * random.below(4) : 500 * ((x + y) / 7) + random.below(random.chance(50) ? 1 : 3000);
        });
        roi->SetOffX(random.below(30));
        roi->SetOffY(random.below(10));
        Mask mask = random.chance(2) ? rectangle(3, 60, 2, 40) : random_mask(random, 60, 45);
        const int side = random.between(0, 3);  // with one the detector's own settings, else any
        const int margin = side < 2 ? 5 : random.between(0, 6);
        const int low = side == 0 ? -60 : side == 1 ? 0 : random.between(-89, 88);
        const int high = side == 0 ? 0 : side == 1 ? 60 : random.between(low + 1, 89);
        const float fraction = side > 1 && random.chance(2) ? 1.0F : 0.08F;

        std::vector<float> kernel(162);
        const float sum = write_kernel(4, 4, kernel);
        const auto tangent = [](int a) { return static_cast<float>(std::tan(a * kPi / 180)); };
        const unsigned background = plain_background(*roi, mask);
        EXPECT_EQ(background, background_threshold(roi.get(), &mask, 0.24F)) << round;
        auto plain = grey_image(width, height);
        for (const auto& [row, span] : spans_in(*roi, mask)) {
            const int y = static_cast<int>(row);
            if (y < margin || y >= static_cast<int>(height) - margin) continue;
            for (int x = std::max(span.first, margin); x <= std::min(span.second, static_cast<int>(width) - margin - 1);
                 ++x) {
                const auto column = static_cast<unsigned>(x);
                if (grey(*roi, column, row) < background) continue;
                set_grey(*plain, column, row, plain_magnitude(*roi, x, y, sum, tangent(low), tangent(high)));
            }
        }
        const unsigned kept_from = brightest_level(plain.get(), fraction);
        std::vector<std::uint16_t> expected = pixels_of(*plain);
        for (std::uint16_t& p : expected) p = p >= kept_from ? 65535 : 0;

        const EdgeLimits own = muscle_edge_limits(static_cast<IMAGE_SIDE>(side));
        const auto edge = muscle_edges(roi.get(), &mask, side < 2 ? own : EdgeLimits{margin, fraction, {low, high}});
        ASSERT_NE(nullptr, edge);
        EXPECT_EQ(expected, pixels_of(*edge)) << round;
        EXPECT_EQ(roi->GetOffX(), edge->GetOffX());
        EXPECT_EQ(228.0F, edge->GetPixelSize());
    }
}

TEST(PectEdge, HasItsExactValuesAtTheLimits) {
    std::vector<float> kernel(162);
    EXPECT_EQ(34.73653030395508, double{write_kernel(4, 4, kernel)});
    EXPECT_EQ((std::vector{0.0F, 0.0F, 4.0F / 25.0F, 3.0F / 25.0F}),
              (std::vector{kernel[80], kernel[81], kernel[142], kernel[143]}));  // the centre and (4, 3)
    // The extreme fractions of the two percentiles are each other's reverse.
    const auto image = grey_image(10, 10, [](unsigned x, unsigned y) { return 100 + y * 10 + x; });
    Mask mask = rectangle(0, 9, 0, 9);
    for (const auto& [fraction, darkest, brightest] : {std::tuple(1.0F, 65535, 1), std::tuple(0.0F, 1, 65535),
                                                       std::tuple(0.24F, 123, 176), std::tuple(0.08F, 107, 192)}) {
        EXPECT_EQ(darkest, background_threshold(image.get(), &mask, fraction));
        EXPECT_EQ(brightest, brightest_level(image.get(), fraction));
    }
    Image no_buffer(FORMAT_UNSIGNED, 16U, 30, 30, false);
    const EdgeLimits good{5, 0.08F, {0, 60}};
    for (Image* unusable : {static_cast<Image*>(nullptr), &no_buffer})
        EXPECT_EQ(nullptr, muscle_edges(unusable, &mask, good));
    EXPECT_EQ(nullptr, muscle_edges(image.get(), nullptr, good));
    for (const EdgeLimits& bad :
         {EdgeLimits{-1, 0.08F, {0, 60}}, {5, 0.08F, {60, 60}}, {5, 0.08F, {-90, 60}}, {5, 0.08F, {0, 90}}})
        EXPECT_EQ(nullptr, muscle_edges(image.get(), &mask, bad)) << bad.angles.first << ".." << bad.angles.last;
}

}  // namespace
}  // namespace Norvane::Tests
