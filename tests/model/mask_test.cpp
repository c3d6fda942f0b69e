// SPDX-License-Identifier: Apache-2.0
#include "model/mask_reader.h"
#include "support/builders.h"
#include "support/test.h"

namespace Norvane::Tests {
namespace {

// The fuzz target mask_algebra holds the plain definition of masks in one grid.
TEST(Mask, RunsAreJoinedAndRowsReadInAnyOrder) {
    Random random(1);
    for (int round = 0; round < 300; ++round) {
        const Mask mask = random_mask(random, 40, 7);
        ASSERT_EQ(runs_of(mask), runs_of(mask_of(bitmap_of(mask, 40, 7)))) << "runs are sorted and apart";
        MaskReader reader(mask);
        for (int probe = 0; probe < 20; ++probe) {
            const unsigned x = random.below(42), y = random.below(9);
            ASSERT_EQ(std::ranges::any_of(reader.row(y), [x](const Norvane::Run& run) { return run.has(x); }),
                      mask.HitTest(x, y));
        }
    }
    Mask ends;
    ends.AddSegment(0, 0xFFFFFFF0U, 15);
    ends.AddSegment(0, 0, 3);
    EXPECT_EQ(runs_of(ends), (Runs{{0, 0, 3}, {0, 0xFFFFFFF0U, 0xFFFFFFFFU}}));
}

TEST(Mask, IsReadInTheTargetGrid) {
    Mask mask = mask_of({{2, 3, 7}}, 400.0F);
    mask.SetTargetPixelSize(200.0F);
    EXPECT_EQ(target_runs(mask, 0, 9), (Runs{{3, 6, 14}, {4, 6, 14}}));  // 5 * 200 / 400 + 0.5 is row 3
    EXPECT_EQ(mask.GetMaxX(), 14U);
    EXPECT_TRUE(mask.HitTest(6, 4));
    EXPECT_FALSE(mask.HitTest(4, 4));
    unsigned count = 9, nothing = 0, *pairs = &nothing;
    mask.GetSegments(5, count, pairs);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(pairs, nullptr);
    mask.GetSegments(4, count, pairs);
    mask.ClearSegments(pairs);
    EXPECT_EQ(pairs, nullptr);
}

TEST(Mask, ReaderFindsTheNextRowWithRunsOfAnyGrid) {
    Random random(5);
    for (const float size : {228.0F, 1.0F, 0.0F, -1.0F, NAN, INFINITY})
        for (const float target : {228.0F, 227.0F, 57.0F, 1000.0F, 0.0F, NAN, INFINITY}) {
            Mask mask = random_mask(random, 9, 20, size);
            mask.AddSegment(0xFFFFFFFE, 1, 0);
            mask.SetTargetPixelSize(target);
            MaskReader reader(mask), plain(mask);
            const auto reads_other = [&](std::int64_t row, std::int64_t y) {
                return MaskReader::stored_row(mask, row) != MaskReader::stored_row(mask, y) && !plain.row(row).empty();
            };
            for (std::int64_t y = 0; y < 40; ++y) {
                std::int64_t next = y, other = y;
                while (next < 200 && plain.row(next).empty()) ++next;
                while (other < 200 && !reads_other(other, y)) ++other;
                EXPECT_EQ(next, std::min<std::int64_t>(200, reader.next_row(y))) << size << ' ' << target << ' ' << y;
                EXPECT_EQ(other, std::min<std::int64_t>(200, reader.next_other_row(y))) << size << ' ' << target;
            }
        }
    const Mask ends = mask_of({{0, 3, 9}, {0xFFFFFFFF, 5, 7}});
    MaskReader reader(ends);
    EXPECT_EQ(0xFFFFFFFFU, reader.next_row(1));
    EXPECT_EQ(MaskReader::kNoRow, reader.next_other_row(0xFFFFFFFF));
}

TEST(Mask, CoordinatesThatNoGridHoldsSaturate) {
    constexpr unsigned kMost = 0xFFFFFFFFU;
    const auto mask = [](float size, float target) {
        OpenMask made;
        made.SetPixelSize(size);
        made.SetTargetPixelSize(target);
        return made;
    };
    EXPECT_EQ(mask(0.0F, 100.0F).target_to_mask(1), kMost) << "1 * 100 / 0";
    EXPECT_EQ(mask(0.0F, 100.0F).target_to_mask(0), 0U) << "0 / 0";
    EXPECT_EQ(mask(0.0F, 100.0F).GetMinX(), 0U) << "an empty mask of pixel size 0";
    EXPECT_EQ(mask(0.0F, NAN).mask_to_target(17), 17U);
    EXPECT_EQ(mask(0.0F, -1.0F).target_to_mask(17), 17U);
    EXPECT_EQ(mask(300.0F, 0.001F).mask_to_target(20000), kMost);
    for (const float size : {1e-45F, 0.1F, 228.0F, 3e38F})
        for (const unsigned v : {0U, 1U, 12345U, 0x7FFFFFFFU, kMost})
            ASSERT_EQ(mask(size, size).mask_to_target(v), v) << size;
}

/// The column and the row up to which half of the pixels lie. The last pixel of a run does not count.
std::pair<unsigned, unsigned> centroid_of_pixels(const Mask& mask) {
    std::vector<unsigned> columns, rows;  // of every pixel; the rows ascend
    for (const RowRun& r : runs_of(mask))
        for (unsigned x = r.first; x < r.last; ++x) columns.push_back(x), rows.push_back(r.row);
    if (columns.size() < 2) return {mask.GetMinX(), mask.GetMinY()};
    std::ranges::sort(columns);
    return {columns[columns.size() / 2 - 1], rows[rows.size() / 2 - 1]};
}

TEST(Mask, CentroidIsTheMedianColumnAndRow) {
    Random random(2);
    for (int round = 0; round < 500; ++round) {
        const Mask mask = random_mask(random, 30, 12);
        const bool is_empty = runs_of(mask).empty();
        std::pair centroid{7U, 7U}, origin{0U, 0U};
        ASSERT_EQ(mask.ComputeCentroid(centroid.first, centroid.second), !is_empty);
        ASSERT_EQ(centroid, is_empty ? origin : centroid_of_pixels(mask)) << "round " << round;
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
    Mask mask = mask_of({{1, 2, 3}}), copy(mask);
    mask.AddSegment(9, 9, 9);
    EXPECT_EQ(runs_of(copy), (Runs{{1, 2, 3}}));
    copy = mask;
    Mask& alias = copy;
    copy = alias;
    EXPECT_EQ(parts_of(copy), parts_of(mask));
    mask.Clear();
    EXPECT_EQ(parts_of(mask), (MaskParts{0, 0, {}, 0xFFFFFFFF, 0, 0xFFFFFFFF, 0}));
    EXPECT_FALSE(mask.HitTest(9, 9));
    EXPECT_EQ(runs_of(copy).size(), 2U);
    OpenMask open;
    open.AddSegment(1, 2, 3);
    open.init();
    EXPECT_FALSE(open.HitTest(2, 1)) << "the bounds are empty";
    EXPECT_FALSE(MaskReader::is_empty(open)) << "the rows stay";
}

TEST(Polygon, IsFilledAsItsEdgesAreScanned) {
    struct Case {
        std::vector<int> points;
        int sum;
        Runs runs;
    };
    for (const auto& [points, sum, runs] :
         {Case{{0, 0, 10, 0, 10, 10, 0, 10}, 120, runs_of(rectangle(0, 10, 0, 10))}, Case{{}, 0, {}}, Case{{3}, 0, {}},
          Case{{3, 4, 9}, 0, {{4, 3, 3}}}}) {  // one vertex is one pixel
        Mask mask;
        EXPECT_EQ(mask.GenerateFromClosedPolygon(points, nullptr, nullptr), sum) << points.size() << " numbers";
        EXPECT_EQ(runs_of(mask), runs) << points.size() << " numbers";
    }

    Random random(3);
    for (int round = 0; round < 400; ++round) {
        constexpr unsigned kWidth = 50, kHeight = 40;
        std::vector<int> points;
        for (unsigned i = 2 + random.below(7); i > 0; --i)
            for (const int size : {kWidth, kHeight}) points.push_back(random.between(0, size - 1));
        Mask mask;
        int sum = 0;
        const Bitmap expected = polygon_by_edges(points, kWidth, kHeight, sum);
        ASSERT_EQ(mask.GenerateFromClosedPolygon(points, nullptr, nullptr), sum);
        ASSERT_EQ(bitmap_of(mask, kWidth, kHeight), expected);
    }
}

}  // namespace
}  // namespace Norvane::Tests
