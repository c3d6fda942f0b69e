// SPDX-License-Identifier: Apache-2.0
#include "support/picture.h"

namespace Norvane::Tests {
namespace {

struct Kernel {
    int size, divisor, cells[25];
};

/// Written out a second time, from the definitions of the field.
constexpr Kernel kKernels[] = {
    {3, 1, {-1, 0, 1, -1, 0, 1, -1, 0, 1}},
    {3, 1, {1, 1, 1, 0, 0, 0, -1, -1, -1}},
    {3, 1, {-1, 0, 1, -2, 0, 2, -1, 0, 1}},
    {3, 1, {1, 2, 1, 0, 0, 0, -1, -2, -1}},
    {3, 1, {-1, -1, -1, -1, 8, -1, -1, -1, -1}},
    {5, 1, {-1, -3, -4, -3, -1, -3, 0, 6, 0, -3, -4, 6, 20, 6, -4, -3, 0, 6, 0, -3, -1, -3, -4, -3, -1}},
    {3, 16, {1, 2, 1, 2, 4, 2, 1, 2, 1}},
    {5, 571, {2, 7, 12, 7, 2, 7, 31, 52, 31, 7, 12, 52, 127, 52, 12, 7, 31, 52, 31, 7, 2, 7, 12, 7, 2}},
    {3, 1, {-1, -1, -1, -1, 8, -1, -1, -1, -1}},
    {5, 1, {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 24, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}},
    {3, 8, {-1, -1, -1, -1, 16, -1, -1, -1, -1}},
};

/// Compares filter `id` with the sum over its kernel, turned by 180 degrees.
void expect_convolution(const Picture& picture, int id) {
    const Kernel& k = kKernels[id];
    const auto convolved = [&](const Picture& src, std::int64_t x, std::int64_t y) {
        double sum = 0.0;
        for (int i = 0; i < k.size * k.size; ++i)
            sum += k.cells[i] * src.at_or_zero(x + k.size / 2 - i % k.size, y + k.size / 2 - i / k.size);
        return src.rounded(sum / k.divisor);
    };
    expect_call(
        picture, [id](auto* src, auto* dst) { iplFixedFilter(src, dst, id); }, convolved,
        "filter " + std::to_string(id) + ", depth " + std::to_string(picture.depth.depth));
}

TEST(FixedFilter, EqualsTheConvolutionAtEveryDepth) {
    Random random(1);
    for (const Depth& depth : {k8U, k16U, k8S, k16S, k32S, k32F})
        for (const auto& [width, height] : {std::pair{1U, 1U}, {1U, 6U}, {7U, 1U}, {2U, 2U}, {19U, 5U}, {66U, 4U}})
            for (int id = 0; id < 11; ++id) expect_convolution(random_picture(random, depth, width, height), id);
}

TEST(FixedFilter, AddsFloatProductsInDoubleInTheOrderOfTheKernel) {
    // 2^60 swallows the 1 that follows it and not the one that comes after it has been taken back. The first kernel
    // cell meets the pixel at the lower right: -big, -3 (lost), +big, -5.
    const double big = std::ldexp(1.0, 60), samples[] = {5, 0, 0, 0, 0, 0, -big, 3, big};
    Picture src(k32F, 3, 3, [&](auto x, auto y) { return samples[3 * y + x]; }), dst = src;
    iplFixedFilter(src.get(), dst.get(), 4);
    EXPECT_EQ(-5.0, dst.at(1, 1));
    // Whole numbers whose sums single precision does not hold, by far or hardly.
    for (const auto& [id, base] : {std::pair{9, 3000001}, {7, 32003}})
        expect_convolution({k32F, 20, 9, [&](auto x, auto y) { return base + (7 * x + 22 * y * y) % 90; }}, id);
}

struct Box {
    int cols, rows, anchor_x, anchor_y;
};

void blur(Picture& src, Picture& dst, const Box& box) {
    iplBlur(src.get(), dst.get(), box.cols, box.rows, box.anchor_x, box.anchor_y);
}

TEST(Blur, EqualsThePlainMeanAtEveryDepth) {
    Random random(2);
    // The last ones lie at the limit of the division by reciprocal, and beyond it.
    const Box boxes[] = {{1, 1, 0, 0},  {2, 2, 1, 1},   {3, 3, 1, 1},     {31, 31, 15, 15},   {5, 2, -3, 7},
                         {2, 9, 40, 0}, {1, 4, 0, -90}, {2, 16384, 1, 3}, {240, 150, 120, 75}};
    for (const Depth& depth : {k8U, k16U, k8S, k16S, k32F})
        for (const auto& [width, height] : {std::pair{1U, 1U}, {1U, 9U}, {18U, 1U}, {37U, 6U}})
            for (const Box& box : boxes) {
                const auto mean = [&](const Picture& src, std::int64_t x, std::int64_t y) {
                    double sum = 0.0;
                    for (int j = 0; j < box.rows; ++j)
                        for (int i = 0; i < box.cols; ++i)
                            sum += src.at_or_zero(x - box.anchor_x + i, y - box.anchor_y + j);
                    return src.rounded(sum / (box.cols * box.rows));
                };
                expect_call(
                    random_picture(random, depth, width, height),
                    [&](auto* s, auto* d) { iplBlur(s, d, box.cols, box.rows, box.anchor_x, box.anchor_y); }, mean,
                    "box " + std::to_string(box.cols) + " x " + std::to_string(box.rows));
            }
}

Picture white_picture(unsigned width, unsigned height) {
    return {k16U, width, height, [](auto, auto) { return 65535.0; }};
}

TEST(Blur, TakesAnyBoxWithoutOverflow) {
    constexpr int kMost = std::numeric_limits<int>::max();
    Picture src = white_picture(5, 3), dst = src;
    for (const Box& box :
         {Box{kMost, kMost, 0, 0}, Box{kMost, kMost, kMost, kMost}, Box{1, 1, -kMost - 1, -kMost - 1}}) {
        blur(src, dst, box);
        EXPECT_EQ(kIplOk, iplGetErrStatus());
        EXPECT_EQ(0.0, dst.at(2, 1));
    }
    for (const Box& box : {Box{0, 1, 0, 0}, Box{1, 0, 0, 0}}) {
        blur(src, dst, box);
        EXPECT_EQ(kIplBadArgument, iplGetErrStatus());
    }
}

TEST(Blur, RoundsTiesUpAtEveryLevelAndHoldsTheLargestSums) {
    constexpr int n = 98;  // its reciprocal is rounded down
    Picture src(k16U, n, 2000, [](auto x, auto y) { return 32 * y + x % 2; }), dst = src;
    blur(src, dst, {n, 1, n / 2, 0});
    for (unsigned y = 0; y < 2000; ++y) ASSERT_EQ(32 * y + 1, dst.at(n / 2, y));
    for (const int rows : {32768 / 256, 40000 / 256}) {
        Picture white = white_picture(256, static_cast<unsigned>(rows));
        blur(white, white, {256, rows, 128, 64});
        EXPECT_EQ(65535, white.at(128, 64)) << rows << " rows";
    }
}

}  // namespace
}  // namespace Norvane::Tests
