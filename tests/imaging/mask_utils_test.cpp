// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "imaging/mask_utils.h"
#include "model/pixels.h"
#include "support/builders.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace Norvane::Tests {
namespace {

using namespace Utils;

/// The rows first .. last of a mask in its target grid, through the public interface.
Bitmap target_bitmap(const Mask& mask, unsigned first = 0, unsigned last = 39) {
    constexpr unsigned width = 220;
    Bitmap bitmap(width, 40);
    for (unsigned y = first; y <= last && y < 40; ++y) {
        unsigned count = 0, *pairs = nullptr;
        mask.GetSegments(y, count, pairs);
        for (unsigned i = 0; i < count; ++i)
            for (unsigned x = pairs[2 * i]; x <= pairs[2 * i + 1] && x < width; ++x) bitmap.put(x, y);
        mask.ClearSegments(pairs);
    }
    return bitmap;
}

/// The definition, word for word: through the box around both and the complement of b in it.
int intersect_plainly(Mask* a, Mask* b, Mask* out) {
    a->SetTargetPixelSize(b->GetPixelSize());
    b->SetTargetPixelSize(b->GetPixelSize());
    Mask box, complement;
    box.SetPixelSize(b->GetPixelSize());
    box.SetTargetPixelSize(b->GetPixelSize());
    const unsigned y1 = std::max(a->GetMaxY(), b->GetMaxY());
    for (std::uint64_t y = std::min(a->GetMinY(), b->GetMinY()); y <= y1; ++y) {
        const unsigned x0 = std::min(a->GetMinX(), b->GetMinX()), x1 = std::max(a->GetMaxX(), b->GetMaxX());
        box.AddSegment(static_cast<unsigned>(y), x0, x1 - x0);
    }
    complement.SetPixelSize(b->GetPixelSize());
    out->SetPixelSize(b->GetPixelSize());
    if (const int code = MaskSubtract(&box, b, &complement)) return code;
    return MaskSubtract(a, &complement, out);
}

void expect_equal_masks(const Mask& expected, const Mask& actual) {
    const auto same = [](float p, float q) { return p == q || (std::isnan(p) && std::isnan(q)); };
    EXPECT_TRUE(same(expected.GetPixelSize(), actual.GetPixelSize()));
    EXPECT_TRUE(same(expected.GetTargetPixelSize(), actual.GetTargetPixelSize()));
    EXPECT_EQ(runs_of(expected), runs_of(actual));
    for (const auto bound : {&Mask::GetMinX, &Mask::GetMaxX, &Mask::GetMinY, &Mask::GetMaxY})
        EXPECT_EQ((expected.*bound)(), (actual.*bound)());
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
        SCOPED_TRACE(round);
        EXPECT_EQ(intersect_plainly(first2, &b2, outs2[which]), MaskIntersect(first, &b, outs[which]));
        expect_equal_masks(a2, a);
        expect_equal_masks(b2, b);
        expect_equal_masks(out2, out);
        if (HasFailure()) return;
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
    }
}

TEST(SetAlgebra, AtTheEndOfTheNumbersAndOfEmptyMasks) {
    Mask last = mask_of(std::vector<RowRun>{{UINT_MAX, UINT_MAX - 9, UINT_MAX}}, 2.0F);
    Mask hole = mask_of(std::vector<RowRun>{{UINT_MAX, UINT_MAX - 3, UINT_MAX}}, 2.0F), minus, both;
    EXPECT_EQ(0, MaskSubtract(&last, &hole, &minus));
    EXPECT_EQ((std::vector<RowRun>{{UINT_MAX, UINT_MAX - 9, UINT_MAX - 4}}), runs_of(minus));
    EXPECT_EQ(0, MaskIntersect(&last, &hole, &both));
    EXPECT_EQ(runs_of(hole), runs_of(both));
    // An empty mask whose bounds, scaled, look like four billion rows.
    Mask empty, other = mask_of(std::vector<RowRun>{{3, 1, 9}}, 228.0F), out;
    EXPECT_EQ(0, MaskSubtract(&empty, &other, &out));
    empty.SetPixelSize(-1e30F);
    out.SetPixelSize(5.0F);
    EXPECT_EQ(0, MaskSubtract(&empty, &other, &out));
    EXPECT_EQ(0, MaskIntersect(&empty, &other, &out));
    EXPECT_EQ(0, MaskIntersect(&other, &empty, &out));
    EXPECT_EQ(0, MaskCopy(&empty, &out));
    EXPECT_TRUE(runs_of(out).empty());
}

