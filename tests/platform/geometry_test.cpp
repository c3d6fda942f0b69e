// SPDX-License-Identifier: Apache-2.0
#include "support/picture.h"

namespace Norvane::Tests {
namespace {

/// dst : src, after a blur over `mask` pixels (none below 2).
struct Axis {
    int dst, src, mask;
};
struct Scaling {
    Axis x, y;
};

/// The box mean around (x, y). The outermost row and column repeat; what is repeated is the blurred pixel.
double blurred(const Picture& src, std::int64_t x, std::int64_t y, const Scaling& s) {
    const std::int64_t last_x = std::int64_t{src.width()} - 1, last_y = std::int64_t{src.height()} - 1;
    const int cols = std::max(s.x.mask, 1), rows = std::max(s.y.mask, 1);
    const std::int64_t left = std::min(x, last_x) - cols / 2, top = std::min(y, last_y) - rows / 2;
    double sum = 0.0;
    for (int j = 0; j < rows; ++j)
        for (int i = 0; i < cols; ++i)
            sum += src.at_or_zero(std::clamp<std::int64_t>(left + i, 0, last_x),
                                  std::clamp<std::int64_t>(top + j, 0, last_y));
    return sum / (double(cols) * rows);
}

double scaled(const Picture& src, unsigned x, unsigned y, const Scaling& s) {
    const double px = double(x) * s.x.src / s.x.dst, py = double(y) * s.y.src / s.y.dst;
    const auto ix = static_cast<std::int64_t>(px), iy = static_cast<std::int64_t>(py);
    const auto across = [&](std::int64_t row) {
        const double a = blurred(src, ix, row, s), b = blurred(src, ix + 1, row, s);
        return a + (b - a) * (px - double(ix));
    };
    const double upper = across(iy), lower = across(iy + 1);
    return src.rounded(upper + (lower - upper) * (py - double(iy)));
}

void scale(Picture src, Picture& dst, const Scaling& s) {
    const auto& [x, y] = s;
    if (x.mask != 0 || y.mask != 0)
        iplDecimateBlur(src.get(), dst.get(), x.dst, x.src, y.dst, y.src, 1, x.mask, y.mask);
    else
        (x.dst > x.src ? iplZoom : iplDecimate)(src.get(), dst.get(), x.dst, x.src, y.dst, y.src, 1);
}

TEST(Scaling, EqualsBilinearInterpolationAtEveryDepth) {
    Random random(8);
    const Axis axes[] = {{32768, 32768, 0}, {10061, 32768, 0}, {32768, 10923, 0}, {3, 1, 0},
                         {7, 2, 0},         {1, 3, -4},        {10061, 32768, 3}, {16384, 32768, 2},
                         {1, 5, 4},         {2, 3, 7},         {25000, 32768, 9}, {1, 1000, 5},
                         {3, 4, 8},         {3, 4, 10},        {2, 3, 190},       {2, 3, 180}};
    for (const Depth& depth : {k8U, k16U, k8S, k16S, k32F})
        for (const auto& [width, height] : {std::pair{1U, 1U}, {1U, 12U}, {33U, 1U}, {41U, 26U}})
            for (std::size_t i = 0; i + 1 < std::size(axes); ++i) {
                const Scaling s{axes[i], axes[i + 1]};
                const bool is_wide = s.y.mask > 100;  // slow to check
                const Picture src = random_picture(random, depth, width, height);
                Picture dst(depth, 1 + random.below(is_wide ? 3 : 20), 1 + random.below(is_wide ? 2 : 12)),
                    before = dst;
                scale(src, dst, s);
                ASSERT_EQ(kIplOk, iplGetErrStatus());
                const auto expected = [&](auto x, auto y) { return scaled(src, x, y, s); };
                expect_samples(dst, before, expected, "axes from " + std::to_string(i));
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
        scale({k16U, 9, 5, white}, dst, {{1, 2, mask}, {1, 2, mask}});
        expect_samples(dst, before, white, std::to_string(mask));
    }
}

TEST(Scaling, TheMeanOfANegativeZeroIsZero) {
    Picture src(k32F, 2, 2), dst(k32F, 1, 1);
    for (const unsigned i : {0U, 1U, 2U, 3U}) src.put(i % 2, i / 2, i == 0 ? -0.0 : -5.0);
    iplDecimate(src.get(), dst.get(), 1, 2, 1, 2, 1);
    EXPECT_TRUE(std::signbit(dst.at(0, 0)));
    iplDecimateBlur(src.get(), dst.get(), 1, 2, 1, 2, 1, 1, 1);
    EXPECT_FALSE(std::signbit(dst.at(0, 0)));
}

}  // namespace
}  // namespace Norvane::Tests
