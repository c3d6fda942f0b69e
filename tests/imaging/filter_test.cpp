// SPDX-License-Identifier: Apache-2.0
/// The wrappers around the platform: arguments, codes, messages, geometry of the destination.
#include "imaging/filter.h"
#include "imaging/ipl_bridge.h"
#include "imaging/morphological.h"
#include "model/pixels.h"
#include "support/picture.h"

#include <climits>

namespace Norvane::Tests {
namespace {

/// The code that a call answers, and what it prints.
std::string outcome_of(const std::function<int()>& call) {
    testing::internal::CaptureStdout();
    const int code = call();
    return std::to_string(code) + " " + testing::internal::GetCapturedStdout();
}

/// A 16-bit image of 4 rows, filled with a pattern.
std::unique_ptr<Image> patterned(unsigned width) {
    return grey_image(width, 4, [](unsigned x, unsigned y) { return 258 * (1 + x + 10 * y); });
}

/// A 16-bit image of stride 5: 24-bit rows may have any length.
std::unique_ptr<Image> with_odd_stride() {
    static std::vector<unsigned char> pixels(64);
    auto image = std::make_unique<Image>(pixels.data(), FORMAT_UNSIGNED, 24, 5U, 4U, 1.0F, true);
    image->SetBits(16, false);
    return image;
}

const std::function<int(const Image*, Image*)> kTwoImageFilters[] = {
    [](auto* s, auto* d) { return Filter::ConvolveFixed(s, d, 10); },
    [](auto* s, auto* d) { return Filter::Blur(s, d, 3, 2, 1, 0); },
    [](auto* s, auto* d) { return Morphological::Dilate(s, d, 1); },
    [](auto* s, auto* d) { return Morphological::Erode(s, d, 1); },
};

TEST(TwoImageFilters, RefuseBeforeTheyTouchTheDestinationOrAfterTheyTookTheGeometryOfTheSource) {
    const auto src = patterned(9), narrow = patterned(7), real = image_of(k32F, 9, 4), negative = image_of(k16S, 9, 4),
               odd = with_odd_stride();
    const Image no_bits(FORMAT_UNSIGNED, 0U, 4U, 4U, false), empty_source(FORMAT_UNSIGNED, 16U, 9U, 4U, false);
    for (const auto& run : kTwoImageFilters) {
        SCOPED_TRACE(&run - kTwoImageFilters);
        EXPECT_EQ("1 ", outcome_of([&] { return run(src.get(), nullptr); }));
        EXPECT_EQ("1 ", outcome_of([&] { return run(src.get(), narrow.get()); }));  // cannot hold it
        EXPECT_EQ("1 ", outcome_of([&] { return run(&no_bits, narrow.get()); }));
        Image dst(FORMAT_UNSIGNED, 8U, 50U, 50U, true), no_buffer(FORMAT_UNSIGNED, 16U, 50U, 50U, false);
        EXPECT_EQ("1 Input stride wrong\n", outcome_of([&] { return run(odd.get(), &dst); }));
        EXPECT_EQ(std::pair(5U, 6U), std::pair(dst.GetWidth(), dst.GetStride()));
        no_buffer.AlignSize();
        EXPECT_EQ("1 ", outcome_of([&] { return run(src.get(), &no_buffer); }));
        EXPECT_EQ(9U, no_buffer.GetWidth());
        EXPECT_EQ("1 ", outcome_of([&] { return run(&empty_source, &dst); }));
        EXPECT_EQ("0 ", outcome_of([&] { return run(src.get(), src.get()); }));
    }
    testing::internal::CaptureStdout();
    const int own_checks[] = {
        Filter::ConvolveFixed(src.get(), narrow.get(), 11),     Filter::Blur(src.get(), narrow.get(), 0, 1, 0, 0),
        Filter::Blur(src.get(), narrow.get(), 1, 0, 0, 0),      Morphological::Dilate(src.get(), narrow.get(), 0),
        Morphological::Erode(src.get(), narrow.get(), INT_MIN), Morphological::Dilate(real.get(), narrow.get(), 0),
        Morphological::Erode(negative.get(), narrow.get(), 0)};
    EXPECT_EQ(
        "Filter::ConvolveFixed() Unrecognised fixed filter type\nFilter::Blur() blurx or blury < 1\n"
        "Filter::Blur() blurx or blury < 1\nMorphological::Dilate() iterations < 1\n"
        "Morphological::Erode() iterations < 1\n",
        testing::internal::GetCapturedStdout());
    EXPECT_THAT(own_checks, testing::ElementsAre(1, 1, 1, 1, 1, 3, 3));
    EXPECT_EQ(Picture(k16U, *patterned(7)), Picture(k16U, *narrow));
}

TEST(TwoImageFilters, FilterThePaddingColumnsToo) {
    auto src = grey_image(3, 1, [](unsigned, unsigned) { return 30U; });
    whole_row_of<std::uint16_t>(*src, 0)[3] = 60000;
    Image dst(src.get(), true);
    EXPECT_EQ(0, Filter::Blur(src.get(), &dst, 3, 1, 1, 0));
    EXPECT_EQ((std::vector<std::uint16_t>{20, 30, 20020}), pixels_of(dst));
    EXPECT_EQ(20010, whole_row_of<std::uint16_t>(dst, 0)[3]);
}

TEST(AllOperations, AnswerByTypeOfImage) {
    struct Type {
        int format;
        unsigned bits;
        int depth;  // that the platform is told
    };
    constexpr int kSign = INT_MIN;
    constexpr Type kTypes[] = {{1, 1, 1},           {1, 8, 8},         {1, 16, 16},         {1, 24, 8},
                               {1, 32, 8},          {2, 8, kSign | 8}, {2, 16, kSign | 16}, {2, 24, kSign | 8},
                               {2, 32, kSign | 32}, {3, 16, 32},       {3, 32, 32},         {7, 8, 8},
                               {7, 16, 8},          {1, 16, 16}};  // the last without a buffer
    static std::vector<int> values(65536, 1);
    static double norm;
    const auto two = [](auto& filter) {
        return [&filter](Image* image) {
            Image dst(FORMAT_SIGNED, 32U, 64U, 64U, true);
            return filter(image, &dst);
        };
    };
    struct Operation {
        const char* codes;  // by type
        std::function<int(Image*)> run;
    };
    const Operation operations[] = {
        {"20011001010011", two(kTwoImageFilters[0])},
        {"20011001210011", two(kTwoImageFilters[1])},
        {"00011333333011", two(kTwoImageFilters[2])},
        {"00011333333011", two(kTwoImageFilters[3])},
        {"33333333330333", [](Image* i) { return Filter::MultiplySFP(i, 2.0F); }},
        {"30013001313011", [](Image* i) { return Filter::Threshold(i, 1); }},
        {"30011001012011", [](Image* i) { return Filter::MultiplyS(i, 2); }},
        {"00011001010011", [](Image* i) { return Filter::Norm(i, &norm); }},
        {"30033333333331", [](Image* i) { return Filter::ContrastStretch(i, 0, 1, values.data(), 5); }},
        {"31133333333331", [](Image* i) { return Filter::ContrastStretch(i, 0, 1, values.data(), 0); }},
        {"34433333333334", [](Image* i) { return Filter::ContrastStretch(i, 0, 1, values.data(), INT_MAX); }},
        {"10011111111111", [](Image* i) { return Filter::ComputeHisto(i, values.data(), 5); }},
        {"11111111111111", [](Image* i) { return Filter::ComputeHisto(i, values.data(), INT_MIN); }},
        {"14411111111114", [](Image* i) { return Filter::ComputeHisto(i, values.data(), INT_MAX); }},
    };
    for (const Operation& operation : operations) {
        std::string codes;
        for (const Type& type : kTypes) {
            Image image(static_cast<ImageFormat>(type.format), type.bits, 8U, 4U, &type != &kTypes[13]);
            image.AlignSize();
            EXPECT_EQ(type.depth, Utils::IplDepth(&image)) << type.format << ":" << type.bits;
            codes += std::to_string(operation.run(&image));
        }
        EXPECT_EQ(operation.codes, codes) << &operation - operations;
        EXPECT_EQ(1, operation.run(nullptr));
    }
    norm = -5.0;
    EXPECT_EQ("1 Input stride wrong\n", outcome_of([&] { return Filter::Norm(with_odd_stride().get(), &norm); }));
    EXPECT_EQ(-5.0, norm);  // written only when the platform was called
}

TEST(ContrastStretch, KeysStepAndWrapAround) {
    struct Case {
        int first_key, step;
        std::vector<std::uint16_t> pixels;
    };
    const Case cases[] = {{10, 2, {9, 100, 100, 200}},                    // 10, 12, 14
                          {300, -50, {9, 10, 11, 12}},                    // descending: no interval holds anything
                          {INT_MAX - 3, INT_MAX, {200, 200, 200, 200}}};  // INT_MAX - 3, -5, INT_MAX - 5
    for (const Case& c : cases) {
        const auto image = grey_image(4, 1, [](unsigned x, unsigned) { return 9 + x; });
        int values[] = {100, 200};
        ASSERT_EQ(0, Filter::ContrastStretch(image.get(), c.first_key, c.step, values, 2));
        EXPECT_EQ(c.pixels, pixels_of(*image)) << c.first_key;
    }
}

TEST(ComputeHisto, BinsAreTheRulesBoundaries) {
    Random random(1);
    for (const Depth& depth : {k8U, k16U}) {
        const auto image = image_of(depth, 600, 40);
        Picture samples = random_picture(random, depth, 600, 40);  // the last bin holds something
        samples.copy_to(*image);
        const int range = static_cast<int>(depth.largest) + 1;
        std::vector<int> per_grey(static_cast<std::size_t>(range));
        for (unsigned i = 0; i < 600 * 40; ++i) ++per_grey[static_cast<std::size_t>(samples.at(i % 600, i / 600))];
        for (const int bins : {1, 3, 16, 256, 1000, 32767, 32768, 40000, 65535, 65536, 65537, 70001, 9000000}) {
            const auto key = [&](int k) {
                if (bins == range) return k;
                if (range == 65536 && bins >= 32768) return int(float(k) * (65536.0F / float(bins)));
                return int(unsigned(k) * unsigned(range)) / bins;
            };
            std::vector<int> counts(static_cast<std::size_t>(bins), 12345);
            ASSERT_EQ(0, Filter::ComputeHisto(image.get(), counts.data(), bins));
            for (int i = 0; i < bins; ++i) {
                int expected = 0;
                for (int v = std::max(key(i), 0); v < std::min(key(i + 1), range); ++v)
                    expected += per_grey[static_cast<std::size_t>(v)];
                ASSERT_EQ(expected, counts[static_cast<std::size_t>(i)]) << bins << " bins, bin " << i;
            }
        }
    }
}

TEST(Resample, ApproximatesTheFactorByARatio) {
    struct Case {
        float factor;
        int numerator, denominator;
    };
    constexpr Case kCases[] = {{0.5F, 16384, 32768}, {1.0F, 32768, 32768}, {2.0F, 32768, 16384},
                               {0.3F, 9830, 32768},  {3.0F, 32768, 10923}, {100.0F, 32768, 328}};
    auto src = grey_image(
        40, 30, [](unsigned x, unsigned y) { return (x * x * 97 + y * 5003) % 65536; }, 100.0F);
    src->SetOffX(10);
    src->SetOffY(7);
    for (const auto& [factor, n, d] : kCases)
        for (const unsigned blur : {0U, 2U}) {
            SCOPED_TRACE(testing::Message() << factor << ", blur " << blur);
            Image dst(FORMAT_UNSIGNED, 16U, 17U, 11U, true);
            Picture from(k16U, *src), expected(k16U, dst);
            ASSERT_EQ(0, Filter::Resample(src.get(), &dst, factor, blur));
            const float e = static_cast<float>(n) / static_cast<float>(d);
            EXPECT_EQ(100.0F / e, dst.GetPixelSize());
            EXPECT_EQ(static_cast<unsigned>(10.0 * double(e) + 0.5), dst.GetOffX());
            EXPECT_EQ(static_cast<unsigned>(7.0 * double(e) + 0.5), dst.GetOffY());
            const int mask = n > d || blur == 0 ? 1 : 2;  // only reductions blur
            iplDecimateBlur(from.get(), expected.get(), n, d, n, d, 1, mask, mask);
            EXPECT_EQ(expected, Picture(k16U, dst));
        }
}

TEST(Resample, RefusesByTable) {
    const auto src = grey_image(8, 8, nullptr, 100.0F), dst = image_of(k16U, 4, 4), byte = image_of(k8U, 4, 4),
               negative = image_of(k16S, 4, 4), binary = image_of(k1U, 4, 4), nothing = image_of(k16U, 0, 4),
               odd = with_odd_stride();
    Image no_buffer(FORMAT_UNSIGNED, 16U, 4U, 4U, false);
    testing::internal::CaptureStdout();
    const int refused[] = {
        Filter::Resample(nullptr, dst.get(), 0.5F, 2),    Filter::Resample(src.get(), nullptr, 0.5F, 2),
        Filter::Resample(src.get(), byte.get(), 0.5F, 2), Filter::Resample(src.get(), negative.get(), 0.5F, 2),
        Filter::Resample(odd.get(), dst.get(), 0.5F, 2),  Filter::Resample(src.get(), &no_buffer, 0.5F, 2)};
    EXPECT_EQ("Input stride wrong\n", testing::internal::GetCapturedStdout());
    EXPECT_THAT(refused, testing::ElementsAre(1, 1, 3, 3, 1, 1));
    EXPECT_EQ(0.0F, dst->GetPixelSize());
    // From here on the geometry is set before the platform refuses.
    EXPECT_EQ(2, Filter::Resample(binary.get(), binary.get(), 0.5F, 2));
    EXPECT_EQ(1, Filter::Resample(nothing.get(), dst.get(), 0.5F, 2));
    for (const float factor : {0.0F, 1e-9F, -2.0F, std::nanf(""), HUGE_VALF, -HUGE_VALF})
        EXPECT_EQ(1, Filter::Resample(src.get(), dst.get(), factor, 2)) << factor;
}

}  // namespace
}  // namespace Norvane::Tests