TEST(SetAlgebra, RefusesNullAndKeepsItsSideEffects) {
    Mask a = mask_of(std::vector<RowRun>{{1, 2, 3}}, 100.0F), b = a;
    b.SetTargetPixelSize(7.0F);
    for (const auto op : {MaskSubtract, MaskIntersect}) {
        EXPECT_EQ(2, op(nullptr, &b, &a));
        EXPECT_EQ(2, op(&a, nullptr, &a));
        EXPECT_EQ(2, op(&a, &b, nullptr));
    }
    testing::internal::CaptureStdout();
    EXPECT_EQ(1, MaskCopy(nullptr, &a));
    EXPECT_EQ(1, MaskCopy(&a, nullptr));
    EXPECT_EQ("Utils.MaskCopy(): Uninitialized mask\nUtils.MaskCopy(): Uninitialized mask\n",
              testing::internal::GetCapturedStdout());
    Mask copy = mask_of(std::vector<RowRun>{{9, 9, 9}});
    EXPECT_EQ(0, MaskCopy(&b, &copy));
    EXPECT_EQ(100.0F, b.GetTargetPixelSize());
    EXPECT_EQ(100.0F, copy.GetPixelSize());
    EXPECT_EQ(0.0F, copy.GetTargetPixelSize());
}

/// The set pixels of a 1-bit image.
bool is_set(const Image& image, unsigned x, unsigned y) {
    return (image.GetBuffer()[y * ((image.GetStride() + 7) / 8) + x / 8] >> (7 - x % 8)) & 1;
}

TEST(MaskToImage, AnEmptyMaskIsTwoByTwoAndAWrappedOneHasNoColumns) {
    Image image;
    Mask empty;
    ASSERT_EQ(0, MaskToImage(&empty, &image));
    EXPECT_EQ(std::tuple(2U, 2U, UINT_MAX), std::tuple(image.GetWidth(), image.GetHeight(), image.GetOffX()));
    EXPECT_FALSE(is_set(image, 0, 0) || is_set(image, 1, 1));
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
    EXPECT_EQ(1, MaskToImage(nullptr, &image));
    EXPECT_EQ(1, MaskToImage(&empty, nullptr));
}

/// Runs that end one column past the last set pixel; at the end of the row, at the width.
std::vector<RowRun> runs_plainly(const Image& image) {
    Bitmap bits(image.GetStride(), image.GetHeight());
    for (unsigned y = 0; y < bits.height; ++y)
        for (unsigned x = 0; x < bits.width; ++x)
            if (is_set(image, x, y)) bits.put(x, y);
    Mask mask;
    for (const RowRun& run : runs_of(mask_of(bits))) {
        const unsigned end = run.last + 1 < bits.width ? run.last + 1 : image.GetWidth();
        if (end >= run.first) mask.AddSegment(image.GetOffY() + run.row, image.GetOffX() + run.first, end - run.first);
    }
    return runs_of(mask);
}

TEST(ImageToMask, ReadsPaddingColumnsAndEndsRunsLate) {
    Random random(5);
    for (int round = 0; round < 200; ++round) {
        Image image(FORMAT_UNSIGNED, 1U, 1 + random.below(140), 1 + random.below(5), true);
        image.SetOffX(random.below(9));
        image.SetOffY(random.below(9));
        image.SetPixelSize(33.0F);
        for (unsigned i = 0; i < image.BufferSize(); ++i)
            image.GetBuffer()[i] =
                static_cast<unsigned char>(random.below(256) * random.below(2) + 255 * random.below(2));
        Mask mask = mask_of(std::vector<RowRun>{{1, 1, 1}});
        ASSERT_EQ(0, ImageToMask(&image, &mask));
        EXPECT_EQ(33.0F, mask.GetPixelSize());
        EXPECT_EQ(0.0F, mask.GetTargetPixelSize());
        EXPECT_EQ(runs_plainly(image), runs_of(mask)) << image.GetWidth();
    }
    Mask mask = mask_of(std::vector<RowRun>{{7, 10, 12}}), read;
    Image image, grey(FORMAT_UNSIGNED, 8U, 2U, 2U, true), none(FORMAT_UNSIGNED, 1U, 2U, 2U, false);
    ASSERT_EQ(0, MaskToImage(&mask, &image));
    EXPECT_EQ(0, ImageToMask(&image, &read));
    EXPECT_EQ((std::vector<RowRun>{{7, 10, 13}}), runs_of(read));
    EXPECT_EQ(1, ImageToMask(nullptr, &read));
    EXPECT_EQ(1, ImageToMask(&image, nullptr));
    EXPECT_EQ(2, ImageToMask(&grey, &read));
    EXPECT_EQ(1, ImageToMask(&none, &read));
    EXPECT_EQ((std::vector<RowRun>{{7, 10, 13}}), runs_of(read));  // refused: not cleared
}

