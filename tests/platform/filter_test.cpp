// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "platform/picture.h"

#include <array>

namespace Norvane::Tests {
namespace {

struct Kernel {
    int size, divisor;
    std::vector<int> cells;
};

/// Written out a second time, from the definitions of the field.
const std::array<Kernel, 11>& kernels() {
    static const std::array<Kernel, 11> all{{
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
    }};
    return all;
}

/// 0 outside.
double sample(const Picture& p, std::int64_t x, std::int64_t y) {
    if (x < 0 || y < 0 || x >= p.width() || y >= p.height()) return 0.0;
    return p.at(static_cast<std::size_t>(x), static_cast<std::size_t>(y));
}

double convolved(const Picture& src, unsigned x, unsigned y, const Kernel& k) {
    double sum = 0.0;
    for (int j = 0; j < k.size; ++j)
        for (int i = 0; i < k.size; ++i)
            sum += k.cells[static_cast<std::size_t>(j * k.size + i)] *
                   sample(src, std::int64_t{x} + k.size / 2 - i, std::int64_t{y} + k.size / 2 - j);
    return src.rounded(sum / k.divisor);
}

TEST(FixedFilter, EqualsTheConvolutionAtEveryDepth) {
    Random random(1);
    for (const Depth& depth : {k8U, k16U, k8S, k16S, k32S, k32F})
        for (const auto& [width, height] : {std::pair{1U, 1U}, {1U, 6U}, {7U, 1U}, {2U, 2U}, {19U, 5U}, {66U, 4U}})
            for (int id = 0; id < 11; ++id) {
                Picture src = random_picture(random, depth, width, height), dst(depth, width, height), before = dst;
                iplFixedFilter(src.get(), dst.get(), id);
                ASSERT_EQ(kIplOk, iplGetErrStatus());
                const Kernel& kernel = kernels()[static_cast<std::size_t>(id)];
                expect_samples(
                    dst, before, [&](auto x, auto y) { return convolved(src, x, y, kernel); },
                    "filter " + std::to_string(id));
                iplFixedFilter(src.get(), src.get(), id);  // in place
                EXPECT_EQ(dst, src);
            }
}

TEST(FixedFilter, AddsFloatProductsInDoubleInTheOrderOfTheKernel) {
    // 2^60 swallows the 1 that follows it and not the one that comes after it has been taken back. The first kernel
    // cell meets the pixel at the lower right.
    Picture src(k32F, 3, 3), dst(k32F, 3, 3);
    for (unsigned y = 0; y < 3; ++y)
        for (unsigned x = 0; x < 3; ++x) src.put(x, y, 0);
    const double big = std::ldexp(1.0, 60);
    src.put(2, 2, big);
    src.put(1, 2, 3);
    src.put(0, 2, -big);
    src.put(0, 0, 5);
    iplFixedFilter(src.get(), dst.get(), 4);  // -1 all around: -big, -3 (lost), +big, -5
    EXPECT_EQ(-5.0, dst.at(1, 1));
    // Whole numbers whose sums single precision does not hold, by far or hardly.
    for (const auto& [id, base] : {std::pair{9, 3000001}, {7, 32003}}) {
        Picture wide(k32F, 20, 9), out(k32F, 20, 9), before = out;
        for (unsigned y = 0; y < 9; ++y)
            for (unsigned x = 0; x < 20; ++x) wide.put(x, y, base + (7 * x + 22 * y * y) % 90);
        iplFixedFilter(wide.get(), out.get(), id);
        const Kernel& kernel = kernels()[static_cast<std::size_t>(id)];
        expect_samples(
            out, before, [&](auto x, auto y) { return convolved(wide, x, y, kernel); }, "whole numbers");
    }
}

struct Box {
    int cols, rows, anchor_x, anchor_y;
};

double box_mean(const Picture& src, unsigned x, unsigned y, const Box& box) {
    double sum = 0.0;
    for (std::int64_t v = std::int64_t{y} - box.anchor_y; v < std::int64_t{y} - box.anchor_y + box.rows; ++v)
        for (std::int64_t u = std::int64_t{x} - box.anchor_x; u < std::int64_t{x} - box.anchor_x + box.cols; ++u)
            sum += sample(src, u, v);
    return src.rounded(sum / (double{1} * box.cols * box.rows));
}

TEST(Blur, EqualsThePlainMeanAtEveryDepth) {
    Random random(2);
    // The last ones lie at the limit of the division by reciprocal, and beyond it.
    const Box boxes[] = {{1, 1, 0, 0},  {2, 2, 1, 1},   {3, 3, 1, 1},     {31, 31, 15, 15},   {5, 2, -3, 7},
                         {2, 9, 40, 0}, {1, 4, 0, -90}, {2, 16384, 1, 3}, {240, 150, 120, 75}};
    for (const Depth& depth : {k8U, k16U, k8S, k16S, k32F})
        for (const auto& [width, height] : {std::pair{1U, 1U}, {1U, 9U}, {18U, 1U}, {37U, 6U}})
            for (const Box& box : boxes) {
                Picture src = random_picture(random, depth, width, height), dst(depth, width, height), before = dst;
                iplBlur(src.get(), dst.get(), box.cols, box.rows, box.anchor_x, box.anchor_y);
                ASSERT_EQ(kIplOk, iplGetErrStatus());
                expect_samples(
                    dst, before, [&](auto x, auto y) { return box_mean(src, x, y, box); },
                    "box " + std::to_string(box.cols) + " x " + std::to_string(box.rows));
                iplBlur(src.get(), src.get(), box.cols, box.rows, box.anchor_x, box.anchor_y);
                EXPECT_EQ(dst, src);
            }
}

TEST(Blur, TakesAnyBoxWithoutOverflow) {
    constexpr int kMost = std::numeric_limits<int>::max();
    Picture src(k16U, 5, 3), dst(k16U, 5, 3);
    for (unsigned y = 0; y < 3; ++y)
        for (unsigned x = 0; x < 5; ++x) src.put(x, y, 65535);
    for (const Box& box :
         {Box{kMost, kMost, 0, 0}, Box{kMost, kMost, kMost, kMost}, Box{1, 1, -kMost - 1, -kMost - 1}}) {
        iplBlur(src.get(), dst.get(), box.cols, box.rows, box.anchor_x, box.anchor_y);
        EXPECT_EQ(kIplOk, iplGetErrStatus());
        EXPECT_EQ(0.0, dst.at(2, 1));
    }
    for (const auto& [cols, rows] : {std::pair{0, 1}, {1, 0}}) {
        iplBlur(src.get(), dst.get(), cols, rows, 0, 0);
        EXPECT_EQ(kIplBadArgument, iplGetErrStatus());
    }
}

TEST(Blur, RoundsTiesUpAtEveryLevelAndHoldsTheLargestSums) {
    constexpr int n = 98;  // its reciprocal is rounded down
    Picture src(k16U, n, 2000), dst(k16U, n, 2000);
    for (unsigned y = 0; y < 2000; ++y)
        for (unsigned x = 0; x < n; ++x) src.put(x, y, 32 * y + x % 2);
    iplBlur(src.get(), dst.get(), n, 1, n / 2, 0);
    for (unsigned y = 0; y < 2000; ++y) ASSERT_EQ(32 * y + 1, dst.at(n / 2, y));
    for (const unsigned rows : {32768U / 256, 40000U / 256}) {
        Picture white(k16U, 256, rows);
        for (unsigned y = 0; y < rows; ++y)
            for (unsigned x = 0; x < 256; ++x) white.put(x, y, 65535);
        iplBlur(white.get(), white.get(), 256, static_cast<int>(rows), 128, 64);
        EXPECT_EQ(65535, white.at(128, 64));
    }
}

}  // namespace
}  // namespace Norvane::Tests
