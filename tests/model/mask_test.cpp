// SPDX-License-Identifier: Apache-2.0
#include "model/mask_reader.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace Norvane::Tests {
namespace {

using Runs = std::vector<RowRun>;

TEST(Mask, AgreesWithABitmapOnRandomSegments) {
    constexpr unsigned kWidth = 40, kHeight = 7;
    Random random(1);
    for (int round = 0; round < 300; ++round) {
        Mask mask;
        Bitmap bitmap(kWidth, kHeight);
        for (unsigned i = random.below(40); i > 0; --i) {
            const unsigned row = random.below(kHeight), first = random.below(kWidth);
            const unsigned extent = random.below(std::min(kWidth - first, 9U));
            mask.AddSegment(row, first, extent);
            for (unsigned x = first; x <= first + extent; ++x) bitmap.put(x, row);
        }
        ASSERT_EQ(bitmap_of(mask, kWidth, kHeight), bitmap);
        ASSERT_EQ(runs_of(mask), runs_of(mask_of(bitmap))) << "runs are sorted and apart";
        MaskReader reader(mask);
        for (int probe = 0; probe < 20; ++probe) {
            const unsigned x = random.below(kWidth + 2), y = random.below(kHeight + 2);
            ASSERT_EQ(mask.HitTest(x, y), bitmap.at(x, y));
            const auto runs = reader.row(y);  // rows in any order
            ASSERT_EQ(std::ranges::any_of(runs, [x](const Norvane::Run& r) { return r.first <= x && x <= r.last; }),
                      bitmap.at(x, y));
        }
    }
    Mask ends;
    ends.AddSegment(0, 0xFFFFFFF0U, 15);
    ends.AddSegment(0, 0, 3);
    EXPECT_EQ(runs_of(ends), (Runs{{0, 0, 3}, {0, 0xFFFFFFF0U, 0xFFFFFFFFU}}));
}

TEST(Mask, IsReadInTheTargetGrid) {
    Mask mask;
    mask.SetPixelSize(400.0F);
    mask.AddSegment(2, 3, 4);
    mask.SetTargetPixelSize(200.0F);
    unsigned count = 0, *pairs = nullptr;
    for (const unsigned row : {3U, 4U}) {
        mask.GetSegments(row, count, pairs);
        ASSERT_EQ(count, 1U);
        EXPECT_EQ(pairs[0], 6U);
        EXPECT_EQ(pairs[1], 14U);
        mask.ClearSegments(pairs);
        EXPECT_EQ(pairs, nullptr);
    }
    mask.GetSegments(5, count, pairs);  // 5 * 200 / 400 + 0.5 is row 3
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(pairs, nullptr);
    EXPECT_EQ(mask.GetMaxX(), 14U);
    EXPECT_TRUE(mask.HitTest(6, 4));
    EXPECT_FALSE(mask.HitTest(4, 4));
}

TEST(Mask, ReaderFindsTheNextRowWithRunsOfAnyGrid) {
    Random random(5);
    for (const float size : {228.0F, 1.0F, 0.0F, -1.0F, NAN, INFINITY})
        for (const float target : {228.0F, 227.0F, 57.0F, 1000.0F, 0.0F, NAN, INFINITY}) {
            Mask mask = random_mask(random, 9, 20, size);
            mask.AddSegment(0xFFFFFFFE, 1, 0);
            mask.SetTargetPixelSize(target);
            MaskReader reader(mask), plain(mask);
            for (std::uint64_t y = 0; y < 40; ++y) {
                std::uint64_t next = y, other = y;
                while (next < 200 && plain.row(static_cast<unsigned>(next)).empty()) ++next;
                while (other < 200 && (MaskReader::stored_row(mask, other) == MaskReader::stored_row(mask, y) ||
                                       plain.row(static_cast<unsigned>(other)).empty()))
                    ++other;
                EXPECT_EQ(next, std::min<std::uint64_t>(200, reader.next_row(y))) << size << ' ' << target << ' ' << y;
                EXPECT_EQ(other, std::min<std::uint64_t>(200, reader.next_other_row(y))) << size << ' ' << target;
            }
        }
    const Mask ends = mask_of({{0, 3, 9}, {0xFFFFFFFF, 5, 7}});
    MaskReader reader(ends);
    EXPECT_EQ(0xFFFFFFFFU, reader.next_row(1));
    EXPECT_EQ(MaskReader::kNoRow, reader.next_other_row(0xFFFFFFFF));
}

TEST(Mask, CoordinatesThatNoGridHoldsSaturate) {
    OpenMask mask;
    mask.SetTargetPixelSize(100.0F);
    EXPECT_EQ(mask.target_to_mask(1), 0xFFFFFFFFU) << "1 * 100 / 0";
    EXPECT_EQ(mask.target_to_mask(0), 0U) << "0 / 0";
    EXPECT_EQ(mask.GetMinX(), 0U) << "an empty mask of pixel size 0";
    mask.SetTargetPixelSize(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(mask.mask_to_target(17), 17U);
    mask.SetTargetPixelSize(-1.0F);
    EXPECT_EQ(mask.target_to_mask(17), 17U);
    mask.SetPixelSize(300.0F);
    mask.SetTargetPixelSize(0.001F);
    EXPECT_EQ(mask.mask_to_target(20000), 0xFFFFFFFFU);
    for (const float size : {1e-45F, 0.1F, 228.0F, 3e38F}) {
        mask.SetPixelSize(size);
        mask.SetTargetPixelSize(size);
        for (const unsigned v : {0U, 1U, 12345U, 0x7FFFFFFFU, 0xFFFFFFFFU})
            ASSERT_EQ(mask.mask_to_target(v), v) << size;
    }
}

/// The same by histograms, as the definition counts.
bool centroid_by_histogram(const Mask& mask, unsigned& x, unsigned& y) {
    const Runs runs = runs_of(mask);
    x = y = 0;
    if (runs.empty()) return false;
    std::vector<unsigned> columns(mask.GetMaxX() + 1), rows(mask.GetMaxY() + 1);
    unsigned total = 0;
    for (const RowRun& r : runs)
        for (unsigned c = r.first; c < r.last; ++c, ++total) ++columns[c], ++rows[r.row];
    const auto median = [&](const std::vector<unsigned>& histogram, unsigned from) {
        unsigned sum = histogram[from];
        while (sum < total / 2) sum += histogram[++from];
        return from;
    };
    x = median(columns, mask.GetMinX());
    y = median(rows, mask.GetMinY());
    return true;
}

TEST(Mask, CentroidIsTheMedianColumnAndRow) {
    Random random(2);
    for (int round = 0; round < 500; ++round) {
        const Mask mask = random_mask(random, 30, 12);
        unsigned x = 7, y = 7, slow_x = 0, slow_y = 0;
        ASSERT_EQ(mask.ComputeCentroid(x, y), centroid_by_histogram(mask, slow_x, slow_y));
        ASSERT_EQ(x, slow_x);
        ASSERT_EQ(y, slow_y);
    }
    unsigned x = 0, y = 0;
    EXPECT_TRUE(mask_of({{7, 5, 5}, {3, 9, 9}}).ComputeCentroid(x, y)) << "only single pixels, which do not count";
    EXPECT_EQ(x, 5U);
    EXPECT_EQ(y, 3U);
    Mask wide;
    wide.AddSegment(0, 0, 0xFFFFFFFFU);
    EXPECT_TRUE(wide.ComputeCentroid(x, y));
    EXPECT_EQ(x, 0x7FFFFFFEU);
}

TEST(Mask, CopiesAreDeepAndClearResetsThePixelSizes) {
    Mask mask = mask_of({{1, 2, 3}});
    Mask copy(mask);
    mask.AddSegment(9, 9, 9);
    EXPECT_EQ(runs_of(copy), (Runs{{1, 2, 3}}));
    copy = mask;
    Mask& alias = copy;
    copy = alias;
    EXPECT_EQ(runs_of(copy), runs_of(mask));
    mask.Clear();
    EXPECT_EQ(mask.GetPixelSize(), 0.0F);
    EXPECT_EQ(mask.GetTargetPixelSize(), 0.0F);
    EXPECT_EQ(mask.GetMinX(), 0xFFFFFFFFU);
    EXPECT_EQ(mask.GetMaxX(), 0U);
    EXPECT_FALSE(mask.HitTest(9, 9));
    EXPECT_EQ(runs_of(copy).size(), 2U);
    OpenMask open;
    open.AddSegment(1, 2, 3);
    open.init();
    EXPECT_FALSE(open.HitTest(2, 1)) << "the bounds are empty";
    EXPECT_FALSE(MaskReader::is_empty(open)) << "the rows stay";
}

TEST(Polygon, IsFilledAsItsEdgesAreScanned) {
    Mask square;
    EXPECT_EQ(square.GenerateFromClosedPolygon({0, 0, 10, 0, 10, 10, 0, 10}, nullptr, nullptr), 120);
    EXPECT_EQ(runs_of(square), runs_of(rectangle(0, 10, 0, 10)));
    Mask nothing;
    EXPECT_EQ(nothing.GenerateFromClosedPolygon({}, nullptr, nullptr), 0);
    EXPECT_EQ(nothing.GenerateFromClosedPolygon({3}, nullptr, nullptr), 0);
    EXPECT_TRUE(MaskReader::is_empty(nothing));
    EXPECT_EQ(nothing.GenerateFromClosedPolygon({3, 4, 9}, nullptr, nullptr), 0);
    EXPECT_EQ(runs_of(nothing), (Runs{{4, 3, 3}})) << "one vertex is one pixel";

    Random random(3);
    for (int round = 0; round < 400; ++round) {
        constexpr unsigned kWidth = 50, kHeight = 40;
        std::vector<int> points;
        for (unsigned i = 2 + random.below(7); i > 0; --i) {
            points.push_back(random.between(0, kWidth - 1));
            points.push_back(random.between(0, kHeight - 1));
        }
        Mask mask;
        int sum = 0;
        const Bitmap expected = polygon_by_edges(points, kWidth, kHeight, sum);
        ASSERT_EQ(mask.GenerateFromClosedPolygon(points, nullptr, nullptr), sum);
        ASSERT_EQ(bitmap_of(mask, kWidth, kHeight), expected);
    }
}

}  // namespace
}  // namespace Norvane::Tests