template <class Sample>
void expect_zeros_outside(Random& random, ImageFormat format) {
    Image image(format, 8 * sizeof(Sample), 1 + random.below(40), 1 + random.below(8), true);
    image.SetPixelSize(random.chance(2) ? 228.0F : 114.0F);
    image.SetOffX(random.below(20));
    image.SetOffY(random.below(5));
    for (unsigned y = 0; y < image.GetHeight(); ++y) std::ranges::fill(whole_row_of<Sample>(image, y), Sample{7});
    Mask mask = random_mask(random, 60, 12, 228.0F);
    EXPECT_EQ(0, ApplyMask(&image, &mask));
    EXPECT_EQ(image.GetPixelSize(), mask.GetTargetPixelSize());
    const Bitmap kept = target_bitmap(mask);
    for (unsigned y = 0; y < image.GetHeight(); ++y)
        for (unsigned x = 0; x < image.GetStride(); ++x) {  // padding columns keep their values
            const bool stays = x >= image.GetWidth() || kept.at(x + image.GetOffX(), y + image.GetOffY());
            ASSERT_EQ(stays ? Sample{7} : Sample{0}, whole_row_of<Sample>(image, y)[x]) << x << ", " << y;
        }
}

TEST(ApplyMask, ZeroesEverythingOutsideAtEveryDepth) {
    Random random(6);
    for (int round = 0; round < 60; ++round) {
        expect_zeros_outside<std::uint8_t>(random, FORMAT_UNSIGNED);
        expect_zeros_outside<std::int16_t>(random, FORMAT_SIGNED);
        expect_zeros_outside<float>(random, FORMAT_FLOAT);
    }
    Mask mask = mask_of(std::vector<RowRun>{{0, 2, 3}, {0, 6, UINT_MAX}});
    auto image = grey_image(9, 2, [](unsigned x, unsigned) { return x + 1; });
    EXPECT_EQ(0, ApplyMask(image.get(), &mask));
    EXPECT_EQ((std::vector<std::uint16_t>{0, 0, 3, 4, 0, 0, 7, 8, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0}), pixels_of(*image));
    Image binary(FORMAT_UNSIGNED, 1U, 2U, 2U, true), none(FORMAT_UNSIGNED, 16U, 2U, 2U, false);
    mask.SetTargetPixelSize(5.0F);
    EXPECT_EQ(1, ApplyMask(nullptr, &mask));
    EXPECT_EQ(1, ApplyMask(image.get(), nullptr));
    EXPECT_EQ(2, ApplyMask(&binary, &mask));
    EXPECT_EQ(1, ApplyMask(&none, &mask));
    EXPECT_EQ(5.0F, mask.GetTargetPixelSize());
}

