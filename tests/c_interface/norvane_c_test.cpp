// SPDX-License-Identifier: Apache-2.0
/// The functions for C beside the classes that they call, and what they answer to a caller's mistakes.
#include <norvane/norvane_c.h>

#include "support/random_cases.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Norvane::Tests {
namespace {

struct FreeHandle {
    void operator()(norvane_image* image) const { norvane_free_image(image); }
    void operator()(norvane_mask* mask) const { norvane_free_mask(mask); }
};
using ImageHandle = std::unique_ptr<norvane_image, FreeHandle>;
using MaskHandle = std::unique_ptr<norvane_mask, FreeHandle>;

Runs runs_of(const MaskHandle& mask) {
    std::size_t count = 0;
    EXPECT_EQ(norvane_mask_runs(mask.get(), nullptr, 0, &count), NORVANE_DONE);
    std::vector<norvane_run> runs(count);
    EXPECT_EQ(norvane_mask_runs(mask.get(), runs.data(), count, &count), NORVANE_DONE);
    Runs result;
    for (const norvane_run& run : runs) result.push_back({run.row, run.first, run.last});
    return result;
}

MaskHandle handle_of(const Runs& runs, double pixel_size = 228.0) {
    std::vector<norvane_run> given;
    for (const RowRun& run : runs) given.push_back({run.row, run.first, run.last});
    norvane_mask* mask = nullptr;
    EXPECT_EQ(norvane_mask_from_runs(given.data(), given.size(), pixel_size, &mask), NORVANE_DONE);
    return MaskHandle(mask);
}

// 12 bits in rows with a gap, or 16 bits with an odd width.
struct Acquired {
    Acquired(Random& random, bool on_left, unsigned used_bits) {
        const auto source = random_image(random, on_left);
        const unsigned columns = source->GetWidth() - (used_bits == 16 && source->GetWidth() % 2 == 0 ? 1 : 0);
        image = grey_image(columns, source->GetHeight(),
                           [&](unsigned x, unsigned y) { return grey(*source, x, y) >> (16 - used_bits); });
        image->SetUsedBits(used_bits);
        norvane_init_picture(&picture);
        picture.row_stride = columns + 3;
        samples.resize(picture.row_stride * image->GetHeight(), 77);
        for (unsigned y = 0; y < image->GetHeight(); ++y)
            for (unsigned x = 0; x < columns; ++x)
                samples[y * picture.row_stride + x] = static_cast<std::uint16_t>(grey(*image, x, y));
        picture.samples = samples.data();
        picture.width = columns;
        picture.height = image->GetHeight();
        picture.used_bits = used_bits;
        picture.pixel_size = 228.0;
        const unsigned flip = used_bits == 16 ? 0x8000 : 0;
        for (unsigned y = 0; y < image->GetHeight(); ++y) {
            auto* row = reinterpret_cast<std::uint16_t*>(image->GetBuffer()) + y * image->GetStride();
            for (unsigned x = 0; x < columns; ++x) row[x] = static_cast<std::uint16_t>(row[x] ^ flip);
            for (unsigned x = columns; x < image->GetStride(); ++x) row[x] = row[columns - 1];
        }
    }
    std::unique_ptr<Image> image;  // as PrepareImage() takes it
    std::vector<std::uint16_t> samples;
    norvane_picture picture{};
};

norvane_params params_like(const Masking::Params& given) {
    norvane_params params;
    norvane_init_params(&params, nullptr);
    params.side = given.side;
    params.view = given.view;
    params.noise_class = given.bgNoise;
    params.noise_level = given.noiseLevel;
    params.padding_limit = given.pixelPaddingValueRangeLimit;
    params.full_contour = given.fullContour;
    params.single_contour = given.singleContour;
    params.smooth_contour = given.smoothContour;
    params.contour_offset = given.contourOffset;
    params.check_cut_tissue = given.checkCutTissue;
    params.fast = given.maskingSpeed;
    params.muscle_outline = given.pectContour;
    return params;
}

TEST(CInterface, ResultsAreThoseOfTheClasses) {
    Random random(20261125);
    int masks_with_pixels = 0;
    for (int i = 0; i < 40; ++i) {
        const bool on_left = i % 2 == 0;
        Acquired acquired(random, on_left, i % 4 < 2 ? 12 : 16);
        norvane_image* made = nullptr;
        ASSERT_EQ(norvane_prepare(&acquired.picture, &made), NORVANE_DONE) << norvane_last_error();
        const ImageHandle image(made);
        float scale = 0.0F;
        const std::unique_ptr<Image> prepared(
            PrepareImage(acquired.image.get(), scale, BG_AUTO, true, nullptr, nullptr, nullptr));
        std::vector<std::uint16_t> pixels(std::size_t{acquired.picture.width} * acquired.picture.height);
        ASSERT_EQ(norvane_image_pixels(image.get(), pixels.data()), NORVANE_DONE);
        ASSERT_EQ(pixels, pixels_of(*prepared));

        std::vector<int> unused;
        Masking::Params expected = random_params(random, on_left, unused);
        expected.contourOutput = false;
        expected.contour = nullptr;
        norvane_params params = params_like(expected);
        const auto empty = [&prepared] { return mask_of(Runs(), prepared->GetPixelSize()); };
        Mask frame = empty(), own_frame = empty(), full = empty(), muscle = empty(), outer = empty();
        Mask* frame_out = &own_frame;
        norvane_mask *c_frame = nullptr, *c_full = nullptr, *c_muscle = nullptr, *c_outer = nullptr;
        int32_t status = -1;
        ASSERT_EQ(norvane_frame_mask(image.get(), &params, &c_frame, &status), NORVANE_DONE);
        EXPECT_EQ(status, NvGenerateFrameMask(prepared.get(), expected, frame_out));
        EXPECT_EQ(runs_of(MaskHandle(c_frame)), Tests::runs_of(own_frame));
        ASSERT_EQ(norvane_full_mask(image.get(), &params, nullptr, &c_full, &c_muscle, &c_outer, &status),
                  NORVANE_DONE);
        EXPECT_EQ(status, NvGenerateFullMask(prepared.get(), expected, &frame, &full, &muscle,
                                             expected.fullContour ? &outer : nullptr));
        const MaskHandle full_handle(c_full);
        EXPECT_EQ(runs_of(full_handle), Tests::runs_of(full));
        EXPECT_EQ(runs_of(MaskHandle(c_muscle)), Tests::runs_of(muscle));
        EXPECT_EQ(runs_of(MaskHandle(c_outer)), Tests::runs_of(outer));
        masks_with_pixels += static_cast<int>(!Tests::runs_of(full).empty());

        std::vector<int> outline(2 * std::size_t{NORVANE_OUTLINE_POINTS}, -1), points(outline);
        uint32_t count = 99;
        ASSERT_EQ(norvane_outline(image.get(), &params, nullptr, points.data(), &count, &status), NORVANE_DONE);
        Mask breast = empty(), fresh = empty();
        expected.contourOutput = true;
        expected.contour = &outline;
        EXPECT_EQ(status, NvGenerateBreastMask(prepared.get(), expected, &fresh, &breast, nullptr));
        EXPECT_EQ(points, count != 0 ? outline : std::vector<int>(points.size(), -1));
    }
    EXPECT_GT(masks_with_pixels, 20);
}

TEST(CInterface, MasksAreSetsOfPixels) {
    Random random(7);
    for (int i = 0; i < 30; ++i) {
        Bitmap first(23, 17), second(23, 17);
        for (unsigned y = 0; y < first.height; ++y) {
            for (unsigned x = 0; x < first.width; ++x) {
                if (random.chance(3)) first.put(x, y);
                if (random.chance(3)) second.put(x, y);
            }
        }
        const MaskHandle a = handle_of(Tests::runs_of(mask_of(first))), b = handle_of(Tests::runs_of(mask_of(second)));
        norvane_mask *both = nullptr, *either = nullptr, *rest = nullptr;
        ASSERT_EQ(norvane_mask_intersection(a.get(), b.get(), &both), NORVANE_DONE);
        ASSERT_EQ(norvane_mask_union(a.get(), b.get(), &either), NORVANE_DONE);
        ASSERT_EQ(norvane_mask_difference(a.get(), b.get(), &rest), NORVANE_DONE);
        const Bitmap found[] = {bitmap_of(runs_of(MaskHandle(both)), 23, 17),
                                bitmap_of(runs_of(MaskHandle(either)), 23, 17),
                                bitmap_of(runs_of(MaskHandle(rest)), 23, 17)};
        // Twice as fine, three columns further than the grid.
        std::vector<std::uint8_t> fine(std::size_t{49} * 34, 9);
        ASSERT_EQ(norvane_mask_bitmap(a.get(), 114.0, 49, 34, fine.data()), NORVANE_DONE);
        uint64_t pixels = 0;
        for (unsigned y = 0; y < 34; ++y) {
            for (unsigned x = 0; x < 49; ++x) {
                ASSERT_EQ(fine[y * 49 + x], first.at((x + 1) / 2, (y + 1) / 2)) << x << ' ' << y;
                const bool in_a = first.at(x, y), in_b = second.at(x, y);
                ASSERT_EQ(found[0].at(x, y), in_a && in_b);
                ASSERT_EQ(found[1].at(x, y), in_a || in_b);
                ASSERT_EQ(found[2].at(x, y), in_a && !in_b);
                pixels += in_a ? 1 : 0;
            }
        }
        uint64_t counted = 0;
        double area = 0.0;
        ASSERT_EQ(norvane_mask_area(a.get(), nullptr, &counted, &area), NORVANE_DONE);
        EXPECT_EQ(counted, pixels);
        EXPECT_DOUBLE_EQ(area, static_cast<double>(pixels) * 0.228 * 0.228);
    }
}

norvane_picture flat_picture(unsigned width) {
    static const std::vector<std::uint16_t> samples(400 * 40, 100);
    norvane_picture picture;
    norvane_init_picture(&picture);
    picture.samples = samples.data();
    picture.width = width;
    picture.height = 40;
    picture.pixel_size = 200.0;
    return picture;
}

TEST(CInterface, MistakesInAPictureAreNamed) {
    const norvane_picture good = flat_picture(40);
    const auto refused = [&good](const auto& change, const char* word) {
        norvane_picture picture = good;
        change(picture);
        norvane_image* image = nullptr;
        EXPECT_EQ(norvane_prepare(&picture, &image), NORVANE_BAD_ARGUMENT) << word;
        EXPECT_EQ(image, nullptr);
        EXPECT_NE(std::string(norvane_last_error()).find(word), std::string::npos) << norvane_last_error();
    };
    refused([](auto& p) { p.struct_size = 0; }, "struct_size");
    refused([](auto& p) { p.samples = nullptr; }, "samples");
    refused([](auto& p) { p.height = 0; }, "above 0");
    refused([](auto& p) { p.width = p.height = 0xFFFFFFFF; }, "2^28");
    refused([](auto& p) { p.row_stride = 39; }, "row_stride");
    refused([](auto& p) { p.used_bits = 17; }, "used_bits");
    for (const double size : {0.0, -1.0, 228.1, 1e-60, std::numeric_limits<double>::quiet_NaN()})
        refused([size](auto& p) { p.pixel_size = size; }, "pixel_size");
    EXPECT_EQ(norvane_prepare(&good, nullptr), NORVANE_BAD_ARGUMENT);
}

TEST(CInterface, MistakesInACallWriteNothing) {
    const norvane_picture good = flat_picture(40);
    norvane_image* made = nullptr;
    ASSERT_EQ(norvane_prepare(&good, &made), NORVANE_DONE);
    EXPECT_STREQ(norvane_last_error(), "");
    const ImageHandle image(made);
    norvane_params params;
    norvane_init_params(&params, nullptr);
    norvane_mask* mask = nullptr;
    int32_t status = -1;
    const MaskHandle fine = handle_of({{0, 1, 2}}, 100.0), coarse = handle_of({{0, 1, 2}});
    norvane_run run{3, 5, 4};
    std::size_t count = 0;
    std::uint8_t byte = 0;
    for (const norvane_result result : {
             norvane_frame_mask(nullptr, &params, &mask, &status),
             norvane_frame_mask(image.get(), nullptr, &mask, &status),
             norvane_frame_mask(image.get(), &params, nullptr, &status),
             norvane_frame_mask(image.get(), &params, &mask, nullptr),
             norvane_full_mask(image.get(), &params, fine.get(), &mask, nullptr, nullptr, &status),
             norvane_muscle_mask(image.get(), &params, nullptr, nullptr, &mask, &status),
             norvane_mask_from_runs(&run, 1, 228.0, &mask),
             norvane_mask_from_runs(nullptr, 1, 228.0, &mask),
             norvane_mask_from_runs(nullptr, 0, -1.0, &mask),
             norvane_mask_runs(coarse.get(), nullptr, 1, &count),
             norvane_mask_bitmap(coarse.get(), -1.0, 1, 1, &byte),
             norvane_mask_union(coarse.get(), fine.get(), &mask),
         }) {
        EXPECT_EQ(result, NORVANE_BAD_ARGUMENT);
        EXPECT_EQ(mask, nullptr);
        EXPECT_EQ(status, -1);
    }
    EXPECT_EQ(norvane_frame_mask(image.get(), &params, &mask, &status), NORVANE_DONE);
    EXPECT_EQ(status, NORVANE_MASK_NO_SIDE);
    norvane_free_mask(mask);
    norvane_free_mask(nullptr);
    norvane_free_image(nullptr);
}

// A host of an earlier version has a shorter struct: the members that it does not know keep their defaults.
TEST(CInterface, ShorterStructsAreTaken) {
    norvane_picture picture = flat_picture(400);
    picture.has_padding = 1;
    picture.padding_low = 3;
    picture.padding_high = 9;
    const auto limits_with = [&picture](std::size_t size) {
        picture.struct_size = size;
        norvane_image* made = nullptr;
        EXPECT_EQ(norvane_prepare(&picture, &made), NORVANE_DONE) << norvane_last_error();
        norvane_params params;
        norvane_init_params(&params, made);
        norvane_free_image(made);
        return std::pair<unsigned, unsigned>(params.padding_limit, params.noise_level);
    };
    EXPECT_NE(limits_with(sizeof picture), (std::pair<unsigned, unsigned>(0, 0)));
    EXPECT_EQ(limits_with(offsetof(norvane_picture, has_padding)), (std::pair<unsigned, unsigned>(0, 0)));
}

}  // namespace
}  // namespace Norvane::Tests
