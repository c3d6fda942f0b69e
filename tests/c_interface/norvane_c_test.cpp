// SPDX-License-Identifier: Apache-2.0
/// The functions for C beside the classes that they call, and what they answer to a caller's mistakes.
#include <norvane/norvane_c.h>

#include "support/random_cases.h"
#include "support/test.h"

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
    Acquired(Random& random, bool on_left, unsigned used_bits, bool is_inverted) {
        const auto source = random_image(random, on_left);
        const unsigned columns = source->GetWidth() - (used_bits == 16 && source->GetWidth() % 2 == 0 ? 1 : 0);
        const unsigned flip = used_bits == 16 ? 0x8000 : 0, white = is_inverted ? 0xFFFFU >> (16 - used_bits) : 0;
        norvane_init_picture(&picture, sizeof picture);
        picture.row_stride = columns + 3;
        samples.resize(picture.row_stride * source->GetHeight(), 77);
        image = grey_image(columns, source->GetHeight(), [&](unsigned x, unsigned y) {
            const unsigned v = (grey(*source, x, y) >> (16 - used_bits)) ^ white;
            samples[y * picture.row_stride + x] = static_cast<std::uint16_t>(v);
            return v ^ flip;
        });
        for (unsigned y = 0; y < image->GetHeight(); ++y) {
            auto* row = reinterpret_cast<std::uint16_t*>(image->GetBuffer()) + y * image->GetStride();
            for (unsigned x = columns; x < image->GetStride(); ++x) row[x] = row[columns - 1];
        }
        image->SetUsedBits(used_bits);
        image->SetNeedsInversion(is_inverted);
        picture.samples = samples.data();
        picture.width = columns;
        picture.height = image->GetHeight();
        picture.used_bits = used_bits;
        picture.pixel_size = 228.0;
        picture.inverted = is_inverted;
        picture.has_padding = 1;
        picture.padding_low = 3;
        picture.padding_high = 9;
    }
    std::unique_ptr<Image> image;  // as PrepareImage() takes it
    std::vector<std::uint16_t> samples;
    norvane_picture picture{};
};