TEST(CopyBinaryRegion, AddsSetPixelsOfTheRectangle) {
    Random random(7);
    for (int round = 0; round < 400; ++round) {
        Image src(FORMAT_UNSIGNED, 1U, 1 + random.below(200), 1 + random.below(4), true);
        Image dst(FORMAT_UNSIGNED, 1U, 1 + random.below(200), 1 + random.below(4), true);
        for (Image* image : {&src, &dst})
            for (unsigned i = 0; i < image->BufferSize(); ++i)
                image->GetBuffer()[i] =
                    static_cast<unsigned char>(random.below(256) & (image == &dst ? random.below(256) : 255));
        src.SetPixelSize(9.0F);
        const unsigned w = random.below(1 + std::min(src.GetWidth(), dst.GetWidth()));
        const unsigned h = random.below(1 + std::min(src.GetHeight(), dst.GetHeight()));
        const unsigned src_x = random.below(1 + src.GetWidth() - w), src_y = random.below(1 + src.GetHeight() - h);
        const unsigned dst_x = random.below(1 + dst.GetWidth() - w), dst_y = random.below(1 + dst.GetHeight() - h);
        Bitmap expected(dst.GetStride(), dst.GetHeight());
        for (unsigned y = 0; y < dst.GetHeight(); ++y)
            for (unsigned x = 0; x < dst.GetStride(); ++x) {
                const bool inside = x >= dst_x && x - dst_x < w && y >= dst_y && y - dst_y < h;
                if (is_set(dst, x, y) || (inside && is_set(src, src_x + x - dst_x, src_y + y - dst_y)))
                    expected.put(x, y);
            }
        ASSERT_EQ(0, CopyBinaryRegion(&src, &dst, src_x, src_y, dst_x, dst_y, w, h));
        EXPECT_EQ(9.0F, dst.GetPixelSize());
        for (unsigned y = 0; y < dst.GetHeight(); ++y)
            for (unsigned x = 0; x < dst.GetStride(); ++x)
                ASSERT_EQ(expected.at(x, y), is_set(dst, x, y)) << x << ", " << y;
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
std::vector<RowRun> morphed_plainly(const Mask& mask, int n, bool dilate) {
    constexpr unsigned kSize = 110;
    Bitmap bits = bitmap_of(mask, kSize, kSize);
    for (int i = 0; i < n; ++i) {
        Bitmap next(kSize, kSize);
        for (unsigned y = 0; y < kSize; ++y)
            for (unsigned x = 0; x < kSize; ++x) {
                int count = 0;
                for (unsigned j = 0; j < 3; ++j)
                    for (unsigned k = 0; k < 3; ++k) count += bits.at(x + k - 1, y + j - 1);  // -1 wraps to outside
                if (dilate ? count > 0 : count == 9) next.put(x, y);
            }
        bits = next;
    }
    Mask longer;
    for (const RowRun& run : runs_of(mask_of(bits))) longer.AddSegment(run.row, run.first, run.last - run.first + 1);
    return runs_of(longer);
}

TEST(MaskMorphology, EqualsRepeatedSquares) {
    Random random(8);
    for (int round = 0; round < 60; ++round) {
        // Beyond the image that is eroded lies background, so a frame of one pixel decides like no frame at all.
        Mask mask = random_mask(random, 60, 40, 70.0F), dst = mask_of(std::vector<RowRun>{{1, 1, 1}});
        for (int i = 0; i < 4; ++i)
            for (unsigned y = random.below(30), rows = y + random.below(12); y < rows; ++y)
                mask.AddSegment(y, 5U * unsigned(i), 20);
        mask.AddSegment(50, 30, 0);
        const int n = 1 + round % 9;
        ASSERT_EQ(0, MaskDilate(&mask, &dst, n));
        EXPECT_EQ(70.0F, dst.GetPixelSize());
        // The dilated image has `n` columns on the right, so no run is cut at its width; the last may end there.
        const unsigned last = mask.GetMaxX() + static_cast<unsigned>(n) + 1;
        std::vector<RowRun> expected = morphed_plainly(mask, n, true);
        for (RowRun& run : expected) run.last = std::min(run.last, last);
        EXPECT_EQ(expected, runs_of(dst)) << n;
        ASSERT_EQ(0, MaskErode(&mask, &dst, 1 + n / 4));
        EXPECT_EQ(morphed_plainly(mask, 1 + n / 4, false), runs_of(dst)) << n;
    }
}

TEST(MaskMorphology, EdgesAndRefusals) {
    Mask mask = mask_of(std::vector<RowRun>{{0, 1, 1}}, 5.0F), dst, empty;
    EXPECT_EQ(0, MaskDilate(&mask, &dst, 3));  // the margin on the left ends at column 0, the one at the top at row 0
    EXPECT_EQ((std::vector<RowRun>{{0, 0, 5}, {1, 0, 5}, {2, 0, 5}, {3, 0, 5}}), runs_of(dst));
    EXPECT_EQ(0, MaskDilate(&mask, &dst, 0));  // a plain copy through the image
    EXPECT_EQ((std::vector<RowRun>{{0, 1, 2}}), runs_of(dst));
    EXPECT_EQ(0, MaskDilate(&mask, nullptr, -1));
    EXPECT_EQ(1, MaskDilate(&mask, nullptr, 1));
    EXPECT_EQ(1, MaskDilate(nullptr, &dst, 1));
    EXPECT_EQ(1, MaskErode(nullptr, &dst, 1));
    EXPECT_EQ(1, MaskErode(&mask, nullptr, 1));
    testing::internal::CaptureStdout();
    EXPECT_EQ(1, MaskErode(&mask, &dst, 0));
    EXPECT_EQ("Morphological::Erode() iterations < 1\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(0, MaskErode(&mask, &mask, 1));  // in place
    EXPECT_TRUE(runs_of(mask).empty());
    EXPECT_EQ(5.0F, mask.GetPixelSize());
    EXPECT_EQ(0, MaskErode(&empty, &dst, 2));
    EXPECT_EQ(0, MaskDilate(&empty, &dst, 2));
    EXPECT_TRUE(runs_of(dst).empty());
    Mask large = mask_of(std::vector<RowRun>{{0, 0, 0}, {7, UINT_MAX - 40, UINT_MAX - 40}});
    EXPECT_THROW(MaskDilate(&large, &dst, INT_MAX), std::bad_alloc);
}

}  // namespace
}  // namespace Norvane::Tests
