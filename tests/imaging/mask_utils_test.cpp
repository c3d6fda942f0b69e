// SPDX-License-Identifier: Apache-2.0
#include "imaging/mask_utils.h"
#include "support/picture.h"

#include <climits>

namespace Norvane::Tests {
namespace {

using namespace Utils;

Bitmap target_bitmap(const Mask& mask, unsigned first = 0, unsigned last = 39) {
    return bitmap_of(target_runs(mask, first, std::min(last, 39U)), 220, 40);
}

/// The definition, word for word: through the box around both and the complement of b in it.
int intersect_plainly(Mask* a, Mask* b, Mask* out) {
    const float grid = b->GetPixelSize();
    for (Mask* mask : {a, b}) mask->SetTargetPixelSize(grid);
    const unsigned x0 = std::min(a->GetMinX(), b->GetMinX()), x1 = std::max(a->GetMaxX(), b->GetMaxX());
    const unsigned y0 = std::min(a->GetMinY(), b->GetMinY()), y1 = std::max(a->GetMaxY(), b->GetMaxY());
    Mask box, complement;
    for (std::uint64_t y = y0; y <= y1; ++y) box.AddSegment(static_cast<unsigned>(y), x0, x1 - x0);
    for (Mask* mask : {&box, &complement, out}) mask->SetPixelSize(grid);
    MaskSubtract(&box, b, &complement);
    return MaskSubtract(a, &complement, out);
}

/// Runs in any grid, now and then one whose end has wrapped below its start.
Mask odd_mask(Random& random) {
    const float kGrids[] = {0.0F, 0.5F, 1.0F, 1.5F, 100.0F, 228.0F, 400.0F, 456.0F, -3.0F, HUGE_VALF, std::nanf("")};
    Mask mask = random_mask(random, 60, 9, kGrids[random.below(std::size(kGrids))]);
    mask.SetTargetPixelSize(kGrids[random.below(7)]);
    if (random.chance(8)) mask.AddSegment(random.below(9), 5 + random.below(40), 0U - random.below(6));
    if (random.chance(30)) mask.AddSegment(random.below(9), random.below(60), UINT_MAX);
    return mask;
}

TEST(MaskIntersect, EqualsItsDefinitionInEveryGrid) {
    Random random(2);
    for (int round = 0; round < 3000; ++round) {
        Mask a = odd_mask(random), b = odd_mask(random), out = random.chance(2) ? Mask() : odd_mask(random);
        const float rows_per_row = a.GetPixelSize() / b.GetPixelSize();
        if (rows_per_row > 5.0F && b.GetPixelSize() > 0.0F) continue;  // up to four billion rows, by definition
        Mask a2 = a, b2 = b, out2 = out;
        Mask *outs[] = {&out, &a, &b}, *outs2[] = {&out2, &a2, &b2};
        const unsigned which = random.chance(4) ? random.below(3) : 0;
        Mask *first = &a, *first2 = &a2;
        if (random.chance(10)) first = &b, first2 = &b2;
        ASSERT_EQ(intersect_plainly(first2, &b2, outs2[which]), MaskIntersect(first, &b, outs[which]));
        for (const auto& [expected, actual] : {std::pair{&a2, &a}, {&b2, &b}, {&out2, &out}})
            ASSERT_EQ(parts_of(*expected), parts_of(*actual)) << "round " << round;
    }
}

TEST(MaskSubtract, ReadsBothInTheGridOfTheOutput) {
    Random random(3);
    constexpr float kGrids[] = {114.0F, 228.0F, 300.0F, 456.0F, 2.0F};
    for (int round = 0; round < 300; ++round) {
        Mask a = random_mask(random, 50, 8, kGrids[random.below(4)]);
        Mask b = random_mask(random, 50, 8, kGrids[random.below(4)]), out;
        const bool is_set = random.chance(2);
        out.SetPixelSize(is_set ? kGrids[random.below(4)] : random.chance(2) ? 1.0F : -5.0F);
        const float grid = is_set ? out.GetPixelSize() : a.GetPixelSize();
        EXPECT_EQ(0, MaskSubtract(&a, &b, &out));
        for (const float size : {out.GetPixelSize(), a.GetTargetPixelSize(), b.GetTargetPixelSize()})
            EXPECT_EQ(grid, size);
        // Between the scaled bounds: rows beyond them may read the same row of the mask, and do not count.
        Bitmap expected = target_bitmap(a, a.GetMinY(), a.GetMaxY());
        const Bitmap bits_b = target_bitmap(b);
        for (std::size_t i = 0; i < expected.set.size(); ++i) expected.set[i] = expected.set[i] && !bits_b.set[i];
        EXPECT_EQ(runs_of(mask_of(expected)), runs_of(out));
        EXPECT_EQ(0, MaskCopy(&a, &b));
        EXPECT_EQ(runs_of(a), runs_of(b));
        EXPECT_EQ(std::pair(a.GetPixelSize(), a.GetPixelSize()), std::pair(a.GetTargetPixelSize(), b.GetPixelSize()));
        EXPECT_EQ(0.0F, b.GetTargetPixelSize());
    }
}

TEST(SetAlgebra, AtTheEndOfTheNumbersAndOfEmptyMasks) {
    Mask last = mask_of(Runs{{UINT_MAX, UINT_MAX - 9, UINT_MAX}}, 2.0F);
    Mask hole = mask_of(Runs{{UINT_MAX, UINT_MAX - 3, UINT_MAX}}, 2.0F), minus, both;
    EXPECT_EQ(0, MaskSubtract(&last, &hole, &minus));
    EXPECT_EQ((Runs{{UINT_MAX, UINT_MAX - 9, UINT_MAX - 4}}), runs_of(minus));
    EXPECT_EQ(0, MaskIntersect(&last, &hole, &both));
    EXPECT_EQ(runs_of(hole), runs_of(both));
    // An empty mask whose bounds, scaled, look like four billion rows.
    Mask empty, other = mask_of(Runs{{3, 1, 9}}, 228.0F), out;
    EXPECT_EQ(0, MaskSubtract(&empty, &other, &out));
    empty.SetPixelSize(-1e30F);
    out.SetPixelSize(5.0F);
    EXPECT_EQ(0, MaskSubtract(&empty, &other, &out));
    EXPECT_EQ(0, MaskIntersect(&empty, &other, &out));
    EXPECT_EQ(0, MaskIntersect(&other, &empty, &out));
    EXPECT_EQ(0, MaskCopy(&empty, &out));
    EXPECT_TRUE(runs_of(out).empty());
}

TEST(MaskUtils, RefuseWhatTheyCannotUseAndLeaveTheRest) {
    Mask a = mask_of(Runs{{1, 2, 3}}, 100.0F), b = a;
    Image bits(FORMAT_UNSIGNED, 1U, 2U, 2U, true), grey(FORMAT_UNSIGNED, 8U, 2U, 2U, true),
        no_bits(FORMAT_UNSIGNED, 1U, 2U, 2U, false), no_grey(FORMAT_UNSIGNED, 16U, 2U, 2U, false);
    const auto before = parts_of(a);
    testing::internal::CaptureStdout();
    const struct {
        int expected, answered;
    } calls[] = {
        {2, MaskSubtract(nullptr, &b, &a)},  {2, MaskSubtract(&a, nullptr, &a)},  {2, MaskSubtract(&a, &b, nullptr)},
        {2, MaskIntersect(nullptr, &b, &a)}, {2, MaskIntersect(&a, nullptr, &a)}, {2, MaskIntersect(&a, &b, nullptr)},
        {1, MaskCopy(nullptr, &a)},          {1, MaskCopy(&a, nullptr)},          {1, MaskToImage(nullptr, &grey)},
        {1, MaskToImage(&a, nullptr)},       {1, ImageToMask(nullptr, &a)},       {1, ImageToMask(&bits, nullptr)},
        {2, ImageToMask(&grey, &a)},         {1, ImageToMask(&no_bits, &a)},      {1, ApplyMask(nullptr, &a)},
        {1, ApplyMask(&grey, nullptr)},      {2, ApplyMask(&bits, &a)},           {1, ApplyMask(&no_grey, &a)},
        {1, MaskErode(nullptr, &a, 1)},      {1, MaskDilate(nullptr, &a, 1)},     {1, MaskErode(&b, &a, 0)},
        {1, MaskErode(&b, nullptr, 1)},      {1, MaskDilate(&b, nullptr, 1)},     {0, MaskDilate(&b, nullptr, -1)},
    };
    EXPECT_EQ(
        "Utils.MaskCopy(): Uninitialized mask\nUtils.MaskCopy(): Uninitialized mask\n"
        "Morphological::Erode() iterations < 1\n",
        testing::internal::GetCapturedStdout());
    for (const auto& call : calls) EXPECT_EQ(call.expected, call.answered) << "call " << &call - calls;
    EXPECT_EQ(before, parts_of(a));
}

TEST(MaskToImage, AnEmptyMaskIsTwoByTwoAndAWrappedOneHasNoColumns) {
    Image image;
    Mask empty;
    ASSERT_EQ(0, MaskToImage(&empty, &image));
    EXPECT_EQ(std::tuple(2U, 2U, UINT_MAX), std::tuple(image.GetWidth(), image.GetHeight(), image.GetOffX()));
    EXPECT_EQ(Bitmap(32, 2), bitmap_of(Picture(k1U, image)));
    Mask wrapped;
    wrapped.AddSegment(2, 10, UINT_MAX);  // 10 .. 9
    ASSERT_EQ(0, MaskToImage(&wrapped, &image));
    EXPECT_EQ(0U, image.GetWidth());
    wrapped.AddSegment(3, 4, 30);
    wrapped.SetPixelSize(50.0F);
    wrapped.SetTargetPixelSize(10.0F);
    ASSERT_EQ(0, MaskToImage(&wrapped, &image));
    EXPECT_EQ(std::tuple(31U, 4U, 2U, 50.0F),
              std::tuple(image.GetWidth(), image.GetOffX(), image.GetOffY(), image.GetPixelSize()));
    EXPECT_EQ(50.0F, wrapped.GetTargetPixelSize());
}

/// A 1-bit image of runs that go on over the ends of rows; padding columns too.
std::unique_ptr<Image> random_bits(Random& random, unsigned width, unsigned height) {
    auto image = image_of(k1U, width, height);
    bool is_set = false;
    const auto next = [&](auto, auto) { return is_set ^= random.chance(9); };
    Picture(k1U, image->GetStride(), height, next).copy_to(*image);
    return image;
}

TEST(ImageToMask, ReadsPaddingColumnsAndEndsRunsLate) {
    Random random(5);
    for (int round = 0; round < 200; ++round) {
        const auto image = random_bits(random, 1 + random.below(140), 1 + random.below(5));
        image->SetOffX(random.below(9));
        image->SetOffY(random.below(9));
        image->SetPixelSize(33.0F);
        Mask mask = mask_of(Runs{{1, 1, 1}}), expected;
        ASSERT_EQ(0, ImageToMask(image.get(), &mask));
        // Runs end one column past the last set pixel; at the end of the row, at the width.
        for (const RowRun& run : runs_of(mask_of(bitmap_of(Picture(k1U, *image))))) {
            const unsigned end = run.last + 1 < image->GetStride() ? run.last + 1 : image->GetWidth();
            if (end < run.first) continue;
            expected.AddSegment(image->GetOffY() + run.row, image->GetOffX() + run.first, end - run.first);
        }
        expected.SetPixelSize(33.0F);
        EXPECT_EQ(parts_of(expected), parts_of(mask)) << image->GetWidth();
    }
    Mask mask = mask_of(Runs{{7, 10, 12}});
    Image image;
    EXPECT_EQ(0, MaskToImage(&mask, &image));
    EXPECT_EQ(0, ImageToMask(&image, &mask));
    EXPECT_EQ((Runs{{7, 10, 13}}), runs_of(mask));
}

TEST(ApplyMask, ZeroesEverythingOutsideAtEveryDepth) {
    Random random(6);
    for (int round = 0; round < 180; ++round) {
        const Depth depth = std::array{k8U, k16S, k32F}[static_cast<std::size_t>(round % 3)];
        const auto image = image_of(depth, 1 + random.below(40), 1 + random.below(8));
        image->SetPixelSize(random.chance(2) ? 228.0F : 114.0F);
        image->SetOffX(random.below(20));
        image->SetOffY(random.below(5));
        const Picture before(depth, image->GetStride(), image->GetHeight(), [](auto, auto) { return 7; });
        before.copy_to(*image);
        Mask mask = random_mask(random, 60, 12, 228.0F);
        EXPECT_EQ(0, ApplyMask(image.get(), &mask));
        EXPECT_EQ(image->GetPixelSize(), mask.GetTargetPixelSize());
        const auto expected = [&, kept = target_bitmap(mask)](unsigned x, unsigned y) {
            const bool is_padding = x >= image->GetWidth();
            return is_padding || kept.at(x + image->GetOffX(), y + image->GetOffY()) ? 7 : 0;
        };
        expect_samples(Picture(depth, *image), before, expected, "round " + std::to_string(round));
    }
    Mask mask = mask_of(Runs{{0, 2, 3}, {0, 6, UINT_MAX}});
    auto image = grey_image(9, 2, [](unsigned x, unsigned) { return x + 1; });
    EXPECT_EQ(0, ApplyMask(image.get(), &mask));
    EXPECT_EQ((std::vector<std::uint16_t>{0, 0, 3, 4, 0, 0, 7, 8, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0}), pixels_of(*image));
}

TEST(CopyBinaryRegion, AddsSetPixelsOfTheRectangle) {
    Random random(7);
    for (int round = 0; round < 400; ++round) {
        const auto src = random_bits(random, 1 + random.below(200), 1 + random.below(4));
        const auto dst = random_bits(random, 1 + random.below(200), 1 + random.below(4));
        src->SetPixelSize(9.0F);
        const unsigned w = random.below(1 + std::min(src->GetWidth(), dst->GetWidth()));
        const unsigned h = random.below(1 + std::min(src->GetHeight(), dst->GetHeight()));
        const unsigned src_x = random.below(1 + src->GetWidth() - w), src_y = random.below(1 + src->GetHeight() - h);
        const unsigned dst_x = random.below(1 + dst->GetWidth() - w), dst_y = random.below(1 + dst->GetHeight() - h);
        const Bitmap source = bitmap_of(Picture(k1U, *src));
        Bitmap expected = bitmap_of(Picture(k1U, *dst));
        for (unsigned y = 0; y < h; ++y)
            for (unsigned x = 0; x < w; ++x)
                if (source.at(src_x + x, src_y + y)) expected.put(dst_x + x, dst_y + y);
        ASSERT_EQ(0, CopyBinaryRegion(src.get(), dst.get(), src_x, src_y, dst_x, dst_y, w, h));
        EXPECT_EQ(9.0F, dst->GetPixelSize());
        ASSERT_EQ(runs_of(mask_of(expected)), runs_of(mask_of(bitmap_of(Picture(k1U, *dst))))) << "round " << round;
    }
}

TEST(CopyBinaryRegion, RefusesByTable) {
    Image a(FORMAT_UNSIGNED, 1U, 10U, 5U, true), b(FORMAT_UNSIGNED, 1U, 12U, 4U, true),
        grey(FORMAT_UNSIGNED, 8U, 40U, 40U, true), none(FORMAT_UNSIGNED, 1U, 10U, 5U, false);
    struct Refusal {
        int code;
        Image *src, *dst;
        unsigned src_x, src_y, dst_x, dst_y, w, h;
    };
    const Refusal refusals[] = {
        {1, nullptr, &b, 0, 0, 0, 0, 1, 1}, {1, &a, nullptr, 0, 0, 0, 0, 1, 1},
        {3, &grey, &b, 0, 0, 0, 0, 99, 1},  {3, &a, &grey, 0, 0, 0, 0, 1, 1},
        {1, &none, &b, 0, 0, 0, 0, 1, 1},   {1, &a, &b, 1, 0, 0, 0, 10, 1},
        {1, &a, &b, 0, 1, 0, 0, 1, 5},      {1, &a, &b, 0, 0, 4, 0, 9, 1},
        {1, &a, &b, 0, 0, 0, 1, 1, 4},      {1, &a, &b, UINT_MAX, 0, 0, 0, 2, 1} /* would wrap to 1 */,
        {0, &a, &b, 10, 5, 12, 4, 0, 0}};
    for (const Refusal& r : refusals)
        EXPECT_EQ(r.code, CopyBinaryRegion(r.src, r.dst, r.src_x, r.src_y, r.dst_x, r.dst_y, r.w, r.h))
            << &r - refusals;
}

/// n times the 3 x 3 square inside a frame that counts as background; then each run one column longer.
Runs morphed_plainly(const Mask& mask, int n, bool dilate) {
    const Bitmap bits = bitmap_of(mask, 75, 65);
    Picture picture(k1U, bits.width, bits.height, [&](auto x, auto y) { return bits.at(x, y); });
    for (int i = 0; i < n; ++i) picture = dilated_or_eroded(picture, dilate);
    Mask longer;
    for (const RowRun& run : runs_of(mask_of(bitmap_of(picture))))
        longer.AddSegment(run.row, run.first, run.last - run.first + 1);
    return runs_of(longer);
}

TEST(MaskMorphology, EqualsRepeatedSquares) {
    Random random(8);
    for (int round = 0; round < 60; ++round) {
        // Beyond the image that is eroded lies background, so a frame of one pixel decides like no frame at all.
        Mask mask = random_mask(random, 60, 40, 70.0F), dst = mask_of(Runs{{1, 1, 1}});
        for (int i = 0; i < 4; ++i)
            for (unsigned y = random.below(30), rows = y + random.below(12); y < rows; ++y)
                mask.AddSegment(y, 5U * unsigned(i), 20);
        mask.AddSegment(50, 30, 0);
        const int n = 1 + round % 9;
        ASSERT_EQ(0, MaskDilate(&mask, &dst, n));
        EXPECT_EQ(70.0F, dst.GetPixelSize());
        // The dilated image has `n` columns on the right, so no run is cut at its width; the last may end there.
        const unsigned last = mask.GetMaxX() + static_cast<unsigned>(n) + 1;
        Runs expected = morphed_plainly(mask, n, true);
        for (RowRun& run : expected) run.last = std::min(run.last, last);
        EXPECT_EQ(expected, runs_of(dst)) << n;
        ASSERT_EQ(0, MaskErode(&mask, &dst, 1 + n / 4));
        EXPECT_EQ(morphed_plainly(mask, 1 + n / 4, false), runs_of(dst)) << n;
    }
}

TEST(MaskMorphology, AtTheEdges) {
    Mask mask = mask_of(Runs{{0, 1, 1}}, 5.0F), dst, empty;
    EXPECT_EQ(0, MaskDilate(&mask, &dst, 3));  // the margin on the left ends at column 0, the one at the top at row 0
    EXPECT_EQ((Runs{{0, 0, 5}, {1, 0, 5}, {2, 0, 5}, {3, 0, 5}}), runs_of(dst));
    EXPECT_EQ(0, MaskDilate(&mask, &dst, 0));  // a plain copy through the image
    EXPECT_EQ((Runs{{0, 1, 2}}), runs_of(dst));
    EXPECT_EQ(0, MaskErode(&mask, &mask, 1));  // in place
    EXPECT_TRUE(runs_of(mask).empty());
    EXPECT_EQ(5.0F, mask.GetPixelSize());
    EXPECT_EQ(0, MaskErode(&empty, &dst, 2));
    EXPECT_EQ(0, MaskDilate(&empty, &dst, 2));
    EXPECT_TRUE(runs_of(dst).empty());
    Mask large = mask_of(Runs{{0, 0, 0}, {7, UINT_MAX - 40, UINT_MAX - 40}});
    EXPECT_THROW(MaskDilate(&large, &dst, INT_MAX), std::bad_alloc);
}

}  // namespace
}  // namespace Norvane::Tests
