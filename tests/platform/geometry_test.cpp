// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "support/picture.h"

namespace Norvane::Tests {
namespace {

struct Scaling {
    int x_dst, x_src, y_dst, y_src, mask_x, mask_y;
};

/// The box mean around (x, y). The outermost row and column repeat; what is repeated is the blurred pixel.
double blurred(const Picture& src, std::int64_t x, std::int64_t y, const Scaling& s) {
    const std::int64_t last_x = std::int64_t{src.width()} - 1, last_y = std::int64_t{src.height()} - 1;
    const int cols = std::max(s.mask_x, 1), rows = std::max(s.mask_y, 1);
    const std::int64_t left = std::min(x, last_x) - cols / 2, top = std::min(y, last_y) - rows / 2;
    double sum = 0.0;
    for (int j = 0; j < rows; ++j)
        for (int i = 0; i < cols; ++i)
            sum += src.at_or_zero(std::clamp<std::int64_t>(left + i, 0, last_x),
                                  std::clamp<std::int64_t>(top + j, 0, last_y));
    return sum / (double(cols) * rows);
}

double scaled(const Picture& src, unsigned x, unsigned y, const Scaling& s) {
    const double px = double(x) * s.x_src / s.x_dst, py = double(y) * s.y_src / s.y_dst;
    const auto ix = static_cast<std::int64_t>(px), iy = static_cast<std::int64_t>(py);
    const auto across = [&](std::int64_t row) {
        const double a = blurred(src, ix, row, s), b = blurred(src, ix + 1, row, s);
        return a + (b - a) * (px - double(ix));
    };
    const double upper = across(iy), lower = across(iy + 1);
    return src.rounded(upper + (lower - upper) * (py - double(iy)));
}

void scale(Picture src, Picture& dst, const Scaling& s) {
    const auto plain = s.x_dst > s.x_src ? iplZoom : iplDecimate;
    if (s.mask_x != 0)
        iplDecimateBlur(src.get(), dst.get(), s.x_dst, s.x_src, s.y_dst, s.y_src, 1, s.mask_x, s.mask_y);
    else
        plain(src.get(), dst.get(), s.x_dst, s.x_src, s.y_dst, s.y_src, 1);
}

constexpr Scaling kScalings[] = {
    {32768, 32768, 32768, 32768, 0, 0},
    {10061, 32768, 10061, 32768, 0, 0},
    {10061, 32768, 10061, 32768, 3, 3},
    {16384, 32768, 16384, 32768, 2, 2},
    {32768, 10923, 32768, 16384, 0, 0},
    {3, 1, 7, 2, 0, 0},
    {1, 5, 2, 3, 4, 7},
    {25000, 32768, 30000, 32768, 9, 11},
    {1, 3, 1, 3, -4, 0},
    {2, 3, 2, 3, 190, 180},
    {1, 1000, 1, 1000, 5, 5},
    {3, 4, 3, 4, 8, 10},
};

TEST(Scaling, EqualsBilinearInterpolationAtEveryDepth) {
    Random random(8);
    for (const Depth& depth : {k8U, k16U, k8S, k16S, k32F})
        for (const auto& [width, height] : {std::pair{1U, 1U}, {1U, 12U}, {33U, 1U}, {41U, 26U}})
            for (const Scaling& s : kScalings) {
                const Picture src = random_picture(random, depth, width, height);
                const bool is_wide = s.mask_x > 100;  // slow to check
                Picture dst(depth, 1 + random.below(is_wide ? 3 : 20), 1 + random.below(is_wide ? 2 : 12)),
                    before = dst;
                scale(src, dst, s);
                ASSERT_EQ(kIplOk, iplGetErrStatus());
                expect_samples(
                    dst, before, [&](auto x, auto y) { return scaled(src, x, y, s); },
                    std::to_string(s.x_dst) + " : " + std::to_string(s.x_src) + ", mask " + std::to_string(s.mask_x));
            }
    Picture src = random_picture(random, k16U, 30, 20), dst(k16U, 30, 20);
    for (Picture* to : {&dst, &src}) iplDecimateBlur(src.get(), to->get(), 1, 3, 1, 3, 1, 3, 3);
    EXPECT_EQ(dst, src) << "over its source";
}

TEST(Scaling, AUniformImageStaysUniformUnderAnyMask) {
    constexpr int kMost = std::numeric_limits<int>::max();
    const auto white = [](auto, auto) { return 65535.0; };
    for (const int mask : {1, 181, 182, 3000, 1 << 24, kMost}) {
        Picture dst(k16U, 4, 3), before = dst;
        scale({k16U, 9, 5, white}, dst, {1, 2, 1, 2, mask, mask});
        expect_samples(dst, before, white, std::to_string(mask));
    }
}

}  // namespace
}  // namespace Norvane::Tests