norvane_params params_like(const Masking::Params& given) {
    norvane_params params;
    norvane_init_params(&params, sizeof params, nullptr);
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

// One image, prepared in both ways.
struct Twins {
    explicit Twins(Acquired acquired) {
        unsigned short one_end = acquired.picture.padding_low, other_end = acquired.picture.padding_high;
        float scale = 0.0F;
        prepared.reset(PrepareImage(acquired.image.get(), scale, BG_AUTO, true, nullptr, &one_end, &other_end));
        norvane_image* made = nullptr;
        EXPECT_EQ(norvane_prepare(&acquired.picture, &made), NORVANE_DONE) << norvane_last_error();
        image.reset(made);
        std::vector<std::uint16_t> pixels(std::size_t{acquired.picture.width} * acquired.picture.height);
        EXPECT_EQ(norvane_image_pixels(made, pixels.data()), NORVANE_DONE);
        EXPECT_EQ(pixels, pixels_of(*prepared));
        norvane_params params;
        norvane_init_params(&params, sizeof params, made);
        EXPECT_EQ(params.padding_limit, std::min(one_end, other_end));
        EXPECT_EQ(params.noise_level, std::max(one_end, other_end));
    }
    [[nodiscard]] Mask empty() const { return mask_of(Runs(), prepared->GetPixelSize()); }

    ImageHandle image;
    std::unique_ptr<Image> prepared;
};

TEST(CInterface, ResultsAreThoseOfTheClasses) {
    Random random(20261125);
    std::map<int, int> statuses;
    for (int i = 0; i < 160; ++i) {
        const bool on_left = i % 2 == 0;
        const Twins twins(Acquired(random, on_left, i % 4 < 2 ? 12 : 16, i % 8 < 4));
        std::vector<int> outline(2 * std::size_t{NORVANE_OUTLINE_POINTS}, -1), points(outline);
        Masking::Params expected = random_params(random, on_left, points);
        points = outline;
        expected.contourOutput = false;
        expected.contour = nullptr;
        const norvane_params params = params_like(expected);
        Image* const prepared = twins.prepared.get();
        const norvane_image* const image = twins.image.get();
        int32_t status = -1;
        const auto expect_same = [&](norvane_mask* made, Masking::MASK_STATUS meant, const Mask& mask) {
            MaskHandle handle(made);
            EXPECT_EQ(status, meant);
            EXPECT_EQ(runs_of(handle), Tests::runs_of(mask));
            return handle;
        };

        Mask frame = twins.empty(), found_frame = twins.empty(), full = twins.empty(), muscle = twins.empty(),
             outer = twins.empty(), breast = twins.empty(), known_muscle = twins.empty(), unused = twins.empty();
        norvane_mask *made = nullptr, *made_muscle = nullptr, *made_outer = nullptr;
        ASSERT_EQ(norvane_full_mask(image, &params, nullptr, &made, &made_muscle, &made_outer, &status), NORVANE_DONE);
        Mask* const second = expected.fullContour ? &outer : nullptr;
        const auto meant = NvGenerateFullMask(prepared, expected, &found_frame, &full, &muscle, second);
        const MaskHandle full_handle = expect_same(made, meant, full);
        expect_same(made_muscle, meant, muscle);
        expect_same(made_outer, meant, outer);

        ASSERT_EQ(norvane_frame_mask(image, &params, &made, &status), NORVANE_DONE);
        Mask* out = &frame;
        const auto frame_status = NvGenerateFrameMask(prepared, expected, out);
        expect_same(made, frame_status, frame);
        // A frame of the caller: the field without its upper third.
        Runs lower = Tests::runs_of(frame);
        std::erase_if(lower, [prepared](const RowRun& run) { return run.row < prepared->GetHeight() / 3; });
        frame = mask_of(lower, prepared->GetPixelSize());
        const MaskHandle given = handle_of(lower);
        ASSERT_EQ(norvane_breast_mask(image, &params, given.get(), &made, &status), NORVANE_DONE);
        expect_same(made, NvGenerateBreastMask(prepared, expected, &frame, &breast, nullptr), breast);
        ASSERT_EQ(norvane_muscle_mask(image, &params, given.get(), full_handle.get(), &made, &status), NORVANE_DONE);
        const auto muscle_status = NvGeneratePectMask(prepared, expected, &frame, &full, &known_muscle);
        expect_same(made, muscle_status, muscle_status == Masking::MASK_OK ? known_muscle : Mask());
        ++statuses[muscle_status];

        uint32_t count = 99;
        ASSERT_EQ(norvane_outline(image, &params, given.get(), points.data(), &count, &status), NORVANE_DONE);
        expected.contourOutput = true;
        expected.contour = &outline;
        EXPECT_EQ(status, NvGenerateBreastMask(prepared, expected, &frame, &unused, nullptr));
        const bool is_found = !outline.empty() && outline.front() >= 0;
        EXPECT_EQ(count, is_found ? NORVANE_OUTLINE_POINTS : 0);
        EXPECT_EQ(points, is_found ? outline : std::vector<int>(points.size(), -1));
    }
    EXPECT_GT(statuses[Masking::MASK_OK], 5);
    EXPECT_GT(statuses[Masking::MASK_PECT_REJECTED], 5);
}

TEST(CInterface, MasksAreSetsOfPixels) {
    Random random(7);
    const auto bits_of = [](norvane_mask* made) { return bitmap_of(runs_of(MaskHandle(made)), 23, 17); };
    for (int i = 0; i < 30; ++i) {
        const Bitmap first = bitmap_of(random_mask(random, 23, 17), 23, 17);
        const Bitmap second = bitmap_of(random_mask(random, 23, 17), 23, 17);
        Bitmap common = first, united = first, remaining = first;
        for (std::size_t k = 0; k < first.set.size(); ++k) {
            common.set[k] = first.set[k] && second.set[k];
            united.set[k] = first.set[k] || second.set[k];
            remaining.set[k] = first.set[k] && !second.set[k];
        }
        const MaskHandle a = handle_of(Tests::runs_of(mask_of(first))), b = handle_of(Tests::runs_of(mask_of(second)));
        norvane_mask *both = nullptr, *either = nullptr, *rest = nullptr;
        ASSERT_EQ(norvane_mask_intersection(a.get(), b.get(), &both), NORVANE_DONE);
        ASSERT_EQ(norvane_mask_union(a.get(), b.get(), &either), NORVANE_DONE);
        ASSERT_EQ(norvane_mask_difference(a.get(), b.get(), &rest), NORVANE_DONE);
        EXPECT_TRUE(bits_of(both) == common && bits_of(either) == united && bits_of(rest) == remaining) << i;
        // Twice as fine, three columns further than the grid.
        std::vector<std::uint8_t> fine(std::size_t{49} * 34, 9);
        ASSERT_EQ(norvane_mask_bitmap(a.get(), 114.0, 49, 34, fine.data()), NORVANE_DONE);
        for (unsigned k = 0; k < fine.size(); ++k)
            ASSERT_EQ(fine[k], first.at((k % 49 + 1) / 2, (k / 49 + 1) / 2)) << k % 49 << ' ' << k / 49;
        uint64_t counted = 0;
        double area = 0.0;
        ASSERT_EQ(norvane_mask_area(a.get(), nullptr, &counted, &area), NORVANE_DONE);
        EXPECT_EQ(counted, static_cast<uint64_t>(std::ranges::count(first.set, true)));
        EXPECT_DOUBLE_EQ(area, static_cast<double>(counted) * 0.228 * 0.228);
    }
}

norvane_picture flat_picture(unsigned width) {
    static const std::vector<std::uint16_t> samples(400 * 40, 100);
    norvane_picture picture;
    norvane_init_picture(&picture, sizeof picture);
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
    for (const double size : {0.0, -1.0, 228.1, 1e-60, 1e300, std::numeric_limits<double>::quiet_NaN()})
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
    norvane_init_params(&params, sizeof params, nullptr);
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
             norvane_mask_from_runs(nullptr, 0, 1e300, &mask),
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

// A host of an earlier version has shorter structs: nothing behind them is read or written.
TEST(CInterface, ShorterStructsAreTaken) {
    constexpr std::size_t kShort = offsetof(norvane_picture, has_padding);
    for (const std::size_t size : {sizeof(norvane_picture), kShort}) {
        norvane_picture picture = flat_picture(400);
        picture.struct_size = size;
        picture.has_padding = 1;
        picture.padding_high = 9;
        norvane_image* made = nullptr;
        ASSERT_EQ(norvane_prepare(&picture, &made), NORVANE_DONE) << norvane_last_error();
        norvane_params params{};
        norvane_init_params(&params, offsetof(norvane_params, full_contour), made);
        norvane_free_image(made);
        EXPECT_EQ(params.noise_level != 0, size != kShort);
        EXPECT_EQ(params.smooth_contour, 0);
        norvane_init_picture(&picture, kShort);
        EXPECT_EQ(std::pair(picture.struct_size, picture.has_padding), std::pair(kShort, 1));
    }
}

}  // namespace
}  // namespace Norvane::Tests
